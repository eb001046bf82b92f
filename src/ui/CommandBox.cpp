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
constexpr ushort narrowSpace = 0x202F; // At which no line is broken.

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

CommandBox::CommandBox(QWidget* parent)
    : TextBlock(Style::monoCaption, QStringLiteral("command"), mostLines, metrics::commandPadding,
                parent),
      m_gutter(new Gutter(this)) {
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    setFocusPolicy(Qt::StrongFocus);
    setLayoutDirection(Qt::LeftToRight);
    QTextOption option = document()->defaultTextOption();
    option.setTextDirection(Qt::LeftToRight);
    document()->setDefaultTextOption(option);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, m_gutter,
            qOverload<>(&QWidget::update));
}

// How many bytes of UTF-8 a unit of UTF-16 stands for. The second half of a pair has been counted
// with the first.
std::size_t CommandBox::bytesOf(QChar unit) {
    if (unit.isLowSurrogate())
        return 0;
    if (unit.isHighSurrogate())
        return 4;
    return unit.unicode() < 0x80 ? 1 : unit.unicode() < 0x800 ? 2 : 3;
}

// A line may break behind signs, in "a/b" or "-f", say; here only spaces part words. What holds
// them together is in a font so small that it does not move the line.
void CommandBox::insert(QTextCursor& cursor, const Formats& formats, std::string_view text,
                        std::size_t at) {
    const QString whole = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    QString run;
    for (const QChar character : whole) {
        run += character;
        m_sources.push_back(at);
        at += bytesOf(character);
        if (character.unicode() < 0x80 && (character.isPunct() || character.isSymbol())) {
            cursor.insertText(run, formats.plain);
            cursor.insertText(QString(QChar(wordJoiner)), formats.joiner);
            m_sources.push_back(at);
            run.clear();
        }
    }
    cursor.insertText(run, formats.plain);
}

void CommandBox::setCommand(std::string_view utf8) {
    if (utf8 == m_command && !m_isEmpty)
        return;
    m_isEmpty = false;
    m_command = utf8;
    lay();
}

// Anew when the theme changes: the document has colours in it.
void CommandBox::lay() {
    m_sources.clear();
    m_marks.clear();
    const std::string_view shown = text::prefix(m_command, maximumShown, maximumShown);
    m_leftOut = 0;
    for (const char byte : std::string_view(m_command).substr(shown.size()))
        m_leftOut += (static_cast<unsigned char>(byte) & 0xC0) != 0x80 ? 1 : 0;

    const Colors& colors = theme::current();
    Formats formats;
    formats.plain.setFont(theme::font(Style::monoCaption));
    formats.plain.setForeground(colors.text);
    formats.joiner = formats.plain;
    QFont tiny = theme::font(Style::monoCaption);
    tiny.setPixelSize(1);
    formats.joiner.setFont(tiny);
    formats.mark.setFont(theme::font(Style::mark));
    formats.mark.setForeground(colors.orange);

    document()->clear();
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setBlockFormat(lineFormat());
    std::size_t at = 0;
    for (const text::Piece& piece : text::pieces(shown)) {
        if (piece.mark.empty()) {
            insert(cursor, formats, piece.text, at);
        } else {
            const QString mark =
                QChar(narrowSpace) + QString::fromStdString(piece.mark) + QChar(narrowSpace);
            m_sources.insert(m_sources.end(), static_cast<std::size_t>(mark.size()), at);
            m_marks.push_back(
                {cursor.position(), cursor.position() + static_cast<int>(mark.size())});
            cursor.insertText(mark, formats.mark);
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
    placeGutter();
}

int CommandBox::gutter() const {
    return document()->blockCount() > 1 ? metrics::gutterWidth : 0;
}

void CommandBox::placeGutter() {
    const QRect inside = viewport()->geometry();
    m_gutter->setVisible(gutter() > 0);
    m_gutter->setGeometry(inside.left() - gutter(), inside.top(), gutter(), inside.height());
}

void CommandBox::changeEvent(QEvent* event) {
    TextBlock::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && !m_isEmpty)
        lay();
}

void CommandBox::resizeEvent(QResizeEvent* event) {
    TextBlock::resizeEvent(event);
    placeGutter();
}

void CommandBox::paintNumbers(QPainter& painter, const QRect& area) {
    painter.setFont(theme::font(Style::lineNumber));
    painter.setPen(theme::current().text3);
    const int scrolled = verticalScrollBar()->value();
    int number = 0;
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        ++number;
        const QRectF bounds = document()->documentLayout()->blockBoundingRect(block);
        const int top = static_cast<int>(bounds.top()) - scrolled + raised();
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
    {
        const Colors& colors = theme::current();
        QPainter painter(viewport());
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(colors.orangeMark);
        painter.setBrush(colors.orangeTint);
        for (const Mark& mark : m_marks) {
            const qreal radius = Length(3);
            const QRectF frame = frameOf(mark);
            if (frame.intersects(event->rect()))
                painter.drawRoundedRect(frame, radius, radius);
        }
    }
    TextBlock::paintEvent(event);
}

// Empty for a mark that is broken over two lines, which keeps its colour.
QRectF CommandBox::frameOf(const Mark& mark) const {
    QTextCursor cursor(document());
    cursor.setPosition(mark.begin);
    const QRectF begin = cursorRect(cursor);
    cursor.setPosition(mark.end);
    const QRectF end = cursorRect(cursor);
    const QTextBlock block = cursor.block();
    const int line =
        block.layout()->lineForTextPosition(mark.begin - block.position()).lineNumber();
    if (line < 0 || begin.top() != end.top())
        return {};
    const qreal top = document()->documentLayout()->blockBoundingRect(block).top() +
                      line * lineHeight(Style::monoCaption) - verticalScrollBar()->value() +
                      raised();
    const qreal height = lineHeight(Style::mark);
    return {begin.left() + 0.5, top + (lineHeight(Style::monoCaption) - height) / 2 + 0.5,
            end.left() - begin.left() - 1, height};
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
        TextBlock::wheelEvent(event);
        event->accept();
        return;
    }
    event->ignore();
}

void CommandBox::keyPressEvent(QKeyEvent* event) {
    QScrollBar* bar = verticalScrollBar();
    if (event->matches(QKeySequence::Copy)) {
        copy();
    } else if (event->matches(QKeySequence::SelectAll)) {
        selectAll();
    } else if (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down) {
        bar->setValue(bar->value() +
                      (event->key() == Qt::Key_Up ? -1 : 1) * lineHeight(Style::monoCaption));
    } else if (event->key() == Qt::Key_PageUp || event->key() == Qt::Key_PageDown) {
        bar->setValue(bar->value() + (event->key() == Qt::Key_PageUp ? -1 : 1) * bar->pageStep());
    } else {
        event->ignore(); // Return, Escape and Tab belong to the panel.
    }
}
