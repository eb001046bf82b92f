#pragma once

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QWidget>

#include "ui/ParagraphLabel.h"

/// Asks once more before something is lost. It lies over a whole window and takes every click and
/// key meant for it; no loop of its own runs.
///
/// The focus begins on 取消. Escape and a click beside the box dismiss it; Return never confirms,
/// nor does the second half of a double click.
class Confirmation final : public QWidget {
    Q_OBJECT

  public:
    /// @param window that it lies over
    explicit Confirmation(QWidget* window);

    void ask(const QString& title, const QString& message, const QString& action);
    /// Puts it away and gives the focus back to what had it. No signal follows.
    void finish();

  Q_SIGNALS:
    void confirmed();
    void dismissed();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QWidget* m_box;
    ParagraphLabel* m_title;
    ParagraphLabel* m_message;
    QPushButton* m_cancel;
    QPushButton* m_confirm;
    QPointer<QWidget> m_focused; // Before.
};
