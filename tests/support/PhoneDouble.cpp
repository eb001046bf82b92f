#include "support/PhoneDouble.h"

#include <stdexcept>
#include <thread>

#include "core/Clock.h"
#include "support/PhoneCrypto.h"

namespace {

using namespace phonecrypto;

/// The relay does not admit the phone.
struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Link {
    std::string relayURL;
    std::string channel;
    std::string secret;
    std::string macKey;
};

Link parse(std::string_view text) {
    const std::size_t fragment = text.find("/#v=2&c=");
    const std::size_t secret = text.find("&i=");
    const std::size_t macKey = text.find("&m=");
    if (macKey == std::string_view::npos || fragment > secret || secret > macKey)
        throw std::invalid_argument("not a pairing link");
    const auto between = [text](std::size_t from, std::size_t to) {
        return text.substr(from, to == std::string_view::npos ? to : to - from);
    };
    return {std::string(text.substr(0, fragment)), std::string(between(fragment + 8, secret)),
            fromBase64url(between(secret + 3, macKey)),
            fromBase64url(between(macKey + 3, std::string_view::npos))};
}

std::string associatedData(const PhoneDouble::Identity& phone, const std::string& direction) {
    return "tamsell2|" + phone.channel + "|" + phone.device + "|" + direction;
}

} // namespace

void PhoneDouble::pair(std::string_view link, const std::string& name) {
    const Link invite = parse(link);
    const std::string device = toBase64url(randomBytes(16));
    const std::string privateKey = randomBytes(32);
    const std::string pub = toBase64url(publicKey(privateKey));
    m_identity = {invite.relayURL, invite.channel, device,
                  hkdf(sharedSecret(privateKey, invite.macKey), invite.secret,
                       "tamsell device v2|" + invite.channel + "|" + device)};
    const std::string token = hmacText(invite.secret, "tamsell invite v2");
    // The link can be here before the relay has heard of the invite.
    const auto deadline = std::chrono::steady_clock::now() + m_options.patience;
    for (bool isOpen = false; !isOpen;) {
        try {
            open("role=pair&device=" + device + "&invite=" + token);
            isOpen = true;
        } catch (const Refused&) {
            if (std::chrono::steady_clock::now() > deadline)
                throw;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    sendFrame(
        {{"t", "pair"},
         {"device", device},
         {"invite", hashText(token)},
         {"pub", pub},
         {"proof", hmacText(invite.secret, "tamsell pair v2|" + device + "|" + pub + "|" + name)},
         {"name", name}});
    wait("the relay to say that the phone is paired", [this] { return m_isPaired; });
    m_socket->close();
    waitForEnd();
}

void PhoneDouble::connect() {
    open("role=phone&device=" + m_identity.device +
         "&auth=" + hmacText(m_identity.key, "tamsell relay auth v2"));
}

bool PhoneDouble::isConnected() const {
    return m_socket && m_socket->state() == PhoneSocket::State::open;
}

std::string PhoneDouble::hello() {
    return send({{"type", "hello"}});
}

std::string PhoneDouble::answer(std::string_view target, JSONObject answer) {
    answer.set("type", "answer");
    answer.set("target", target);
    return send(std::move(answer));
}

std::string PhoneDouble::setMode(std::string_view mode) {
    return send({{"type", "mode"}, {"mode", mode}});
}

JSONObject PhoneDouble::waitFor(std::string_view type, const Predicate& fits) {
    JSONObject found;
    wait("a message of type " + std::string(type), [&] {
        for (auto& [message, isTaken] : m_received) {
            const std::string* its = message.string("type");
            if (isTaken || !its || *its != type || (fits && !fits(message)))
                continue;
            isTaken = true;
            found = message;
            return true;
        }
        return false;
    });
    return found;
}

JSONObject PhoneDouble::resultOf(std::string_view id) {
    return waitFor("result", [id](const JSONObject& message) {
        const std::string* re = message.string("re");
        return re && *re == id;
    });
}

void PhoneDouble::waitForEnd() {
    wait("the connection's end", [this] { return m_socket->state() == PhoneSocket::State::ended; });
}

void PhoneDouble::open(const std::string& query) {
    m_socket.reset();
    m_isPaired = false;
    m_socket = std::make_unique<PhoneSocket>(
        m_identity.relayURL, "/ws/" + m_identity.channel + "?" + query, m_options.authorities,
        PhoneSocket::Events{[this](const std::string& frame) { take(frame); },
                            [this] { m_changed.notify_all(); }});
    wait("the relay to let the phone in",
         [this] { return m_socket->state() != PhoneSocket::State::connecting; });
    if (isConnected())
        return;
    const std::string why = "the phone could not connect: " + m_socket->failure();
    if (why.find("HTTP 401") != std::string::npos)
        throw Refused(why);
    throw std::runtime_error(why);
}

std::string PhoneDouble::send(JSONObject message) {
    std::string id = toBase64url(randomBytes(12));
    message.set("id", id);
    message.set("ts", wallclock::milliseconds());
    const std::string nonce = randomBytes(12);
    const std::string sealed = seal(m_identity.key, nonce, associatedData(m_identity, "p2m"),
                                    json::compact(message).value());
    sendFrame({{"t", "msg"}, {"n", toBase64url(nonce)}, {"c", toBase64url(sealed)}});
    return id;
}

void PhoneDouble::sendFrame(const JSONObject& frame) {
    if (!isConnected())
        throw std::runtime_error("the phone is not connected");
    m_socket->send(json::compact(frame).value());
}

void PhoneDouble::take(const std::string& frame) {
    const auto value = JSONValue::parse(frame);
    const JSONValue* kind = value ? (*value)["t"] : nullptr;
    auto message = value && (*value)["c"] ? opened(*value) : std::nullopt;
    {
        const std::lock_guard lock(m_mutex);
        if (kind && *kind == JSONValue("paired"))
            m_isPaired = true;
        if (message)
            m_received.push_back({std::move(*message)});
    }
    m_changed.notify_all();
}

std::optional<JSONObject> PhoneDouble::opened(const JSONValue& frame) const {
    const JSONObject& members = *frame.object();
    try {
        const auto plaintext = phonecrypto::open(
            m_identity.key, fromBase64url(members.optionalString("n").value_or("")),
            associatedData(m_identity, "m2p"),
            fromBase64url(members.optionalString("c").value_or("")));
        const auto value = plaintext ? JSONValue::parse(*plaintext) : std::nullopt;
        if (value && value->object())
            return *value->object();
    } catch (const std::invalid_argument&) {
        // As one that does not open.
    }
    return std::nullopt;
}

void PhoneDouble::wait(std::string_view what, const std::function<bool()>& isOver) {
    const auto deadline = std::chrono::steady_clock::now() + m_options.patience;
    std::unique_lock lock(m_mutex);
    while (!isOver()) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("the phone waited in vain for " + std::string(what));
        // A change of the socket's state is made under its own lock, so that its notice can come
        // just before this waits.
        m_changed.wait_for(lock, std::chrono::milliseconds(10));
    }
}
