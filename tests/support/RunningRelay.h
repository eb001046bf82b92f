#pragma once

#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>

#include "support/Process.h"
#include "support/TemporaryDirectory.h"
#include "support/Until.h"

/// The real relay, with its database in a directory of its own.
class RunningRelay {
  public:
    /// @throws std::runtime_error when it does not get to listen
    RunningRelay() { start("0"); }

    [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + m_port; }
    [[nodiscard]] Process& process() { return *m_process; }
    [[nodiscard]] std::string database() const { return m_home / "relay.db"; }

    /// Ends it without a word.
    void kill() {
        m_process->signal(SIGKILL);
        (void)m_process->exitCode();
    }
    /// Begins it anew with the port and the database that it had.
    void restart() { start(m_port); }

  private:
    void start(const std::string& port) {
        m_process = std::make_unique<Process>(
            Process::Command{.program = TAMSELL_BIN "/tamsell-relay",
                             .arguments = {"tamsell-relay", "--listen", "127.0.0.1:" + port,
                                           "--database", database()}});
        const std::string listening = "listening on 127.0.0.1:";
        std::string output;
        if (!until([&] {
                output = m_process->output();
                return output.find('\n') != std::string::npos || !m_process->isRunning();
            }) ||
            output.find(listening) == std::string::npos)
            throw std::runtime_error("the relay does not listen: " + output);
        const std::size_t at = output.find(listening) + listening.size();
        m_port = output.substr(at, output.find('\n', at) - at);
    }

    TemporaryDirectory m_home;
    std::unique_ptr<Process> m_process;
    std::string m_port;
};
