#include "ctl/Restoring.h"

#include <filesystem>

#include "core/AtomicFile.h"
#include "core/ConfigFile.h"
#include "core/DaemonError.h"
#include "core/Localized.h"
#include "ctl/Presence.h"
#include "ctl/Shown.h"

namespace fs = std::filesystem;

namespace ctl {

EditOutcome restoreLastGood(const Context& context) {
    const std::string path = context.locations.configFile.string();
    const fs::path kept = path + ".last-good";
    const ConfigFile good = ConfigFile::read(kept);
    if (good.state != ConfigFile::State::object)
        throw DaemonError(localized("沒有可以還原的設定：%@", {shown(kept)}));
    const ConfigFile lost = ConfigFile::read(path);
    if (lost.state == ConfigFile::State::damaged && !lost.error)
        atomicfile::write(path + ".damaged", lost.bytes, 0600);
    const Config restored = Config::over(good.members);
    const EditOutcome outcome = editConfig(
        context, [&](JSONObject& members) { members = good.members; },
        [&](const JSONValue& snapshot) {
            const auto presence = Presence::in(snapshot);
            return presence && presence->mode == restored.mode();
        });
    // It is config.json now.
    fs::remove(kept);
    return outcome;
}

} // namespace ctl
