#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/JSONValue.h"
#include "daemon/Records.h"

/// What the agents have been doing: every session seen and the recent hook events. Kept in memory
/// only; sessions are never removed.
class Activity {
  public:
    static constexpr std::size_t maximumRecent = 200;

    /// Counts one hook event.
    ///
    /// @param client what `detectClient` says of this body; a session keeps that of its first event
    /// @param now milliseconds since 1970
    /// @return the event's session, until the next event
    const Session& record(const JSONObject& body, std::string_view client, double now);

    [[nodiscard]] const std::unordered_map<std::string, Session>& sessions() const {
        return m_sessions;
    }
    /// Oldest first, at most 200.
    [[nodiscard]] const std::deque<RecentEvent>& recent() const { return m_recent; }
    /// How many events there have been; the last of `recent` is the one of this number.
    [[nodiscard]] std::uint64_t total() const { return m_total; }

  private:
    std::unordered_map<std::string, Session> m_sessions;
    std::deque<RecentEvent> m_recent;
    std::uint64_t m_total = 0;
};
