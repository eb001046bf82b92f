#pragma once

#include <cstdint>
#include <memory>

#include "relayd/Options.h"
#include "relayd/Store.h"

/// The relay as a program has it: listens, and carries what comes.
class RelayServer {
  public:
    /// Listens from here on; connections are served by `run`.
    /// @param store lives longer
    /// @throws std::system_error with the address when it cannot listen there; std::runtime_error
    ///         when the page cannot be read
    RelayServer(const RelayOptions& options, Store& store);
    ~RelayServer();
    RelayServer(const RelayServer&) = delete;
    RelayServer& operator=(const RelayServer&) = delete;

    [[nodiscard]] std::uint16_t port() const;

    /// Until SIGTERM, SIGINT or `stop`; then no connection is taken any more, those that are open
    /// are told to go, and after some seconds this returns.
    void run();
    /// From any thread.
    void stop();

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
