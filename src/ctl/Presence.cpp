#include "ctl/Presence.h"

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "ctl/Duration.h"

namespace ctl {

std::optional<Presence> Presence::from(const JSONValue& value) {
    const std::string* name = json::textOf(value, "mode");
    const auto mode = name ? awayModeFrom(*name) : std::nullopt;
    if (!mode)
        return std::nullopt;
    return Presence{.mode = *mode,
                    .isAway = json::isTrue(value, "away"),
                    .idleSeconds = json::numberOf(value, "idleSeconds"),
                    .idleMinutes = json::numberOf(value, "idleMinutes")};
}

std::optional<Presence> Presence::in(const JSONValue& snapshot) {
    return from(json::member(snapshot, "presence"));
}

std::string textOf(const Presence& presence) {
    std::string decision =
        presence.isAway
            ? localized("%@，目前視為離開：問題會等你回答", {label(presence.mode)})
            : localized("%@，目前視為在電腦前：agent 照常在電腦上詢問", {label(presence.mode)});
    if (presence.mode != AwayMode::automatic)
        return decision;
    constexpr double secondsPerMinute = 60;
    return decision + localized("（已閒置 %@，滿 %@ 才算離開）",
                                {durationText(presence.idleSeconds),
                                 durationText(presence.idleMinutes * secondsPerMinute)});
}

} // namespace ctl
