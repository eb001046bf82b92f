#pragma once

#include <QString>

#include "core/JSONValue.h"

/// What always allowing makes the agent remember, and where it writes that: a paragraph for each of
/// the agent's suggestions, one of a form that is not known whole as its JSON. What hides in them
/// is shown as marks such as "[U+202E]".
///
/// Bounded in lines and characters, for a tool tip. What is left out is said in a last line.
[[nodiscard]] QString rememberedText(const JSONArray& suggestions);
