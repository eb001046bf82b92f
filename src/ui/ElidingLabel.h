#pragma once

#include <QLabel>

/// One line of plain text that gives way at its end, or in its middle, and then has the whole as
/// its tool tip.
class ElidingLabel final : public QLabel {
    Q_OBJECT

  public:
    explicit ElidingLabel(Qt::TextElideMode mode = Qt::ElideRight, QWidget* parent = nullptr);

    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

  private:
    [[nodiscard]] QString elided() const;

    Qt::TextElideMode m_mode;
};
