#pragma once

#include <cstdint>
#include <functional>
#include <memory>

/// Tells when sockets become ready, on Qt's event loop, at a cost that does not grow with how many
/// sockets merely wait: the loop sees one descriptor, whatever the number of sockets behind it.
///
/// The sockets are the caller's: non-blocking, level-triggered, and removed before they are closed.
/// One turn of the loop delivers at most `eventsPerTurn` events, so that timers and the interface
/// stay live. A callback may add, change or remove any socket, its own included, and may destroy
/// the poller.
class SocketPoller final {
  public:
    enum Readiness : std::uint32_t { readable = 1, writable = 2, failed = 4 };
    using Callback = std::function<void(std::uint32_t readiness)>;

    static constexpr int eventsPerTurn = 64;

    /// @throws std::system_error when the system has no poller to give
    SocketPoller();
    SocketPoller(const SocketPoller&) = delete;
    SocketPoller& operator=(const SocketPoller&) = delete;
    ~SocketPoller();

    /// @param interest readable, writable, both or none; `failed` (an error, or both directions
    ///        ended) is always delivered
    /// @throws std::system_error when the system watches no more sockets
    void add(int descriptor, std::uint32_t interest, Callback callback);
    /// Does nothing for a descriptor that was not added.
    void setInterest(int descriptor, std::uint32_t interest);
    /// No callback of that descriptor runs afterwards, not even one whose event was already taken.
    void remove(int descriptor);

  private:
    class Implementation;
    std::shared_ptr<Implementation> m_implementation; // Kept alive while it calls back.
};
