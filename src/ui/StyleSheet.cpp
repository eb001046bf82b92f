#include "ui/StyleSheet.h"

#include <cmath>

namespace theme {

namespace {

constexpr float scrollBarOpacity = 0.7F;

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

// The ground ends in the middle of the border: what seems to have none has one like its ground, or
// else the ground would end in half a pixel.
QString button(const QString& look, const ButtonColors& colors, const QColor& window) {
    const QString selector = QStringLiteral("QPushButton[look=\"%1\"]").arg(look);
    const auto state = [&](const char* when, const QColor& ground) {
        return rule(selector + QLatin1String(when), colors.text, ground,
                    colors.border.isValid() ? colors.border : flat(ground, window));
    };
    const QColor ground = disabled(colors.ground);
    const QColor border = colors.border.isValid() ? disabled(colors.border) : ground;
    return state("", colors.ground) + state(":hover", colors.hover) +
           state(":pressed", colors.pressed) +
           rule(selector + QStringLiteral(":disabled"), disabled(colors.text), ground,
                flat(border, window));
}

QColor barOf(QColor text) {
    text.setAlphaF(text.alphaF() * scrollBarOpacity);
    return text;
}

QString buttons(const Colors& c) {
    const QColor none(Qt::transparent);
    const QString all =
        QStringLiteral("QPushButton { min-height: %1px; max-height: %1px; border-radius: %2px; "
                       "padding: 0 %3px; border: 1px solid transparent; outline: none; }\n"
                       "QPushButton[small=\"true\"] { min-height: %4px; max-height: %4px; "
                       "padding: 0 %5px; }\n"
                       "QPushButton[look=\"plain\"] { padding: 0 %6px; }\n"
                       "QPushButton[look=\"link\"] { padding: 0; min-height: %7px; "
                       "max-height: %7px; }\n"
                       "QPushButton[look=\"link\"]:hover { text-decoration: underline; }\n"
                       "QPushButton[look=\"segment\"] { padding: 0; min-height: %8px; "
                       "max-height: %8px; min-width: %9px; border: none; }\n")
            .arg(metrics::buttonHeight - 2)
            .arg(metrics::controlRadius)
            .arg(metrics::buttonPadding - 1)
            .arg(metrics::smallButtonHeight - 2)
            .arg(metrics::smallButtonPadding - 1)
            .arg(metrics::plainButtonPadding - 1)
            .arg(lineHeight(Style::caption))
            .arg(metrics::segmentHeight)
            .arg(metrics::segmentWidth);
    return all +
           button(QStringLiteral("standard"),
                  {c.text, c.control, c.controlHover, c.controlPressed, c.controlBorder},
                  c.window) +
           button(QStringLiteral("prominent"),
                  {c.onAccent, c.accent, c.accentHover, c.accentPressed, {}}, c.window) +
           button(QStringLiteral("tinted"),
                  {c.accentText, c.accentTint, c.accentTintHover, c.accentTintHover,
                   flat(c.accentTintBorder, c.window)},
                  c.window) +
           button(QStringLiteral("destructive"),
                  {c.red, none, c.redTint, c.redTintHover, flat(c.redBorder, c.window)}, c.window) +
           button(QStringLiteral("confirm"),
                  {c.red, c.redTint, c.redTintHover, c.redTintHover, flat(c.redBorder, c.window)},
                  c.window) +
           button(QStringLiteral("plain"), {c.text, none, c.fill, c.controlPressed, {}}, c.window) +
           button(QStringLiteral("link"), {c.accentText, none, none, none, none}, c.window);
}

// What stands in a box, and the bar of what scrolls.
QString boxes(const Colors& c) {
    return QStringLiteral("TextBlock { background: transparent; border: none; }\n"
                          "TextBlock[look=\"command\"] { background: %1; border: 1px solid %2; "
                          "border-radius: %3px; }\n"
                          "TextBlock[look=\"command\"][hides=\"true\"] { border-color: %4; }\n"
                          "TextBlock[look=\"notes\"] { background: %5; border: 1px solid %6; "
                          "border-radius: %7px; }\n")
               .arg(css(c.fill), css(flat(c.fill, c.window)))
               .arg(metrics::commandRadius)
               .arg(css(flat(c.orangeTintBorder, c.window)), css(c.surface), css(c.divider))
               .arg(metrics::boxRadius) +
           QStringLiteral(
               "QScrollBar:vertical { background: transparent; width: 9px; margin: 4px 2px; }\n"
               "TextBlock > QWidget > QScrollBar:vertical { width: 6px; "
               "margin: 3px 1px 3px 0; }\n"
               "QScrollBar::handle:vertical { background: %1; border-radius: 2px; "
               "min-height: 24px; }\n"
               "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }\n"
               "QScrollBar::add-page, QScrollBar::sub-page { background: none; }\n")
               .arg(css(barOf(c.text3)));
}

QString labels(const Colors& c) {
    const auto color = [](const char* look, const QColor& text) {
        return QStringLiteral("QLabel[look=\"%1\"], TextBlock[look=\"%1\"] { color: %2; }\n")
            .arg(QLatin1String(look), css(text));
    };
    return QStringLiteral("QLabel { background: transparent; }\nQLabel, TextBlock { color: %1; }\n")
               .arg(css(c.text)) +
           color("secondary", c.text2) + color("error", c.red) + color("warning", c.orange) +
           color("good", c.green);
}

} // namespace

QString styleSheet(const Colors& c) {
    return buttons(c) + labels(c) + boxes(c) +
           QStringLiteral("QFrame[look=\"problem\"] { background: %1; border: none; "
                          "border-radius: %2px; }\n"
                          "QWidget[look=\"window\"] { background: %3; }\n")
               .arg(css(c.orangeTint))
               .arg(metrics::boxRadius)
               .arg(css(c.window)) +
           // The colours of the text are a TextField's own.
           QStringLiteral("QLineEdit { background: %1; border: 1px solid %2; "
                          "border-radius: %3px; padding: 0 6px; min-height: %4px; "
                          "max-height: %4px; }\n"
                          "QLineEdit:focus { border: 2px solid %5; padding: 0 5px; "
                          "min-height: %6px; max-height: %6px; }\n")
               .arg(css(c.surface), css(c.fieldBorder))
               .arg(metrics::controlRadius)
               .arg(metrics::buttonHeight - 2)
               .arg(css(c.accentText))
               .arg(metrics::buttonHeight - 4);
}

} // namespace theme
