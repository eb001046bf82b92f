#include "ui/FocusRing.h"

#include <QApplication>
#include <QFocusEvent>
#include <QLineEdit>
#include <QPainter>
#include <QProxyStyle>

#include "ui/SegmentedControl.h"
#include "ui/Switch.h"
#include "ui/Theme.h"

using namespace theme;

namespace {

// How far the ring lies outside of what it goes around.
class Outside final : public QProxyStyle {
  public:
    [[nodiscard]] int pixelMetric(PixelMetric metric, const QStyleOption* option,
                                  const QWidget* widget) const override {
        if (metric == PM_FocusFrameHMargin || metric == PM_FocusFrameVMargin)
            return metrics::focusGap + metrics::focusWidth;
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
    // Below, the button's parent would cut it off.
    [[nodiscard]] int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                                QStyleHintReturn* data) const override {
        if (hint == SH_FocusFrame_Mask)
            return 0; // It would cut what a round ring has within the corners.
        return hint == SH_FocusFrame_AboveWidget
                   ? 1
                   : QProxyStyle::styleHint(hint, option, widget, data);
    }
};

// The segments are one control.
QWidget* controlOf(QWidget* widget) {
    auto* segmented = qobject_cast<SegmentedControl*>(widget->parentWidget());
    return segmented ? segmented : widget;
}

int radiusOf(const QWidget& control) {
    if (qobject_cast<const Switch*>(&control))
        return control.height() / 2;
    return qobject_cast<const SegmentedControl*>(&control) ? metrics::segmentTrackRadius
                                                           : metrics::controlRadius;
}

} // namespace

FocusRing::FocusRing(QWidget* window) : QFocusFrame(window), m_window(window) {
    auto* style = new Outside;
    style->setParent(this);
    setStyle(style);
    hide(); // Until it goes around something.
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
            setWidget(byKeyboard && !hasOwn ? controlOf(widget) : nullptr);
        else if (this->widget() == controlOf(widget))
            setWidget(nullptr);
    }
    // What was out of sight when it got the focus has been scrolled to where it shows.
    if (widget && event->type() == QEvent::Move && isHidden() && this->widget() &&
        widget->isAncestorOf(this->widget())) {
        QWidget* const around = this->widget();
        setWidget(nullptr);
        setWidget(around);
    }
    return QFocusFrame::eventFilter(watched, event);
}

void FocusRing::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(theme::current().accentText, metrics::focusWidth));
    const qreal half = metrics::focusWidth / 2.0;
    const int radius = (widget() ? radiusOf(*widget()) : metrics::controlRadius) +
                       metrics::focusWidth + metrics::focusGap;
    painter.drawRoundedRect(QRectF(rect()).adjusted(half, half, -half, -half), radius, radius);
}
