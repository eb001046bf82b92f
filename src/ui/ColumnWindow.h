#pragma once

#include <QWidget>

/// A window, in a frame of the desktop's, around a column of parts that has a fixed width. It is as
/// high as they are; on a screen that is lower, they scroll.
class ColumnWindow : public QWidget {
    Q_OBJECT

  public:
    /// Shows it, in front of other windows and with the keyboard.
    void open();

  protected:
    /// @param name its object name
    /// @param content becomes its child
    ColumnWindow(const char* name, const QString& title, QWidget* content, QWidget* parent);

    [[nodiscard]] QWidget* content() const { return m_content; }
    /// Takes the height of the content now, and not only once the event loop runs.
    void fit();

    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QWidget* m_content;
};
