#include "relay/RelayClient.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <utility>

#include "core/Clock.h"
#include "core/JSONMember.h"
#include "core/Text.h"
#include "relay/PairingKeys.h"
#include "relay/PhoneRequest.h"
#include "relay/StateMessage.h"

namespace {

// How many values a frame or a message of a phone may have. A list of phones is the longest.
constexpr std::size_t maximumValues = 4'000;

// A frame of a sealed message. The id is the only text that could need escaping.
std::string messageFrame(const std::string& device, const Box::Sealed& sealed) {
    std::string frame = R"({"t":"msg","to":)";
    const std::string to = json::compact(device).value_or("\"\"");
    frame.reserve(frame.size() + to.size() + sealed.n.size() + sealed.c.size() + 16);
    frame += to;
    frame += R"(,"n":")";
    frame += sealed.n;
    frame += R"(","c":")";
    frame += sealed.c;
    frame += R"("})";
    return frame;
}

// The longest message whose frame for this device is within the limit.
std::size_t longestMessageFor(const std::string& device) {
    const std::size_t around = messageFrame(device, {std::string(16, ' '), {}}).size();
    const std::size_t room =
        RelayConnection::maximumFrame - std::min(around, RelayConnection::maximumFrame);
    return Box::longestPlaintext(room);
}

