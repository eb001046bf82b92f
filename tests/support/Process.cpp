#include "support/Process.h"

#include <csignal>
#include <cstdlib>
#include <system_error>

#include <linux/close_range.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "support/Until.h"

namespace {

Descriptor memoryFile(std::string_view bytes = {}) {
    Descriptor file(::memfd_create("standard", MFD_CLOEXEC));
    while (!bytes.empty()) {
        const ssize_t count = ::write(file.number(), bytes.data(), bytes.size());
        if (count < 0)
            throw std::system_error(errno, std::system_category(), "memory file");
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    ::lseek(file.number(), 0, SEEK_SET);
    return file;
}

} // namespace

Process::Process(const Command& command) : m_output(memoryFile()) {
    const Descriptor input = memoryFile(command.input);
    std::vector<char*> arguments;
    for (const std::string& argument : command.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    m_id = ::fork();
    if (m_id < 0)
        throw std::system_error(errno, std::system_category(), "fork");
    if (m_id > 0)
        return;
    ::dup2(input.number(), STDIN_FILENO);
    ::dup2(m_output.number(), STDOUT_FILENO);
    // Whatever else whoever runs the tests has open.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    for (const auto& [name, value] : command.environment)
        ::setenv(name.c_str(), value.c_str(), 1);
    const rlimit limit{command.descriptorLimit, command.descriptorLimit};
    if (command.descriptorLimit == 0 || ::setrlimit(RLIMIT_NOFILE, &limit) == 0)
        ::execv(command.program.c_str(), arguments.data());
    ::_exit(127);
}

Process::~Process() {
    if (isRunning()) {
        ::kill(m_id, SIGKILL);
        ::waitpid(m_id, nullptr, 0);
    }
}

bool Process::isRunning() {
    int status = 0;
    if (!m_status && ::waitpid(m_id, &status, WNOHANG) == m_id)
        m_status = status;
    return !m_status;
}

void Process::signal(int number) const {
    if (!m_status)
        ::kill(m_id, number);
}

std::string Process::output() const {
    // Not by seeking: the program writes where that leaves off.
    struct stat status {};
    ::fstat(m_output.number(), &status);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t count = ::pread(m_output.number(), text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

int Process::exitCode() {
    const bool hasEnded = until([this] { return !isRunning(); });
    return hasEnded && WIFEXITED(*m_status) ? WEXITSTATUS(*m_status) : -1;
}
