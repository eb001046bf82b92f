#include "daemon/Presence.h"

#include <charconv>
#include <cmath>

namespace presence {

std::optional<double> forcedIdleSeconds(const EnvironmentLookup& environment) {
    const auto text = environment("TAMSELL_FORCE_IDLE");
    if (!text)
        return std::nullopt;
    // std::from_chars takes no plus sign.
    const char* begin =
        text->c_str() + (text->starts_with('+') && !text->starts_with("+-") ? 1 : 0);
    const char* end = text->c_str() + text->size();
    double seconds = 0;
    const auto read = std::from_chars(begin, end, seconds);
    if (read.ec != std::errc{} || read.ptr != end || !std::isfinite(seconds))
        return std::nullopt;
    return seconds;
}

bool isAway(const Config& config, const std::function<double()>& idleSeconds) {
    switch (config.mode()) {
    case AwayMode::off:
        return false;
    case AwayMode::on:
        return true;
    case AwayMode::automatic:
        break;
    }
    return config.number("idleMinutes") * 60 <= idleSeconds();
}

JSONObject toJSON(const Config& config, bool away, double idleSeconds) {
    return {{"mode", rawValue(config.mode())},
            {"away", away},
            {"idleSeconds", std::floor(idleSeconds)},
            {"idleMinutes", config.number("idleMinutes")}};
}

} // namespace presence
