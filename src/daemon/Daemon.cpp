#include "daemon/Daemon.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/Clock.h"
#include "core/Localized.h"
#include "daemon/HookBody.h"
#include "daemon/ItemFromHook.h"
#include "daemon/Presence.h"
#include "daemon/Replies.h"
#include "daemon/Routes.h"
#include "hooks/Hooks.h"
#include "platform/Endpoint.h"

namespace {

using namespace std::chrono_literals;

constexpr auto tickInterval = 2s;
constexpr auto restartDelay = 1s;
constexpr std::size_t maximumSettled = 20;
// A relay can report changes as often as it likes; what is told of them is told together.
constexpr auto relayThrottle = 100ms;
// An invite is not shown in its last seconds: nobody could finish pairing with it.
constexpr auto inviteMargin = 5s;

} // namespace

Daemon::Daemon(Environment environment)
    : m_environment(std::move(environment)),
      m_config(m_environment.locations, m_environment.log),
      m_eventsLog(m_environment.locations.eventsLog),
      m_selfCheck(m_environment.selfCheck, m_environment.log, m_eventsLog.lastWrite()),
      m_deadlines([this](const std::string& id) { finish(id, nullptr); }),
      m_routes(std::make_unique<Routes>(*this, m_environment.page)) {
    m_tick.setTimerType(Qt::PreciseTimer);
    connect(&m_tick, &QTimer::timeout, this, &Daemon::tick);
    m_relayThrottle.setSingleShot(true);
    m_relayThrottle.setTimerType(Qt::PreciseTimer);
    connect(&m_relayThrottle, &QTimer::timeout, this, &Daemon::publishLocally);
}

Daemon::~Daemon() {
    // Close handlers still find everything in place.
    m_server.stop();
    m_environment.relay->handlers.reset();
    m_environment.relay->onChange = [] {};
}

void Daemon::start() {
    if (std::exchange(m_isStarted, true))
        return;
    m_eventsLog.prepare();
    Hooks(m_environment.locations, m_environment.bundledHook).refreshScript();
    wireRelay();
    reloadConfigIfChanged();
    refreshAway();
    startServer();
    m_tick.start(tickInterval);
}

void Daemon::wireRelay() {
    RelayClient& relay = *m_environment.relay;
    relay.log = [this](const LogMessage& message) { log(message); };
    relay.onChange = [this] {
        ++m_relayRevision;
        if (!m_relayThrottle.isActive())
            m_relayThrottle.start(relayThrottle);
    };
    relay.handlers = RelayClient::Handlers{
        [this] { return snapshot(); },
        [this](const std::string& target, const JSONObject& given) { answer(target, given); },
        [this](const std::string& raw) {
            const auto mode = awayModeFrom(raw);
            if (!mode)
                throw DaemonError("mode must be off, auto or on");
            setMode(*mode);
        },
        [this](const PairedDevice& device) {
            m_invite.reset();
            addDevice(device);
        }};
}

// The local server.

void Daemon::startServer() {
    setServerState({ServerState::Phase::starting, {}});
    m_server.start(
        config().host(), config().number("port"),
        [this](const std::optional<HTTPServer::Failure>& failure) { serverChanged(failure); },
        [this](const HTTPRequest& request, const std::shared_ptr<HTTPConnection>& connection) {
            m_routes->route(request, connection);
        });
}

void Daemon::retryServer() {
    m_server.stop();
    startServer();
}

void Daemon::restartServer() {
    QTimer::singleShot(restartDelay, Qt::PreciseTimer, this, &Daemon::retryServer);
}

void Daemon::serverChanged(const std::optional<HTTPServer::Failure>& failure) {
    if (!failure) {
        setServerState({ServerState::Phase::listening, {}});
        log("tamsell listening on " + config().host() + ":" +
            std::to_string(m_server.port().value_or(0)));
    } else if (failure->kind == HTTPServer::Failure::Kind::portInUse) {
        const std::string port = std::to_string(failure->port);
        setServerState({ServerState::Phase::failed,
                        localized("連接埠 %lld 已被佔用", {static_cast<double>(failure->port)})});
        log("tamsell: port " + port + " is already in use");
    } else {
        setServerState({ServerState::Phase::failed, failure->message});
        log("tamsell: " + failure->message);
    }
    syncRelay();
}

