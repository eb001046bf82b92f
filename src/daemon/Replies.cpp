#include "daemon/Replies.h"

#include <filesystem>

#include "core/Text.h"
#include "daemon/HookBody.h"

namespace replies {

namespace {

constexpr std::size_t notifiedDetail = 300;
// A message for a phone must stay small: all phones' copies go in one frame. So many bytes are
// beyond what a path, a tool's name or 300 characters of any script have.
constexpr std::size_t maximumBytes = 4096;

std::string bounded(std::string_view text) {
    return std::string(text::prefix(text, maximumBytes, maximumBytes));
}

} // namespace

std::optional<JSONObject> permission(const PendingItem& item, const JSONObject& answer) {
    const std::string* action = answer.string("action");
    if (!action || (*action != "allow" && *action != "always" && *action != "deny"))
        return std::nullopt;
    JSONObject decision{{"behavior", *action == "deny" ? "deny" : "allow"}};
    if (*action == "deny") {
        const std::string* message = answer.string("message");
        decision.set("message", message && !message->empty() ? *message : "Denied from phone");
    }
    if (*action == "always" && item.suggestions && !item.suggestions->isNull())
        decision.set("updatedPermissions", *item.suggestions);
    return JSONObject{{"hookSpecificOutput",
                       JSONObject{{"hookEventName", "PermissionRequest"}, {"decision", decision}}}};
}

std::optional<JSONObject> stop(const JSONObject& answer) {
    const std::string* action = answer.string("action");
    const std::string* given = answer.string("text");
    const std::string_view instruction = given ? text::trimmed(*given) : std::string_view();
    if (!action || *action != "reply" || instruction.empty())
        return std::nullopt;
    return JSONObject{
        {"decision", "block"},
        {"reason", "The user sent a new instruction from their phone. Do this next:\n\n" +
                       std::string(instruction)}};
}

std::optional<JSONObject> build(const PendingItem& item, const JSONObject& answer) {
    return item.kind == PendingItem::Kind::permission ? permission(item, answer) : stop(answer);
}

JSONObject notifyPayload(const PendingItem& item) {
    JSONObject payload{{"target", item.id},
                       {"kind", kindText(item.kind)},
                       {"project", item.cwd ? bounded(text::lastPathComponent(*item.cwd)) : ""},
                       {"expiresAt", item.expiresAt},
                       {"detail", text::prefix(item.detail(), notifiedDetail, maximumBytes)}};
    if (item.kind == PendingItem::Kind::permission) {
        const JSONArray* suggestions = item.suggestions ? item.suggestions->array() : nullptr;
        payload.set("tool", item.tool ? JSONValue(bounded(*item.tool)) : JSONValue());
        payload.set("canAlways", suggestions && !suggestions->empty());
    }
    return payload;
}

} // namespace replies
