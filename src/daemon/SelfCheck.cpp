#include "daemon/SelfCheck.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <thread>
#include <utility>

#include "core/Clock.h"

using namespace std::chrono_literals;

namespace {

constexpr auto longestSilence = 24h;
// An agent that was just opened has not been used yet.
constexpr auto settledAfter = 1h;
constexpr auto searchPeriod = 10min;

constexpr int clientErrors = 400;
constexpr int serverErrors = 500;
constexpr int requestTimeout = 408;
constexpr int tooManyRequests = 429;

JSONArray arrayOf(const std::vector<std::string>& texts) {
    return JSONArray(texts.begin(), texts.end());
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all;
}

} // namespace

SelfCheck::SelfCheck(Surroundings surroundings, LogSink log,
                     std::optional<Clock::time_point> lastEvent)
    : m_surroundings(std::move(surroundings)),
      m_log(std::move(log)),
      m_started(m_surroundings.now()),
      m_lastEvent(std::min(lastEvent.value_or(m_started), m_started)) {}

// Thousands of processes take longer than the loop may stand still, and the system lets who reads
// of one wait for as long as it is stuck.
SelfCheck::Search SelfCheck::searchAside() {
    std::packaged_task<std::vector<AgentProcess>()> task([] {
        try {
            return runningAgents();
        } catch (const std::exception&) {
            return std::vector<AgentProcess>();
        }
    });
    Search search = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error&) { // No thread is to be had: the next time, then.
        return {};
    }
    return search;
}

void SelfCheck::eventArrived() {
    m_lastEvent = m_surroundings.now();
}

void SelfCheck::look(const Observations& observations) {
    const auto now = m_surroundings.now();
    lookForSilence(now);
    JSONObject note;
    for (Trouble& trouble : standing(observations, now)) {
        const JSONValue* before = m_note.find(trouble.kind);
        const JSONValue* since = before ? (*before)["since"] : nullptr;
        trouble.details.set("since",
                            since ? *since
                                  : JSONValue(std::floor(wallclock::milliseconds(trouble.since))));
        if (!before)
            m_log(trouble.line);
        note.set(trouble.kind, std::move(trouble.details));
    }
    if (m_isKept && note == m_note)
        return;
    m_note = std::move(note);
    m_isKept = m_surroundings.note(m_note);
}

// An agent's first event comes when it starts, the next when its user types; so one that has been
// there for a while and says nothing has lost its hooks, or its user.
void SelfCheck::lookForSilence(Clock::time_point now) {
    // A clock that was set back must not make the silence last.
    m_lastEvent = std::min(m_lastEvent, now);
    m_started = std::min(m_started, now);
    if (now - m_lastEvent < longestSilence || now - m_started < settledAfter) {
        m_silentAgents.clear();
        m_lastSearch = {};
        m_search = {};
        return;
    }
    const bool isDue = now < m_lastSearch || now - m_lastSearch >= searchPeriod;
    if (isDue && !m_search.valid()) {
        m_lastSearch = now;
        m_search = m_surroundings.agents();
    }
    if (!m_search.valid() || m_search.wait_for(0s) != std::future_status::ready)
        return;
    m_silentAgents.clear();
    for (const AgentProcess& agent : m_search.get()) {
        const char* name = agent.agent == AgentProcess::Agent::claude ? "claude" : "codex";
        if (now - agent.started >= settledAfter &&
            std::ranges::find(m_silentAgents, name) == m_silentAgents.end())
            m_silentAgents.emplace_back(name);
    }
    std::ranges::sort(m_silentAgents);
}

std::vector<SelfCheck::Trouble> SelfCheck::standing(const Observations& observations,
                                                    Clock::time_point now) const {
    std::vector<Trouble> troubles;
    if (!m_silentAgents.empty())
        troubles.push_back(
            {"hookSilence",
             {{"agents", arrayOf(m_silentAgents)}},
             "tamsell: no hook event for a day while an agent runs: " + joined(m_silentAgents),
             m_lastEvent});
    if (const auto stuck = m_surroundings.stuckIdleSources(); !stuck.empty())
        troubles.push_back({"stuckIdleSource",
                            {{"sources", arrayOf(stuck)}},
                            "tamsell: this idle source is stuck: " + joined(stuck),
                            now});
    if (observations.eventsLog)
        troubles.push_back(
            {"eventsLog",
             {{"error", observations.eventsLog.message()}},
             "tamsell: cannot write the events log: " + observations.eventsLog.message(),
             now});
    // Other refusals are a relay, or its proxy, in trouble of its own, or in a hurry.
    const int status = observations.relayRefusal.value_or(0);
    if (status >= clientErrors && status < serverErrors && status != requestTimeout &&
        status != tooManyRequests)
        troubles.push_back(
            {"relayRefusal",
             {{"status", status}},
             "tamsell: the relay refuses this computer (HTTP " + std::to_string(status) + ")",
             now});
    return troubles;
}
