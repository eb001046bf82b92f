#include "ui/TextBlock.h"

#include <cmath>

#include <QEvent>
#include <QTextBlock>

TextBlock::TextBlock(int maximumLines, int padding, QWidget* parent)
    : QPlainTextEdit(parent), m_maximumLines(maximumLines) {
    setReadOnly(true);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    document()->setDocumentMargin(padding);
    viewport()->setAutoFillBackground(false);
}

void TextBlock::setText(const QString& text) {
    if (text == toPlainText())
        return;
    setPlainText(text);
    fitHeight();
}

void TextBlock::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        fitHeight();
}

void TextBlock::changeEvent(QEvent* event) {
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        fitHeight();
}

void TextBlock::fitHeight() {
    double text = 0;
    int lines = 0;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        text += blockBoundingRect(block).height();
        lines += block.layout()->lineCount();
    }
    // The first block brings the margin above it.
    const double margin = document()->documentMargin();
    text -= margin;
    const bool scrolls = lines > m_maximumLines;
    if (scrolls)
        text *= (m_maximumLines + 0.5) / lines;
    setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    const int frame = height() - viewport()->height();
    setFixedHeight(static_cast<int>(std::ceil(text + margin * (scrolls ? 1 : 2))) + frame);
}
