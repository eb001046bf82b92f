#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "daemon/Daemon.h"
#include "platform/Scheduler.h"
#include "ui/ColumnWindow.h"
#include "ui/PairPanel.h"

/// The window in which phones are paired: sets the relay up, shows an invite as a QR code, lists
/// the phones, removes them, sends a test push and gives the relay up.
///
/// It lives by a tick of one second while it is visible, and does nothing while it is not.
class PairView final : public ColumnWindow {
    Q_OBJECT

  public:
    /// What the window is about; daemon and scheduler outlive it.
    struct Environment {
        Daemon& daemon;
        Scheduler& scheduler;
        QString defaultRelayURL; ///< offered while the configuration has none
        std::function<std::chrono::system_clock::time_point()> clock =
            std::chrono::system_clock::now;
    };

    explicit PairView(Environment environment, QWidget* parent = nullptr);

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void connectPanel();
    [[nodiscard]] PairState state() const;
    void redraw();
    void createRelay();
    void newCode();
    void copyLink();
    void askToRemove(const QString& id);
    void confirm();
    void dismiss();
    void testPush();
    void pollTestPush();

    Environment m_environment;
    Daemon& m_daemon;
    PairPanel* m_panel;
    QString m_relayURL;
    bool m_revealLink = false;
    bool m_confirmReset = false;
    std::optional<PairedDevice> m_removing;
    std::optional<QString> m_testResult;
    std::chrono::system_clock::time_point m_now;
    std::optional<std::chrono::sys_seconds> m_askedAt; // For an invite.
    std::chrono::system_clock::time_point m_sentAt;    // The test push.
    std::unique_ptr<Scheduler::Timer> m_tick;
    std::unique_ptr<Scheduler::Timer> m_poll;
};
