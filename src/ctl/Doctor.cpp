// The command that looks at everything, mends what is safe to mend, and puts lost settings back.

#include <algorithm>
#include <iterator>

#include "core/Localized.h"
#include "ctl/Checks.h"
#include "ctl/Commands.h"
#include "ctl/Mending.h"
#include "ctl/Output.h"
#include "ctl/Restoring.h"

namespace ctl {

namespace {

using Level = Finding::Level;

int restore(const Context& context) {
    const EditOutcome outcome = restoreLastGood(context);
    output::write((outcome == EditOutcome::shown
                       ? localized("已還原先前的設定，執行中的 Tamsell 也採用了")
                       : localized("已還原先前的設定，Tamsell 下次啟動時採用")) +
                  "\n");
    return 0;
}

void addWhatTakesTime(Findings& findings, const Context& context, const DaemonReport& report) {
    // Codex last: Qt's loop takes up the user's locale, in which the date of a relay's reply would
    // be read.
    for (Findings more : {checkHookRun(context), checkAgentProcesses(context, runningAgents()),
                          checkRelayPath(context, report), checkCodexTrust(context)})
        std::ranges::move(more, std::back_inserter(findings));
}

JSONValue jsonOf(const std::vector<Mended>& mended, const Findings& findings) {
    JSONArray fixed;
    JSONArray notFixed;
    for (const Mended& one : mended) {
        if (one.obstacle)
            notFixed.push_back(JSONObject{{"text", one.what}, {"reason", *one.obstacle}});
        else
            fixed.push_back(one.what);
    }
    return JSONObject{
        {"fixed", fixed}, {"notFixed", notFixed}, {"findings", ctl::jsonOf(findings)}};
}

// What was done, and what is left for the person.
void print(const std::vector<Mended>& mended, Findings findings) {
    for (const Mended& one : mended)
        output::write((one.obstacle ? localized("沒有修正：%@（%@）", {one.what, *one.obstacle})
                                    : localized("已修正：%@", {one.what})) +
                      "\n");
    std::erase_if(findings, [](const Finding& finding) { return finding.level == Level::good; });
    for (Finding& finding : findings) {
        // Why a mend of this program's was not made has been said above.
        if (!finding.remedy.empty() && finding.mend == Mend::none)
            finding.remedy = localized("要由你來做：%@", {finding.remedy});
    }
    output::write(findings.empty() ? localized("沒有問題") + "\n" : linesOf(findings));
}

std::string countText(const Findings& findings, bool isMended) {
    const auto isProblem = [](const Finding& finding) { return finding.level == Level::problem; };
    const auto isMendable = [&](const Finding& finding) {
        return isProblem(finding) && finding.mend != Mend::none;
    };
    const auto problems = static_cast<double>(std::ranges::count_if(findings, isProblem));
    const auto mendable = static_cast<double>(std::ranges::count_if(findings, isMendable));
    return isMended || mendable == 0
               ? localized("有 %lld 個問題", {problems})
               : localized("有 %lld 個問題，tamsellctl doctor --fix 可以修正其中 %lld 個",
                           {problems, mendable});
}

} // namespace

int doctor(const Context& context, const Arguments& arguments) {
    if (arguments.restore)
        return restore(context);
    DaemonReport report = askDaemon(context);
    Findings findings = diagnose(context, report);
    std::vector<Mended> mended;
    if (arguments.fix)
        mended = mendAll(context, findings);
    if (!mended.empty()) {
        report = askDaemon(context);
        findings = diagnose(context, report);
    }
    addWhatTakesTime(findings, context, report);
    if (arguments.json)
        output::writeJSON(arguments.fix ? jsonOf(mended, findings) : ctl::jsonOf(findings));
    else if (arguments.fix)
        print(mended, findings);
    else
        output::write(linesOf(findings));
    if (std::ranges::find(findings, Level::problem, &Finding::level) != findings.end())
        throw DaemonError(countText(findings, arguments.fix));
    return 0;
}

} // namespace ctl
