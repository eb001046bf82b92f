#pragma once

#include <set>
#include <string>
#include <string_view>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "relayd/Budget.h"
#include "relayd/Hub.h"
#include "relayd/Limits.h"
#include "relayd/Metrics.h"
#include "relayd/Options.h"
#include "relayd/StaticFiles.h"

[[nodiscard]] inline Moment now() {
    return std::chrono::steady_clock::now();
}

/// A conversation that can be told that the relay ends.
class Session {
  public:
    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    virtual ~Session() = default;

    virtual void drain() = 0;
    /// Ends it without a word. It leaves the set of sessions some time later.
    virtual void vanish() = 0;
    /// Asked now and then: whether something takes too long.
    virtual void look(Moment /*now*/) {}
};

/// What all connections share. Everything happens on the one thread that runs `context`.
struct Services {
    const RelayOptions& options;
    boost::asio::io_context& context;
    Hub& hub;
    Metrics& metrics;
    const StaticFiles& page;
    AddressBudgets refusals{limits::refusals, limits::refusalEvery, limits::addresses};
    AddressBudgets newChannels{limits::newChannels, limits::newChannelEvery, limits::addresses};
    std::set<Session*> sessions{}; ///< that are open
    bool isDraining = false;       ///< whether nothing new is begun
};

/// Counts a connection for as long as it lives, whoever has it.
class ConnectionCount {
  public:
    explicit ConnectionCount(Metrics& metrics) : m_metrics(&metrics) {
        ++metrics.connections;
        ++metrics.connectionsTotal;
    }
    ConnectionCount(ConnectionCount&& other) noexcept
        : m_metrics(std::exchange(other.m_metrics, nullptr)) {}
    ConnectionCount& operator=(ConnectionCount&&) = delete;
    ~ConnectionCount() {
        if (m_metrics)
            --m_metrics->connections;
    }

  private:
    Metrics* m_metrics;
};
