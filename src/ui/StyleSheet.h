#pragma once

#include <QString>

#include "ui/Theme.h"

namespace theme {

/// How the plain widgets look, in the language of Qt's style sheets. A button's look is its dynamic
/// property "look": "prominent", "tinted", "destructive", "confirm", "plain" or "link", and
/// "standard" without one; "small" is a property of its own. A frame's is "problem"; a
/// label's and a text's "secondary", "error", "warning", "good"; a text's "notes", too.
[[nodiscard]] QString styleSheet(const Colors& colors);

} // namespace theme
