#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/JSONValue.h"
#include "daemon/Activity.h"
#include "daemon/Records.h"

/// In arrival order. Items are shared and never changed.
using PendingItems = std::vector<std::shared_ptr<const PendingItem>>;

/// What a snapshot is composed from; borrowed for the length of a call.
struct SnapshotSource {
    JSONObject presence;
    const Activity& activity;
    const PendingItems& pending;
    JSONValue relay;
};

/// {"presence", "sessions", "pending", "recent", "relay"}: sessions newest first, the last 50
/// recent events oldest first.
[[nodiscard]] JSONValue snapshot(const SnapshotSource& source);

/// Writes snapshots as compact JSON, and remembers the text of every record, so that a snapshot
/// costs what has changed since the last one.
class SnapshotEncoder {
  public:
    /// Appends the text of `snapshot(source)`. A list that cannot be encoded becomes null.
    void append(std::string& out, const SnapshotSource& source);
    /// Gives the memory back, for when nobody watches any more.
    void forget();
    /// Gives the memory of an item back that is in no later snapshot.
    void forget(const std::shared_ptr<const PendingItem>& item);
    /// How many records were encoded rather than remembered, since the beginning.
    [[nodiscard]] std::uint64_t encoded() const { return m_encoded; }

  private:
    struct SessionText {
        int events;
        std::string text;
    };

    bool appendSession(std::string& out, const Session& session);
    bool appendPending(std::string& out, const std::shared_ptr<const PendingItem>& item);
    bool appendRecent(std::string& out, const RecentEvent& event, std::uint64_t number);
    template <typename Record>
    bool encode(std::string& text, const Record& record);
    void forgetOld(const SnapshotSource& source);

    std::unordered_map<std::string, SessionText> m_sessions;
    std::unordered_map<std::shared_ptr<const PendingItem>, std::string> m_pending;
    std::deque<std::pair<std::uint64_t, std::string>> m_recent; // By number, ascending.
    std::size_t m_size = 0; // Of the last snapshot, to make room for the next at once.
    std::uint64_t m_encoded = 0;
};
