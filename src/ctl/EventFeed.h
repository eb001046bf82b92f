#pragma once

#include <cstddef>
#include <deque>
#include <string>

#include "core/JSONValue.h"

namespace ctl {

/// The lines in which a watching person is told what happens: the agents' events, and whether the
/// user counts as away. They are kept until they are taken.
class EventFeed {
  public:
    /// Adds what is new in the daemon's newest snapshot. Of the first one only the last events are
    /// told.
    void receive(const JSONValue& snapshot);
    void add(std::string line);

    /// All lines with their line feeds, each cut to one row. Of very many the oldest are left out,
    /// which is said.
    /// @param width columns; 0 where there are none
    [[nodiscard]] std::string take(std::size_t width);

  private:
    void noteEvents(const JSONValue& snapshot);
    void notePresence(const JSONValue& snapshot);

    std::deque<std::string> m_lines;
    std::size_t m_leftOut = 0;
    bool m_isFirst = true;
    JSONArray m_recent; // as in the last snapshot, the newest at the end
    std::string m_presence;
};

} // namespace ctl
