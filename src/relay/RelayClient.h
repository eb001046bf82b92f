#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/Config.h"
#include "core/JSONValue.h"
#include "core/Log.h"
#include "relay/Invite.h"

/// The daemon's way to the paired phones.
///
/// Without relay settings it is idle: no connection, nothing is sent, and it reports itself as not
/// configured. This build is always idle; phones cannot be paired with it yet. All members are used
/// on the main thread. The operations are virtual so that another carrier can stand in its place.
class RelayClient {
  public:
    /// What the relay client needs from the daemon.
    struct Handlers {
        std::function<JSONValue()> snapshot;
        /// A phone's answer to a pending item. Fails with `DaemonError`.
        std::function<void(const std::string& target, const JSONObject& answer)> answer;
        /// A phone's wish for another away mode. Fails with `DaemonError`.
        std::function<void(const std::string& mode)> mode;
        std::function<void(const PairedDevice& device)> paired;
    };

    /// An invite together with the moment at which it ends.
    struct LiveInvite {
        Invite invite;
        std::chrono::system_clock::time_point expires;

        bool operator==(const LiveInvite&) const = default;
    };

    std::optional<Handlers> handlers;
    LogSink log = logging::writeToStandardOutput;
    std::function<void()> onChange = [] {};

    RelayClient() = default;
    RelayClient(const RelayClient&) = delete;
    RelayClient& operator=(const RelayClient&) = delete;
    virtual ~RelayClient() = default;

    [[nodiscard]] bool connected() const { return m_connected; }
    /// The ids of the phones that are connected to the relay now.
    [[nodiscard]] const std::set<std::string>& online() const { return m_online; }
    /// What the relay reported after the last push; nothing before the first.
    [[nodiscard]] const std::optional<JSONValue>& lastPush() const { return m_lastPush; }

    /// Applies settings, or stops with nothing.
    virtual void update(const std::optional<RelayConfig>& relay);
    /// {"configured", "connected", "phones", "devices"}, and "lastPush" when there is one.
    [[nodiscard]] virtual JSONValue status() const;
    /// Asks for the snapshot to be sent to all online phones soon.
    virtual void schedulePush();
    /// Sends a message to every paired phone, online or not.
    virtual void broadcast(std::string_view kind, const JSONObject& payload);
    /// Tells all phones that these pending items need no answer any more.
    virtual void clear(const std::vector<std::string>& targets);
    /// Nothing without relay settings.
    [[nodiscard]] virtual std::optional<LiveInvite> makeInvite();
    [[nodiscard]] virtual bool inviteIsLive(const LiveInvite& invite) const;

  protected:
    bool m_connected = false;
    std::set<std::string> m_online;
    std::optional<JSONValue> m_lastPush;
};
