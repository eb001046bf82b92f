#include "hook/HookRun.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

ScratchDirectory::ScratchDirectory() {
    std::string name = (fs::temp_directory_path() / "hook-test-XXXXXX").string();
    if (!::mkdtemp(name.data()))
        throw std::system_error(errno, std::generic_category(), name);
    m_path = name;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

void ScratchDirectory::write(const fs::path& name, std::string_view bytes) const {
    fs::create_directories((m_path / name).parent_path());
    std::ofstream(m_path / name, std::ios::binary) << bytes;
}

void ScratchDirectory::configure(std::uint16_t port, const std::string& host) const {
    write("config.json", R"({"host":")" + host + R"(","port":)" + std::to_string(port) + "}");
}

HookRun::HookRun(const std::vector<std::string>& command, std::string_view input,
                 const std::optional<std::string>& home)
    : m_errors(::memfd_create("errors", MFD_CLOEXEC)) {
    const hook::Descriptor in(::memfd_create("input", MFD_CLOEXEC));
    for (std::string_view rest = input; !rest.empty();)
        rest.remove_prefix(
            static_cast<std::size_t>(::write(in.number(), rest.data(), rest.size())));
    ::lseek(in.number(), 0, SEEK_SET);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    m_output.emplace(ends[0]);
    const hook::Descriptor writer(ends[1]);
    m_process = ::fork();
    if (m_process == 0) {
        ::dup2(in.number(), STDIN_FILENO);
        ::dup2(writer.number(), STDOUT_FILENO);
        ::dup2(m_errors.number(), STDERR_FILENO);
        if (home)
            ::setenv("TAMSELL_HOME", home->c_str(), 1);
        else
            ::unsetenv("TAMSELL_HOME");
        std::vector<char*> arguments;
        arguments.reserve(command.size() + 1);
        for (const std::string& argument : command)
            arguments.push_back(const_cast<char*>(argument.c_str()));
        arguments.push_back(nullptr);
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
}

HookRun::~HookRun() {
    if (isRunning()) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
}

bool HookRun::isRunning() {
    int status = 0;
    if (!m_status && ::waitpid(m_process, &status, WNOHANG) == m_process)
        m_status = status;
    return !m_status;
}

HookRun::Outcome HookRun::wait() {
    Outcome outcome;
    if (m_output) {
        pollfd ends{.fd = m_output->number(), .events = POLLIN, .revents = 0};
        while (::poll(&ends, 1, 30'000) > 0) {
            char piece[65536];
            const ssize_t count = ::read(ends.fd, piece, sizeof piece);
            if (count <= 0)
                break;
            outcome.output.append(piece, static_cast<std::size_t>(count));
        }
    }
    // Its output is at its end, so it ends itself now, or it never had one to read.
    for (int turn = 0; turn < 30'000 && isRunning(); ++turn)
        ::poll(nullptr, 0, 1);
    outcome.took = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - m_started);
    if (m_status && WIFEXITED(*m_status))
        outcome.exitCode = WEXITSTATUS(*m_status);
    ::lseek(m_errors.number(), 0, SEEK_SET);
    (void)hook::readAll(m_errors.number(), 65536, outcome.errors);
    return outcome;
}

std::string hookProgram() {
    return TAMSELL_BIN "/tamsell-hook";
}
