#pragma once

#include <QColor>
#include <QWidget>

/// The drawings that stand beside words, in the colour of the words unless one is given.
enum class Icon { hooks, lock, question, warning };

/// One of them in its size beside text.
class IconLabel final : public QWidget {
    Q_OBJECT

  public:
    /// What of the theme it is drawn in.
    enum class Tone { text, warning };

    IconLabel(Icon icon, Tone tone, QWidget* parent = nullptr);
    void setIcon(Icon icon);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    Icon m_icon;
    Tone m_tone;
};
