#include "platform/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves it to the program

namespace {

// How often it is asked whether the program has ended where the system has nothing to wait for.
constexpr std::chrono::milliseconds askAgain{20};

struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Pipe outputOf(const ChildProcess::Command& command) {
    if (command.output == ChildProcess::Output::collected)
        return makePipe();
    const char* const nowhere = "/dev/null";
    Descriptor sink(::open(nowhere, O_WRONLY | O_CLOEXEC));
    if (!sink.isValid())
        throw std::system_error(errno, std::generic_category(), nowhere);
    return {Descriptor(), std::move(sink)};
}

void setNonBlocking(const Descriptor& descriptor) {
    ::fcntl(descriptor.number(), F_SETFL, O_NONBLOCK);
}

class SpawnSettings {
  public:
    SpawnSettings(int input, int output, int errors) {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawn_file_actions_adddup2(&m_actions, input, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_actions, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_actions, errors, STDERR_FILENO);
        ::posix_spawnattr_init(&m_attributes);
        sigset_t all;
        sigset_t none;
        ::sigfillset(&all);
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        ::posix_spawnattr_setpgroup(&m_attributes, 0);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                      POSIX_SPAWN_SETPGROUP);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        ::posix_spawn_file_actions_destroy(&m_actions);
        ::posix_spawnattr_destroy(&m_attributes);
    }

    [[nodiscard]] pid_t spawn(const ChildProcess::Command& command) const {
        std::vector<char*> arguments;
        for (const std::string& argument : command.arguments)
            arguments.push_back(const_cast<char*>(argument.c_str()));
        arguments.push_back(nullptr);
        std::vector<char*> variables;
        for (char** variable = environ; *variable; ++variable) {
            const std::string_view text = *variable;
            const std::string_view name = text.substr(0, text.find('='));
            if (std::ranges::find(command.withoutVariables, name) == command.withoutVariables.end())
                variables.push_back(*variable);
        }
        variables.push_back(nullptr);
        pid_t id = -1;
        const int error = ::posix_spawnp(&id, arguments.front(), &m_actions, &m_attributes,
                                         arguments.data(), variables.data());
        if (error != 0)
            throw std::system_error(error, std::generic_category(), command.arguments.front());
        return id;
    }

  private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

} // namespace

ChildProcess::ChildProcess(const Command& command) : m_input(command.input) {
    Pipe input = makePipe();
    Pipe output = outputOf(command);
    Pipe errors = outputOf(command);
    m_id = SpawnSettings(input.readEnd.number(), output.writeEnd.number(), errors.writeEnd.number())
               .spawn(command);
    m_inputEnd = std::move(input.writeEnd);
    m_outputEnd = std::move(output.readEnd);
    m_errorsEnd = std::move(errors.readEnd);
    m_end = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_id, 0)));
    for (const Descriptor* end : {&m_inputEnd, &m_outputEnd, &m_errorsEnd})
        setNonBlocking(*end);
}

ChildProcess::~ChildProcess() {
    if (m_status)
        return;
    ::kill(-m_id, SIGKILL);
    int status = 0;
    while (::waitpid(m_id, &status, 0) < 0 && errno == EINTR) {
    }
}

bool ChildProcess::wait(Clock::time_point until, int wakeUp) {
    for (;;) {
        feed();
        collect(m_outputEnd, m_output);
        collect(m_errorsEnd, m_errors);
        if (reap())
            return true;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        if (left.count() <= 0)
            return false;
        std::array<pollfd, 5> waits{
            pollfd{.fd = m_inputEnd.number(), .events = POLLOUT, .revents = 0},
            pollfd{.fd = m_outputEnd.number(), .events = POLLIN, .revents = 0},
            pollfd{.fd = m_errorsEnd.number(), .events = POLLIN, .revents = 0},
            pollfd{.fd = m_end.number(), .events = POLLIN, .revents = 0},
            pollfd{.fd = wakeUp, .events = POLLIN, .revents = 0}};
        const auto time = m_end.isValid() ? left : std::min(left, askAgain);
        const int ready = ::poll(waits.data(), waits.size(), static_cast<int>(time.count()));
        if (ready < 0 || waits[4].revents != 0)
            return reap();
    }
}

std::optional<int> ChildProcess::exitCode() const {
    if (!m_status || !WIFEXITED(*m_status))
        return std::nullopt;
    return WEXITSTATUS(*m_status);
}

void ChildProcess::feed() {
    while (m_inputEnd.isValid()) {
        const ssize_t count =
            ::write(m_inputEnd.number(), m_input.data() + m_fed, m_input.size() - m_fed);
        if (count > 0)
            m_fed += static_cast<std::size_t>(count);
        if (count < 0 && errno == EAGAIN)
            return;
        // Read in full, or nobody reads it any more.
        if (m_fed == m_input.size() || (count < 0 && errno != EINTR))
            m_inputEnd = Descriptor();
    }
}

void ChildProcess::collect(Descriptor& from, std::string& into) {
    std::array<char, 4096> piece{};
    while (from.isValid()) {
        const ssize_t count = ::read(from.number(), piece.data(), piece.size());
        if (count < 0 && errno == EAGAIN)
            return;
        if (count == 0 || (count < 0 && errno != EINTR))
            from = Descriptor();
        if (count > 0)
            into.append(piece.data(),
                        std::min(static_cast<std::size_t>(count), maximumOutput - into.size()));
    }
}

bool ChildProcess::reap() {
    int status = 0;
    if (!m_status && ::waitpid(m_id, &status, WNOHANG) == m_id) {
        m_ended = Clock::now();
        m_status = status;
        collect(m_outputEnd, m_output);
        collect(m_errorsEnd, m_errors);
    }
    return m_status.has_value();
}
