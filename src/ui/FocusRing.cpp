#include "ui/FocusRing.h"

#include <QApplication>
#include <QFocusEvent>
#include <QLineEdit>
#include <QPainter>

#include "ui/Theme.h"

using namespace theme;

FocusRing::FocusRing(QWidget* window) : QFocusFrame(window), m_window(window) {
    qApp->installEventFilter(this);
}

bool FocusRing::eventFilter(QObject* watched, QEvent* event) {
    auto* widget = qobject_cast<QWidget*>(watched);
    if (widget && widget->window() == m_window &&
        (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)) {
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        const bool byKeyboard = reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
                                reason == Qt::ShortcutFocusReason;
        const bool hasOwn = qobject_cast<QLineEdit*>(widget) != nullptr;
        if (event->type() == QEvent::FocusIn)
            setWidget(byKeyboard && !hasOwn ? widget : nullptr);
        else if (this->widget() == widget)
            setWidget(nullptr);
    }
    return QFocusFrame::eventFilter(watched, event);
}

void FocusRing::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme::current().accentText, metrics::focusWidth));
    constexpr qreal half = metrics::focusWidth / 2.0;
    constexpr int radius = metrics::controlRadius + metrics::focusWidth + metrics::focusGap;
    painter.drawRoundedRect(QRectF(rect()).adjusted(half, half, -half, -half), radius, radius);
}
