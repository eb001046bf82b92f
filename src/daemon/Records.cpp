#include "daemon/Records.h"

#include "daemon/HookBody.h"

namespace {

template <typename Field>
void add(std::vector<JSONObject::Member>& members, const char* key,
         const std::optional<Field>& field) {
    if (field)
        members.emplace_back(key, JSONValue(*field));
}

} // namespace

std::string_view kindText(PendingItem::Kind kind) {
    return kind == PendingItem::Kind::permission ? "permission" : "stop";
}

std::string PendingItem::detail() const {
    if (kind == Kind::stop)
        return lastMessage.value_or("");
    if (!input)
        return {};
    if (const std::string* what = hookbody::subject(*input))
        return *what;
    return json::compact(*input).value_or("");
}

JSONValue toJSON(const Session& session) {
    std::vector<JSONObject::Member> members;
    members.emplace_back("id", session.id);
    members.emplace_back("client", session.client);
    members.emplace_back("events", session.events);
    members.emplace_back("startedAt", session.startedAt);
    members.emplace_back("lastAt", session.lastAt);
    add(members, "cwd", session.cwd);
    add(members, "lastEvent", session.lastEvent);
    add(members, "permissionMode", session.permissionMode);
    add(members, "lastMessage", session.lastMessage);
    add(members, "ended", session.ended);
    return JSONObject::fromMembers(std::move(members));
}

JSONValue toJSON(const PendingItem& item) {
    std::vector<JSONObject::Member> members;
    members.emplace_back("id", item.id);
    members.emplace_back("createdAt", item.createdAt);
    members.emplace_back("expiresAt", item.expiresAt);
    members.emplace_back("kind", kindText(item.kind));
    members.emplace_back("client", item.client);
    add(members, "sessionId", item.sessionId);
    add(members, "cwd", item.cwd);
    add(members, "tool", item.tool);
    add(members, "input", item.input);
    add(members, "suggestions", item.suggestions);
    add(members, "lastMessage", item.lastMessage);
    add(members, "chained", item.chained);
    return JSONObject::fromMembers(std::move(members));
}

JSONValue toJSON(const RecentEvent& event) {
    std::vector<JSONObject::Member> members;
    members.emplace_back("at", event.at);
    members.emplace_back("session", event.session);
    members.emplace_back("client", event.client);
    members.emplace_back("summary", event.summary);
    add(members, "event", event.event);
    add(members, "tool", event.tool);
    return JSONObject::fromMembers(std::move(members));
}
