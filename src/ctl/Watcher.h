#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/EventFeed.h"
#include "ctl/KeyGate.h"
#include "ctl/LineEditor.h"
#include "ctl/Question.h"
#include "ctl/QuestionView.h"

namespace ctl {

/// What somebody sees and does who watches the daemon at a terminal, without the terminal, the
/// daemon and the clock: those are told to it, and it says what is to be written and answered.
///
/// One question is drawn at a time, the oldest first, and nothing else is written while it stands
/// there. Approving is never a reflex: `KeyGate` tells which key counts, and Return and the space
/// bar never approve.
class Watcher {
  public:
    using Clock = KeyGate::Clock;

    explicit Watcher(const Style& style) : m_style(style) {}

    /// The daemon's newest snapshot.
    void receive(const JSONValue& snapshot);
    /// The daemon is not to be reached, and why. What was drawn is not to be answered now.
    void lose(const std::string& reason);
    /// Whether keys count from now on. The caller then throws away what was typed and not read yet.
    [[nodiscard]] bool opens(Clock::time_point now);
    /// All bytes that were read in one go.
    void type(std::string_view bytes, Clock::time_point now);
    /// Time has passed, and there is nothing to read.
    void tick(Clock::time_point now);
    /// From now on text looks so. What is asked is written once more, for the terminal may have
    /// been another program's meanwhile.
    void restyle(const Style& style);
    /// What `takeAnswer` gave was accepted by the daemon.
    void answered();
    /// It was not; in a sentence why.
    void refused(const std::string& sentence);

    /// What is to be written now; then `disturb` is to be called, before anything else.
    [[nodiscard]] std::string takeOutput();
    /// What is typed until then, and shortly after, is not meant for what stands there now.
    void disturb(Clock::time_point now) { m_gate.close(now); }
    /// The body of an answer that is to be sent.
    [[nodiscard]] std::optional<JSONObject> takeAnswer();
    /// When `opens` or `tick` is needed.
    [[nodiscard]] std::optional<Clock::time_point> wakeUp() const;
    [[nodiscard]] bool hasEnded() const { return m_hasEnded; }

  private:
    // The text that a person is writing.
    struct Composition {
        Action action = Action::deny;
        std::string prompt;
        LineEditor editor;
        std::optional<Clock::time_point> endsAt; // Return was typed, and nothing since
    };
    // What was decided, until the daemon has it.
    struct Decision {
        Question question;
        Action action = Action::deny;
        std::string text;
        bool isTaken = false;
    };

    void proceed();
    void draw(Extent extent);
    void redraw();
    void press(char key);
    void beginComposition(Action action, const std::string& prompt);
    void compose(std::string_view bytes, Clock::time_point now);
    void cancelComposition(const std::string& why);
    void finishComposition();
    void breakOff();
    void decide(Action action, const std::string& text = {});
    void say(std::string_view text) { m_output.append(text).append("\n"); }

    Style m_style;
    std::string m_output;
    EventFeed m_feed; // what waits until no question is drawn
    KeyGate m_gate;
    bool m_hasAdvised = false;
    bool m_isLost = false;
    std::string m_lossReason;
    std::vector<Question> m_questions;
    std::optional<Question> m_current;
    std::set<std::string> m_putAside; // ids of questions that are not drawn again
    std::optional<Composition> m_compose;
    bool m_waitsForReturn = false;
    std::optional<Decision> m_decision;
    bool m_hasEnded = false;
};

} // namespace ctl
