#include "ui/ParagraphLabel.h"

#include <algorithm>
#include <cmath>

#include <QPainter>

namespace {

constexpr int unlimited = 1 << 20;

// File names stay whole at the end of a line: a line may break after a hyphen, but not in
// ".tamsell-backup".
QString unbroken(QString text) {
    static const QString hyphen = QStringLiteral("-");
    return text.replace(hyphen, hyphen + QChar(0x2060)); // A word joiner.
}

} // namespace

ParagraphLabel::ParagraphLabel(theme::Style style, const QString& look, QWidget* parent)
    : QLabel(parent), m_style(style) {
    setTextFormat(Qt::PlainText);
    setFont(theme::font(style));
    setProperty("look", look);
    setWordWrap(true);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

int ParagraphLabel::layOut(QTextLayout& layout, int width) const {
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    const int advance = theme::lineHeight(m_style);
    int top = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition(QPointF(0, top + (advance - line.height()) / 2));
        top += advance;
    }
    layout.endLayout();
    return top;
}

int ParagraphLabel::heightForWidth(int width) const {
    QTextLayout layout(unbroken(text()), font());
    return layOut(layout, width);
}

QSize ParagraphLabel::sizeHint() const {
    QTextLayout layout(unbroken(text()), font());
    const int height = layOut(layout, unlimited);
    return {static_cast<int>(std::ceil(layout.maximumWidth())), height};
}

QSize ParagraphLabel::minimumSizeHint() const {
    return {0, theme::lineHeight(m_style)};
}

void ParagraphLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    QTextLayout layout(unbroken(text()), font());
    layOut(layout, width());
    layout.draw(&painter, QPointF(0, 0));
}
