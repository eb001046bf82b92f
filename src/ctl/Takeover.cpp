// The command that takes the place of the older version.

#include "hooks/Takeover.h"

#include "core/Localized.h"
#include "ctl/Commands.h"
#include "ctl/HooksReport.h"
#include "ctl/Output.h"
#include "ctl/Shown.h"
#include "hooks/LegacyDaemon.h"
#include "platform/UserService.h"

namespace ctl {

namespace {

std::vector<std::filesystem::path> agentFiles(const LegacyDaemon& legacy) {
    std::vector<std::filesystem::path> files;
    for (const std::string_view label : LegacyDaemon::labels) {
        std::error_code error;
        if (auto file = legacy.launchAgentFile(label); std::filesystem::exists(file, error))
            files.push_back(std::move(file));
    }
    return files;
}

// Only a start takes a port that has become free.
void restart(const UserService& service, bool isPortFreed) {
    const UserService::State state = service.state();
    if (state.isInstalled && state.isActive) {
        service.restart();
        output::write(localized("已重新啟動 Tamsell 的服務") + "\n");
    } else if (isPortFreed) {
        output::write(localized("執行中的 Tamsell 要重新啟動，才會使用空出來的連接埠") + "\n");
    }
}

} // namespace

int takeover(const Context& context, const Arguments& /*arguments*/) {
    const LegacyDaemon legacy(context.locations.home);
    const auto before = agentFiles(legacy);
    bool isDone = false;
    const auto failure = takeOver(
        legacy, context.hooks, [&] { isDone = true; }, [] {});
    // What was done before a failure is said as well.
    for (const auto& file : before) {
        std::error_code error;
        if (!std::filesystem::exists(file, error))
            output::write(localized("已停用 %@", {shown(file)}) + "\n");
    }
    if (before.empty())
        output::write(localized("沒有舊版的 daemon") + "\n");
    if (!isDone)
        throw DaemonError(failure.value_or(""));
    output::write(localized("hooks：%@", {hooksText(context.hooks.status())}) + "\n");
    restart(UserService(context.environment, context.locations), !before.empty());
    return 0;
}

} // namespace ctl
