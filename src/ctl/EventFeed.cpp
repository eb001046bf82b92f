#include "ctl/EventFeed.h"

#include <algorithm>
#include <utility>

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/LocalTime.h"
#include "ctl/Presence.h"

namespace ctl {

namespace {

// Of what came before, so much is told at the beginning.
constexpr std::size_t firstEvents = 5;
// A person reads no more of them.
constexpr std::size_t maximumLines = 200;

std::string lineOf(const JSONValue& event) {
    std::string line = timeOfDayText(json::numberOf(event, "at"));
    if (line.empty())
        line = "--:--:--";
    for (const char* key : {"client", "event", "tool", "summary"}) {
        const std::string* part = json::textOf(event, key);
        if (part && !part->empty())
            line += "  " + text::visible(*part);
    }
    return line;
}

} // namespace

void EventFeed::receive(const JSONValue& snapshot) {
    notePresence(snapshot);
    noteEvents(snapshot);
    m_isFirst = false;
}

void EventFeed::add(std::string line) {
    m_lines.push_back(std::move(line));
    if (m_lines.size() > maximumLines) {
        m_lines.pop_front();
        ++m_leftOut;
    }
}

std::string EventFeed::take(std::size_t width) {
    std::string all;
    if (m_leftOut > 0)
        all = localized("（略過 %lld 行）", {static_cast<double>(m_leftOut)}) + "\n";
    for (const std::string& line : m_lines)
        all += text::inOneRow(line, width) + "\n";
    m_lines.clear();
    m_leftOut = 0;
    return all;
}

void EventFeed::noteEvents(const JSONValue& snapshot) {
    const JSONArray& events = json::arrayOf(snapshot, "recent");
    // The list moves on at its end: what was there before is its beginning, as far as it reaches.
    std::size_t known = std::min(m_recent.size(), events.size());
    while (known > 0 && !std::equal(m_recent.end() - static_cast<std::ptrdiff_t>(known),
                                    m_recent.end(), events.begin()))
        --known;
    if (m_isFirst)
        known = events.size() - std::min(events.size(), firstEvents);
    for (std::size_t i = known; i < events.size(); ++i)
        add(lineOf(events[i]));
    m_recent = events;
}

void EventFeed::notePresence(const JSONValue& snapshot) {
    const auto presence = Presence::in(snapshot);
    if (!presence)
        return;
    // Not the idle time, which is always another one.
    const std::string now(std::string(rawValue(presence->mode)) +
                          (presence->isAway ? " away" : " present"));
    if (std::exchange(m_presence, now) != now)
        add(textOf(*presence));
}

} // namespace ctl
