#include "update/AppcastUpdateController.h"

#include <system_error>
#include <utility>

#include "core/DaemonError.h"
#include "core/Localized.h"

namespace {

using Phase = UpdateState::Phase;

// The feed is a megabyte at most.
constexpr std::chrono::seconds feedDeadline{60};
// The window cannot be read faster, and a fast download has a thousand pieces a second.
constexpr std::chrono::milliseconds progressPeriod{100};

} // namespace

Updater::ControllerFactory AppcastUpdateController::factory(Environment environment) {
    return [environment = std::move(environment)](const ed25519::PublicKey& key,
                                                  UpdaterDelegate& delegate,
                                                  StandardUserDriverDelegate& userDriverDelegate) {
        return std::make_unique<AppcastUpdateController>(environment, key, delegate,
                                                         userDriverDelegate);
    };
}

AppcastUpdateController::AppcastUpdateController(Environment environment,
                                                 const ed25519::PublicKey& key,
                                                 UpdaterDelegate& delegate,
                                                 StandardUserDriverDelegate& userDriverDelegate)
    : m_environment(std::move(environment)),
      m_key(key),
      m_delegate(delegate),
      m_userDriverDelegate(userDriverDelegate) {
    if (!feedURL().empty()) {
        m_schedule.emplace(m_environment.stateFile, *m_environment.scheduler, m_environment.now,
                           m_environment.log, [this] { checkIfFree(); });
    }
}

AppcastUpdateController::~AppcastUpdateController() = default;

std::string AppcastUpdateController::feedURL() const {
    return m_delegate.feedURLString().value_or(m_environment.feedURL);
}

bool AppcastUpdateController::canCheckForUpdates() const {
    return !feedURL().empty() && m_stage != Stage::discarding;
}

void AppcastUpdateController::checkForUpdates() {
    if (!canCheckForUpdates())
        return;
    const bool hadWindow = std::exchange(m_hasWindow, true);
    if (m_stage == Stage::idle) {
        postponeNext();
        check();
    } else if (!hadWindow) {
        showPhase(m_stage == Stage::found ? Phase::available : Phase::checking);
    }
    m_dialog->activate();
    if (m_stage == Stage::found)
        paidAttention();
}

void AppcastUpdateController::checkForUpdatesInBackground() {
    postponeNext();
    checkIfFree();
}

void AppcastUpdateController::postponeNext() {
    if (m_schedule)
        m_schedule->begin();
}

void AppcastUpdateController::checkIfFree() {
    const bool isFree = m_stage == Stage::idle || (m_stage == Stage::found && !m_hasWindow);
    if (isFree && !feedURL().empty())
        check();
}

void AppcastUpdateController::check() {
    m_stage = Stage::checking;
    showPhase(Phase::checking);
    const auto url = UpdateURL::parse(feedURL());
    if (!url) {
        abort(localized("更新來源不是 https 網址"));
        return;
    }
    m_feed.clear();
    m_fetch = std::make_unique<Fetch>(
        *url, Fetch::Limits{.size = appcast::maximumSize, .whole = feedDeadline},
        Fetch::Handlers{.received = [this](std::string_view bytes) { m_feed += bytes; },
                        .finished = [this] { feedArrived(); },
                        .failed = [this](const std::string& reason) { abort(reason); }},
        *m_environment.scheduler);
}

void AppcastUpdateController::feedArrived() {
    const UpdateURL from = m_fetch->url();
    m_fetch.reset();
    std::optional<AppcastItem> item;
    try {
        item = appcast::newest(appcast::parse(m_feed), m_environment.currentVersion);
    } catch (const DaemonError& error) {
        abort(error.message());
        return;
    }
    m_feed = {};
    if (!item) {
        notFound();
        return;
    }
    const auto file = from.follow(item->url);
    if (!item->signature)
        abort(localized("新版本沒有有效的簽章"));
    else if (!file)
        abort(localized("新版本的下載位址不安全"));
    else {
        m_item = std::move(item);
        found(*file);
    }
}

void AppcastUpdateController::found(const UpdateURL& file) {
    m_stage = Stage::found;
    m_file = file;
    m_delegate.didFindValidUpdate(update());
    const bool isUsers = m_hasWindow;
    if (!isUsers) {
        m_hasWindow = !m_userDriverDelegate.supportsGentleScheduledUpdateReminders() ||
                      m_userDriverDelegate.shouldHandleShowingScheduledUpdate(update(), false);
    }
    m_userDriverDelegate.willHandleShowingUpdate(m_hasWindow, update(), {.userInitiated = isUsers});
    showPhase(Phase::available);
}

