#include "ui/ElidingLabel.h"

#include <QPainter>

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

void ElidingLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    setToolTip(elided() == text() ? QString() : text().toHtmlEscaped());
}

void ElidingLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    painter.drawText(rect(), static_cast<int>(alignment() | Qt::AlignVCenter), elided());
}
