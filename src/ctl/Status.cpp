// The command that says what Tamsell is doing.

#include <algorithm>

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/Commands.h"
#include "ctl/HooksReport.h"
#include "ctl/Output.h"
#include "ctl/Presence.h"
#include "ctl/Question.h"

namespace ctl {

namespace {

void print(const Context& context, const DaemonReport& report) {
    for (const Finding& finding : checkDaemon(report))
        output::writeRow(finding.subject, finding.text);
    if (!report.obstacle) {
        if (const auto presence = Presence::in(report.snapshot))
            output::writeRow(localized("模式"), textOf(*presence));
        output::writeRow(
            localized("等待中"),
            localized("%lld 個問題", {static_cast<double>(questionsIn(report.snapshot).size())}));
    }
    // Good or not, these are what Tamsell lives by.
    for (const Finding& finding : checkSurroundings(report))
        output::writeRow(finding.subject, finding.text);
    output::writeRow("hooks", hooksText(context.hooks.status()));
}

} // namespace

int status(const Context& context, const Arguments& arguments) {
    const DaemonReport report = askDaemon(context);
    Findings findings = diagnose(context, report);
    std::erase_if(findings,
                  [](const Finding& finding) { return finding.level != Finding::Level::problem; });
    if (arguments.json) {
        output::writeJSON(
            JSONObject{{"running", !report.obstacle},
                       {"address", report.address},
                       {"pid", report.process ? JSONValue(*report.process) : JSONValue()},
                       {"presence", json::member(report.snapshot, "presence")},
                       {"idleSource", output::orNull(report.idleSource)},
                       {"pending", static_cast<double>(questionsIn(report.snapshot).size())},
                       {"relay", json::member(report.snapshot, "relay")},
                       {"hooks", hooksJSON(context.hooks.status())},
                       {"problems", jsonOf(findings)}});
    } else {
        print(context, report);
        output::write(linesOf(findings));
    }
    if (report.obstacle)
        throw DaemonError(report.trouble);
    return 0;
}

} // namespace ctl
