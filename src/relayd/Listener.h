#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// A frame on its way to any number of listeners.
using Frame = std::shared_ptr<const std::string>;

/// Why the relay ends a connection, as a close code (RFC 6455 section 7.4).
enum class CloseCode : std::uint16_t {
    goingAway = 1001,
    policyViolation = 1008,
    messageTooBig = 1009,
    replaced = 4001, ///< by a newer connection of the same computer or phone
    removed = 4003   ///< the phone is paired no more
};

/// Whoever hears what the relay carries to a computer or a phone. Nothing here calls back before
/// it has returned.
class Listener {
  public:
    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener() = default;

    /// Queues it; a listener that does not keep up ends itself.
    virtual void send(Frame frame) = 0;
    /// Behind what was sent. It is to give up its place then, some time later.
    virtual void close(CloseCode code) = 0;
};
