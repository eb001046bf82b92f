#pragma once

#include <string>
#include <vector>

#include "core/JSONValue.h"

namespace ctl {

/// What may be done about a finding without asking, in the order in which it is done.
enum class Mend {
    none,              ///< nothing, or only the person can do it
    restoreConfig,     ///< config.json is written from config.json.last-good
    configMode,        ///< config.json is for nobody but the user
    dataDirectoryMode, ///< nobody but the user gets into the data directory
    logsMode,          ///< nor into what is kept in logs/
    hookProgram,       ///< the hook program is installed anew
    hooks,             ///< so are the entries in the agents' files
    hooksAnew,         ///< the same, once those of other and older installations are out
    service            ///< the user service is installed anew
};

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
    Mend mend = Mend::none;

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
