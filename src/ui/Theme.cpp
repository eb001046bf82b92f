#include "ui/Theme.h"

#include <cmath>

#include <QFontDatabase>
#include <QGuiApplication>
#include <QStringList>

namespace theme {

namespace {

constexpr Colors lightColors{
    .window = QColor(246, 246, 248),
    .surface = QColor(255, 255, 255),
    .fill = QColor(26, 28, 36, 15),
    .divider = QColor(222, 223, 228),
    .control = QColor(255, 255, 255),
    .controlHover = QColor(240, 241, 244),
    .controlPressed = QColor(228, 230, 234),
    .controlBorder = QColor(197, 200, 207),
    .fieldBorder = QColor(134, 138, 147),
    .text = QColor(27, 28, 32),
    .text2 = QColor(82, 86, 95),
    .text3 = QColor(98, 102, 111),
    .accent = QColor(29, 100, 173),
    .accentHover = QColor(25, 86, 149),
    .accentPressed = QColor(20, 73, 127),
    .onAccent = QColor(255, 255, 255),
    .accentText = QColor(26, 92, 159),
    .accentTint = QColor(29, 100, 173, 26),
    .accentTintHover = QColor(29, 100, 173, 43),
    .accentTintBorder = QColor(29, 100, 173, 89),
    .green = QColor(26, 116, 64),
    .greenMark = QColor(31, 157, 87),
    .greenFill = QColor(30, 132, 73),
    .orange = QColor(150, 75, 0),
    .orangeMark = QColor(212, 118, 10),
    .orangeTint = QColor(212, 118, 10, 26),
    .orangeTintBorder = QColor(212, 118, 10, 89),
    .red = QColor(180, 42, 36),
    .redTint = QColor(190, 42, 36, 20),
    .redTintHover = QColor(190, 42, 36, 38),
    .redBorder = QColor(190, 42, 36, 97),
    .grayMark = QColor(134, 138, 147),
    .badge = QColor(82, 86, 95, 64),
    .thumb = QColor(255, 255, 255),
    .thumbBorder = QColor(205, 208, 214),
    .switchOff = QColor(134, 138, 147),
    .scrim = QColor(20, 22, 28, 71),
};

constexpr Colors darkColors{
    .window = QColor(31, 32, 35),
    .surface = QColor(40, 41, 45),
    .fill = QColor(255, 255, 255, 19),
    .divider = QColor(54, 56, 61),
    .control = QColor(48, 50, 56),
    .controlHover = QColor(56, 58, 65),
    .controlPressed = QColor(42, 44, 49),
    .controlBorder = QColor(74, 77, 85),
    .fieldBorder = QColor(125, 129, 139),
    .text = QColor(236, 237, 240),
    .text2 = QColor(178, 182, 191),
    .text3 = QColor(164, 168, 178),
    .accent = QColor(44, 116, 190),
    .accentHover = QColor(47, 120, 194),
    .accentPressed = QColor(37, 102, 170),
    .onAccent = QColor(255, 255, 255),
    .accentText = QColor(133, 189, 242),
    .accentTint = QColor(92, 163, 232, 38),
    .accentTintHover = QColor(92, 163, 232, 59),
    .accentTintBorder = QColor(92, 163, 232, 107),
    .green = QColor(98, 206, 147),
    .greenMark = QColor(63, 191, 123),
    .greenFill = QColor(35, 135, 77),
    .orange = QColor(242, 174, 98),
    .orangeMark = QColor(232, 148, 58),
    .orangeTint = QColor(232, 148, 58, 26),
    .orangeTintBorder = QColor(232, 148, 58, 97),
    .red = QColor(255, 143, 134),
    .redTint = QColor(255, 120, 110, 26),
    .redTintHover = QColor(255, 120, 110, 46),
    .redBorder = QColor(255, 120, 110, 107),
    .grayMark = QColor(127, 131, 141),
    .badge = QColor(178, 182, 191, 64),
    .thumb = QColor(75, 78, 86),
    .thumbBorder = QColor(90, 93, 102),
    .switchOff = QColor(119, 123, 133),
    .scrim = QColor(0, 0, 0, 115),
};

constexpr double disabledOpacity = 0.45;
constexpr double scrollBarOpacity = 0.7;

struct Type {
    int size;
    int lineHeight;
    QFont::Weight weight;
    QFont::Weight emphasis;
};

Type typeOf(Style style) {
    switch (style) {
    case Style::title:
        return {22, 32, QFont::Bold, QFont::Bold};
    case Style::title2:
        return {18, 26, QFont::Bold, QFont::Bold};
    case Style::headline:
        return {14, 20, QFont::DemiBold, QFont::DemiBold};
    case Style::body:
        return {13, 20, QFont::Normal, QFont::DemiBold};
    case Style::control:
        return {13, 18, QFont::Medium, QFont::DemiBold};
    case Style::caption:
    case Style::monoCaption:
        break;
    case Style::lineNumber:
        return {11, 18, QFont::Normal, QFont::Normal};
    case Style::mark:
        return {10, 13, QFont::DemiBold, QFont::DemiBold};
    }
    return {12, 18, QFont::Normal, QFont::Bold};
}

bool isMonospaced(Style style) {
    return style == Style::monoCaption || style == Style::lineNumber || style == Style::mark;
}

// Left to the locale, fontconfig takes Japanese or Simplified shapes for some characters. No font
// with programming ligatures is among them: a command must look like what will run.
QStringList families(bool monospaced) {
    if (monospaced)
        return {QStringLiteral("DejaVu Sans Mono"),      QStringLiteral("Noto Sans Mono"),
                QStringLiteral("Liberation Mono"),       QStringLiteral("Ubuntu Mono"),
                QStringLiteral("Noto Sans Mono CJK TC"), QStringLiteral("Sarasa Mono TC"),
                QStringLiteral("Noto Sans CJK TC"),      QStringLiteral("monospace")};
    QStringList list = QFontDatabase::systemFont(QFontDatabase::GeneralFont).families();
    list << QStringLiteral("Noto Sans CJK TC") << QStringLiteral("Noto Sans TC")
         << QStringLiteral("Source Han Sans TC") << QStringLiteral("Source Han Sans TW")
         << QStringLiteral("Sarasa UI TC") << QStringLiteral("WenQuanYi Zen Hei")
         << QStringLiteral("sans-serif");
    return list;
}

QFont fontOf(Style style, QFont::Weight weight) {
    QFont font;
    font.setFamilies(families(isMonospaced(style)));
    font.setPixelSize(typeOf(style).size);
    font.setWeight(weight);
    if (isMonospaced(style))
        font.setStyleHint(QFont::Monospace);
    return font;
}

QColor withOpacity(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(color.alphaF() * opacity));
    return color;
}

QString css(const QColor& color) {
    return QStringLiteral("rgba(%1,%2,%3,%4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alpha());
}

// What a colour looks like on a ground. A border must not let anything through: the style draws its
// corners twice.
QColor flat(const QColor& color, const QColor& ground) {
    const auto mixed = [alpha = static_cast<double>(color.alphaF())](int over, int under) {
        return static_cast<int>(std::lround(over * alpha + under * (1 - alpha)));
    };
    return {mixed(color.red(), ground.red()), mixed(color.green(), ground.green()),
            mixed(color.blue(), ground.blue())};
}

// One state of a button.
QString rule(const QString& selector, const QColor& text, const QColor& ground,
             const QColor& border) {
    return QStringLiteral("%1 { color: %2; background: %3; border-color: %4; }\n")
        .arg(selector, css(text), css(ground), css(border));
}

struct ButtonColors {
    QColor text;
    QColor ground;
    QColor hover;
    QColor pressed;
    QColor border;
};

QString button(const QString& look, const ButtonColors& colors) {
    const QString selector = QStringLiteral("QPushButton[look=\"%1\"]").arg(look);
    return rule(selector, colors.text, colors.ground, colors.border) +
           rule(selector + QStringLiteral(":hover"), colors.text, colors.hover, colors.border) +
           rule(selector + QStringLiteral(":pressed"), colors.text, colors.pressed, colors.border) +
           rule(selector + QStringLiteral(":disabled"), disabled(colors.text),
                disabled(colors.ground), disabled(colors.border));
}

QString buttons(const Colors& c) {
    const QColor none(Qt::transparent);
    const QString all =
        QStringLiteral("QPushButton { min-height: %1px; max-height: %1px; border-radius: %2px; "
                       "padding: 0 %3px; border: 1px solid transparent; outline: none; }\n"
                       "QPushButton[small=\"true\"] { min-height: %4px; max-height: %4px; "
                       "padding: 0 %5px; }\n"
                       "QPushButton[look=\"plain\"] { padding: 0 %6px; }\n"
                       "QPushButton[look=\"link\"] { padding: 0; min-height: 18px; "
                       "max-height: 18px; }\n"
                       "QPushButton[look=\"link\"]:hover { text-decoration: underline; }\n")
            .arg(metrics::buttonHeight - 2)
            .arg(metrics::controlRadius)
            .arg(metrics::buttonPadding - 1)
            .arg(metrics::smallButtonHeight - 2)
            .arg(metrics::smallButtonPadding - 1)
            .arg(metrics::plainButtonPadding - 1);
    return all +
           button(QStringLiteral("standard"),
                  {c.text, c.control, c.controlHover, c.controlPressed, c.controlBorder}) +
           button(QStringLiteral("prominent"),
                  {c.onAccent, c.accent, c.accentHover, c.accentPressed, none}) +
           button(QStringLiteral("tinted"),
                  {c.accentText, c.accentTint, c.accentTintHover, c.accentTintHover,
                   flat(c.accentTintBorder, c.window)}) +
           button(QStringLiteral("destructive"),
                  {c.red, none, c.redTint, c.redTintHover, flat(c.redBorder, c.window)}) +
           button(QStringLiteral("confirm"),
                  {c.red, c.redTint, c.redTintHover, c.redTintHover, flat(c.redBorder, c.window)}) +
           button(QStringLiteral("plain"), {c.text, none, c.fill, c.controlPressed, none}) +
           button(QStringLiteral("link"), {c.accentText, none, none, none, none});
}

// The box with a command, and the bar of what scrolls.
QString boxes(const Colors& c) {
    return QStringLiteral("QTextEdit[look=\"command\"] { background: %1; color: %2; "
                          "border: 1px solid transparent; border-radius: %3px; padding: %4px; }\n"
                          "QTextEdit[look=\"command\"][hides=\"true\"] { border-color: %5; }\n")
               .arg(css(c.fill), css(c.text))
               .arg(metrics::commandRadius)
               .arg(metrics::commandPadding - 1)
               .arg(css(flat(c.orangeTintBorder, c.window))) +
           QStringLiteral(
               "QScrollBar:vertical { background: transparent; width: 5px; margin: 0; }\n"
               "QScrollBar::handle:vertical { background: %1; border-radius: 2px; "
               "min-height: 24px; }\n"
               "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }\n"
               "QScrollBar::add-page, QScrollBar::sub-page { background: none; }\n")
               .arg(css(withOpacity(c.text3, scrollBarOpacity)));
}

QString labels(const Colors& c) {
    const auto color = [](const char* look, const QColor& text) {
        return QStringLiteral("QLabel[look=\"%1\"] { color: %2; }\n")
            .arg(QLatin1String(look), css(text));
    };
    return QStringLiteral("QLabel { color: %1; background: transparent; }\n").arg(css(c.text)) +
           color("secondary", c.text2) + color("error", c.red) + color("warning", c.orange) +
           color("good", c.green);
}

} // namespace

const Colors& light() {
    return lightColors;
}

const Colors& dark() {
    return darkColors;
}

const Colors& of(const QPalette& palette) {
    constexpr int middle = 128;
    return palette.color(QPalette::Window).lightness() < middle ? darkColors : lightColors;
}

const Colors& current() {
    return of(QGuiApplication::palette());
}

QColor disabled(QColor color) {
    return withOpacity(color, disabledOpacity);
}

QFont font(Style style) {
    return fontOf(style, typeOf(style).weight);
}

QFont emphasized(Style style) {
    return fontOf(style, typeOf(style).emphasis);
}

int lineHeight(Style style) {
    return typeOf(style).lineHeight;
}

QString styleSheet(const Colors& c) {
    return buttons(c) + labels(c) + boxes(c) +
           QStringLiteral("QFrame[look=\"divider\"] { background: %1; border: none; "
                          "min-height: 1px; max-height: 1px; }\n"
                          "QFrame[look=\"problem\"] { background: %2; border: none; "
                          "border-radius: %3px; }\n"
                          "QWidget[look=\"window\"] { background: %4; }\n")
               .arg(css(c.divider), css(c.orangeTint))
               .arg(metrics::boxRadius)
               .arg(css(c.window)) +
           QStringLiteral("QLineEdit { background: %1; color: %2; border: 1px solid %3; "
                          "border-radius: %4px; padding: 0 6px; min-height: %5px; "
                          "max-height: %5px; }\n"
                          "QLineEdit:focus { border: 2px solid %6; padding: 0 5px; "
                          "min-height: %7px; max-height: %7px; }\n"
                          "QLineEdit:disabled { color: %8; border-color: %9; }\n")
               .arg(css(c.surface), css(c.text), css(c.fieldBorder))
               .arg(metrics::controlRadius)
               .arg(metrics::buttonHeight - 2)
               .arg(css(c.accentText))
               .arg(metrics::buttonHeight - 4)
               .arg(css(disabled(c.text)), css(disabled(c.fieldBorder)));
}

void apply(QWidget& window) {
    QPalette palette = QGuiApplication::palette();
    const Colors& colors = of(palette);
    palette.setColor(QPalette::Window, colors.window);
    palette.setColor(QPalette::Base, colors.surface);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, colors.text);
    palette.setColor(QPalette::PlaceholderText, colors.text3);
    palette.setColor(QPalette::Highlight, colors.accent);
    palette.setColor(QPalette::HighlightedText, colors.onAccent);
    window.setPalette(palette);
    window.setStyleSheet(styleSheet(colors));
}

} // namespace theme
