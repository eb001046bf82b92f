#include "ctl/ConfigEdit.h"

#include <chrono>
#include <thread>

#include "core/AtomicFile.h"
#include "core/ConfigFile.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/DaemonClient.h"

namespace ctl {

namespace {

// The daemon looks at the file every two seconds, and a second longer at a damaged one.
constexpr std::chrono::seconds patience{6};
constexpr std::chrono::milliseconds pause{100};
constexpr int tries = 2;

// Whether the file was replaced; not when it changed meanwhile.
bool replace(const Locations& locations, const std::function<void(JSONObject&)>& change) {
    const auto before = ConfigFile::stamp(locations.configFile);
    ConfigFile file = ConfigFile::read(locations.configFile);
    if (file.state == ConfigFile::State::unreadable)
        throw std::system_error(file.error, locations.configFile.string());
    change(file.members);
    if (ConfigFile::stamp(locations.configFile) != before)
        return false;
    atomicfile::write(locations.configFile, json::pretty(file.members) + "\n", 0600);
    return true;
}

enum class Sight { shown, hidden, nobody };

Sight waitUntilShown(const Context& context,
                     const std::function<bool(const JSONValue& snapshot)>& isShown) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        try {
            if (isShown(DaemonClient(context).get("/state")))
                return Sight::shown;
        } catch (const Unreachable& error) {
            // Another token is in force until the daemon has read the file.
            if (error.reason() != Unreachable::Reason::token)
                return Sight::nobody;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            return Sight::hidden;
        std::this_thread::sleep_for(pause);
    }
}

} // namespace

EditOutcome editConfig(const Context& context, const std::function<void(JSONObject&)>& change,
                       const std::function<bool(const JSONValue& snapshot)>& isShown) {
    for (int i = 0; i < tries; ++i) {
        if (!replace(context.locations, change))
            continue;
        switch (waitUntilShown(context, isShown)) {
        case Sight::shown:
            return EditOutcome::shown;
        case Sight::nobody:
            return EditOutcome::notRunning;
        case Sight::hidden:
            break;
        }
    }
    throw DaemonError(localized("改不了 %@：別的程式同時在改，或 Tamsell 沒有採用",
                                {text::visible(context.locations.configFile.string())}));
}

} // namespace ctl
