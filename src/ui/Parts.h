#pragma once

#include <QFrame>
#include <QLabel>
#include <QVBoxLayout>

#include "ui/TextBlock.h"
#include "ui/Theme.h"

/// The plain parts that all views are put together from.
namespace parts {

/// The layout of a widget whose parts stand below one another, without a margin.
QVBoxLayout* column(QWidget* widget, int spacing);

[[nodiscard]] QFrame* divider(QWidget* parent);

/// One line of plain text, as high as the lines of its style.
/// @param look of the theme, "" for the usual one
[[nodiscard]] QLabel* label(const QString& text, theme::Style style, const char* look,
                            QWidget* parent);

/// What failed, named "error", in the words of whoever reports it: of any length, never cut, and
/// selectable.
[[nodiscard]] TextBlock* errorLine(QWidget* parent);
/// The title of a notice that is itself such words.
/// @param look of the theme
[[nodiscard]] TextBlock* noticeTitle(const QString& look, QWidget* parent);

/// A tool tip and, for assistive technology, the description. It is plain text whatever is in it,
/// and breaks within words that are long; the tool tip is cut where it would fill the screen.
void setToolTip(QWidget* widget, const QString& text);

/// Puts what in the block takes the focus behind `before`, and all that is in that, in the order of
/// the keyboard. What is made later than its neighbours would come last.
void tabAfter(QWidget* before, const QWidget* block);

} // namespace parts
