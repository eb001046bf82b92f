#include "ctl/Mending.h"

#include <filesystem>
#include <set>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include "core/ConfigFile.h"
#include "core/DaemonError.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/HooksReport.h"
#include "ctl/Restoring.h"
#include "ctl/Shown.h"
#include "platform/UserService.h"

namespace fs = std::filesystem;

namespace ctl {

namespace {

constexpr mode_t ownFile = 0600;
constexpr mode_t ownDirectory = 0700;

std::string nameOf(Mend mend) {
    switch (mend) {
    case Mend::restoreConfig:
        return localized("還原先前的設定");
    case Mend::configMode:
        return localized("讓 config.json 只有你能讀寫");
    case Mend::dataDirectoryMode:
        return localized("讓資料夾只有你能進入");
    case Mend::logsMode:
        return localized("讓紀錄只有你能讀寫");
    case Mend::hookProgram:
        return localized("重新安裝 hook 程式");
    case Mend::hooks:
        return localized("安裝 hooks");
    case Mend::hooksAnew:
        return localized("移除別的 Tamsell hooks，重新安裝 hooks");
    case Mend::service:
        return localized("重新安裝服務");
    case Mend::none:
        break;
    }
    return {};
}

// Also where nothing is yet, but the directory around it is another's.
void refuseOthers(fs::path path) {
    struct stat status {};
    while (::stat(path.c_str(), &status) != 0 && path.has_relative_path())
        path = path.parent_path();
    if (path.has_relative_path() && status.st_uid != ::getuid())
        throw DaemonError(localized("%@ 屬於別的使用者", {shown(path)}));
}

void setMode(const fs::path& path, mode_t mode) {
    refuseOthers(path);
    if (::chmod(path.c_str(), mode) != 0)
        throw std::system_error(errno, std::generic_category(), path.string());
}

void closeLogs(const Locations& locations) {
    setMode(locations.logsDirectory, ownDirectory);
    std::error_code error;
    if (fs::is_regular_file(locations.eventsLog, error))
        setMode(locations.eventsLog, ownFile);
}

void restoreConfig(const Context& context) {
    const fs::path& path = context.locations.configFile;
    refuseOthers(path);
    if (ConfigFile::read(path).state != ConfigFile::State::damaged)
        throw DaemonError(localized("Tamsell 已經自己重建了它"));
    (void)restoreLastGood(context);
}

void installProgram(const Context& context) {
    refuseOthers(context.locations.hookExecutable);
    context.hooks.installScript();
}

// What the user put into a group of ours would go with it, and only the user can tell where to.
void refuseShared(const fs::path& path) {
    bool hasShared = false;
    try {
        hasShared = Hooks::hasSharedGroup(Hooks::readAgentFile(path));
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the installation says that
    }
    if (hasShared)
        throw DaemonError(localized("%@ 有一組 hooks 裡同時有你的與 Tamsell 的指令，先把它們分開",
                                    {shown(path)}));
}

void installHooks(const Context& context) {
    const Locations& at = context.locations;
    for (const fs::path& path : {at.hookExecutable, at.claudeSettings, at.codexHooks})
        refuseOthers(path);
    for (const fs::path& path : {at.claudeSettings, at.codexHooks})
        refuseShared(path);
    context.hooks.install();
}

void installHooksAnew(const Context& context) {
    // Before one is written, both must be such that they can be.
    for (const fs::path& path : {context.locations.claudeSettings, context.locations.codexHooks}) {
        refuseOthers(path);
        if (isUnreadable(path))
            throw DaemonError(localized("讀不到 %@", {shown(path)}));
        (void)Hooks::readAgentFile(path);
        refuseShared(path);
    }
    refuseOthers(context.locations.hookExecutable);
    context.hooks.installAnew();
}

void installService(const Context& context) {
    const auto program = context.bundle.program("tamsell");
    if (!program)
        throw DaemonError(localized("這裡沒有 tamsell 這個程式"));
    const UserService service(context.environment, context.locations);
    refuseOthers(service.file());
    service.install(*program);
}

void carryOut(Mend mend, const Context& context) {
    switch (mend) {
    case Mend::restoreConfig:
        return restoreConfig(context);
    case Mend::configMode:
        return setMode(context.locations.configFile, ownFile);
    case Mend::dataDirectoryMode:
        return setMode(context.locations.dataDirectory, ownDirectory);
    case Mend::logsMode:
        return closeLogs(context.locations);
    case Mend::hookProgram:
        return installProgram(context);
    case Mend::hooks:
        return installHooks(context);
    case Mend::hooksAnew:
        return installHooksAnew(context);
    case Mend::service:
        return installService(context);
    case Mend::none:
        break;
    }
}

} // namespace

std::vector<Mended> mendAll(const Context& context, const Findings& findings) {
    std::set<Mend> wanted;
    for (const Finding& finding : findings)
        wanted.insert(finding.mend);
    wanted.erase(Mend::none);
    if (wanted.contains(Mend::hooksAnew))
        wanted.erase(Mend::hooks);
    std::vector<Mended> all;
    for (const Mend mend : wanted) {
        Mended mended{nameOf(mend), std::nullopt};
        try {
            carryOut(mend, context);
        } catch (const std::exception& error) {
            mended.obstacle = text::visible(error.what());
        }
        all.push_back(std::move(mended));
    }
    return all;
}

} // namespace ctl
