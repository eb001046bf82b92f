#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QString>
#include <QWidget>

/// How everything looks: the only place of colours, sizes and fonts. One unit is one
/// device-independent pixel.
namespace theme {

/// One theme. Green, orange and red mean state, and never stand without a word.
struct Colors {
    QColor window;
    QColor surface;
    QColor fill;
    QColor divider;
    QColor control;
    QColor controlHover;
    QColor controlPressed;
    QColor controlBorder;
    QColor fieldBorder;
    QColor text;
    QColor text2;
    QColor text3;
    QColor accent;
    QColor accentHover;
    QColor accentPressed;
    QColor onAccent;
    QColor accentText;
    QColor accentTint;
    QColor accentTintHover;
    QColor accentTintBorder;
    QColor green;
    QColor greenMark;
    QColor greenFill;
    QColor orange;
    QColor orangeMark;
    QColor orangeTint;
    QColor orangeTintBorder;
    QColor red;
    QColor redTint;
    QColor redTintHover;
    QColor redBorder;
    QColor grayMark;
    QColor badge;
    QColor thumb;
    QColor thumbBorder;
    QColor switchOff;
    QColor scrim;
};

[[nodiscard]] const Colors& light();
[[nodiscard]] const Colors& dark();
/// The one that goes with the desktop's colours.
[[nodiscard]] const Colors& of(const QPalette& palette);

/// That of the application's palette. A widget's own palette does not tell: a style sheet with a
/// ground changes it.
[[nodiscard]] const Colors& current();

/// How something disabled is drawn: at 45 %.
[[nodiscard]] QColor disabled(QColor color);

namespace metrics {

inline constexpr int panelWidth = 360;
inline constexpr int pairingWidth = 400;
inline constexpr int guideWidth = 520;
inline constexpr int confirmationWidth = 320;

inline constexpr int panelPadding = 14;
inline constexpr int windowPadding = 24;
inline constexpr int confirmationPadding = 20;
inline constexpr int panelParts = 12;
inline constexpr int warningParts = 6;
inline constexpr int trustWarningParts = 4;
inline constexpr int modeParts = 4;
inline constexpr int commandParts = 8;
inline constexpr int buttonsApart = 8;
inline constexpr int iconToLabel = 6;

inline constexpr int panelRadius = 12;
inline constexpr int panelShadow = 24; ///< room around the panel
inline constexpr int boxRadius = 8;
inline constexpr int boxPadding = 12;
inline constexpr int commandRadius = 6;
inline constexpr int commandPadding = 6;
inline constexpr int gutterWidth = 26;
inline constexpr int gutterGap = 8;

inline constexpr int buttonHeight = 28;
inline constexpr int smallButtonHeight = 24;
inline constexpr int controlRadius = 6;
inline constexpr int buttonPadding = 12;
inline constexpr int smallButtonPadding = 9;
inline constexpr int plainButtonPadding = 8;
inline constexpr int denyWidth = 64;
inline constexpr int allowWidth = 112;
inline constexpr int sendWidth = 64;
inline constexpr int confirmationButtonWidth = 88;

inline constexpr int segmentWidth = 60;
inline constexpr int segmentHeight = 24;
inline constexpr int segmentRadius = 5;
inline constexpr int segmentPadding = 2;
inline constexpr int segmentTrackRadius = 7;

inline constexpr int focusWidth = 2;
inline constexpr int focusGap = 2;

inline constexpr int iconSize = 16;
inline constexpr int markSize = 8;
inline constexpr int phoneMarkSize = 7;
inline constexpr int badgeSize = 22;

} // namespace metrics

enum class Style { title, title2, headline, body, control, caption, monoCaption, lineNumber, mark };

/// The font of a style, with the families that have the Traditional Chinese shapes behind those of
/// the desktop.
[[nodiscard]] QFont font(Style style);
/// The same for words that stand out.
[[nodiscard]] QFont emphasized(Style style);
/// From one line to the next.
[[nodiscard]] int lineHeight(Style style);

/// How the plain widgets look. A button's look is its dynamic property "look": "prominent",
/// "tinted", "destructive", "confirm", "plain" or "link", and "standard" without one; "small" is a
/// property of its own. A frame's is "divider", "problem" or "panel"; a label's "caption",
/// "secondary", "error", "warning", "good".
[[nodiscard]] QString styleSheet(const Colors& colors);

/// Gives a window, and what is in it, the theme that goes with the desktop now. To be called again
/// when the application's palette changes.
void apply(QWidget& window);

} // namespace theme
