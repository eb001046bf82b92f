#pragma once

#include <map>
#include <memory>
#include <optional>

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include "ui/ElidingLabel.h"
#include "ui/Icon.h"
#include "ui/Marks.h"
#include "ui/MenuState.h"
#include "ui/ParagraphLabel.h"
#include "ui/PendingRow.h"
#include "ui/SegmentedControl.h"
#include "ui/SessionList.h"
#include "ui/Switch.h"
#include "ui/TextBlock.h"

/// The content of the panel: draws a `MenuState` and says what was clicked.
///
/// Return allows the oldest permission, once that is armed, and only while the panel itself or a
/// button has the focus; its own repetition never does. A row keeps what was typed into it, and its
/// focus, as long as its item waits. Many that come at once appear a few at a time, the oldest
/// first.
class MenuPanel final : public QWidget {
    Q_OBJECT

  public:
    explicit MenuPanel(Scheduler& scheduler, QWidget* parent = nullptr);

    void show(const MenuState& state);
    using QWidget::show;
    /// What is on the screen has moved as a whole: the panel has opened, or was scrolled.
    void disarm();

  Q_SIGNALS:
    void takeOverClicked();
    void retryClicked();
    void installClicked();
    void recheckClicked();
    void modeChosen(AwayMode mode);
    void answered(const QString& id, const JSONObject& answer);
    void pairClicked();
    void updateClicked();
    void launchAtLoginChosen(bool on);
    void guideClicked();
    void removeHooksClicked();
    void quitClicked();

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    /// A title with its icon, a text and a button.
    struct Notice {
        QWidget* widget = nullptr;
        IconLabel* icon = nullptr;
        TextBlock* title = nullptr;
        ParagraphLabel* text = nullptr;
        QPushButton* button = nullptr;
    };

    void addHeader();
    [[nodiscard]] Notice addNotice(const char* name, const char* titleLook);
    void addMode();
    void addCommands();
    void showNotices(const MenuState& state);
    void showPending();
    void showCommands(const MenuState& state);
    [[nodiscard]] PendingRow* returnTarget() const;

    Scheduler& m_scheduler;
    std::optional<MenuState> m_state;
    QVBoxLayout* m_parts;
    QLabel* m_status = nullptr;
    StatusMark* m_mark = nullptr;
    Notice m_failure;
    Notice m_warning;
    TextBlock* m_error = nullptr;
    SegmentedControl* m_modes = nullptr;
    ParagraphLabel* m_modeDescription = nullptr;
    QFrame* m_pendingDivider = nullptr;
    QVBoxLayout* m_pending = nullptr;
    std::vector<PendingRow*> m_rows; // As they stand.
    std::unique_ptr<Scheduler::Timer> m_more;
    QFrame* m_sessionsDivider = nullptr;
    SessionList* m_sessions = nullptr;
    QPushButton* m_pair = nullptr;
    QPushButton* m_update = nullptr;
    Switch* m_launchAtLogin = nullptr;
    QPushButton* m_checkForUpdates = nullptr;
    QPushButton* m_removeHooks = nullptr;
};
