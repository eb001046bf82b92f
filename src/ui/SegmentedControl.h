#pragma once

#include <QButtonGroup>
#include <QFrame>
#include <QStringList>

/// Some choices beside one another, of which one is chosen. The arrow keys go through them.
class SegmentedControl final : public QFrame {
    Q_OBJECT

  public:
    /// @param name for assistive technology
    SegmentedControl(const QString& name, const QStringList& choices, QWidget* parent = nullptr);

    [[nodiscard]] int choice() const { return m_buttons.checkedId(); }
    /// Without the signal.
    void setChoice(int index);

  Q_SIGNALS:
    /// By the person.
    void chosen(int index);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QButtonGroup m_buttons;
};
