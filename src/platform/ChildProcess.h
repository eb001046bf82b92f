#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "core/Descriptor.h"

/// A program that runs beside a command-line program, which waits for it: its input is given at the
/// start, what it says is collected. Not for the daemon, whose loop must not wait; only a takeover
/// from the older version, which is rare, does.
///
/// The caller ignores SIGPIPE. The program itself starts with the default signal actions and in a
/// process group of its own, which the destructor kills when the program has not ended.
class ChildProcess {
  public:
    using Clock = std::chrono::steady_clock;

    enum class Output {
        collected,
        discarded ///< output and errors go to the null device
    };

    struct Command {
        std::vector<std::string> arguments; ///< the first is looked up in PATH unless it has a "/"
        std::string input;                  ///< all that stands on its standard input
        std::vector<std::string> withoutVariables{}; ///< of the environment, by name
        Output output = Output::collected;
    };

    /// @throws std::system_error when it cannot be started
    explicit ChildProcess(const Command& command);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits until it has ended, but not longer than this; not for what it leaves behind in the
    /// background.
    /// A signal that this process handles ends the wait early.
    /// @param wakeUp another descriptor whose readability does so, too; or -1
    /// @return whether it has ended
    bool wait(Clock::time_point until, int wakeUp = -1);

    /// Once it has ended: its exit code; nothing when a signal ended it.
    [[nodiscard]] std::optional<int> exitCode() const;
    /// When it has ended.
    [[nodiscard]] Clock::time_point ended() const { return m_ended; }
    [[nodiscard]] const std::string& output() const { return m_output; }
    [[nodiscard]] const std::string& errors() const { return m_errors; }

    /// More than this of its output, and of its errors, is thrown away.
    static constexpr std::size_t maximumOutput = std::size_t{1} << 20;

  private:
    void feed();
    static void collect(Descriptor& from, std::string& into);
    [[nodiscard]] bool reap();

    std::string m_input;
    std::size_t m_fed = 0;
    Descriptor m_inputEnd;
    Descriptor m_outputEnd;
    Descriptor m_errorsEnd;
    pid_t m_id = -1;
    Descriptor m_end; ///< readable once it has ended
    std::optional<int> m_status;
    Clock::time_point m_ended;
    std::string m_output;
    std::string m_errors;
};
