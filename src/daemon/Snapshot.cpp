#include "daemon/Snapshot.h"

#include <algorithm>

namespace {

constexpr std::size_t recentShown = 50;

std::vector<const Session*> newestFirst(const Activity& activity) {
    std::vector<const Session*> sessions;
    sessions.reserve(activity.sessions().size());
    for (const auto& [id, session] : activity.sessions())
        sessions.push_back(&session);
    std::ranges::sort(sessions, [](const Session* left, const Session* right) {
        return left->lastAt != right->lastAt ? left->lastAt > right->lastAt : left->id < right->id;
    });
    return sessions;
}

std::size_t firstRecentShown(const Activity& activity) {
    return activity.recent().size() - std::min(activity.recent().size(), recentShown);
}

// Appends "key":[…], or "key":null when an element cannot be encoded.
template <typename Range, typename AppendOne>
void appendList(std::string& out, std::string_view key, const Range& range, AppendOne appendOne) {
    out.append(",\"").append(key).append("\":");
    const std::size_t start = out.size();
    out += '[';
    bool first = true;
    for (const auto& element : range) {
        if (!first)
            out += ',';
        first = false;
        if (!appendOne(element)) {
            out.resize(start);
            out += "null";
            return;
        }
    }
    out += ']';
}

void appendValue(std::string& out, std::string_view key, const JSONValue& value) {
    out.append("\"").append(key).append("\":");
    if (!json::appendCompact(out, value))
        out += "null";
}

} // namespace

JSONValue snapshot(const SnapshotSource& source) {
    JSONArray sessions;
    for (const Session* session : newestFirst(source.activity))
        sessions.push_back(toJSON(*session));
    JSONArray pending;
    for (const auto& item : source.pending)
        pending.push_back(toJSON(*item));
    JSONArray recent;
    for (std::size_t i = firstRecentShown(source.activity); i < source.activity.recent().size();
         ++i)
        recent.push_back(toJSON(source.activity.recent()[i]));
    return JSONObject{{"presence", source.presence},
                      {"sessions", std::move(sessions)},
                      {"pending", std::move(pending)},
                      {"recent", std::move(recent)},
                      {"relay", source.relay}};
}

void SnapshotEncoder::append(std::string& out, const SnapshotSource& source) {
    forgetOld(source);
    const std::size_t start = out.size();
    out.reserve(start + m_size + m_size / 8);
    out += '{';
    appendValue(out, "presence", source.presence);
    appendList(out, "sessions", newestFirst(source.activity),
               [&](const Session* session) { return appendSession(out, *session); });
    appendList(out, "pending", source.pending,
               [&](const auto& item) { return appendPending(out, item); });
    const auto& recent = source.activity.recent();
    std::vector<std::size_t> shown;
    for (std::size_t i = firstRecentShown(source.activity); i < recent.size(); ++i)
        shown.push_back(i);
    appendList(out, "recent", shown, [&](std::size_t i) {
        return appendRecent(out, recent[i], source.activity.total() - recent.size() + i);
    });
    out += ',';
    appendValue(out, "relay", source.relay);
    out += '}';
    m_size = out.size() - start;
}

void SnapshotEncoder::forget() {
    m_sessions = {};
    m_pending = {};
    m_recent = {};
    m_size = 0;
}

void SnapshotEncoder::forget(const std::shared_ptr<const PendingItem>& item) {
    m_pending.erase(item);
}

template <typename Record>
bool SnapshotEncoder::encode(std::string& text, const Record& record) {
    ++m_encoded;
    text.clear();
    return json::appendCompact(text, toJSON(record));
}

bool SnapshotEncoder::appendSession(std::string& out, const Session& session) {
    SessionText& known = m_sessions.try_emplace(session.id, SessionText{-1, {}}).first->second;
    // Every change of a session counts one event more.
    if (known.events != session.events) {
        if (!encode(known.text, session))
            return false;
        known.events = session.events;
    }
    out += known.text;
    return true;
}

bool SnapshotEncoder::appendPending(std::string& out,
                                    const std::shared_ptr<const PendingItem>& item) {
    std::string& known = m_pending[item];
    if (known.empty() && !encode(known, *item))
        return false;
    out += known;
    return true;
}

bool SnapshotEncoder::appendRecent(std::string& out, const RecentEvent& event,
                                   std::uint64_t number) {
    const auto known = std::ranges::lower_bound(m_recent, number, {},
                                                &std::pair<std::uint64_t, std::string>::first);
    if (known != m_recent.end() && known->first == number) {
        out += known->second;
        return true;
    }
    std::string text;
    if (!encode(text, event))
        return false;
    out += text;
    m_recent.emplace(known, number, std::move(text));
    return true;
}

void SnapshotEncoder::forgetOld(const SnapshotSource& source) {
    const std::uint64_t shown =
        std::min<std::uint64_t>(source.activity.recent().size(), recentShown);
    while (!m_recent.empty() && m_recent.front().first < source.activity.total() - shown)
        m_recent.pop_front();
}
