#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "core/JSONValue.h"
#include "core/Log.h"
#include "platform/AgentProcesses.h"

/// Notices what has stopped working without anybody being told: logs it once when it begins, and
/// keeps what stands as a note for the one who looks after the daemon.
///
/// The note is an object from the kind of trouble to {"since": milliseconds, and details}:
///   "hookSilence"      {"agents": ["claude", "codex"]}  a day without an event while one runs;
///                                                       "since" is the last event
///   "stuckIdleSource"  {"sources": ["X11"]}             says "just now" for ever
///   "eventsLog"        {"error": text}                  cannot be written
///   "relayRefusal"     {"status": 401}                  answers this computer with a 4xx, and not
///                                                       because it is in a hurry (408, 429)
class SelfCheck {
  public:
    using Clock = std::chrono::system_clock;

    /// The agents that run, once they are found.
    using Search = std::future<std::vector<AgentProcess>>;

    /// Where it looks, and whom it tells.
    struct Surroundings {
        /// Begins to look for agents; by default on a thread of its own, which shares nothing and
        /// is not waited for. An invalid one: not now.
        std::function<Search()> agents = searchAside;
        std::function<std::vector<std::string>()> stuckIdleSources = [] {
            return std::vector<std::string>();
        };
        /// Takes all troubles that stand, whenever they have changed, and says whether it has kept
        /// them: a disk that takes no events takes no note either. If not, it is told again.
        std::function<bool(const JSONObject&)> note = [](const JSONObject&) { return true; };
        std::function<Clock::time_point()> now = Clock::now;
    };

    /// What the daemon's parts have met with.
    struct Observations {
        std::error_code eventsLog;       ///< of the last line
        std::optional<int> relayRefusal; ///< the HTTP status of the last try to connect
    };

    /// @param lastEvent of an earlier run; nothing when there was none
    SelfCheck(Surroundings surroundings, LogSink log, std::optional<Clock::time_point> lastEvent);

    void eventArrived();
    /// To be called every few seconds. Looks for agents only while it matters, every ten minutes,
    /// and waits for nothing.
    void look(const Observations& observations);

  private:
    [[nodiscard]] static Search searchAside();

    struct Trouble {
        std::string_view kind;
        JSONObject details;
        std::string line; // For the log.
        Clock::time_point since;
    };

    void lookForSilence(Clock::time_point now);
    [[nodiscard]] std::vector<Trouble> standing(const Observations& observations,
                                                Clock::time_point now) const;

    Surroundings m_surroundings;
    LogSink m_log;
    Clock::time_point m_started;
    Clock::time_point m_lastEvent;
    Clock::time_point m_lastSearch;
    Search m_search; // While it goes on.
    std::vector<std::string> m_silentAgents;
    JSONObject m_note;
    bool m_isKept = true;
};
