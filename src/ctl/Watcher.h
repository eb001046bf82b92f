#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/EventFeed.h"
#include "ctl/Question.h"

namespace ctl {

/// What somebody sees and does who watches the daemon at a terminal, without the terminal, the
/// daemon and the clock: those are told to it, and it says what is to be written and answered.
///
/// One question is drawn at a time, the oldest first, and nothing else is written while it stands
/// there. Approving is never a reflex: a key counts only when it came alone, and when for 600 ms
/// nothing was written and nothing typed. So neither what was typed ahead, nor a paste, nor a key
/// that is held down answers anything; Return and the space bar never do.
class Watcher {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds quietPeriod{600};

    /// How the text looks.
    struct Style {
        bool answers = true; ///< whether there is somebody to press keys; else this only follows
        bool colours = false;
        std::size_t width = 80; ///< columns
    };

    /// What the terminal is to deliver.
    enum class Input {
        keys, ///< each at once, without showing it
        line  ///< text that the person sees and can correct
    };

    explicit Watcher(Style style) : m_style(style) {}

    /// The daemon's newest snapshot.
    void receive(const JSONValue& snapshot);
    /// The daemon is not to be reached, and why. What was drawn is not to be answered now.
    void lose(const std::string& reason);
    /// All bytes that were read in one go.
    void type(std::string_view bytes, Clock::time_point now);
    /// The end of the input, which a person types as Ctrl-D.
    void endInput();
    /// Time has passed.
    void tick(Clock::time_point now);
    /// Writes what is asked once more, for the terminal was another program's meanwhile.
    void redraw();
    /// What `takeAnswer` gave was accepted by the daemon, or why not.
    void answered(const std::optional<std::string>& error);

    /// What is to be written now. The caller throws away what was typed until it is written, and
    /// then calls `drawn`.
    [[nodiscard]] std::string takeOutput();
    void drawn(Clock::time_point now) { m_lastActivity = now; }
    [[nodiscard]] Input input() const { return m_compose ? Input::line : Input::keys; }
    /// The body of an answer that is to be sent.
    [[nodiscard]] std::optional<JSONObject> takeAnswer();
    /// When `tick` is needed.
    [[nodiscard]] std::optional<Clock::time_point> wakeUp() const;
    [[nodiscard]] bool hasEnded() const { return m_hasEnded; }

  private:
    // How much of a question is drawn.
    enum class Extent { beginning, whole };
    // The text that a person is writing.
    struct Composition {
        bool isDenial = false; // else an instruction
        std::string text{};
        std::optional<Clock::time_point> endsAt{}; // a line was ended, and nothing came since
    };
    // What was decided, until the daemon has it.
    struct Decision {
        Question question;
        Action action = Action::deny;
        std::string text;
        bool isTaken = false;
    };

    void proceed();
    void draw(const Question& question, Extent extent);
    void drawText(const Question& question, Extent extent);
    void drawChoices(const Question& question);
    void press(char key);
    void compose(Composition composition);
    void finishComposition();
    void decide(Action action, const std::string& text = {});
    void say(std::string_view text) { m_output.append(text).append("\n"); }
    [[nodiscard]] std::string styled(std::string_view escape, std::string_view text) const;

    Style m_style;
    std::string m_output;
    EventFeed m_feed; // what waits until no question is drawn
    bool m_hasAdvised = false;
    bool m_isLost = false;
    std::string m_lossReason;
    std::vector<Question> m_questions;
    std::optional<Question> m_current;
    std::set<std::string> m_putAside; // ids of questions that are not drawn again
    std::optional<Composition> m_compose;
    std::optional<Decision> m_decision;
    Clock::time_point m_lastActivity;
    bool m_hasEnded = false;
};

} // namespace ctl
