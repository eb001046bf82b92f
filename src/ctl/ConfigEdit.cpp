#include "ctl/ConfigEdit.h"

#include <chrono>
#include <system_error>
#include <thread>

#include "core/AtomicFile.h"
#include "core/ConfigFile.h"
#include "core/Localized.h"
#include "ctl/DaemonClient.h"
#include "ctl/Shown.h"

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
    return atomicfile::writeIf(
        locations.configFile, json::pretty(file.members) + "\n",
        [&] { return ConfigFile::stamp(locations.configFile) == before; }, 0600);
}

enum class Adoption { adopted, pending, notRunning };

Adoption waitUntilShown(const Context& context,
                        const std::function<bool(const JSONValue& snapshot)>& isShown) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        try {
            if (isShown(DaemonClient(context).get("/state")))
                return Adoption::adopted;
        } catch (const Unreachable& error) {
            // Another token is in force until the daemon has read the file.
            if (error.reason() != Unreachable::Reason::token)
                return Adoption::notRunning;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            return Adoption::pending;
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
        case Adoption::adopted:
            return EditOutcome::shown;
        case Adoption::notRunning:
            return EditOutcome::notRunning;
        case Adoption::pending:
            break;
        }
    }
    throw DaemonError(localized("改不了 %@：其他程式同時在改，或 Tamsell 沒有採用",
                                {shown(context.locations.configFile)}));
}

} // namespace ctl