void Daemon::setServerState(ServerState state) {
    m_serverState = std::move(state);
    Q_EMIT changed();
}

void Daemon::syncRelay() {
    const bool runs = m_serverState.phase == ServerState::Phase::listening;
    m_environment.relay->update(runs ? config().relay() : std::nullopt);
}

// The configuration.

void Daemon::updateConfig(const LiveConfig::Change& change) {
    m_config.update(change);
    syncRelay();
    refreshAway();
    publish();
}

bool Daemon::reloadConfigIfChanged() {
    if (!m_config.reload())
        return false;
    syncRelay();
    refreshAway();
    Q_EMIT changed();
    return true;
}

void Daemon::setMode(AwayMode mode) {
    updateConfig([mode](Config& config) { config.raw.set("mode", rawValue(mode)); });
}

void Daemon::addDevice(const PairedDevice& device) {
    updateConfig([device](Config& config) { config.upsertDevice(device); });
}

void Daemon::removeDevice(std::string_view id) {
    updateConfig([id = std::string(id)](Config& config) { config.removeDevice(id); });
}

void Daemon::resetRelay() {
    updateConfig([](Config& config) { config.setRelay(std::nullopt); });
}

void Daemon::setUpRelay() {
    const RelayConfig fresh = Config::freshRelayConfig(defaultRelayURL(m_environment.variables));
    updateConfig([fresh](Config& config) { config.setRelay(fresh); });
}

bool Daemon::isWelcomeDone() const {
    const JSONValue* done = config().raw.find("welcomeDone");
    return done && *done == JSONValue(true);
}

void Daemon::markWelcomeDone() {
    updateConfig([](Config& config) { config.raw.set("welcomeDone", true); });
}

// Away, and what everybody sees.

double Daemon::idleSeconds() {
    const auto forced = presence::forcedIdleSeconds(m_environment.variables);
    return forced ? *forced : m_environment.idleSeconds();
}

bool Daemon::computeAway() {
    return presence::isAway(config(), [this] { return idleSeconds(); });
}

bool Daemon::refreshAway() {
    const bool before = std::exchange(m_away, computeAway());
    return before != m_away;
}

void Daemon::tick() {
    const bool reloaded = reloadConfigIfChanged();
    if (refreshAway() || reloaded)
        publish();
    m_selfCheck.look({m_eventsLog.error(), m_environment.relay->refusal()});
}

JSONObject Daemon::presence() {
    return presence::toJSON(config(), m_away, idleSeconds());
}

SnapshotSource Daemon::snapshotSource() {
    return {presence(), m_activity, m_pending, m_environment.relay->status()};
}

JSONValue Daemon::snapshot() {
    return ::snapshot(snapshotSource());
}

// Written in its place: a snapshot can have megabytes.
std::shared_ptr<const std::string> Daemon::snapshotRecord() {
    const auto record = std::make_shared<std::string>(EventStreams::recordStart);
    m_encoder.append(*record, snapshotSource());
    record->append(EventStreams::recordEnd);
    return record;
}

std::string Daemon::snapshotText() {
    std::string text;
    m_encoder.append(text, snapshotSource());
    return text;
}

void Daemon::publish() {
    publishLocally();
    m_environment.relay->schedulePush();
}

void Daemon::publishLocally() {
    if (m_streams.empty())
        m_encoder.forget();
    else
        m_streams.broadcast(snapshotRecord());
    Q_EMIT changed();
}

void Daemon::openStream(const std::shared_ptr<HTTPConnection>& connection) {
    m_streams.add(connection, snapshotRecord());
}

// Hook events.

