#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What the relay has done and has to do, without a word about who.
struct Metrics {
    // Now.
    std::size_t connections = 0; ///< all, also those that have not said yet what they are
    std::size_t computers = 0;
    std::size_t phones = 0; ///< sockets and posted messages
    std::size_t pairing = 0;
    std::size_t channels = 0; ///< with somebody connected
    std::size_t unsentBytes = 0;
    std::size_t receivedInPartBytes = 0; ///< of frames whose end has not come

    // Since the start.
    std::uint64_t connectionsTotal = 0;
    std::uint64_t framesFromComputers = 0;
    std::uint64_t framesFromPhones = 0;
    std::uint64_t framesToComputers = 0;
    std::uint64_t framesToPhones = 0;
    std::uint64_t bytesReceived = 0; ///< of frames
    std::uint64_t bytesSent = 0;
    std::uint64_t framesTooLong = 0;
    std::uint64_t slowReaders = 0; ///< closed
    std::uint64_t channelsRegistered = 0;
    std::uint64_t devicesAdded = 0;
    std::uint64_t storeFailures = 0;
    std::uint64_t refusedBadRequest = 0;
    std::uint64_t refusedUnauthorized = 0;
    std::uint64_t refusedTooMany = 0;
    std::uint64_t refusedUnavailable = 0;

    /// In Prometheus' text format (prometheus.io, "Exposition formats", version 0.0.4).
    [[nodiscard]] std::string text() const;
};
