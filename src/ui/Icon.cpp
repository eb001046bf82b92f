#include "ui/Icon.h"

#include <QPainter>

#include "ui/Drawing.h"
#include "ui/Theme.h"

namespace {

QString fileOf(Icon icon) {
    switch (icon) {
    case Icon::hooks:
        return QStringLiteral("wrench-and-screwdriver");
    case Icon::lock:
        return QStringLiteral("lock-shield");
    case Icon::question:
        return QStringLiteral("question-circle");
    case Icon::warning:
        break;
    }
    return QStringLiteral("warning-triangle-fill");
}

} // namespace

IconLabel::IconLabel(Icon icon, Tone tone, QWidget* parent)
    : QWidget(parent), m_icon(icon), m_tone(tone) {
    // As high as the line that it stands in.
    setFixedSize(theme::metrics::iconSize, theme::lineHeight(theme::Style::body));
}

void IconLabel::setIcon(Icon icon) {
    m_icon = icon;
    update();
}

void IconLabel::paintEvent(QPaintEvent* /*event*/) {
    const theme::Colors& colors = theme::current();
    QPainter painter(this);
    paintDrawing(painter, fileOf(m_icon), m_tone == Tone::warning ? colors.orange : colors.text,
                 QRectF(0, (height() - width()) / 2.0, width(), width()));
}
