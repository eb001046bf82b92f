#pragma once

#include <QPushButton>

/// Buttons in the looks of the theme.
namespace button {

enum class Look { standard, prominent, tinted, destructive, confirm, plain, link };

/// It takes the focus of the keyboard alone, and Return never presses it.
/// @param name its object name, too
[[nodiscard]] QPushButton* make(const QString& text, Look look, const char* name, QWidget* parent);
void setLook(QPushButton& button, Look look);
/// A lower one.
void makeSmall(QPushButton& button);

} // namespace button
