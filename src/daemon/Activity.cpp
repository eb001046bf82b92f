#include "daemon/Activity.h"

#include "core/Text.h"
#include "daemon/HookBody.h"

namespace {

constexpr std::size_t shownOfSessionId = 8;

void setIfString(std::optional<std::string>& field, const JSONObject& body, const char* key) {
    if (const std::string* text = body.string(key))
        field = *text;
}

} // namespace

const Session& Activity::record(const JSONObject& body, std::string_view client, double now) {
    const std::string* given = body.string("session_id");
    const std::string id = given ? *given : "unknown";
    const auto [found, isNew] = m_sessions.try_emplace(id);
    Session& session = found->second;
    if (isNew) {
        session.id = id;
        session.client = client;
        session.startedAt = now;
    }
    setIfString(session.cwd, body, "cwd");
    session.lastEvent = body.optionalString("hook_event_name");
    session.lastAt = now;
    setIfString(session.permissionMode, body, "permission_mode");
    ++session.events;
    setIfString(session.lastMessage, body, "last_assistant_message");
    if (session.lastEvent == "SessionEnd")
        session.ended = true;

    m_recent.push_back({now, session.lastEvent, std::string(text::prefix(id, shownOfSessionId)),
                        session.client, body.optionalString("tool_name"),
                        hookbody::summarize(body)});
    if (m_recent.size() > maximumRecent)
        m_recent.pop_front();
    ++m_total;
    return session;
}
