#pragma once

#include <QLabel>
#include <QTimer>

// They paint themselves and are labels all the same: assistive technology reads those by their
// names, and other widgets that take no focus not at all.

/// A small disc whose colour repeats what the words beside it say.
class StatusMark final : public QLabel {
    Q_OBJECT

  public:
    enum class Color { green, orange, gray, faint };

    explicit StatusMark(int size, QWidget* parent = nullptr);

    /// @param meaning the same in words, for assistive technology and as a tool tip
    void set(Color color, const QString& meaning);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    Color m_color = Color::gray;
};

/// The number of a step, or that it is done.
class StepBadge final : public QLabel {
    Q_OBJECT

  public:
    enum class Look { done, current, later };

    explicit StepBadge(QWidget* parent = nullptr);

    void set(Look look, int number);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    Look m_look = Look::later;
    int m_number = 1;
};

/// Says that something is under way. It turns only while it is seen, and not where the user wants
/// no movement: then it is three dots.
class Spinner final : public QLabel {
    Q_OBJECT

  public:
    enum class Size { small, large };

    explicit Spinner(Size size, QWidget* parent = nullptr);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    [[nodiscard]] bool moves() const;

    Size m_size;
    int m_angle = 0; // Degrees.
    QTimer m_timer;
};
