#include "ui/Parts.h"

#include <algorithm>
#include <cmath>

#include <QCoreApplication>
#include <QPainter>

#include "ui/VisibleName.h"

namespace parts {

QVBoxLayout* column(QWidget* widget, int spacing) {
    auto* column = new QVBoxLayout(widget);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing);
    return column;
}

namespace {

// At a scale like 1.5, some lines would get one pixel of the screen and some two.
class Divider final : public QFrame {
  public:
    explicit Divider(QWidget* parent) : QFrame(parent) { setFixedHeight(1); }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        const qreal ratio = devicePixelRatioF();
        const qreal top = painter.deviceTransform().map(QPointF(0, 0)).y();
        painter.fillRect(QRectF(0, (std::round(top) - top) / ratio, width(),
                                std::max(std::floor(ratio), 1.0) / ratio),
                         theme::current().divider);
    }
};

} // namespace

QFrame* divider(QWidget* parent) {
    return new Divider(parent);
}

QLabel* label(const QString& text, theme::Style style, const char* look, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(theme::font(style));
    label->setMinimumHeight(theme::lineHeight(style));
    label->setProperty("look", QLatin1String(look));
    return label;
}

namespace {

bool takesTab(const QWidget& widget) {
    return (widget.focusPolicy() & Qt::TabFocus) != 0 && !widget.focusProxy();
}

// Far more than any message of ours, and less than a screen.
constexpr int mostLines = 20;

} // namespace

TextBlock* errorLine(QWidget* parent) {
    auto* line =
        new TextBlock(theme::Style::caption, QStringLiteral("error"), mostLines, 0, parent);
    line->setObjectName(QStringLiteral("error"));
    line->setAccessibleName(QCoreApplication::translate("parts", "錯誤"));
    return line;
}

TextBlock* noticeTitle(const QString& look, QWidget* parent) {
    auto* title = new TextBlock(theme::Style::body, look, mostLines, 0, parent);
    title->setFont(theme::emphasized(theme::Style::body));
    title->setAccessibleName(QCoreApplication::translate("parts", "問題"));
    return title;
}

void setToolTip(QWidget* widget, const QString& text) {
    // Qt takes a text for rich or plain by its looks. As the former, with nothing in it that could
    // be a tag, it is always the same, and wraps.
    constexpr int longestWord = 24;
    constexpr int longest = 1'000; // More would fill the screen, and end beyond it.
    QString broken;
    int word = 0;
    for (const QChar character : shortened(text, longest)) {
        const bool isInside = !character.isSpace() && !character.isLowSurrogate();
        word = character.isSpace() ? 0 : word + 1;
        if (isInside && word > longestWord) {
            broken += QChar(0x200B); // A zero width space.
            word = 1;
        }
        broken += character;
    }
    widget->setToolTip(text.isEmpty() ? QString()
                                      : QStringLiteral("<p style=\"white-space: pre-wrap\">%1</p>")
                                            .arg(broken.toHtmlEscaped()));
    widget->setAccessibleDescription(text);
}

void tabAfter(QWidget* before, const QWidget* block) {
    for (QWidget* widget : before->findChildren<QWidget*>())
        if (takesTab(*widget))
            before = widget;
    for (QWidget* widget : block->findChildren<QWidget*>())
        if (takesTab(*widget)) {
            QWidget::setTabOrder(before, widget);
            before = widget;
        }
}

} // namespace parts
