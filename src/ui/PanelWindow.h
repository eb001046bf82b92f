#pragma once

#include <QPixmap>
#include <QScrollArea>
#include <QWidget>

/// The frame of the panel: without the desktop's own, rounded and with a shadow where the desktop
/// can compose that, square elsewhere. As high as its content, as far as the screen allows; beyond
/// that the content scrolls in it.
class PanelWindow final : public QWidget {
    Q_OBJECT

  public:
    enum class Kind {
        popup, ///< closes when something else is clicked, or with Escape
        window ///< stays, in a frame of the desktop's
    };
    enum class Compositing { available, missing };

    /// @param content becomes its child
    PanelWindow(QWidget* content, Kind kind, Compositing compositing);
    ~PanelWindow() override;

    /// Opens beside this point of a screen, or where the desktop wants it.
    void openAt(const QPoint& point);

  Q_SIGNALS:
    /// The content is about to be seen: whatever it looks up, it can do so before its place and
    /// size are decided.
    void opening();
    void closed();
    /// The content lies elsewhere on the screen, or has come there, or the keyboard has.
    void moved();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    [[nodiscard]] int margin() const;
    void fit();
    void place();
    void stayOnScreen();
    void drawShadow();

    QWidget* m_content;
    Kind m_kind;
    Compositing m_compositing;
    QPoint m_point; ///< that a popup stands beside
    QScrollArea* m_scroller;
    QPixmap m_shadow;
};
