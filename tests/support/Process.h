#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/resource.h>
#include <sys/types.h>

#include "core/Descriptor.h"

/// One run of a program, begun by the constructor. The destructor kills what still runs.
class Process {
  public:
    struct Command {
        std::string program;                              ///< path
        std::vector<std::string> arguments;               ///< the program's name included
        std::map<std::string, std::string> environment{}; ///< beside what this process has
        std::string_view input{};                         ///< all that stands on its standard input
        rlim_t descriptorLimit = 0; ///< soft and hard; 0: that of this process
    };

    explicit Process(const Command& command);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t id() const { return m_id; }
    [[nodiscard]] bool isRunning();
    void signal(int number) const;
    /// Its standard output so far.
    [[nodiscard]] std::string output() const;
    /// Waits for the end. -1 when a signal ended it or it did not end.
    [[nodiscard]] int exitCode();

  private:
    pid_t m_id = -1;
    std::optional<int> m_status;
    Descriptor m_output;
};
