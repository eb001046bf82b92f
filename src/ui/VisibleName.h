#pragma once

#include <QString>

/// A name from outside on one line: a mark such as "[U+202E]" in the place of what hides, "↵" in
/// that of a line feed.
[[nodiscard]] QString visibleName(const QString& name);

/// With an ellipsis in the place of what is behind that many characters.
[[nodiscard]] QString shortened(const QString& text, int characters);
