#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "hook/File.h"

/// A directory that is removed with this object.
class ScratchDirectory {
  public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return m_path; }
    void write(const std::filesystem::path& name, std::string_view bytes) const;
    /// config.json for a daemon at that port.
    void configure(std::uint16_t port, const std::string& host = "127.0.0.1") const;

  private:
    std::filesystem::path m_path;
};

/// One run of a program, begun by the constructor; killed by the destructor if it still runs.
class HookRun {
  public:
    struct Outcome {
        int exitCode = -1; ///< -1 after a signal, or when it did not end within 30 s
        std::string output;
        std::string errors;
        std::chrono::milliseconds took{};
    };

    /// @param home TAMSELL_HOME, when it is to be set
    HookRun(const std::vector<std::string>& command, std::string_view input,
            const std::optional<std::string>& home);
    ~HookRun();
    HookRun(const HookRun&) = delete;
    HookRun& operator=(const HookRun&) = delete;

    [[nodiscard]] bool isRunning();
    /// Closes the end of its standard output at which the agent reads.
    void stopReading() { m_output.reset(); }
    Outcome wait();

  private:
    pid_t m_process = -1;
    std::optional<int> m_status;
    std::chrono::steady_clock::time_point m_started = std::chrono::steady_clock::now();
    hook::Descriptor m_errors;
    std::optional<hook::Descriptor> m_output;
};

/// The program under test.
[[nodiscard]] std::string hookProgram();
