#pragma once

#include <csignal>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include <poll.h>

/// A program that ends with the test, and whose standard output is read line by line.
class ServerProcess {
  public:
    explicit ServerProcess(const std::string& command)
        : m_output(popen(("echo $$; exec setpriv --pdeathsig KILL " + command).c_str(), "r")),
          m_id(std::stoi(line())) {}
    ~ServerProcess() {
        signal(SIGKILL);
        pclose(m_output);
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /// @throws std::runtime_error when it has ended
    std::string line() {
        char text[256] = {};
        if (!fgets(text, sizeof text, m_output))
            throw std::runtime_error("a peer does not start; is its package installed?");
        return std::string(text, std::string_view(text).find('\n'));
    }
    void signal(int number) const { kill(m_id, number); }

  private:
    FILE* m_output;
    pid_t m_id;
};

/// A server in a thread of its own. It hangs as long as a test holds `mutex`.
class FakeServer {
  public:
    std::mutex mutex;

  protected:
    /// @param turn does what has come on the descriptor
    template <typename Turn>
    void run(int descriptor, Turn turn) {
        m_thread = std::jthread([this, descriptor, turn](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                pollfd waited{descriptor, POLLIN, 0};
                poll(&waited, 1, 5);
                const std::lock_guard lock(mutex);
                turn();
            }
        });
    }
    void end() { m_thread = {}; }

  private:
    std::jthread m_thread;
};
