#include "ui/Theme.h"

#include <algorithm>
#include <cmath>

#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QStringList>
#include <QStyle>

#include "ui/StyleSheet.h"

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

constexpr float disabledOpacity = 0.45F;

struct Type {
    Length size;
    Length lineHeight;
    QFont::Weight weight;
    QFont::Weight emphasis;
};

Type typeOf(Style style) {
    switch (style) {
    case Style::title:
        return {Length(22), Length(32), QFont::Bold, QFont::Bold};
    case Style::title2:
        return {Length(18), Length(26), QFont::Bold, QFont::Bold};
    case Style::headline:
        return {Length(14), Length(20), QFont::DemiBold, QFont::DemiBold};
    case Style::body:
        return {Length(13), Length(20), QFont::Normal, QFont::DemiBold};
    case Style::control:
        return {Length(13), Length(18), QFont::Medium, QFont::DemiBold};
    case Style::caption:
    case Style::monoCaption:
        break;
    case Style::lineNumber:
        return {Length(11), Length(18), QFont::Normal, QFont::Normal};
    case Style::mark:
        return {Length(10), Length(13), QFont::DemiBold, QFont::DemiBold};
    }
    return {Length(12), Length(18), QFont::Normal, QFont::Bold};
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
    // The desktop may name a kind, like "Sans Serif", which Qt passes over in a list.
    QStringList list{QFontInfo(QFontDatabase::systemFont(QFontDatabase::GeneralFont)).family()};
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

// The desktop's own words against ours, which are drawn at 13 pixels. Asked for in pixels, the
// font has in it whatever makes text larger but not the picture: its own size in points, and a
// resolution that is for text alone. What makes everything larger, X11's Xft.dpi among it, Qt takes
// for the device pixel ratio, and none of it is counted twice. Desktops differ in what they find
// usual, from 9 to 12 points: that is not yet a wish for larger text.
double scaleOf(const QFont& desktops) {
    constexpr double usual = 13;
    constexpr double least = 1.25;
    constexpr double most = 3;
    const double scale = QFontInfo(desktops).pixelSize() / usual;
    return scale < least ? 1 : std::min(scale, most);
}

// Applies the theme anew when the desktop's colours have changed. What a style sheet does to the
// palette of a widget is none of it.
class Follower final : public QObject {
  public:
    explicit Follower(QWidget& window) : QObject(&window) { window.installEventFilter(this); }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::ApplicationPaletteChange)
            apply(*static_cast<QWidget*>(watched));
        return false;
    }
};

} // namespace

double textScale() {
    static const double scale = scaleOf(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    return scale;
}

Length::operator int() const {
    return static_cast<int>(std::lround(m_drawn * textScale()));
}

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

void setColors(const Colors& colors) {
    resetColors();
    if (&current() == &colors)
        return; // With the desktop's own shades for what is not drawn by us.
    QPalette palette(colors.control, colors.window);
    palette.setColor(QPalette::Base, colors.surface);
    palette.setColor(QPalette::Highlight, colors.accent);
    palette.setColor(QPalette::HighlightedText, colors.onAccent);
    QGuiApplication::setPalette(palette);
}

void resetColors() {
    QGuiApplication::setPalette(QPalette());
}

QColor disabled(QColor color) {
    color.setAlphaF(color.alphaF() * disabledOpacity);
    return color;
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

QPalette palette() {
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
    return palette;
}

void apply(QWidget& window) {
    window.setPalette(palette());
    window.setStyleSheet(styleSheet(current()));
}

void follow(QWidget& window) {
    new Follower(window);
    apply(window);
}

void setLook(QWidget& widget, const QString& look) {
    if (widget.property("look") == look)
        return;
    widget.setProperty("look", look);
    // A style sheet looks at a property only when it is told to.
    widget.style()->unpolish(&widget);
    widget.style()->polish(&widget);
}

} // namespace theme
