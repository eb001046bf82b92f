#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/Config.h"
#include "core/JSONValue.h"
#include "core/Log.h"
#include "platform/Scheduler.h"
#include "platform/WebSocketTask.h"
#include "relay/Box.h"
#include "relay/Invite.h"
#include "relay/OwedState.h"
#include "relay/Pairing.h"
#include "relay/RelayConnection.h"

/// The daemon's way to the paired phones: one connection to the relay, over which everything for
/// and from a phone goes sealed.
///
/// Without relay settings it is idle: no connection, nothing is sent, and it reports itself as not
/// configured. All members are used on the main thread. What is sent while there is no connection
/// is lost; after every connect the relay is told anew which phones and invites there are, and a
/// phone asks for the state. The operations are virtual so that another carrier can stand in.
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

    using LiveInvite = ::LiveInvite;

    /// What the client needs from the system. The scheduler outlives the client.
    struct Environment {
        WebSocketOpener openWebSocket;
        Scheduler& scheduler;
        Box::Clock now = std::chrono::system_clock::now;
    };

    std::optional<Handlers> handlers;
    LogSink log = logging::writeToStandardOutput;
    /// The connection, the set of phones that are online, the settings or the last push changed.
    std::function<void()> onChange = [] {};

    explicit RelayClient(Environment environment);
    RelayClient(const RelayClient&) = delete;
    RelayClient& operator=(const RelayClient&) = delete;
    virtual ~RelayClient() = default;

    [[nodiscard]] bool connected() const { return m_connection.isOpen(); }
    /// The HTTP status with which the relay refused the last try to connect.
    [[nodiscard]] std::optional<int> refusal() const { return m_connection.refusal(); }
    /// The ids of the phones that are connected to the relay now.
    [[nodiscard]] const std::set<std::string>& online() const { return m_online; }
    /// What the relay reported after the last push, with "at", the time of the report; nothing
    /// before the first.
    [[nodiscard]] const std::optional<JSONValue>& lastPush() const { return m_lastPush; }

    /// Applies settings, or stops with nothing or with settings whose private key cannot be read.
    /// The same settings again do nothing; other devices keep the connection.
    virtual void update(const std::optional<RelayConfig>& relay);
    /// {"configured", "connected", "phones", "devices"}, and "url" and "lastPush" when there are
    /// such.
    [[nodiscard]] virtual JSONValue status() const;
    /// Asks for the snapshot to be sent to all online phones, once for all that asks within 100 ms.
    virtual void schedulePush();
    /// Seals the message for every paired phone, online or not.
    virtual void broadcast(std::string_view kind, const JSONObject& payload);
    /// Tells all phones that these pending items need no answer any more.
    virtual void clear(const std::vector<std::string>& targets);
    /// Nothing without usable relay settings.
    [[nodiscard]] virtual std::optional<LiveInvite> makeInvite();
    [[nodiscard]] virtual bool inviteIsLive(const LiveInvite& invite) const;

  protected:
    std::set<std::string> m_online;
    std::optional<JSONValue> m_lastPush;

  private:
    // Settings and connection.
    void stop();
    void rebuildBoxes(const RelayConfig& relay);
    [[nodiscard]] Box newBox(const RelayConfig& relay, const std::string& device,
                             aesgcm::Key key) const;
    void opened();
    void lost();

    // Sending.
    void send(const JSONObject& message);
    void sendSealed(const EncodedMessage& message, const std::string& device);
    void announce(const Pairing::Announcement& announcement);
    void oweState(const std::string& device);
    [[nodiscard]] std::optional<EncodedMessage> encodedState(const std::set<std::string>& phones);
    [[nodiscard]] std::optional<std::size_t> unsentBytes() const;

    // Receiving.
    void receive(const std::string& frame);
    void receivePushed(JSONObject message);
    void receivePeers(const JSONObject& message);
    void receiveSealed(const JSONObject& message);
    void receivePairRequest(const JSONObject& request);

    Environment m_environment;
    RelayConnection m_connection;
    Pairing m_pairing;
    std::optional<RelayConfig> m_relay;
    std::map<std::string, Box, std::less<>> m_boxes; // By device id.
    OwedState m_owedState;
};