void AppcastUpdateController::notFound() {
    m_delegate.didNotFindUpdate();
    showPhase(Phase::upToDate);
    finish();
}

void AppcastUpdateController::abort(const std::string& reason) {
    m_fetch.reset();
    m_download.reset();
    m_delegate.didAbortWithError(reason);
    // What an earlier check found is not less there because this one failed.
    if (m_stage == Stage::checking && m_item && !m_hasWindow) {
        m_stage = Stage::found;
        return;
    }
    if (m_hasWindow) {
        UpdateState failed = state(Phase::failed);
        failed.error = reason;
        show(failed);
    }
    finish();
}

void AppcastUpdateController::finish() {
    m_stage = Stage::idle;
    m_hasWindow = false;
    m_item.reset();
    m_file.reset();
    m_fetch.reset();
    m_download.reset();
    m_userDriverDelegate.willFinishUpdateSession();
}

void AppcastUpdateController::download() {
    if (m_stage != Stage::found || !m_hasWindow)
        return;
    m_stage = Stage::downloading;
    m_shownProgress = {};
    showPhase(Phase::downloading);
    try {
        // Nothing else is ever brought here, however it came to be in `m_item`.
        if (!appcast::newest({*m_item}, m_environment.currentVersion))
            throw DaemonError(localized("這個版本不比現在的新"));
        m_download = std::make_unique<Download>(
            Download::Release{.url = *m_file,
                              .length = m_item->length,
                              .signature = m_item->signature.value(),
                              .version = m_item->version},
            m_key, m_environment.downloadsFolder(),
            Download::Handlers{
                .progressed =
                    [this](std::uint64_t received, std::optional<std::uint64_t> total) {
                        const auto now = std::chrono::steady_clock::now();
                        if (now - m_shownProgress < progressPeriod)
                            return;
                        m_shownProgress = now;
                        UpdateState progress = state(Phase::downloading);
                        progress.received = received;
                        progress.total = total;
                        show(progress);
                    },
                .verifying = [this] { showPhase(Phase::verifying); },
                .finished = [this](const std::filesystem::path& file) { downloadFinished(file); },
                .failed =
                    [this](const std::string& reason) {
                        if (m_stage == Stage::discarding)
                            finish();
                        else
                            abort(reason);
                    }},
            *m_environment.scheduler, m_environment.maximumDownload);
    } catch (const DaemonError& error) {
        abort(error.message());
    } catch (const std::system_error& error) {
        abort(localized("無法儲存更新檔：%@", {error.what()}));
    }
}

void AppcastUpdateController::downloadFinished(const std::filesystem::path& file) {
    m_downloaded = file;
    UpdateState done = state(Phase::done);
    done.file = file.string();
    show(done);
    finish();
    m_environment.showFile(file);
}

void AppcastUpdateController::dismiss() {
    m_dialog->close();
    if (!m_hasWindow)
        return; // It showed how an earlier session ended.
    if (m_download && m_download->isVerifying()) {
        m_stage = Stage::discarding;
        m_hasWindow = false;
        m_download->discard();
        return;
    }
    finish();
}

Update AppcastUpdateController::update() const {
    return {.version = m_item->version, .displayVersion = m_item->displayVersion};
}

UpdateState AppcastUpdateController::state(Phase phase) const {
    UpdateState state;
    state.phase = phase;
    state.currentVersion = m_environment.currentVersion;
    if (m_item) {
        state.version = m_item->displayVersion;
        state.notes = m_item->notes;
        state.total = m_item->length;
    }
    return state;
}

void AppcastUpdateController::showPhase(Phase phase) {
    if (m_hasWindow)
        show(state(phase));
}

void AppcastUpdateController::show(const UpdateState& state) {
    if (!m_dialog) {
        m_dialog = m_environment.makeDialog();
        m_dialog->setHandlers({.download = [this] { download(); },
                               .dismiss = [this] { dismiss(); },
                               .showFile = [this] { m_environment.showFile(m_downloaded); },
                               .attention = [this] { paidAttention(); }});
    }
    m_dialog->show(state);
}

void AppcastUpdateController::paidAttention() {
    if (m_item && m_hasWindow)
        m_userDriverDelegate.didReceiveUserAttention(update());
}
