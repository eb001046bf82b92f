#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "relayd/Channel.h"
#include "relayd/Target.h"

/// Whether a connection is let in, as an HTTP status (RFC 9110 section 15).
enum class Admission : unsigned {
    admitted = 101,
    unauthorized = 401,
    tooManyRequests = 429,
    unavailable = 503 ///< the store fails
};

/// The place of one listener at its channel, which it gives up when it goes.
class Place {
  public:
    Place() = default;
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    virtual ~Place() = default;

    /// A text frame from the listener's peer.
    virtual void take(std::string_view text) = 0;
};

/// All channels. One that nobody is connected to is in the store alone.
///
/// The environment and the hub outlive every place.
class Hub {
  public:
    explicit Hub(Channel::Environment environment) : m_environment(std::move(environment)) {}

    /// A computer that presents a channel that nobody has registers it.
    /// @param mayRegister asked before that happens
    [[nodiscard]] Admission admit(const Credentials& credentials,
                                  const std::function<bool()>& mayRegister);
    /// Takes the place that the credentials admit to. Null when they no longer do: a handshake
    /// takes a while.
    /// @param listener outlives the place
    [[nodiscard]] std::unique_ptr<Place> join(const Credentials& credentials, Listener& listener);
    /// Whether a phone's message would find the computer.
    [[nodiscard]] bool hasComputer(std::string_view channel) const;
    /// Whether an admitted phone may post one more message; it has then. Its connections have
    /// budgets of their own.
    [[nodiscard]] bool mayPost(const Credentials& credentials, Moment now);

  private:
    [[nodiscard]] std::shared_ptr<Channel> find(const std::string& name);

    const Channel::Environment m_environment;
    std::map<std::string, std::weak_ptr<Channel>, std::less<>> m_channels;
};