void Daemon::handleHook(const HTTPRequest& request,
                        const std::shared_ptr<HTTPConnection>& connection) {
    JSONObject body = hookbody::parse(request.body);
    hookbody::addSender(body, request.header("x-tamsell-parent"),
                        request.header("x-tamsell-client"));
    reloadConfigIfChanged();
    const std::string_view client = hookbody::detectClient(body);
    recordEvent(body, client);
    publish();
    const std::string* event = body.string("hook_event_name");
    const bool isPermission = event && *event == "PermissionRequest";
    const bool isStop = event && *event == "Stop";
    if ((isPermission || isStop) && computeAway())
        hold(isPermission
                 ? itemFromHook(PendingItem::Kind::permission, body, client,
                                config().number("permissionWait"))
                 : itemFromHook(PendingItem::Kind::stop, body, client, config().number("stopWait")),
             connection);
    else
        connection->respond(200, "", "application/json");
}

void Daemon::recordEvent(JSONObject& body, std::string_view client) {
    const double now = wallclock::milliseconds();
    const Session& session = m_activity.record(body, client, now);
    body.set("_client", session.client);
    body.set("_at", now);
    m_eventsLog.append(body);
    m_selfCheck.eventArrived();
}

// Waiting items.

void Daemon::hold(PendingItem item, const std::shared_ptr<HTTPConnection>& connection) {
    const auto held = std::make_shared<const PendingItem>(std::move(item));
    const std::string id = held->id;
    m_deadlines.add(id, std::chrono::milliseconds(std::llround(held->expiresAt - held->createdAt)));
    m_waiters.emplace(id, Waiter{held, connection});
    m_pending.push_back(held);
    // The server is stopped before the daemon ends, so no handler outlives it.
    if (connection->isOpen())
        connection->addCloseHandler([this, id] { finish(id, nullptr); });
    else
        finish(id, nullptr);
    publish();
    JSONObject message = replies::notifyPayload(*held);
    message.set("type", "notify");
    m_environment.relay->broadcast("notify", message);
}

void Daemon::answer(const std::string& id, const JSONObject& answer) {
    if (!m_waiters.contains(id))
        throw DaemonError(localized("已經回答過或已逾時"));
    finish(id, &answer);
}

// Whatever comes first, an answer, the deadline or the end of the connection, takes the waiter out;
// what comes later finds nothing. The order of the rest is what the page, the phones and the agent
// rely on.
void Daemon::finish(const std::string& endedId, const JSONObject* answer) {
    auto taken = m_waiters.extract(endedId);
    if (taken.empty())
        return;
    const std::string id = taken.key(); // The caller's text may end with the connection.
    const Waiter waiter = std::move(taken.mapped());
    m_deadlines.cancel(id);
    std::erase(m_pending, waiter.item);
    m_encoder.forget(waiter.item);

    publish();

    m_settled.push_back(id);
    if (m_settled.size() > maximumSettled)
        m_settled.pop_front();
    m_environment.relay->clear({m_settled.begin(), m_settled.end()});

    std::string body;
    if (const auto reply = answer ? replies::build(*waiter.item, *answer) : std::nullopt)
        body = json::compact(*reply).value_or("");
    waiter.connection->respond(200, std::move(body), "application/json");
}

// Pairing and the test push.

std::optional<RelayClient::LiveInvite> Daemon::currentInvite() {
    const bool serves = m_invite &&
                        m_invite->expires > std::chrono::system_clock::now() + inviteMargin &&
                        m_environment.relay->inviteIsLive(*m_invite);
    if (!serves)
        renewInvite();
    return m_invite;
}

void Daemon::renewInvite() {
    m_invite = m_environment.relay->makeInvite();
}

std::optional<std::string> Daemon::pageLink() {
    const auto port = m_server.port();
    const auto servers =
        port ? loopbackCandidates(config().host(), *port) : std::vector<Endpoint>();
    if (servers.empty())
        return std::nullopt;
    return "http://" + servers.front().authority() + m_routes->ticketTarget();
}

void Daemon::testPush() {
    m_environment.relay->broadcast("notify", testpush::payload());
}

std::optional<testpush::Result>
Daemon::testPushResult(std::chrono::system_clock::time_point sentAt) {
    return testpush::result(m_environment.relay->lastPush(), m_environment.relay->connected(),
                            sentAt, std::chrono::system_clock::now());
}
