#pragma once

#include <functional>
#include <memory>

#include "core/Locations.h"
#include "ui/WelcomeView.h"

/// The one window of the setup guide: made when it is first shown, and kept from then on.
class SetupGuide final : public QObject {
    Q_OBJECT

  public:
    /// What the guide works on. Everything that is referred to outlives it.
    struct Environment {
        Daemon& daemon;
        const Hooks& hooks;
        const LegacyDaemon& legacyDaemon;
        const LoginItem& loginItem;
        Scheduler& scheduler;
        Locations locations;
        std::optional<DescriptorLimit> descriptorLimit{}; ///< for Codex
        std::function<void()> openPairing = [] {};
        EnvironmentLookup variables = processEnvironment;
    };

    explicit SetupGuide(Environment environment);

    /// Brings it to the front, as far as the desktop lets it.
    void showSetupGuide();
    /// Shows it unless the user has been through it, or everything is evidently set up: then it is
    /// noted as done. TAMSELL_NO_WELCOME, whatever its value, keeps it away.
    void showSetupGuideIfNeeded();
    [[nodiscard]] bool isVisible() const { return m_window && m_window->isVisible(); }

  Q_SIGNALS:
    void closed();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    [[nodiscard]] bool isSetUp() const;

    const Environment m_environment;
    std::unique_ptr<WelcomeView> m_window;
};
