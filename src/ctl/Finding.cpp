#include "ctl/Finding.h"

#include <string_view>

#include "core/Localized.h"

namespace ctl {

namespace {

struct Words {
    std::string_view mark;
    const char* name;
};

Words wordsOf(Finding::Level level) {
    switch (level) {
    case Finding::Level::good:
        return {"✓", "good"};
    case Finding::Level::notice:
        return {"–", "notice"};
    case Finding::Level::problem:
        break;
    }
    return {"✗", "problem"};
}

} // namespace

std::string lineOf(const Finding& finding) {
    std::string line(wordsOf(finding.level).mark);
    line += " " + finding.subject + localized("：") + finding.text;
    return finding.remedy.empty() ? line : line + " → " + finding.remedy;
}

std::string linesOf(const Findings& findings) {
    std::string lines;
    for (const Finding& finding : findings)
        lines += lineOf(finding) + "\n";
    return lines;
}

JSONArray jsonOf(const Findings& findings) {
    JSONArray all;
    for (const Finding& finding : findings) {
        all.push_back(
            JSONObject{{"level", wordsOf(finding.level).name},
                       {"subject", finding.subject},
                       {"text", finding.text},
                       {"remedy", finding.remedy.empty() ? JSONValue() : finding.remedy}});
    }
    return all;
}

} // namespace ctl
