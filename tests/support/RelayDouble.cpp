#include "support/RelayDouble.h"

#include <array>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include <openssl/evp.h>

#include "core/Base64Url.h"
#include "core/Clock.h"
#include "support/WebSocketServer.h"

namespace {

using Connection = WebSocketServer::ConnectionPointer;

std::string hashText(std::string_view text) {
    std::array<std::uint8_t, 32> digest{};
    EVP_Q_digest(nullptr, "SHA256", nullptr, text.data(), text.size(), digest.data(), nullptr);
    return base64url::encode(digest);
}

std::string encoded(const JSONObject& message) {
    return json::compact(message).value();
}

std::string textOf(const JSONObject& message, std::string_view key) {
    return message.optionalString(key).value_or("");
}

/// "/ws/CHANNEL?name=value&..."; values need no decoding in this protocol.
struct Target {
    explicit Target(std::string_view text) {
        const auto question = std::min(text.find('?'), text.size());
        const std::string_view path = text.substr(0, question);
        if (path.starts_with("/ws/"))
            channel = path.substr(4);
        for (auto rest = text.substr(question); !rest.empty();) {
            rest.remove_prefix(1);
            const auto item = rest.substr(0, rest.find('&'));
            const auto equals = std::min(item.find('='), item.size() - 1);
            if (!item.empty())
                items[std::string(item.substr(0, equals))] = item.substr(equals + 1);
            rest.remove_prefix(item.size());
        }
    }

    std::string channel;
    std::map<std::string, std::string> items;
};

struct Channel {
    std::string token;
    Connection computer;
    std::map<std::string, std::string> admissions; // By device id; the hash of its token.
    std::map<std::string, double> invites;         // By hash; until when, in ms since 1970.
    std::map<std::string, Connection> phones;      // By device id.
    std::map<std::string, Connection> pairing;     // By device id.
};

/// Who is at the other end of a connection.
struct Party {
    enum class Role { computer, phone, pairing } role = Role::computer;
    Channel* channel = nullptr;
    std::string device;
    bool hasAsked = false; ///< to be paired
};

} // namespace

/// What the relay knows belongs to the server's thread; what it has seen, to whoever holds the
/// lock.
class RelayDouble::Implementation {
  public:
    struct Seen {
        std::vector<std::string> received;
        std::vector<std::string> sent;
        int attempts = 0;
        int connections = 0;
        int open = 0;
        std::optional<std::uint16_t> closeCode;
    };

    explicit Implementation(const Options& options)
        : m_isEncrypted(options.transport == Transport::tls),
          m_certificates(m_isEncrypted && !options.identity ? std::make_unique<Certificates>()
                                                            : nullptr),
          m_server(
              {.admit = [this](const std::string& target) { return admit(Target(target)); },
               .opened = [this](const Connection& connection,
                                const std::string& target) { open(connection, Target(target)); },
               .text = [this](const Connection& connection,
                              const std::string& text) { take(connection, text); },
               .closed = [this](const Connection& connection,
                                std::uint16_t code) { forget(connection, code); }},
              identity(options)) {}

    [[nodiscard]] std::string url() const {
        return (m_isEncrypted ? "https://127.0.0.1:" : "http://127.0.0.1:") +
               std::to_string(m_server.port());
    }

    [[nodiscard]] std::filesystem::path authority() const {
        return m_certificates ? m_certificates->authority() : std::filesystem::path();
    }

    [[nodiscard]] Seen seen() const {
        const std::lock_guard lock(m_lock);
        return m_seen;
    }

    bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds time) const {
        const auto deadline = std::chrono::steady_clock::now() + time;
        for (;;) {
            std::unique_lock lock(m_lock);
            const int events = m_events;
            lock.unlock();
            if (condition())
                return true;
            lock.lock();
            if (!m_changed.wait_until(lock, deadline, [&] { return m_events != events; }))
                return false;
        }
    }

    void stop() { m_server.stop(); }
    void start() { m_server.start(); }

    void refuse(std::optional<unsigned> status) {
        m_server.run([&] { m_refusal = status; });
    }

    void stall(bool isStalled) {
        m_server.run([&] {
            m_isStalled = isStalled;
            for (const Connection& computer : computers())
                computer->setReading(!isStalled);
        });
    }

    void toComputers(const std::function<void(const Connection&)>& action) {
        m_server.run([&] {
            for (const Connection& computer : computers())
                action(computer);
        });
    }

    void inject(const std::string& text) {
        toComputers([&](const Connection& computer) { deliver(computer, text); });
    }

    void setFilter(Filter filter) {
        m_server.run([&] { m_filter = std::move(filter); });
    }

  private:
    [[nodiscard]] std::optional<TLSIdentity> identity(const Options& options) const {
        if (!m_isEncrypted)
            return std::nullopt;
        return options.identity ? options.identity : m_certificates->issue("IP:127.0.0.1");
    }

    void note(const std::function<void(Seen&)>& change) {
        const std::lock_guard lock(m_lock);
        change(m_seen);
        ++m_events;
        m_changed.notify_all();
    }

    [[nodiscard]] std::vector<Connection> computers() const {
        std::vector<Connection> all;
        for (const auto& [connection, party] : m_parties)
            if (party.role == Party::Role::computer)
                all.push_back(connection);
        return all;
    }

    unsigned admit(Target target) {
        const bool isComputer = target.items["role"] == "mac";
        if (isComputer)
            note([](Seen& seen) { ++seen.attempts; });
        if (m_refusal)
            return *m_refusal;
        if (target.channel.empty())
            return 404;
        if (isComputer) {
            const std::string& token = target.items["auth"];
            const auto [channel, isNew] = m_channels.try_emplace(target.channel);
            if (isNew)
                channel->second.token = token;
            return !token.empty() && channel->second.token == token ? 101 : 401;
        }
        const auto known = m_channels.find(target.channel);
        if (known == m_channels.end())
            return 404;
        const Channel& channel = known->second;
        if (target.items["role"] == "phone") {
            const auto device = channel.admissions.find(target.items["device"]);
            const bool isRight = device != channel.admissions.end() &&
                                 device->second == hashText(target.items["auth"]);
            return isRight ? 101 : 401;
        }
        if (target.items["role"] == "pair") {
            const auto invite = channel.invites.find(hashText(target.items["invite"]));
            const bool isLive =
                invite != channel.invites.end() && invite->second > wallclock::milliseconds();
            return isLive && !target.items["device"].empty() ? 101 : 401;
        }
        return 400;
    }

    void open(const Connection& connection, Target target) {
        Channel& channel = m_channels[target.channel];
        Party party{Party::Role::computer, &channel, target.items["device"]};
        if (target.items["role"] == "mac") {
            if (channel.computer)
                channel.computer->close(4001);
            channel.computer = connection;
            connection->setReading(!m_isStalled);
            note([](Seen& seen) {
                ++seen.connections;
                ++seen.open;
            });
        } else {
            party.role =
                target.items["role"] == "phone" ? Party::Role::phone : Party::Role::pairing;
            auto& places = party.role == Party::Role::phone ? channel.phones : channel.pairing;
            if (const Connection older = std::exchange(places[party.device], connection))
                older->close(4001);
        }
        m_parties.emplace(connection, party);
        if (party.role != Party::Role::pairing)
            tellPeers(channel);
    }

    void forget(const Connection& connection, std::uint16_t code) {
        const auto found = m_parties.find(connection);
        const Party party = found->second;
        m_parties.erase(found);
        Channel& channel = *party.channel;
        if (party.role == Party::Role::computer) {
            if (channel.computer == connection)
                channel.computer.reset();
            note([&](Seen& seen) {
                --seen.open;
                seen.closeCode = code;
            });
            return;
        }
        auto& places = party.role == Party::Role::phone ? channel.phones : channel.pairing;
        const auto place = places.find(party.device);
        if (place == places.end() || place->second != connection)
            return; // A newer connection of the device has it.
        places.erase(place);
        if (party.role == Party::Role::phone)
            tellPeers(channel);
    }

    void tellPeers(const Channel& channel) {
        JSONArray ids;
        for (const auto& [device, connection] : channel.phones)
            ids.emplace_back(device);
        tell(channel, {{"t", "peers"}, {"phones", ids}});
    }

    void tell(const Channel& channel, const JSONObject& message) {
        if (!channel.computer)
            return;
        const std::string frame = encoded(message);
        for (const std::string& text : m_filter ? m_filter(frame) : std::vector{frame})
            deliver(channel.computer, text);
    }

    void deliver(const Connection& computer, const std::string& text) {
        note([&](Seen& seen) { seen.sent.push_back(text); });
        computer->send(text);
    }

    void take(const Connection& connection, const std::string& text) {
        const Party party = m_parties.at(connection);
        if (party.role == Party::Role::computer)
            note([&](Seen& seen) { seen.received.push_back(text); });
        if (text == "ping") {
            connection->send("pong");
            return;
        }
        const auto value = JSONValue::parse(text);
        const JSONObject* const message = value ? value->object() : nullptr;
        if (!message)
            return;
        if (party.role == Party::Role::computer)
            takeFromComputer(*party.channel, *message);
        else
            takeFromPhone(party, connection, *message);
    }

    void takeFromPhone(const Party& party, const Connection& connection,
                       const JSONObject& message) {
        const std::string kind = textOf(message, "t");
        if (party.role == Party::Role::phone && kind == "msg")
            tell(*party.channel, {{"t", "msg"},
                                  {"from", party.device},
                                  {"n", textOf(message, "n")},
                                  {"c", textOf(message, "c")}});
        if (party.role != Party::Role::pairing)
            return;
        Party& pairing = m_parties.at(connection);
        if (kind == "pair" && !std::exchange(pairing.hasAsked, true))
            tell(*party.channel, message);
        else
            connection->close(4003);
    }

    void takeFromComputer(Channel& channel, const JSONObject& message) {
        const std::string kind = textOf(message, "t");
        const std::string device = textOf(message, "device");
        if (kind == "sync") {
            std::set<std::string> listed;
            if (const auto* const devices = message.find("devices"); devices && devices->array())
                for (const JSONValue& id : *devices->array())
                    listed.insert(id.string() ? *id.string() : "");
            std::vector<std::string> dropped;
            for (const auto& [id, admission] : channel.admissions)
                if (!listed.contains(id))
                    dropped.push_back(id);
            for (const std::string& id : dropped)
                remove(channel, id);
        } else if (kind == "invite") {
            if (const auto* const expires = message.find("expires"))
                channel.invites[textOf(message, "hash")] = expires->number().value_or(0);
        } else if (kind == "addDevice") {
            channel.admissions[device] = textOf(message, "auth");
            channel.invites.erase(textOf(message, "invite"));
            if (const auto pairing = channel.pairing.find(device); pairing != channel.pairing.end())
                pairing->second->send(encoded({{"t", "paired"}}));
        } else if (kind == "removeDevice") {
            remove(channel, device);
        } else if (kind == "msg") {
            toPhone(channel, kind, message);
        } else if (kind == "notify" || kind == "clear") {
            int count = 0;
            if (const auto* const items = message.find("items"); items && items->array())
                for (const JSONValue& item : *items->array())
                    if (item.object() && toPhone(channel, kind, *item.object()))
                        ++count;
            if (kind == "notify")
                tell(channel,
                     {{"t", "pushed"}, {"ok", count}, {"devices", count}, {"errors", JSONArray{}}});
        }
    }

    static void remove(Channel& channel, const std::string& device) {
        channel.admissions.erase(device);
        if (const auto phone = channel.phones.find(device); phone != channel.phones.end())
            phone->second->close(4003);
    }

    static bool toPhone(const Channel& channel, const std::string& kind, const JSONObject& sealed) {
        const auto phone = channel.phones.find(textOf(sealed, "to"));
        if (phone == channel.phones.end())
            return false;
        phone->second->send(
            encoded({{"t", kind}, {"n", textOf(sealed, "n")}, {"c", textOf(sealed, "c")}}));
        return true;
    }

    const bool m_isEncrypted;
    const std::unique_ptr<Certificates> m_certificates;

    std::map<std::string, Channel> m_channels;
    std::map<Connection, Party> m_parties;
    std::optional<unsigned> m_refusal;
    bool m_isStalled = false;
    Filter m_filter;

    mutable std::mutex m_lock;
    mutable std::condition_variable m_changed;
    Seen m_seen;
    int m_events = 0;

    WebSocketServer m_server; // The last, for its thread uses the others.
};

