#include "ui/CommandBox.h"

#include <algorithm>

#include <QAbstractTextDocumentLayout>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QTextBlock>
#include <QWheelEvent>

#include "core/Text.h"
#include "ui/Theme.h"

using namespace theme;

namespace {

// Half a line more than these says that there is more.
constexpr int mostLines = 12;
constexpr int restBeforeThePanelScrolls = 300; // Milliseconds.
constexpr ushort wordJoiner = 0x2060;
constexpr ushort thinSpace = 0x2009;

} // namespace

class CommandBox::Gutter final : public QWidget {
  public:
    explicit Gutter(CommandBox* box) : QWidget(box), m_box(box) {}

  protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter painter(this);
        m_box->paintNumbers(painter, event->rect());
    }

  private:
    CommandBox* m_box;
};

CommandBox::CommandBox(QWidget* parent) : QTextEdit(parent), m_gutter(new Gutter(this)) {
    setProperty("look", QStringLiteral("command"));
    setReadOnly(true);
    setAcceptRichText(false);
    setTabChangesFocus(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    setFocusPolicy(Qt::StrongFocus);
    setLayoutDirection(Qt::LeftToRight);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFont(theme::font(Style::monoCaption));
    document()->setDocumentMargin(0);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(Qt::LeftToRight);
    document()->setDefaultTextOption(option);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, m_gutter,
            qOverload<>(&QWidget::update));
}

// What is shown of a plain stretch, and where each of its characters is from.
void CommandBox::append(QString& shown, std::string_view text, std::size_t at) {
    const QString whole = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    for (const QChar character : whole) {
        shown += character;
        m_sources.push_back(at);
        const ushort unit = character.unicode();
        // UTF-16 to the bytes of UTF-8; the second half of a pair has been counted with the first.
        at += unit < 0x80                   ? 1U
              : unit < 0x800                ? 2U
              : character.isHighSurrogate() ? 4U
              : character.isLowSurrogate()  ? 0U
                                            : 3U;
        if (character == QLatin1Char('-')) {
            shown += QChar(wordJoiner);
            m_sources.push_back(at);
        }
    }
}

void CommandBox::setCommand(std::string_view utf8) {
    if (utf8 == m_command && !m_sources.empty())
        return;
    m_command = utf8;
    m_sources.clear();
    m_marks.clear();
    const std::string_view shown = text::prefix(utf8, maximumShown, maximumShown);
    m_leftOut = 0;
    for (const char byte : utf8.substr(shown.size()))
        m_leftOut += (static_cast<unsigned char>(byte) & 0xC0) != 0x80 ? 1 : 0;

    const Colors& colors = theme::of(palette());
    QTextBlockFormat block;
    block.setLineHeight(lineHeight(Style::monoCaption), QTextBlockFormat::FixedHeight);
    QTextCharFormat plain;
    plain.setFont(theme::font(Style::monoCaption));
    plain.setForeground(colors.text);
    QTextCharFormat marked;
    marked.setFont(theme::font(Style::mark));
    marked.setForeground(colors.orange);
    marked.setBackground(colors.orangeTint);

    document()->clear();
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setBlockFormat(block);
    std::size_t at = 0;
    for (const text::Piece& piece : text::pieces(shown)) {
        if (piece.mark.empty()) {
            QString words;
            append(words, piece.text, at);
            cursor.insertText(words, plain);
        } else {
            const QString mark =
                QChar(thinSpace) + QString::fromStdString(piece.mark) + QChar(thinSpace);
            m_sources.insert(m_sources.end(), static_cast<std::size_t>(mark.size()), at);
            m_marks.push_back(
                {cursor.position(), cursor.position() + static_cast<int>(mark.size())});
            cursor.insertText(mark, marked);
        }
        at += piece.text.size();
    }
    m_sources.push_back(at);
    cursor.endEditBlock();
    moveCursor(QTextCursor::Start);
    const bool hides = hidesSomething();
    if (property("hides").toBool() != hides) {
        setProperty("hides", hides);
        style()->unpolish(this);
        style()->polish(this);
    }
    setAccessibleDescription(document()->toPlainText().remove(QChar(wordJoiner)));
    fit();
}

int CommandBox::lineCount() const {
    int lines = 0;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next())
        lines += std::max(block.layout()->lineCount(), 1);
    return lines;
}

