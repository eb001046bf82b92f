#pragma once

#include <QFrame>
#include <QLabel>
#include <QVBoxLayout>

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

/// A name from outside on one line: a mark such as "[U+202E]" in the place of what hides, "↵" in
/// that of a line feed.
[[nodiscard]] QString visibleName(const QString& name);

} // namespace parts