RelayDouble::RelayDouble() : RelayDouble(Options()) {}

RelayDouble::RelayDouble(const Options& options)
    : m_implementation(std::make_unique<Implementation>(options)) {}

RelayDouble::~RelayDouble() = default;

std::string RelayDouble::url() const {
    return m_implementation->url();
}

std::filesystem::path RelayDouble::authority() const {
    return m_implementation->authority();
}

void RelayDouble::stop() {
    m_implementation->stop();
}

void RelayDouble::start() {
    m_implementation->start();
}

void RelayDouble::refuse(std::optional<unsigned> status) {
    m_implementation->refuse(status);
}

void RelayDouble::stall(bool isStalled) {
    m_implementation->stall(isStalled);
}

void RelayDouble::vanish() {
    m_implementation->toComputers([](const Connection& computer) { computer->vanish(); });
}

void RelayDouble::closeWith(std::uint16_t code) {
    m_implementation->toComputers([code](const Connection& computer) { computer->close(code); });
}

void RelayDouble::inject(const std::string& text) {
    m_implementation->inject(text);
}

void RelayDouble::setFilter(Filter filter) {
    m_implementation->setFilter(std::move(filter));
}

RelayDouble::Filter RelayDouble::drop(std::string kind) {
    return [kind = std::move(kind)](const std::string& frame) -> std::vector<std::string> {
        const auto value = JSONValue::parse(frame);
        if (value && value->object() && textOf(*value->object(), "t") == kind)
            return {};
        return {frame};
    };
}

std::vector<std::string> RelayDouble::received() const {
    return m_implementation->seen().received;
}

std::vector<JSONObject> RelayDouble::received(std::string_view kind) const {
    std::vector<JSONObject> messages;
    for (const std::string& text : received()) {
        const auto value = JSONValue::parse(text);
        if (value && value->object() && textOf(*value->object(), "t") == kind)
            messages.push_back(*value->object());
    }
    return messages;
}

std::vector<std::string> RelayDouble::sent() const {
    return m_implementation->seen().sent;
}

int RelayDouble::attempts() const {
    return m_implementation->seen().attempts;
}

int RelayDouble::connections() const {
    return m_implementation->seen().connections;
}

int RelayDouble::open() const {
    return m_implementation->seen().open;
}

std::optional<std::uint16_t> RelayDouble::closeCode() const {
    return m_implementation->seen().closeCode;
}

bool RelayDouble::waitUntil(const std::function<bool()>& condition,
                            std::chrono::milliseconds time) const {
    return m_implementation->waitUntil(condition, time);
}
