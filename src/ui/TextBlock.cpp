#include "ui/TextBlock.h"

#include <algorithm>

#include <QAbstractTextDocumentLayout>
#include <QScopedValueRollback>
#include <QTextBlock>

TextBlock::TextBlock(theme::Style style, const QString& look, int maximumLines, int padding,
                     QWidget* parent)
    : QTextEdit(parent), m_style(style), m_maximumLines(maximumLines), m_padding(padding) {
    setProperty("look", look);
    setReadOnly(true);
    setAcceptRichText(false);
    setTabChangesFocus(true);
    setSelectable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setAutoFillBackground(false);
    setFont(theme::font(style));
    document()->setDocumentMargin(0);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document()->setDefaultTextOption(option);
}

void TextBlock::setText(const QString& text) {
    if (text == toPlainText())
        return;
    setPlainText(text);
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    all.setBlockFormat(lineFormat());
    fit();
}

void TextBlock::setSelectable(bool isSelectable) {
    setTextInteractionFlags(isSelectable ? Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard
                                         : Qt::NoTextInteraction);
    setFocusPolicy(isSelectable ? Qt::StrongFocus : Qt::NoFocus);
    viewport()->setCursor(isSelectable ? Qt::IBeamCursor : Qt::ArrowCursor);
}

QTextBlockFormat TextBlock::lineFormat() const {
    QTextBlockFormat format;
    format.setLineHeight(theme::lineHeight(m_style), QTextBlockFormat::FixedHeight);
    return format;
}

void TextBlock::resizeEvent(QResizeEvent* event) {
    QTextEdit::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        fit();
}

int TextBlock::raised() const {
    return std::max(theme::lineHeight(m_style) - fontMetrics().height(), 0) / 2;
}

void TextBlock::fit() {
    if (m_isFitting)
        return; // The bar that comes or goes makes room, or takes it.
    const QScopedValueRollback guard(m_isFitting, true);
    constexpr theme::Length barFromEdge(2);
    const int line = theme::lineHeight(m_style);
    const int padding = std::max(m_padding - 1, 0); // The border is a part of it.
    const auto layOut = [&](bool scrolls) {
        setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
        const int right = scrolls ? padding - barFromEdge : padding;
        setViewportMargins(padding + gutter(), padding - raised(), right,
                           scrolls ? 0 : padding); // A line that is cut off goes on to the edge.
        // The layout counts lines once it knows the width.
        (void)document()->documentLayout()->documentSize();
        int lines = 0;
        for (QTextBlock block = document()->begin(); block.isValid(); block = block.next())
            lines += std::max(block.layout()->lineCount(), 1);
        return lines;
    };
    int lines = layOut(false);
    const bool scrolls = lines > m_maximumLines;
    if (scrolls)
        lines = layOut(true);
    setFixedHeight(scrolls ? m_maximumLines * line + line / 2 + m_padding
                           : lines * line + 2 * m_padding);
}
