#pragma once

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <QObject>
#include <QTimer>

#include "core/Config.h"
#include "core/DaemonError.h"
#include "core/Locations.h"
#include "core/Log.h"
#include "daemon/Activity.h"
#include "daemon/Deadlines.h"
#include "daemon/EventStreams.h"
#include "daemon/EventsLog.h"
#include "daemon/LiveConfig.h"
#include "daemon/Records.h"
#include "daemon/SelfCheck.h"
#include "daemon/Snapshot.h"
#include "daemon/TestPush.h"
#include "http/HTTPServer.h"
#include "relay/RelayClient.h"

class Routes;

/// The process's live state and the order in which things happen to it: the configuration, the
/// agents' sessions, the items that wait for an answer, the local server and the away decision.
///
/// Everything runs on the main thread. Nothing is stopped at quit; destroying the daemon closes
/// every connection, so that held hooks end without an answer and the agents ask as usual.
class Daemon final : public QObject {
    Q_OBJECT

  public:
    /// What the daemon needs from its program.
    struct Environment {
        Locations locations;
        EnvironmentLookup variables = processEnvironment;
        LogSink log = logging::writeToStandardOutput;
        /// Seconds since the user's last input, as measured.
        std::function<double()> idleSeconds = [] { return 0.0; };
        std::unique_ptr<RelayClient> relay; ///< always there
        /// The web page.
        std::filesystem::path page;
        /// The hook's program as it came with this one.
        std::optional<std::filesystem::path> bundledHook;
        SelfCheck::Surroundings selfCheck{};
    };

    /// Loads the configuration.
    explicit Daemon(Environment environment);
    ~Daemon() override;

    /// Once; later calls return at once. Listens and begins to tick.
    void start();

    // State.
    [[nodiscard]] const Config& config() const { return m_config.value(); }
    [[nodiscard]] const Activity& activity() const { return m_activity; }
    [[nodiscard]] const PendingItems& pending() const { return m_pending; }
    [[nodiscard]] const ServerState& serverState() const { return m_serverState; }
    [[nodiscard]] bool away() const { return m_away; }
    /// The last invite, expired or not; nothing before the first and after a phone has taken it.
    [[nodiscard]] const std::optional<RelayClient::LiveInvite>& invite() const { return m_invite; }
    /// Grows whenever the relay client reports a change.
    [[nodiscard]] int relayRevision() const { return m_relayRevision; }
    [[nodiscard]] RelayClient& relay() { return *m_environment.relay; }
    /// The ids of the last 20 items that ended, oldest first.
    [[nodiscard]] const std::deque<std::string>& settled() const { return m_settled; }
    /// The port that is really listened on; nothing while there is none.
    [[nodiscard]] std::optional<std::uint16_t> port() const { return m_server.port(); }
    [[nodiscard]] JSONValue snapshot();
    /// The snapshot's member "presence".
    [[nodiscard]] JSONObject presence();
    void log(const LogMessage& message) { m_environment.log(message); }

    // Configuration operations. Each saves, applies the relay settings, decides away anew and
    // publishes; a failed save is logged and leaves the change in force.
    void setMode(AwayMode mode);
    void addDevice(const PairedDevice& device);
    void removeDevice(std::string_view id);
    void resetRelay();
    /// @throws std::runtime_error when the system gives no random bytes; nothing has changed then
    void setUpRelay();
    void markWelcomeDone();
    /// Whether the user has been through the setup guide.
    [[nodiscard]] bool isWelcomeDone() const;
    /// The common path of all of them, for any other change. It may be made again later, so it must
    /// not refer to anything that ends before.
    void updateConfig(const LiveConfig::Change& change);

    /// Starts to listen as configured; the outcome comes later, as `serverState`.
    void startServer();
    /// Stops the server and starts it.
    void retryServer();
    /// The same after one second.
    void restartServer();

    /// Sends the snapshot to every event stream and lets the relay client push it. With nobody
    /// watching no snapshot is built.
    void publish();

    /// Records one hook event, and answers it now or holds it.
    void handleHook(const HTTPRequest& request, const std::shared_ptr<HTTPConnection>& connection);
    /// Applies an answer to a waiting item.
    /// @param answer "action", and "message" or "text"
    /// @throws DaemonError when nothing waits under that id
    void answer(const std::string& id, const JSONObject& answer);

    /// Keeps the connection as an event stream.
    void openStream(const std::shared_ptr<HTTPConnection>& connection);
    /// The snapshot as compact JSON.
    [[nodiscard]] std::string snapshotText();

    /// The invite to show: the last one while it lives for more than five seconds, else a new one;
    /// nothing when none can be made.
    [[nodiscard]] std::optional<RelayClient::LiveInvite> currentInvite();
    /// Puts a new invite in the place of the last, which goes on to live until it expires.
    void renewInvite();
    /// An address that opens the page once, soon, in a browser of this user's; nothing while the
    /// server does not listen. It does not give the access token away to who sees it.
    [[nodiscard]] std::optional<std::string> pageLink();
    /// Returns at once; the outcome is read with `testPushResult`.
    void testPush();
    /// Nothing while the relay's report on a push of `sentAt` may still come.
    [[nodiscard]] std::optional<testpush::Result>
    testPushResult(std::chrono::system_clock::time_point sentAt);

  Q_SIGNALS:
    /// Something that the interface shows has changed.
    void changed();

  private:
    struct Waiter {
        std::shared_ptr<const PendingItem> item;
        std::shared_ptr<HTTPConnection> connection;
    };

    void wireRelay();
    /// For what the phones learn by other ways, or need not know: how the relay is.
    void publishLocally();
    /// Whether the file or, because of it, the decision had changed.
    bool reloadConfigIfChanged();
    void syncRelay();
    void tick();

    [[nodiscard]] double idleSeconds();
    [[nodiscard]] bool computeAway();
    bool refreshAway();
    [[nodiscard]] SnapshotSource snapshotSource();
    /// The snapshot as the streams get it.
    [[nodiscard]] std::shared_ptr<const std::string> snapshotRecord();

    void serverChanged(const std::optional<HTTPServer::Failure>& failure);
    void setServerState(ServerState state);

    /// @param client what the body says of its program
    void recordEvent(JSONObject& body, std::string_view client);
    void hold(PendingItem item, const std::shared_ptr<HTTPConnection>& connection);
    void finish(const std::string& id, const JSONObject* answer);

    Environment m_environment;
    LiveConfig m_config;
    Activity m_activity;
    EventsLog m_eventsLog;
    SelfCheck m_selfCheck;
    PendingItems m_pending;
    std::unordered_map<std::string, Waiter> m_waiters;
    std::deque<std::string> m_settled;
    ServerState m_serverState;
    bool m_away = false;
    bool m_isStarted = false;
    int m_relayRevision = 0;
    std::optional<RelayClient::LiveInvite> m_invite;
    EventStreams m_streams;
    SnapshotEncoder m_encoder;
    Deadlines m_deadlines;
    QTimer m_tick;
    QTimer m_relayThrottle;
    std::unique_ptr<Routes> m_routes;
    HTTPServer m_server;
};