// What cannot be sealed is not sent; a phone that misses something asks for the state.
std::optional<Box::Sealed> sealFor(const Box& box, const EncodedMessage& message) {
    try {
        return box.seal(message);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<EncodedMessage> encoded(const JSONObject& message) {
    try {
        return EncodedMessage(message);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

std::string wholeNumber(double value) {
    char text[400]; // A double has up to 309 digits.
    std::snprintf(text, sizeof text, "%.0f", std::trunc(value) + 0.0);
    return text;
}

} // namespace

RelayClient::RelayClient(Environment environment)
    : m_environment(std::move(environment)),
      m_connection(m_environment.openWebSocket, m_environment.scheduler,
                   {[this] { opened(); }, [this](const std::string& text) { receive(text); },
                    [this] { lost(); }, [this](const LogMessage& message) { log(message); }}),
      m_pairing(m_environment.now, m_environment.scheduler),
      m_owedState(m_environment.scheduler,
                  {[this](const std::set<std::string>& phones) { return encodedState(phones); },
                   [this](const EncodedMessage& state, const std::string& phone) {
                       sendSealed(state, phone);
                   },
                   [this] { return unsentBytes(); }}) {}

// Settings and connection.

void RelayClient::update(const std::optional<RelayConfig>& relay) {
    if (relay == m_relay)
        return;
    if (!relay || !relay->agreementKey()) {
        stop();
        return;
    }
    const auto before = std::exchange(m_relay, relay);
    rebuildBoxes(*relay);
    const bool isSameConnection = before && before->url == relay->url &&
                                  before->channel == relay->channel && before->auth == relay->auth;
    if (!isSameConnection) {
        m_pairing.forgetInvites();
        m_online.clear();
        m_owedState.forget();
        m_connection.connect(*relay);
        onChange();
        return;
    }
    for (const PairedDevice& device : before->devices)
        if (std::ranges::none_of(relay->devices, [&](const auto& d) { return d.id == device.id; }))
            send({{"t", "removeDevice"}, {"device", device.id}});
    onChange();
}

void RelayClient::stop() {
    m_relay.reset();
    m_boxes.clear();
    m_pairing.forgetInvites();
    m_connection.stop();
    m_online.clear();
    m_owedState.forget();
    onChange();
}

// A phone that stays keeps its box, and with it the memory of what it has sent.
void RelayClient::rebuildBoxes(const RelayConfig& relay) {
    auto old = std::exchange(m_boxes, {});
    for (const PairedDevice& device : relay.devices) {
        auto key = pairing::keyFromText(device.key);
        if (!key)
            continue;
        if (auto kept = old.extract(device.id))
            m_boxes.insert(std::move(kept));
        else
            m_boxes.emplace(device.id, newBox(relay, device.id, std::move(*key)));
    }
}

Box RelayClient::newBox(const RelayConfig& relay, const std::string& device,
                        aesgcm::Key key) const {
    return {relay.channel,     device, std::move(key), Box::Direction::macToPhone,
            m_environment.now, {}};
}

void RelayClient::opened() {
    if (!m_relay)
        return;
    JSONArray devices;
    for (const PairedDevice& device : m_relay->devices)
        devices.emplace_back(device.id);
    send({{"t", "sync"}, {"devices", std::move(devices)}});
    for (const auto& announcement : m_pairing.announcements())
        announce(announcement);
    onChange();
}

void RelayClient::lost() {
    m_online.clear();
    m_owedState.forget();
    onChange();
}

JSONValue RelayClient::status() const {
    JSONObject result{{"configured", m_relay.has_value()},
                      {"connected", connected()},
                      {"phones", static_cast<double>(m_online.size())},
                      {"devices", m_relay ? static_cast<double>(m_relay->devices.size()) : 0.0}};
    if (m_relay)
        result.set("url", m_relay->url);
    if (m_lastPush)
        result.set("lastPush", *m_lastPush);
    return result;
}

// Sending.

void RelayClient::send(const JSONObject& message) {
    if (const auto frame = json::compact(message))
        m_connection.send(*frame);
}

void RelayClient::sendSealed(const EncodedMessage& message, const std::string& device) {
    const auto box = m_boxes.find(device);
    if (!connected() || !m_online.contains(device) || box == m_boxes.end())
        return;
    if (const auto sealed = sealFor(box->second, message))
        m_connection.send(messageFrame(device, *sealed));
}

void RelayClient::broadcast(std::string_view kind, const JSONObject& payload) {
    if (!connected())
        return;
    const auto message = encoded(payload);
    JSONArray items;
    for (const auto& [device, box] : m_boxes) {
        if (auto sealed = message ? sealFor(box, *message) : std::nullopt)
            items.emplace_back(JSONObject{
                {"to", device}, {"n", std::move(sealed->n)}, {"c", std::move(sealed->c)}});
    }
    send({{"t", kind}, {"items", std::move(items)}});
}

void RelayClient::clear(const std::vector<std::string>& targets) {
    broadcast("clear", {{"type", "clear"}, {"targets", JSONArray(targets.begin(), targets.end())}});
}

void RelayClient::announce(const Pairing::Announcement& announcement) {
    send({{"t", "invite"},
          {"hash", announcement.hash},
          {"expires", std::round(wallclock::milliseconds(announcement.expires))}});
}

void RelayClient::schedulePush() {
    m_owedState.changed();
    if (!m_relay || m_online.empty())
        return;
    m_owedState.schedule([this] {
        for (const auto& [device, box] : m_boxes)
            oweState(device);
    });
}

void RelayClient::oweState(const std::string& device) {
    if (m_online.contains(device) && m_boxes.contains(device))
        m_owedState.owe(device);
}

std::optional<EncodedMessage> RelayClient::encodedState(const std::set<std::string>& phones) {
    std::size_t longest = std::numeric_limits<std::size_t>::max();
    for (const std::string& phone : phones)
        longest = std::min(longest, longestMessageFor(phone));
    auto message = stateMessage(handlers->snapshot(), longest);
    if (!message)
        log("relay: the state is too long to be sent");
    return message;
}

// Nothing while nothing can be sent.
std::optional<std::size_t> RelayClient::unsentBytes() const {
    return handlers && connected() ? std::optional(m_connection.unsentBytes()) : std::nullopt;
}

// Pairing.

std::optional<LiveInvite> RelayClient::makeInvite() {
    if (!m_relay)
        return std::nullopt;
    auto made = m_pairing.makeInvite(*m_relay);
    if (made)
        announce(Pairing::announcementOf(*made));
    return made;
}

bool RelayClient::inviteIsLive(const LiveInvite& invite) const {
    return m_pairing.isLive(invite);
}

void RelayClient::receivePairRequest(const JSONObject& request) {
    if (!m_relay)
        return;
    auto outcome = m_pairing.judge(*m_relay, request);
    if (const auto* refusal = std::get_if<Pairing::Refusal>(&outcome)) {
        if (!refusal->logLine.empty())
            log(refusal->logLine);
        return;
    }
    auto& [device, key, inviteHash] = std::get<Pairing::Paired>(outcome);
    const std::string admission = pairing::admissionHash(key);
    m_boxes.insert_or_assign(device.id, newBox(*m_relay, device.id, std::move(key)));
    send({{"t", "addDevice"}, {"device", device.id}, {"auth", admission}, {"invite", inviteHash}});
    log("relay: paired " + device.name);
    if (handlers)
        handlers->paired(device);
}

// Receiving. A handler may change the settings, and with them the connection and the boxes.

void RelayClient::receive(const std::string& frame) {
    if (frame == "pong")
        return;
    auto value = JSONValue::parse(frame, maximumValues);
    JSONObject* message = value ? value->object() : nullptr;
    const std::string* kind = message ? message->string("t") : nullptr;
    if (!kind)
        return;
    if (*kind == "pushed")
        receivePushed(std::move(*message));
    else if (*kind == "peers")
        receivePeers(*message);
    else if (*kind == "msg")
        receiveSealed(*message);
    else if (*kind == "pair")
        receivePairRequest(*message);
    else if (*kind == "error")
        log("relay: " + message->optionalString("reason").value_or("error"));
}

void RelayClient::receivePushed(JSONObject message) {
    const JSONValue report(std::move(message));
    const JSONValue& errors = json::member(report, "errors");
    const auto devices = json::member(report, "devices").number();
    if (!json::isTrue(report, "silent")) {
        JSONObject kept = *report.object();
        kept.set("at", wallclock::milliseconds(m_environment.now()));
        m_lastPush = std::move(kept);
    }
    if (errors.array() && (!errors.array()->empty() || devices == 0.0)) {
        const std::string line = "relay: push reached " +
                                 wholeNumber(json::numberOf(report, "ok")) + "/" +
                                 wholeNumber(devices.value_or(0)) + " devices " +
                                 text::asciiWhereInvisible(json::pretty(errors));
        log(LogMessage::ofSeveralLines(line));
    }
    onChange();
}

void RelayClient::receivePeers(const JSONObject& message) {
    std::set<std::string> phones;
    const JSONValue* list = message.find("phones");
    if (const JSONArray* elements = list ? list->array() : nullptr)
        for (const JSONValue& element : *elements)
            if (const std::string* id = element.string())
                phones.insert(*id);
    const auto before = std::exchange(m_online, std::move(phones));
    m_owedState.keepOnly(m_online);
    for (const auto& [device, box] : m_boxes)
        if (!before.contains(device))
            oweState(device);
    m_owedState.send();
    onChange();
}

void RelayClient::receiveSealed(const JSONObject& message) {
    const std::string* from = message.string("from");
    const std::string* n = message.string("n");
    const std::string* c = message.string("c");
    const auto box = from ? m_boxes.find(*from) : m_boxes.end();
    if (box == m_boxes.end() || !n || !c)
        return;
    JSONObject request;
    try {
        request = box->second.open(*n, *c);
    } catch (const std::exception& refusal) {
        log("relay: dropped frame (" + std::string(refusal.what()) + ")");
        return;
    }
    if (!handlers)
        return;
    const std::string* type = request.string("type");
    if (type && *type == "hello") {
        oweState(*from);
        m_owedState.send();
    } else {
        // A request was JSON, so what is made of it can be encoded.
        sendSealed(EncodedMessage(resultOf(request, *handlers)), *from);
    }
}
