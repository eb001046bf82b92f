#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/IdleSource.h"
#include "platform/IdleSources.h"

/// The time since the user's last input: the smallest of what the believed sources say.
///
/// Nothing is opened before the first reading. A reading asks the desktop sources in order up to
/// the first that is believed, and all terminal sources where they count. Each of these calls is
/// bounded at 100 ms, and a source that fails is left alone for a minute; the first failure after
/// an answer is forgiven once, the answer being counted on from for a second: a desktop that is
/// busy for a moment must not make its absent user present for a minute. A source that said less
/// than 2 s for ten minutes on end is believed only while no other source answers, until it says
/// 2 s or more.
///
/// For the main thread only.
class IdleTime {
  public:
    /// Takes the new sourceName().
    using SourceCallback = std::function<void(const std::string& name)>;

    explicit IdleTime(IdleSources sources, idle::SteadyClock now = std::chrono::steady_clock::now);
    ~IdleTime();

    /// 0 where no source answers. One reading serves every call of the 20 ms after it, so that
    /// what one turn of the loop decides and publishes agrees, and a burst of requests costs one
    /// reading.
    [[nodiscard]] std::chrono::milliseconds sinceLastInput();

    /// What the last reading is the smallest of, in order: "GNOME Mutter" on most desktops,
    /// "terminals, logind" on a server. Empty where no source answered, or before the first
    /// reading.
    [[nodiscard]] const std::string& sourceName() const { return m_sourceName; }

    /// The sources that are stuck, among those that were read in the last half minute.
    [[nodiscard]] std::vector<std::string> stuckSources() const;

    /// Called from within sinceLastInput(): at the first reading, even where no source answers
    /// (with an empty name), and later whenever the name changed. The callback must not destroy
    /// this object.
    void onSourceChanged(SourceCallback callback) { m_sourceChanged = std::move(callback); }

  private:
    using TimePoint = std::chrono::steady_clock::time_point;
    struct Watched;
    struct Answer;

    [[nodiscard]] std::chrono::milliseconds readAll();
    [[nodiscard]] std::optional<Answer> ask(Watched& watched);
    void setSourceName(std::string name);

    std::vector<Watched> m_desktop;
    std::vector<Watched> m_terminal;
    std::function<bool()> m_terminalsCount;
    idle::SteadyClock m_now;
    SourceCallback m_sourceChanged;
    std::string m_sourceName;
    bool m_hasRead = false;
    std::chrono::milliseconds m_value{0};
    TimePoint m_readAt;
};
