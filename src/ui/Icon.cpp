#include "ui/Icon.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

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

// The drawings have no colour of their own.
QByteArray drawing(Icon icon, const QColor& color) {
    QFile file(QStringLiteral(":/icons/%1.svg").arg(fileOf(icon)));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll().replace("currentColor", color.name().toLatin1());
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
    painter.setRenderHint(QPainter::Antialiasing);
    QSvgRenderer(drawing(m_icon, m_tone == Tone::warning ? colors.orange : colors.text))
        .render(&painter, QRectF(0, (height() - width()) / 2.0, width(), width()));
}