void CommandBox::fit() {
    const bool hasNumbers = document()->blockCount() > 1;
    setViewportMargins(hasNumbers ? metrics::gutterWidth : 0, 0, 0, 0);
    m_gutter->setVisible(hasNumbers);
    // The layout counts lines once it knows the width.
    (void)document()->documentLayout()->documentSize();
    const int lines = lineCount();
    const int line = lineHeight(Style::monoCaption);
    const int around = 2 * metrics::commandPadding;
    setFixedHeight(lines <= mostLines ? lines * line + around
                                      : mostLines * line + line / 2 + metrics::commandPadding);
    setVerticalScrollBarPolicy(lines <= mostLines ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAlwaysOn);
    const QRect inside = viewport()->geometry();
    m_gutter->setGeometry(inside.left() - metrics::gutterWidth, inside.top(), metrics::gutterWidth,
                          inside.height());
}

void CommandBox::resizeEvent(QResizeEvent* event) {
    QTextEdit::resizeEvent(event);
    fit();
}

void CommandBox::paintNumbers(QPainter& painter, const QRect& area) {
    painter.setFont(theme::font(Style::lineNumber));
    painter.setPen(theme::of(palette()).text3);
    const int scrolled = verticalScrollBar()->value();
    int number = 0;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        ++number;
        const QRectF bounds = document()->documentLayout()->blockBoundingRect(block);
        const int top = static_cast<int>(bounds.top()) - scrolled;
        if (top > area.bottom())
            break;
        if (top + bounds.height() < area.top())
            continue;
        painter.drawText(
            QRect(0, top, metrics::gutterWidth - metrics::gutterGap, lineHeight(Style::lineNumber)),
            Qt::AlignRight | Qt::AlignVCenter, QString::number(number));
    }
}

void CommandBox::paintEvent(QPaintEvent* event) {
    QTextEdit::paintEvent(event);
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(theme::of(palette()).orangeMark);
    for (const Mark& mark : m_marks) {
        QTextCursor cursor(document());
        cursor.setPosition(mark.begin);
        const QRectF begin = cursorRect(cursor);
        cursor.setPosition(mark.end);
        const QRectF end = cursorRect(cursor);
        if (begin.top() != end.top() || !begin.united(end).intersects(event->rect()))
            continue; // A mark that is broken over two lines keeps its ground and its colour.
        constexpr qreal radius = 3;
        const qreal height = lineHeight(Style::mark);
        const QRectF frame(begin.left() + 0.5, begin.center().y() - height / 2,
                           end.left() - begin.left() - 1, height);
        painter.drawRoundedRect(frame, radius, radius);
    }
}

QMimeData* CommandBox::createMimeDataFromSelection() const {
    const QTextCursor cursor = textCursor();
    const auto sourceOf = [this](int position) {
        return m_sources.at(std::min(static_cast<std::size_t>(position), m_sources.size() - 1));
    };
    const std::size_t begin = sourceOf(cursor.selectionStart());
    const std::size_t end = std::max(sourceOf(cursor.selectionEnd()), begin);
    auto* copied = new QMimeData;
    copied->setText(QString::fromStdString(m_command.substr(begin, end - begin)));
    return copied;
}

// At its end it holds the wheel for a moment, so that the panel does not run away under it.
void CommandBox::wheelEvent(QWheelEvent* event) {
    const QScrollBar* bar = verticalScrollBar();
    const bool up = event->angleDelta().y() > 0;
    const bool isAtEnd = bar->value() == (up ? bar->minimum() : bar->maximum());
    const bool rested =
        !m_lastWheel.isValid() || m_lastWheel.elapsed() >= restBeforeThePanelScrolls;
    if (bar->maximum() > bar->minimum() && (!isAtEnd || !rested)) {
        m_lastWheel.start();
        QTextEdit::wheelEvent(event);
        event->accept();
        return;
    }
    event->ignore();
}

void CommandBox::keyPressEvent(QKeyEvent* event) {
    QScrollBar* bar = verticalScrollBar();
    if (event->matches(QKeySequence::Copy)) {
        copy();
    } else if (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down) {
        bar->setValue(bar->value() +
                      (event->key() == Qt::Key_Up ? -1 : 1) * lineHeight(Style::monoCaption));
    } else if (event->key() == Qt::Key_PageUp || event->key() == Qt::Key_PageDown) {
        bar->setValue(bar->value() + (event->key() == Qt::Key_PageUp ? -1 : 1) * bar->pageStep());
    } else {
        event->ignore(); // Return, Escape and Tab belong to the panel.
    }
}
