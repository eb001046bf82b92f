#include "update/Updater.h"

#include <utility>

Updater::Updater(Environment environment) : m_environment(std::move(environment)) {}

Updater::~Updater() = default;

void Updater::start() {
    if (m_controller || m_environment.settings.publicKey.empty())
        return;
    const auto key = m_environment.settings.key();
    if (!key) {
        m_environment.log("tamsell: no updates: the update key is no Ed25519 public key");
        return;
    }
    m_controller = m_environment.makeController(*key, *this, *this);
    if (feedURLString())
        m_controller->checkForUpdatesInBackground();
}

void Updater::checkForUpdates() {
    setAvailable(std::nullopt);
    if (m_controller)
        m_controller->checkForUpdates();
}

std::optional<std::string> Updater::feedURLString() const {
    return m_environment.variables("TAMSELL_FEED_URL");
}

void Updater::didFindValidUpdate(const Update& update) {
    m_environment.log("tamsell: update available: " + update.displayVersion + " (" +
                      update.version + ")");
}

void Updater::didNotFindUpdate() {
    m_environment.log("tamsell: no update");
}

void Updater::didAbortWithError(const std::string& description) {
    m_environment.log("tamsell: update check failed: " + description);
}

bool Updater::shouldHandleShowingScheduledUpdate(const Update& /*update*/, bool inImmediateFocus) {
    return inImmediateFocus;
}

void Updater::willHandleShowingUpdate(bool handles, const Update& update, State state) {
    if (handles)
        m_environment.bringToFront();
    else if (!state.userInitiated)
        setAvailable(update.displayVersion);
}

void Updater::didReceiveUserAttention(const Update& /*update*/) {
    setAvailable(std::nullopt);
}

void Updater::willFinishUpdateSession() {
    setAvailable(std::nullopt);
}

void Updater::setAvailable(std::optional<std::string> version) {
    if (m_available == version)
        return;
    m_available = std::move(version);
    Q_EMIT availableChanged();
}
