#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ctl/Question.h"

namespace ctl {

/// How text looks at the terminal.
struct Style {
    bool answers = true; ///< whether there is somebody to press keys; else this only follows
    bool colours = false;
    std::size_t width = 80;  ///< columns; 0 where there are none
    std::size_t height = 24; ///< rows; the same

    [[nodiscard]] std::string bold(std::string_view text) const;
    [[nodiscard]] std::string faint(std::string_view text) const;
    [[nodiscard]] std::string red(std::string_view text) const;
    [[nodiscard]] std::string green(std::string_view text) const;
};

/// How much of a question is drawn.
enum class Extent {
    beginning, ///< at most 200 lines and 64 KiB; what is left out is said
    whole
};

/// A question as a person reads it, ready to be written, with its line feeds: who asks, what, what
/// always allowing would remember, and how it is answered. What is the agent's stands behind a bar,
/// so that it cannot pass for what this program says.
/// @param others how many more questions wait
[[nodiscard]] std::string drawn(const Question& question, Extent extent, const Style& style,
                                std::size_t others);

} // namespace ctl
