#pragma once

#include <string>
#include <vector>

#include "ctl/Question.h"

namespace ctl {

/// One line of what a person reads before answering. Nothing in it is invisible: control and format
/// characters stand as \u{XXXX}, a tab as an arrow up to the next tab stop.
struct TextLine {
    enum class Kind {
        plain,
        added,   ///< of an edit, beginning with "+"
        removed, ///< of an edit, beginning with "-"
        note,    ///< said by this program about what stands beside it
        warning  ///< the same about all of it; must not be missed
    };

    Kind kind = Kind::plain;
    std::string text;

    bool operator==(const TextLine&) const = default;
};

/// What is asked, whole: a command with its line numbers, an edit as what goes and what comes, a
/// file with its path and content, a plan, questions with their options; the rest as indented JSON.
/// What the agent says about it is marked as the agent's, and a note tells of hidden characters.
[[nodiscard]] std::vector<TextLine> linesOf(const Question& question);

/// What always allowing makes the agent remember, and where: one line for each suggestion, those of
/// an unknown form as JSON. Empty when there is nothing to remember.
[[nodiscard]] std::vector<std::string> rememberedBy(const Question& question);

} // namespace ctl
