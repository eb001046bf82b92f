#include "Process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace bench {

namespace {

std::vector<std::string> environmentWith(const Command& command) {
    std::vector<std::string> result;
    for (const auto& [name, value] : command.environment)
        result.push_back(name + "=" + value);
    if (command.inherits == Command::Inherits::nothing)
        return result;
    // Of two of one name the first counts.
    for (char** entry = environ; *entry; ++entry)
        result.emplace_back(*entry);
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

Process::Process(const Command& command) : m_id(-1) {
    auto arguments = command.arguments;
    auto environment = environmentWith(command);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, command.input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, command.output.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (!command.errors.empty())
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, command.errors.c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int error = posix_spawn(&m_id, arguments.front().c_str(), &files, nullptr,
                                  pointers(arguments).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&files);
    if (error != 0)
        throw std::system_error(error, std::system_category(), arguments.front());
}

Process::~Process() {
    if (m_id < 0)
        return;
    ::kill(m_id, SIGTERM);
    wait();
}

std::chrono::nanoseconds Process::processorTime() const {
    clockid_t clock{};
    timespec time{};
    if (const int error = clock_getcpuclockid(m_id, &clock))
        throw std::system_error(error, std::system_category(), "processor time of a process");
    if (clock_gettime(clock, &time) != 0)
        throw std::system_error(errno, std::system_category(), "processor time of a process");
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

int Process::wait() {
    int status = 0;
    while (waitpid(m_id, &status, 0) < 0 && errno == EINTR) {
    }
    m_id = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::optional<std::string> findProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(std::string("/usr/bin:/usr/sbin:") + (path ? path : ""));
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string candidate = folder + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return std::nullopt;
}

ScratchDirectory::ScratchDirectory() {
    std::string name = (fs::temp_directory_path() / "tamsell-bench-XXXXXX").string();
    if (!::mkdtemp(name.data()))
        throw std::system_error(errno, std::system_category(), name);
    m_path = name;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

fs::path ScratchDirectory::write(const std::string& name, const std::string& text) const {
    fs::path file = m_path / name;
    std::ofstream(file) << text;
    return file;
}

} // namespace bench
