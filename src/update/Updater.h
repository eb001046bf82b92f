#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QObject>

#include "core/Locations.h"
#include "core/Log.h"
#include "crypto/Ed25519.h"
#include "platform/UpdateController.h"
#include "update/UpdateSettings.h"

/// The program's updates as the rest of it sees them: one log line for each outcome of a check, and
/// the version that a background check has found, for a reminder that interrupts nobody.
///
/// The desktop program's main owns the one there is; headless there is none. On the main thread:
///
///     Updater updater({.settings = UpdateSettings::configured(),
///                      .bringToFront = [&] { … },
///                      .makeController = AppcastUpdateController::factory({
///                          .feedURL = UpdateSettings::configured().feedURL,
///                          .currentVersion = TAMSELL_VERSION,
///                          .stateFile = locations.dataDirectory / "update.json",
///                          .downloadsFolder = [&] {
///                              return downloadsFolder(processEnvironment, locations.home);
///                          },
///                          .makeDialog =
///                              [&] { return std::make_unique<UpdateWindow>(scheduler); },
///                          .showFile = [](const std::filesystem::path& file) { … },
///                          .scheduler = &scheduler})});
///     updater.start();
class Updater final : public QObject, private UpdaterDelegate, private StandardUserDriverDelegate {
    Q_OBJECT

  public:
    /// The delegates are one Updater, which outlives the controller.
    using ControllerFactory = std::function<std::unique_ptr<UpdateController>(
        const ed25519::PublicKey& key, UpdaterDelegate& delegate,
        StandardUserDriverDelegate& userDriverDelegate)>;

    /// What it needs from its program.
    struct Environment {
        UpdateSettings settings;
        /// TAMSELL_FEED_URL, when it is set, is the feed of every check; empty, it switches checks
        /// off.
        EnvironmentLookup variables = processEnvironment;
        LogSink log = logging::writeToStandardOutput;
        /// Brings the application to the front.
        std::function<void()> bringToFront = [] {};
        ControllerFactory makeController;
    };

    explicit Updater(Environment environment);
    ~Updater() override;

    /// Makes the controller if there is a key; later calls return at once. With a TAMSELL_FEED_URL
    /// it looks there at once, in the background. A key that is none is said in the log.
    void start();

    [[nodiscard]] bool hasController() const { return m_controller != nullptr; }
    [[nodiscard]] bool canCheckForUpdates() const {
        return m_controller && m_controller->canCheckForUpdates();
    }
    /// The person's check: the reminder has done its work.
    void checkForUpdates();

    /// The display version of an update that a background check has found and nobody has looked at.
    [[nodiscard]] const std::optional<std::string>& available() const { return m_available; }

  Q_SIGNALS:
    /// `available` has another value.
    void availableChanged();

  private:
    [[nodiscard]] std::optional<std::string> feedURLString() const override;
    void didFindValidUpdate(const Update& update) override;
    void didNotFindUpdate() override;
    void didAbortWithError(const std::string& description) override;

    [[nodiscard]] bool supportsGentleScheduledUpdateReminders() const override { return true; }
    [[nodiscard]] bool shouldHandleShowingScheduledUpdate(const Update& update,
                                                          bool inImmediateFocus) override;
    void willHandleShowingUpdate(bool handles, const Update& update, State state) override;
    void didReceiveUserAttention(const Update& update) override;
    void willFinishUpdateSession() override;

    void setAvailable(std::optional<std::string> version);

    const Environment m_environment;
    std::optional<std::string> m_available;
    std::unique_ptr<UpdateController> m_controller; // Last: it speaks to all of the above.
};
