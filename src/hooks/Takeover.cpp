#include "hooks/Takeover.h"

#include <exception>

std::optional<std::string> takeOver(const LegacyDaemon& legacy, const Hooks& hooks,
                                    const std::function<void()>& restartServer,
                                    const std::function<void()>& refresh) {
    std::optional<std::string> error;
    try {
        legacy.takeOver();
        hooks.install();
    } catch (const std::exception& failure) {
        error = failure.what();
    }
    if (!error)
        restartServer();
    refresh();
    return error;
}
