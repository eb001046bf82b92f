#include "platform/IdleTime.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

using namespace std::chrono_literals;

namespace {

// Below this a source says "just now".
constexpr auto recent = 2s;
// Nobody types for so long without pausing at any reading; a source that says so is stuck.
constexpr auto stuckAfter = 10min;
// Readings further apart than this do not show what the source said in between.
constexpr auto unwatchedAfter = 30s;
constexpr auto forgivenFor = 1s;
constexpr auto sharedFor = 20ms;

} // namespace

// A source and what is known of it from earlier readings.
struct IdleTime::Watched {
    explicit Watched(std::unique_ptr<IdleSource> watched) : source(std::move(watched)) {}

    std::unique_ptr<IdleSource> source;
    TimePoint notBefore = TimePoint::min();
    std::optional<std::chrono::milliseconds> lastValue;
    TimePoint lastAt;
    bool isForgiven = false;
    std::optional<TimePoint> recentSince;
    bool isStuck = false;

    void answered(std::chrono::milliseconds value, TimePoint now) {
        if (value >= recent) {
            recentSince.reset();
            isStuck = false;
        } else {
            if (!recentSince || now - lastAt > unwatchedAfter)
                recentSince = now;
            isStuck = isStuck || now - *recentSince >= stuckAfter;
        }
        lastValue = value;
        lastAt = now;
        isForgiven = false;
    }

    void failed(TimePoint now) {
        if (lastValue && !isForgiven && now - lastAt <= unwatchedAfter) {
            isForgiven = true;
            notBefore = now + forgivenFor;
            return;
        }
        isForgiven = false;
        lastValue.reset();
        notBefore = now + idle::leftAloneFor;
    }
};

struct IdleTime::Answer {
    std::string_view name;
    std::chrono::milliseconds value{};
    bool isStuck = false;
};

IdleTime::IdleTime(IdleSources sources, idle::SteadyClock now)
    : m_terminalsCount(std::move(sources.terminalsCount)), m_now(std::move(now)) {
    for (auto& source : sources.desktop)
        m_desktop.emplace_back(std::move(source));
    for (auto& source : sources.terminal)
        m_terminal.emplace_back(std::move(source));
}

IdleTime::~IdleTime() = default;

std::chrono::milliseconds IdleTime::sinceLastInput() {
    if (m_hasRead && m_now() - m_readAt <= sharedFor)
        return m_value;
    m_value = readAll();
    m_readAt = m_now();
    return m_value;
}

std::chrono::milliseconds IdleTime::readAll() {
    std::vector<Answer> answers;
    for (auto& watched : m_desktop) {
        if (const auto answer = ask(watched)) {
            answers.push_back(*answer);
            if (!answer->isStuck)
                break;
        }
    }
    if (m_terminalsCount && m_terminalsCount()) {
        for (auto& watched : m_terminal)
            if (const auto answer = ask(watched))
                answers.push_back(*answer);
    }
    if (std::ranges::any_of(answers, [](const Answer& each) { return !each.isStuck; }))
        std::erase_if(answers, [](const Answer& each) { return each.isStuck; });

    std::string name;
    for (const auto& answer : answers) {
        if (!name.empty())
            name += ", ";
        name += answer.name;
    }
    setSourceName(std::move(name));
    if (answers.empty())
        return 0ms;
    return std::ranges::min(answers, {}, &Answer::value).value;
}

std::optional<IdleTime::Answer> IdleTime::ask(Watched& watched) {
    if (m_now() >= watched.notBefore) {
        const auto value = watched.source->read();
        // The time after the call: it may have taken its 100 ms.
        if (value)
            watched.answered(std::max(*value, 0ms), m_now());
        else
            watched.failed(m_now());
    }
    if (!watched.lastValue)
        return std::nullopt;
    const auto since = std::chrono::floor<std::chrono::milliseconds>(m_now() - watched.lastAt);
    return Answer{watched.source->name(), *watched.lastValue + since, watched.isStuck};
}

std::vector<std::string> IdleTime::stuckSources() const {
    std::vector<std::string> names;
    for (const auto* watched : {&m_desktop, &m_terminal}) {
        for (const Watched& each : *watched)
            if (each.isStuck && m_now() - each.lastAt <= unwatchedAfter)
                names.emplace_back(each.source->name());
    }
    return names;
}

void IdleTime::setSourceName(std::string name) {
    if (std::exchange(m_hasRead, true) && name == m_sourceName)
        return;
    m_sourceName = std::move(name);
    if (m_sourceChanged)
        m_sourceChanged(m_sourceName);
}
