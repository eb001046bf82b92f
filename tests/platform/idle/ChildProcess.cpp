#include "ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace std::chrono_literals;

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    start([&] { execvp(arguments[0], arguments.data()); });
}

ChildProcess::ChildProcess(const std::function<void()>& body) {
    start(body);
}

void ChildProcess::start(const std::function<void()>& body) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    m_id = fork();
    if (m_id < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (m_id == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        body();
        _exit(127);
    }
    close(ends[1]);
    m_output = ends[0];
}

ChildProcess::~ChildProcess() {
    close(m_output);
    if (m_id > 0) {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
}

std::optional<std::string> ChildProcess::line() {
    std::string result;
    for (;;) {
        pollfd waited{m_output, POLLIN, 0};
        char character = 0;
        if (poll(&waited, 1, 20'000) <= 0 || read(m_output, &character, 1) != 1)
            return std::nullopt;
        if (character == '\n')
            return result;
        result += character;
    }
}

void ChildProcess::signal(int number) const {
    kill(m_id, number);
}

int ChildProcess::wait() {
    int status = -1;
    waitpid(m_id, &status, 0);
    m_id = -1;
    return status;
}

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "idle-XXXXXX";
    if (!mkdtemp(pattern.data()))
        throw std::system_error(errno, std::generic_category(), pattern);
    m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

bool waitFor(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}
