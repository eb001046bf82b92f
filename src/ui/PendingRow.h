#pragma once

#include <memory>

#include <QLineEdit>
#include <QPushButton>
#include <QWidget>

#include "core/JSONValue.h"
#include "platform/Scheduler.h"
#include "ui/CommandBox.h"
#include "ui/ElidingLabel.h"
#include "ui/MenuState.h"
#include "ui/ParagraphLabel.h"
#include "ui/Theme.h"

/// One item that waits, and the ways to answer it.
///
/// Approving is never a reflex: for 600 ms after the row has appeared or moved, its approving
/// buttons do nothing. Denying works at once.
class PendingRow final : public QWidget {
    Q_OBJECT

  public:
    PendingRow(const PendingRowState& item, Scheduler& scheduler, QWidget* parent = nullptr);

    [[nodiscard]] const PendingRowState& item() const { return m_item; }
    /// Whether Return allows it; shown by the filled button.
    void setIsReturnTarget(bool isTarget);
    /// As by its button, if it is armed.
    void allow();
    [[nodiscard]] bool isAllow(const QAbstractButton& button) const { return &button == m_allow; }
    /// It has come to lie elsewhere on the screen.
    void disarm();

  Q_SIGNALS:
    /// @param answer as the daemon takes it
    void answered(const QString& id, const JSONObject& answer);

  protected:
    void showEvent(QShowEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void addHeader();
    /// A line that ends in "…" beyond that width.
    [[nodiscard]] QWidget* bounded(const char* name, const QString& text, theme::Style style,
                                   int most);
    void addDetail();
    void addPermissionButtons();
    void addReply();
    void answer(const char* action);
    void send();
    void setArmed(bool isArmed);

    PendingRowState m_item;
    Scheduler& m_scheduler;
    std::unique_ptr<Scheduler::Timer> m_arming;
    bool m_isArmed = false;
    bool m_isComposing = false; // A character, in the field.
    QPushButton* m_allow = nullptr;
    QPushButton* m_always = nullptr;
    QLineEdit* m_reply = nullptr;
    QPushButton* m_send = nullptr;
};
