#pragma once

#include <QFocusFrame>

/// Shows where the keyboard is: a ring around the focused control of a window, there only when the
/// focus came by the keyboard.
class FocusRing final : public QFocusFrame {
    Q_OBJECT

  public:
    /// @param window whose controls it goes around
    explicit FocusRing(QWidget* window);

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QWidget* m_window;
};
