// Follows the daemon and lets a person at the terminal answer: waits for the daemon, the keys and
// the signals, and passes each on to the watcher.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <span>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "core/Localized.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
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

// The last signal that came. A signal handler may reach nothing more.
volatile std::sig_atomic_t caught = 0;

// Signals are let in only while this program waits, so that none comes between a look at `caught`
// and the wait.
class Signals {
  public:
    Signals() {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int signal : handled)
            sigaddset(&blocked, signal);
        ::sigprocmask(SIG_BLOCK, &blocked, &m_before);
        for (const int signal : handled)
            handle(signal);
    }
    ~Signals() {
        for (const int signal : handled)
            ::signal(signal, SIG_DFL);
        ::sigprocmask(SIG_SETMASK, &m_before, nullptr);
    }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    // Waits for one of the descriptors, a signal, or the time.
    // @return the signal, or 0
    int wait(std::span<pollfd> descriptors, std::optional<Clock::time_point> until) const {
        timespec left{};
        if (until) {
            const auto time =
                std::max<std::chrono::nanoseconds>(*until - Clock::now(), Clock::duration::zero());
            const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
            left = {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
        }
        if (::ppoll(descriptors.data(), descriptors.size(), until ? &left : nullptr, &m_before) < 0)
            for (pollfd& descriptor : descriptors)
                descriptor.revents = 0;
        return std::exchange(caught, 0);
    }

    // Does what the signal does to a program that knows nothing of it. Returns from SIGTSTP when
    // the program goes on.
    void obey(int signal) const {
        ::signal(signal, SIG_DFL);
        ::raise(signal);
        sigset_t only;
        sigemptyset(&only);
        sigaddset(&only, signal);
        ::sigprocmask(SIG_UNBLOCK, &only, nullptr);
        // Here it stops, or ends.
        ::sigprocmask(SIG_BLOCK, &only, nullptr);
        handle(signal);
    }

  private:
    static constexpr std::array handled{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT};

    static void handle(int signal) {
        struct sigaction action {};
        action.sa_handler = [](int number) { caught = number; };
        sigemptyset(&action.sa_mask);
        ::sigaction(signal, &action, nullptr);
    }

    sigset_t m_before{};
};

bool isTerminal() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
}

// See no-color.org for the variable.
bool wantsColours(const EnvironmentLookup& environment) {
    const auto noColour = environment("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && (!noColour || noColour->empty()) &&
           environment("TERM").value_or("dumb") != "dumb";
}

class Watch {
  public:
    explicit Watch(const Context& context)
        : m_context(context),
          m_watcher({.answers = isTerminal(),
                     .colours = wantsColours(context.environment),
                     .width = Terminal::size().columns,
                     .height = Terminal::size().rows}) {
        connect();
        if (isTerminal())
            m_terminal.emplace();
    }

    // @return the signal that ended it, or 0
    int run() {
        for (;;) {
            show();
            if (m_watcher.hasEnded() || m_hasTerminalEnded)
                return 0;
            if (const auto answer = m_watcher.takeAnswer()) {
                send(*answer);
                continue;
            }
            const int signal = waitOnce();
            if (signal == SIGTSTP)
                suspend();
            else if (signal == SIGCONT)
                resume();
            else if (signal != 0)
                return signal;
        }
    }

  private:
    void show() {
        if (const std::string text = m_watcher.takeOutput(); !text.empty()) {
            output::write(text);
            m_watcher.wrote(Clock::now());
        }
    }

    void send(const JSONObject& answer) {
        std::optional<std::string> error;
        try {
            DaemonClient(m_context).post("/answer", answer);
        } catch (const DaemonError& problem) {
            error = problem.message();
        }
        m_watcher.answered(error);
    }

    void suspend() {
        if (m_terminal)
            m_terminal->giveBack();
        m_signals.obey(SIGTSTP);
    }

    // After any stop, also one that this program did not notice.
    void resume() {
        if (m_terminal)
            m_terminal->take();
        m_watcher.redraw();
    }

    int waitOnce() {
        std::array<pollfd, 2> waits{
            pollfd{.fd = m_terminal ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0},
            pollfd{.fd = m_stream ? m_stream->descriptor() : -1, .events = POLLIN, .revents = 0}};
        auto until = m_stream ? m_lastHeard + longestSilence : m_retryAt;
        if (const auto wakeUp = m_watcher.wakeUp())
            until = std::min(until, *wakeUp);
        const int signal = m_signals.wait(waits, until);
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
        return signal;
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
    Signals m_signals;
    std::optional<Terminal> m_terminal;
    bool m_hasTerminalEnded = false;
    Watcher m_watcher;
    std::optional<EventStream> m_stream;
    Clock::time_point m_lastHeard;
    Clock::time_point m_retryAt;
};

} // namespace

int watch(const Context& context, const Arguments& /*arguments*/) {
    int signal = 0;
    {
        Watch watching(context);
        signal = watching.run();
    }
    // What started this program is to know that it was interrupted.
    if (signal != 0)
        ::raise(signal);
    return 0;
}

} // namespace ctl
