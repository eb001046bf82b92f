#include "ui/Marks.h"

#include <QPainter>
#include <QPolygonF>
#include <QStyle>

#include "ui/Theme.h"

using namespace theme;

namespace {

constexpr float faint = 0.4F;
constexpr int turn = 360;          // Degrees.
constexpr int step = 12;           // Degrees.
constexpr int turnDuration = 1000; // Milliseconds.

QColor colorOf(StatusMark::Color color, const Colors& colors) {
    switch (color) {
    case StatusMark::Color::green:
        return colors.greenMark;
    case StatusMark::Color::orange:
        return colors.orangeMark;
    case StatusMark::Color::gray:
        return colors.grayMark;
    case StatusMark::Color::faint:
        break;
    }
    QColor result = colors.text2;
    result.setAlphaF(faint);
    return result;
}

// The lines of checkmark.svg, bolder.
void drawCheckmark(QPainter& painter, const QPointF& center) {
    constexpr Length side(14);
    constexpr qreal grid = 20;
    constexpr qreal strokeWidth = 2.4;
    painter.translate(center);
    painter.scale(side / grid, side / grid);
    painter.translate(-grid / 2, -grid / 2);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Qt::white, strokeWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(QPolygonF({{4.5, 10.5}, {8.25, 14.25}, {15.5, 6}}));
}

} // namespace

StatusMark::StatusMark(int size, QWidget* parent) : QLabel(parent) {
    setFixedSize(size, size);
}

void StatusMark::set(Color color, const QString& meaning) {
    m_color = color;
    setAccessibleName(meaning);
    setToolTip(meaning);
    update();
}

void StatusMark::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colorOf(m_color, theme::current()));
    painter.drawEllipse(QRectF(rect()));
}

StepBadge::StepBadge(QWidget* parent) : QLabel(parent) {
    setFixedSize(metrics::badgeSize, metrics::badgeSize);
}

void StepBadge::set(Look look, int number) {
    m_look = look;
    m_number = number;
    setAccessibleName(look == Look::done ? tr("%1，已完成").arg(number) : QString::number(number));
    update();
}

void StepBadge::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_look == Look::done      ? colors.greenFill
                     : m_look == Look::current ? colors.accent
                                               : colors.badge);
    painter.drawEllipse(QRectF(rect()));
    if (m_look == Look::done) {
        drawCheckmark(painter, QRectF(rect()).center());
        return;
    }
    painter.setFont(emphasized(Style::caption));
    painter.setPen(m_look == Look::current ? colors.onAccent : colors.text2);
    painter.drawText(rect(), Qt::AlignCenter, QString::number(m_number));
}

Spinner::Spinner(Size size, QWidget* parent) : QLabel(parent), m_size(size) {
    constexpr Length smallSide(12);
    constexpr Length largeSide(28);
    const int side = size == Size::small ? smallSide : largeSide;
    setFixedSize(side, side);
    setAccessibleName(tr("進行中"));
    m_timer.setInterval(turnDuration * step / turn);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + step) % turn;
        update();
    });
}

bool Spinner::moves() const {
    return style()->styleHint(QStyle::SH_Widget_Animation_Duration) > 0;
}

void Spinner::showEvent(QShowEvent* event) {
    QLabel::showEvent(event);
    if (moves())
        m_timer.start();
}

void Spinner::hideEvent(QHideEvent* event) {
    m_timer.stop();
    QLabel::hideEvent(event);
}

void Spinner::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!moves()) {
        painter.setPen(colors.text2);
        painter.drawText(rect(), Qt::AlignCenter, QStringLiteral("…"));
        return;
    }
    constexpr int quarter = 90;
    constexpr int perDegree = 16; // QPainter::drawArc
    const qreal stroke = (m_size == Size::small ? 1.5 : 2.5) * textScale();
    const QRectF ring = QRectF(rect()).adjusted(stroke / 2, stroke / 2, -stroke / 2, -stroke / 2);
    painter.setPen(QPen(colors.fill, stroke));
    painter.drawEllipse(ring);
    painter.setPen(QPen(colors.text2, stroke, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, (quarter - m_angle) * perDegree, -quarter * perDegree);
}
