// Follows the daemon and lets a person at the terminal answer: waits for the daemon, the keys and
// the signals, and passes each on to the watcher.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>

#include <poll.h>
#include <unistd.h>

#include "core/Localized.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/JobSignals.h"
#include "ctl/Output.h"
#include "ctl/Terminal.h"
#include "ctl/Watcher.h"

namespace ctl {

namespace {

using Clock = Watcher::Clock;

constexpr std::chrono::seconds retryPause{1};
// The stream says something every twenty seconds.
constexpr std::chrono::seconds longestSilence{50};
// How long the rest of a snapshot whose beginning has come may take.
constexpr std::chrono::milliseconds pieceTime{20};

bool isTerminal() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
}

// See no-color.org for the variable.
bool wantsColours(const EnvironmentLookup& environment) {
    const auto noColour = environment("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && (!noColour || noColour->empty()) &&
           environment("TERM").value_or("dumb") != "dumb";
}

// What is not read at a terminal has no rows and columns.
Style styleFor(const EnvironmentLookup& environment) {
    const bool isRead = ::isatty(STDOUT_FILENO) == 1;
    return {.answers = isTerminal(),
            .colours = wantsColours(environment),
            .width = isRead ? Terminal::size().columns : 0,
            .height = isRead ? Terminal::size().rows : 0};
}

class Watch {
  public:
    explicit Watch(const Context& context)
        : m_context(context), m_watcher(styleFor(context.environment)) {
        connect();
        if (isTerminal())
            m_terminal.emplace();
    }

    void run() {
        while (!m_watcher.hasEnded() && !m_hasTerminalEnded) {
            if (const auto answer = m_watcher.takeAnswer())
                send(*answer);
            show();
            switch (waitOnce()) {
            case SIGTSTP:
                suspend();
                break;
            case SIGCONT: // After any stop, also one that this program did not notice.
            case SIGWINCH:
                begin();
                break;
            default:
                break;
            }
        }
        show();
    }

  private:
    void show() {
        if (const std::string text = m_watcher.takeOutput(); !text.empty()) {
            output::write(text);
            m_watcher.disturb(Clock::now());
        }
    }

    void send(const JSONObject& answer) {
        try {
            DaemonClient(m_context).post("/answer", answer);
            m_watcher.answered();
        } catch (const Unreachable& problem) {
            // A new stream begins with how things are.
            lose(problem.message());
            m_watcher.refused(problem.reason() == Unreachable::Reason::notAnswering
                                  ? localized("不知道回答有沒有送到")
                                  : localized("回答沒有送出"));
        } catch (const DaemonError& problem) {
            m_watcher.refused(localized("沒有送出：%@", {problem.message()}));
        }
    }

    void suspend() {
        if (m_terminal)
            m_terminal->giveBack();
        m_signals.stop();
        begin();
    }

    // The terminal may be another one than before, in its settings and its size.
    void begin() {
        if (m_terminal)
            m_terminal->take();
        m_watcher.restyle(styleFor(m_context.environment));
        m_watcher.disturb(Clock::now());
    }

    // @return the signal that came
    int waitOnce() {
        std::array<pollfd, 2> waits{
            pollfd{.fd = m_terminal ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0},
            pollfd{.fd = m_stream ? m_stream->descriptor() : -1, .events = POLLIN, .revents = 0}};
        auto until = m_stream ? m_lastHeard + longestSilence : m_retryAt;
        if (const auto wakeUp = m_watcher.wakeUp())
            until = std::min(until, *wakeUp);
        if (const int signal = m_signals.wait(waits, until))
            return signal;
        // Keys count by when they are read; what lay there before is older than it looks.
        if (m_terminal && m_watcher.opens(Clock::now()))
            m_terminal->discardInput();
        else if (waits[0].revents != 0)
            readKeys();
        if (waits[1].revents != 0)
            readStream();
        const auto now = Clock::now();
        if (!hasKeys())
            m_watcher.tick(now);
        if (m_stream && now >= m_lastHeard + longestSilence)
            lose(localized("Tamsell 沒有回應"));
        if (!m_stream && now >= m_retryAt)
            reconnect();
        return 0;
    }

    void readKeys() {
        std::array<char, 4096> bytes{};
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count > 0)
            m_watcher.type({bytes.data(), static_cast<std::size_t>(count)}, Clock::now());
        else if (count == 0 || errno != EINTR)
            m_hasTerminalEnded = true;
    }

    [[nodiscard]] bool hasKeys() const {
        pollfd input{.fd = m_terminal ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0};
        return ::poll(&input, 1, 0) > 0;
    }

    void readStream() {
        try {
            m_lastHeard = Clock::now();
            if (const auto snapshot = m_stream->newest(m_lastHeard + pieceTime))
                m_watcher.receive(*snapshot);
        } catch (const DaemonError& error) {
            lose(error.message());
        }
    }

    void connect() {
        m_stream = DaemonClient(m_context).events();
        // The first snapshot may have come with the head, and then nothing is left to wait for.
        readStream();
    }

    void reconnect() {
        try {
            connect();
        } catch (const std::exception& error) {
            lose(error.what());
        }
    }

    void lose(const std::string& reason) {
        m_stream.reset();
        m_retryAt = Clock::now() + retryPause;
        m_watcher.lose(reason);
    }

    const Context& m_context;
    JobSignals m_signals;
    std::optional<Terminal> m_terminal;
    bool m_hasTerminalEnded = false;
    Watcher m_watcher;
    std::optional<EventStream> m_stream;
    Clock::time_point m_lastHeard;
    Clock::time_point m_retryAt;
};

} // namespace

int watch(const Context& context, const Arguments& /*arguments*/) {
    Watch(context).run();
    return 0;
}

} // namespace ctl
