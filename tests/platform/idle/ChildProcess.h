#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/types.h>

/// A process that ends with the test. Its standard output can be read line by line.
class ChildProcess {
  public:
    /// @throws std::system_error
    explicit ChildProcess(const std::vector<std::string>& command);
    /// Runs a function in a copy of this process, which ends without running anything else.
    explicit ChildProcess(const std::function<void()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// @returns what came before the line feed, or nothing when none came in 20 s
    [[nodiscard]] std::optional<std::string> line();
    void signal(int number) const;
    /// @returns the exit status
    int wait();

  private:
    void start(const std::function<void()>& body);

    pid_t m_id = -1;
    int m_output = -1;
};

/// A value that a child process made afterwards shares with this one.
template <class Value>
class Shared {
  public:
    Shared()
        : m_value(new (mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Value()) {}
    ~Shared() { munmap(m_value, sizeof(Value)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    Value* operator->() const { return m_value; }
    Value& operator*() const { return *m_value; }

  private:
    Value* m_value;
};

/// A new directory that is removed with everything in it.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};

/// Waits until the condition holds.
/// @returns false when it did not within 20 s
[[nodiscard]] bool waitFor(const std::function<bool()>& condition);

/// Whether the call came back in the time of one bounded call, with room for a busy machine, but
/// well below any default time-out.
template <class Call>
[[nodiscard]] bool isBounded(Call&& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::steady_clock::now() - start < std::chrono::seconds(1);
}
