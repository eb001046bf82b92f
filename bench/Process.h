#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace bench {

/// How a program is started.
struct Command {
    using Environment = std::vector<std::pair<std::string, std::string>>;
    enum class Inherits { environment, nothing };

    std::vector<std::string> arguments; ///< the first is the program's path
    Environment environment{};          ///< beyond what it inherits
    Inherits inherits = Inherits::environment;
    std::filesystem::path input = "/dev/null";
    std::filesystem::path output = "/dev/null"; ///< appended to
    std::filesystem::path errors{};             ///< the same; where this process's go when empty
};

/// A child process; it ends with this object.
class Process {
  public:
    /// @throws std::system_error when it cannot be started
    explicit Process(const Command& command);
    Process(Process&& other) noexcept : m_id(std::exchange(other.m_id, -1)) {}
    Process& operator=(Process&&) = delete;
    ~Process();

    [[nodiscard]] pid_t id() const { return m_id; }
    /// The user and system time of all its threads so far, as exactly as the scheduler counts it.
    [[nodiscard]] std::chrono::nanoseconds processorTime() const;
    /// Waits for it to end by itself. Its exit code, or -1 when a signal ended it.
    int wait();

  private:
    pid_t m_id;
};

/// Looks in the system's own folders before PATH, since what is found there may be a script that
/// looks for the program in turn.
[[nodiscard]] std::optional<std::string> findProgram(const std::string& name);

/// A directory that is removed with this object.
class ScratchDirectory {
  public:
    ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory();

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }
    /// Writes a file into it and gives its path.
    [[nodiscard]] std::filesystem::path write(const std::string& name,
                                              const std::string& text) const;

  private:
    std::filesystem::path m_path;
};

} // namespace bench
