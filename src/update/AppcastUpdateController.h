#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/Log.h"
#include "crypto/Ed25519.h"
#include "platform/Scheduler.h"
#include "platform/UpdateController.h"
#include "update/Appcast.h"
#include "update/CheckSchedule.h"
#include "update/Download.h"
#include "update/Fetch.h"
#include "update/UpdateDialog.h"
#include "update/Updater.h"

/// Updates from an appcast: checks on a schedule (`CheckSchedule`) and when asked, and a session
/// that leads the person from the found release to the verified file in the downloads folder.
/// Installing it is up to the person.
///
/// A session is a background one until it gets the window. What a background check finds waits; a
/// later check looks whether there is something newer still. It is never shown "in immediate
/// focus": while this program is in front, somebody is about to answer a question in it, and a
/// window that opens by itself would come between.
class AppcastUpdateController final : public UpdateController {
  public:
    /// What it needs from its program.
    struct Environment {
        std::string feedURL{}; ///< empty: none but the delegate's
        std::string currentVersion{};
        std::filesystem::path stateFile{}; ///< of the schedule
        /// Where releases go. May throw std::system_error.
        std::function<std::filesystem::path()> downloadsFolder{};
        /// Called when the first window is needed.
        std::function<std::unique_ptr<UpdateDialog>()> makeDialog{};
        /// Shows a file in its folder: every downloaded one at once, and when the person asks
        /// again.
        std::function<void(const std::filesystem::path& file)> showFile{};
        Scheduler* scheduler = nullptr; ///< always there, and longer than the controller
        LogSink log = logging::writeToStandardOutput;
        CheckSchedule::Clock now = std::chrono::system_clock::now;
        std::uint64_t maximumDownload = Download::maximumSize; ///< bytes
    };

    [[nodiscard]] static Updater::ControllerFactory factory(Environment environment);

    /// Begins to wait for the first check. Without any feed there is none.
    AppcastUpdateController(Environment environment, const ed25519::PublicKey& key,
                            UpdaterDelegate& delegate,
                            StandardUserDriverDelegate& userDriverDelegate);
    ~AppcastUpdateController() override;

    [[nodiscard]] bool canCheckForUpdates() const override;
    void checkForUpdates() override;
    void checkForUpdatesInBackground() override;

  private:
    enum class Stage {
        idle,        ///< the window may still show how the last session ended
        checking,    ///< the feed is being fetched
        found,       ///< a release waits for the person
        downloading, ///< or its signature is being checked
        discarding   ///< the person has left while the signature is being checked
    };

    [[nodiscard]] std::string feedURL() const;
    void postponeNext();
    void checkIfFree();
    void check();
    void feedArrived();
    void found(const UpdateURL& file);
    void notFound();
    void abort(const std::string& reason);
    void finish();

    void download();
    void downloadFinished(const std::filesystem::path& file);
    void dismiss();

    [[nodiscard]] Update update() const;
    [[nodiscard]] UpdateState state(UpdateState::Phase phase) const;
    /// Only when the session has the window.
    void showPhase(UpdateState::Phase phase);
    void show(const UpdateState& state);
    void paidAttention();

    const Environment m_environment;
    const ed25519::PublicKey m_key;
    UpdaterDelegate& m_delegate;
    StandardUserDriverDelegate& m_userDriverDelegate;

    Stage m_stage = Stage::idle;
    bool m_hasWindow = false;          ///< the session, from when it is the person's
    std::string m_feed;                ///< as much as has arrived
    std::optional<AppcastItem> m_item; ///< what was found; during a check, by the one before
    std::optional<UpdateURL> m_file;   ///< where it is
    std::filesystem::path m_downloaded;
    std::chrono::steady_clock::time_point m_shownProgress;

    std::unique_ptr<UpdateDialog> m_dialog;
    std::optional<CheckSchedule> m_schedule;
    std::unique_ptr<Fetch> m_fetch;
    std::unique_ptr<Download> m_download;
};
