#include "ui/Switch.h"

#include <QPainter>
#include <QStyle>

#include "ui/Theme.h"

namespace {

constexpr QSize drawn(36, 20);
constexpr qreal inset = 2;
constexpr int duration = 120;

} // namespace

Switch::Switch(QWidget* parent) : QCheckBox(parent) {
    m_thumb.setDuration(duration);
    m_thumb.setEasingCurve(QEasingCurve::OutQuad);
    m_thumb.setStartValue(0.0);
    m_thumb.setEndValue(0.0);
    connect(&m_thumb, &QVariantAnimation::valueChanged, this, [this] { update(); });
    connect(this, &QCheckBox::toggled, this, [this](bool on) {
        const bool moves =
            isVisible() && style()->styleHint(QStyle::SH_Widget_Animation_Duration) > 0;
        m_thumb.stop();
        m_thumb.setStartValue(m_thumb.currentValue());
        m_thumb.setEndValue(on ? 1.0 : 0.0);
        m_thumb.start();
        if (!moves)
            m_thumb.setCurrentTime(duration);
    });
}

void Switch::setShown(bool on) {
    setChecked(on);
    m_thumb.setCurrentTime(duration);
}

QSize Switch::sizeHint() const {
    return drawn * theme::textScale();
}

bool Switch::hitButton(const QPoint& position) const {
    return rect().contains(position);
}

void Switch::paintEvent(QPaintEvent* /*event*/) {
    const theme::Colors& colors = theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(theme::textScale(), theme::textScale());
    painter.setPen(Qt::NoPen);
    const QColor track = isChecked() ? colors.accent : colors.switchOff;
    painter.setBrush(isEnabled() ? track : theme::disabled(track));
    const QRectF all(QPointF(0, 0), QSizeF(drawn));
    painter.drawRoundedRect(all, all.height() / 2, all.height() / 2);
    const qreal side = all.height() - 2 * inset;
    const qreal left = inset + m_thumb.currentValue().toReal() * (all.width() - side - 2 * inset);
    painter.setBrush(isEnabled() ? QColor(Qt::white) : theme::disabled(Qt::white));
    painter.drawEllipse(QRectF(left, inset, side, side));
}
