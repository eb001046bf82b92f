#pragma once

#include <QCheckBox>
#include <QVariantAnimation>

/// A switch: a check box that is drawn as one, without its words.
class Switch final : public QCheckBox {
    Q_OBJECT

  public:
    explicit Switch(QWidget* parent = nullptr);

    /// Without the movement of a person's click.
    void setShown(bool on);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    [[nodiscard]] bool hitButton(const QPoint& position) const override;

  private:
    QVariantAnimation m_thumb; // From 0, off, to 1, on.
};
