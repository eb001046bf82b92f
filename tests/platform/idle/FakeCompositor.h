#pragma once

#include <atomic>
#include <filesystem>
#include <memory>

#include "ChildProcess.h"

/// A Wayland server in a process of its own that tells of idleness when the test says so.
class FakeCompositor {
  public:
    enum class Seats { none, one, two };
    enum class Protocol { present, missing };

    explicit FakeCompositor(Seats seats = Seats::one, Protocol protocol = Protocol::present);

    [[nodiscard]] const std::filesystem::path& socket() const { return m_socket; }
    /// Each returns once the message is sent.
    void idle(int seat = 0) { command(Command::idle, seat); }
    void resume(int seat = 0) { command(Command::resume, seat); }
    void removeSeat(int seat) { command(Command::removeSeat, seat); }
    void addSeat() { command(Command::addSeat, 0); }
    void signal(int number) const { m_process->signal(number); }
    /// Notifications that clients hold.
    [[nodiscard]] int notifications() const { return m_state->notifications; }
    /// The shortest idleness, in milliseconds, that the last one asked to be told of.
    [[nodiscard]] std::uint32_t timeout() const { return m_state->timeout; }
    /// Ends it and starts one that knows nothing.
    void restart();

  private:
    enum class Command { none, idle, resume, addSeat, removeSeat };
    struct State {
        std::atomic<Command> command = Command::none;
        std::atomic<int> seat = 0;
        std::atomic<int> notifications = 0;
        std::atomic<std::uint32_t> timeout = 0;
    };
    class Server;

    void command(Command command, int seat);

    Seats m_seats;
    Protocol m_protocol;
    TemporaryDirectory m_directory;
    std::filesystem::path m_socket = m_directory.path() / "wayland-7";
    Shared<State> m_state;
    std::unique_ptr<ChildProcess> m_process;
};
