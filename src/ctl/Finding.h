#pragma once

#include <string>
#include <vector>

#include "core/JSONValue.h"

namespace ctl {

/// One thing that was looked at.
struct Finding {
    enum class Level {
        good,
        notice, ///< worth knowing; nothing is broken by it
        problem ///< something does not work because of it
    };

    Level level = Level::good;
    std::string subject; ///< "設定檔"
    std::string text;    ///< what was found, made visible
    std::string remedy;  ///< what to do; empty when there is nothing to do

    bool operator==(const Finding&) const = default;
};

using Findings = std::vector<Finding>;

/// One line: a mark for the level, the subject, the text, and the remedy behind an arrow.
[[nodiscard]] std::string lineOf(const Finding& finding);

/// One line each, with the line feeds.
[[nodiscard]] std::string linesOf(const Findings& findings);

/// [{"level": "good", "notice" or "problem", "subject", "text", "remedy" or null}, …]
[[nodiscard]] JSONArray jsonOf(const Findings& findings);

} // namespace ctl
