#include "daemon/ItemFromHook.h"

#include <algorithm>
#include <cmath>

#include "core/Clock.h"
#include "crypto/Random.h"

namespace {

// What a clock can hold as well as a person can wait.
constexpr double longestWait = 10.0 * 365 * 24 * 3600;

std::optional<JSONValue> optionalValue(const JSONObject& body, std::string_view key) {
    const JSONValue* value = body.find(key);
    return value ? std::optional(*value) : std::nullopt;
}

} // namespace

PendingItem itemFromHook(PendingItem::Kind kind, const JSONObject& body, std::string_view client,
                         double wait) {
    PendingItem item;
    item.id = securerandom::uuid();
    item.createdAt = wallclock::milliseconds();
    item.expiresAt = item.createdAt + std::round(std::clamp(wait, 0.0, longestWait) * 1000);
    item.kind = kind;
    item.sessionId = body.optionalString("session_id");
    item.cwd = body.optionalString("cwd");
    item.client = client;
    if (kind == PendingItem::Kind::permission) {
        item.tool = body.optionalString("tool_name");
        item.input = optionalValue(body, "tool_input");
        item.suggestions = optionalValue(body, "permission_suggestions");
    } else {
        const JSONValue* active = body.find("stop_hook_active");
        item.lastMessage = body.optionalString("last_assistant_message");
        item.chained = active ? active->boolean().value_or(false) : false;
    }
    return item;
}
