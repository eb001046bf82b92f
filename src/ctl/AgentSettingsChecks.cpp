#include <string>
#include <system_error>
#include <vector>

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/AgentSettings.h"
#include "ctl/Checks.h"
#include "ctl/Shown.h"

namespace fs = std::filesystem;

namespace ctl {

namespace {

using Level = Finding::Level;

constexpr std::string_view subject = "Claude Code";

// @param findings gets a notice when the file is not understood
JSONValue settingsIn(const fs::path& path, Findings& findings) {
    try {
        return Hooks::readAgentFile(path);
    } catch (const std::exception& error) {
        findings.push_back({Level::notice, std::string(subject), text::visible(error.what()), ""});
        return {};
    }
}

void checkManaged(const fs::path& path, Findings& findings) {
    const JSONValue settings = settingsIn(path, findings);
    if (json::isTrue(settings, "disableAllHooks"))
        findings.push_back(
            {Level::problem, std::string(subject),
             localized("管理者以 %@ 的 disableAllHooks 關掉了所有 hooks", {shown(path)}),
             localized("請管理者拿掉它")});
    if (json::isTrue(settings, "allowManagedHooksOnly"))
        findings.push_back(
            {Level::problem, std::string(subject),
             localized("%@ 的 allowManagedHooksOnly 只准執行管理者的 hooks", {shown(path)}),
             localized("請管理者拿掉它，或把 Tamsell 的 hooks 加進該檔")});
}

// What the user has switched off, only the user switches on.
void checkUser(const fs::path& path, Findings& findings) {
    Findings damaged; // Which is said of the hooks.
    if (json::isTrue(settingsIn(path, damaged), "disableAllHooks"))
        findings.push_back({Level::problem, std::string(subject),
                            localized("%@ 的 disableAllHooks 關掉了所有 hooks", {shown(path)}),
                            localized("要用 Tamsell，就從該檔拿掉 disableAllHooks")});
    // The directory ".claude" of a project may have local settings, and the home is one as well.
    const fs::path local = path.parent_path() / "settings.local.json";
    if (path.parent_path().filename() == ".claude" && local != path &&
        json::isTrue(settingsIn(local, damaged), "disableAllHooks"))
        findings.push_back({Level::notice, std::string(subject),
                            localized("%@ 的 disableAllHooks 關掉了在 %@ 啟動時的 hooks",
                                      {shown(local), shown(local.parent_path().parent_path())}),
                            localized("要在那裡用 Tamsell，就從該檔拿掉 disableAllHooks")});
}

} // namespace

Findings checkAgentSettings(const Context& context, const fs::path& managed) {
    Findings findings;
    checkManaged(managed, findings);
    checkUser(context.locations.claudeSettings, findings);
    const auto moved = context.environment(directoryVariable(AgentProcess::Agent::claude));
    if (!moved || moved->empty())
        return findings;
    std::error_code error;
    const fs::path directory = fs::absolute(*moved, error);
    if (auto finding = checkDirectory(context, AgentProcess::Agent::claude, directory,
                                      Level::problem, localized("這裡")))
        findings.push_back(std::move(*finding));
    else if (directory / "settings.json" != context.locations.claudeSettings)
        checkUser(directory / "settings.json", findings);
    return findings;
}

} // namespace ctl
