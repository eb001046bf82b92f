#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QString>
#include <QWidget>

/// How everything looks: the only place of colours, sizes and fonts. One unit is one
/// device-independent pixel where the desktop's text has its usual size.
namespace theme {

/// How much larger everything is because the desktop's text is: 1, or from 1.25 to 3. Known from
/// when it is first asked for, which must be behind the application's making.
[[nodiscard]] double textScale();

/// A length as it is drawn, which turns into the one on the screen: together with the text, so that
/// whatever fits goes on fitting.
class Length {
  public:
    constexpr explicit Length(int drawn) : m_drawn(drawn) {}
    operator int() const; // NOLINT(google-explicit-constructor): it stands for that number

  private:
    int m_drawn;
};

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

/// Makes it the application's, whatever the desktop's theme is like.
void setColors(const Colors& colors);
/// Goes back to what the desktop's theme is like.
void resetColors();

/// How something disabled is drawn: at 45 %.
[[nodiscard]] QColor disabled(QColor color);

namespace metrics {

inline constexpr Length panelWidth{360};
inline constexpr Length pairingWidth{400};
inline constexpr Length guideWidth{520};
inline constexpr Length confirmationWidth{320};

inline constexpr Length panelPadding{14};
inline constexpr Length windowPadding{24};
inline constexpr Length confirmationPadding{20};
inline constexpr Length panelParts{12};
inline constexpr Length warningParts{6};
inline constexpr Length trustWarningParts{4};
inline constexpr Length modeParts{4};
inline constexpr Length commandParts{8};
inline constexpr Length buttonsApart{8};
inline constexpr Length iconToLabel{6};

inline constexpr Length panelRadius{12};
inline constexpr Length panelShadow{24}; ///< room around the panel
inline constexpr Length boxRadius{8};
inline constexpr Length boxPadding{12};
inline constexpr Length commandRadius{6};
inline constexpr Length commandPadding{6};
inline constexpr Length gutterWidth{26};
inline constexpr Length gutterGap{8};

inline constexpr Length buttonHeight{28};
inline constexpr Length smallButtonHeight{24};
inline constexpr Length controlRadius{6};
inline constexpr Length buttonPadding{12};
inline constexpr Length smallButtonPadding{9};
inline constexpr Length plainButtonPadding{8};
inline constexpr Length denyWidth{64};
inline constexpr Length allowWidth{112};
inline constexpr Length sendWidth{64};
inline constexpr Length confirmationButtonWidth{88};

inline constexpr Length segmentWidth{60};
inline constexpr Length segmentHeight{24};
inline constexpr Length segmentRadius{5};
inline constexpr Length segmentPadding{2};
inline constexpr Length segmentTrackRadius{7};

inline constexpr Length focusWidth{2};
inline constexpr Length focusGap{2};

inline constexpr Length iconSize{16};
inline constexpr Length markSize{8};
inline constexpr Length phoneMarkSize{7};
inline constexpr Length badgeSize{22};

} // namespace metrics

enum class Style { title, title2, headline, body, control, caption, monoCaption, lineNumber, mark };

/// The font of a style, with the families that have the Traditional Chinese shapes behind those of
/// the desktop.
[[nodiscard]] QFont font(Style style);
/// The same for words that stand out.
[[nodiscard]] QFont emphasized(Style style);
/// From one line to the next.
[[nodiscard]] int lineHeight(Style style);

/// The application's with the colours of `current`, for what is no style sheet's to tell.
[[nodiscard]] QPalette palette();

/// Gives a window, and what is in it, the theme that goes with the desktop now.
void apply(QWidget& window);
/// The same, and again whenever the desktop's colours change.
void follow(QWidget& window);

/// Makes it look as the style sheet says of that look.
void setLook(QWidget& widget, const QString& look);

} // namespace theme
