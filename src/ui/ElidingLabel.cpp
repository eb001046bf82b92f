#include "ui/ElidingLabel.h"

#include <QEvent>
#include <QPainter>

#include "ui/Parts.h"

ElidingLabel::ElidingLabel(Qt::TextElideMode mode, QWidget* parent) : QLabel(parent), m_mode(mode) {
    setTextFormat(Qt::PlainText);
}

QString ElidingLabel::elided() const {
    return fontMetrics().elidedText(text(), m_mode, width());
}

QSize ElidingLabel::minimumSizeHint() const {
    return {fontMetrics().horizontalAdvance(QStringLiteral("…")),
            QLabel::minimumSizeHint().height()};
}

bool ElidingLabel::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip)
        parts::setToolTip(this, elided() == text() ? QString() : text());
    return QLabel::event(event);
}

void ElidingLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    painter.drawText(rect(), static_cast<int>(alignment() | Qt::AlignVCenter), elided());
}
