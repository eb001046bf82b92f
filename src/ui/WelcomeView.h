#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "daemon/Daemon.h"
#include "hooks/CodexTrust.h"
#include "hooks/LegacyDaemon.h"
#include "platform/LoginItem.h"
#include "platform/Scheduler.h"
#include "ui/ColumnWindow.h"
#include "ui/WelcomePanel.h"

/// The setup guide: the window of the first run, titled 「歡迎使用 Tamsell」. It looks anew at
/// hooks, login item and trust whenever it is shown, and once a second while it is.
///
/// Its button at the foot records that it has been seen. Closing it records nothing, so that it
/// opens again at the next start. It stays in memory when it is closed, and first stands in the
/// middle of the screen.
class WelcomeView final : public ColumnWindow {
    Q_OBJECT

  public:
    /// What the guide works on. Everything that is referred to outlives it.
    struct Environment {
        Daemon& daemon;
        const Hooks& hooks;
        const LegacyDaemon& legacy;
        const LoginItem& loginItem;
        Scheduler& scheduler;
        std::filesystem::path home;
        /// Where Codex is now, as `findCodex` tells.
        std::function<std::optional<std::filesystem::path>()> codexProgram;
        std::optional<DescriptorLimit> descriptorLimit; ///< what Codex gets back
        bool hasClaude = false;
        bool hasCodex = false; ///< its directory is there
        /// There is no relay before the user has named one; see `isPlaceholder`.
        bool needsRelayURL = false;
        std::function<void()> openPairing; ///< the pairing window, where a relay can be named
    };

    explicit WelcomeView(Environment environment, QWidget* parent = nullptr);

    /// Whether nothing can ever answer at the URL: its host is under ".example" (RFC 2606), as in
    /// a build that was given no relay.
    [[nodiscard]] static bool isPlaceholder(const std::string& relayURL);

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void connectPanel();
    [[nodiscard]] WelcomeFacts facts() const;
    void draw();

    void refresh();
    void tick();
    void checkCodex();
    void skipCodex();
    /// Runs it, and shows why it failed, or that nothing did.
    void attempt(const std::function<void()>& action);
    void takeOverLegacy();
    void setUpRelay();
    void sendTestPush();
    void setLaunchAtLogin(bool on);
    void finish();

    Environment m_environment;
    std::optional<Hooks::Status> m_hooks; ///< read when it is first needed
    std::optional<Hooks::CodexTrust> m_codexTrust;
    std::unique_ptr<CodexTrustCheck> m_codexCheck; ///< while it runs
    bool m_launchAtLogin = false;
    std::optional<std::chrono::system_clock::time_point>
        m_testSentAt; ///< while a result is awaited
    std::optional<QString> m_testResult;
    bool m_testSucceeded = false;
    std::optional<QString> m_error;

    std::unique_ptr<Scheduler::Timer> m_ticking;
    bool m_wasOpened = false;
    WelcomePanel* m_panel;
};
