#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Require.h"
#include "core/Base64Url.h"
#include "core/DaemonError.h"
#include "core/JSONMember.h"
#include "relay/PairingKeys.h"
#include "relay/RelayClient.h"
#include "support/FakeScheduler.h"
#include "support/FakeWebSocket.h"

/// What two paired phones, and the relay between them and a connected `RelayClient`, see and send.
/// Clock and keys are the same in every run, so that a seed can hold a sealed message.
class RelayPeer {
  public:
    static constexpr const char* channel = "channel";
    static constexpr const char* phoneA = "aaaaaaaaaaaaaaaaaaaaaa";
    static constexpr const char* phoneB = "bbbbbbbbbbbbbbbbbbbbbb";

    RelayPeer() {
        m_relay.url = "https://relay.test";
        m_relay.channel = channel;
        m_relay.auth = "token";
        m_relay.privateKey = keyText(8);
        m_relay.devices = {{phoneA, "A", keyText(1), 1}, {phoneB, "B", keyText(2), 2}};
        m_client.log = [this](const LogMessage& message) { m_log.emplace_back(message.text); };
        m_client.handlers = RelayClient::Handlers{
            [] {
                return JSONValue(JSONObject{{"pending", JSONArray{}}});
            },
            [this](const std::string& target, const JSONObject&) {
                m_calls.push_back("answer " + target);
                if (target == "gone")
                    throw DaemonError("已經回答過或已逾時");
            },
            [this](const std::string& mode) { m_calls.push_back("mode " + mode); },
            [this](const PairedDevice& device) {
                m_paired.push_back(device);
                m_relay.devices.push_back(device);
                m_client.update(m_relay);
            }};
        m_client.update(m_relay);
        m_sockets.open();
        m_sockets.takeSent();
        m_log.clear();
    }

    /// A box of the phone, as new.
    [[nodiscard]] Box phone(const std::string& id) const {
        for (const PairedDevice& device : m_relay.devices)
            if (device.id == id)
                return {m_relay.channel,
                        id,
                        pairing::keyFromText(device.key).value(),
                        Box::Direction::phoneToMac,
                        clock(),
                        {}};
        require(false);
        return {};
    }
    [[nodiscard]] Box::Clock clock() const {
        return [this] { return m_time.now(); };
    }

    void receive(const std::string& frame) { m_sockets.receive(frame); }
    void setOnline(const JSONArray& phones) {
        receive(textOf({{"t", "peers"}, {"phones", phones}}));
    }
    /// The frame in which the relay hands on what the phone has sealed.
    [[nodiscard]] static std::string frameFrom(const std::string& phone,
                                               const Box::Sealed& sealed) {
        return textOf({{"t", "msg"}, {"from", phone}, {"n", sealed.n}, {"c", sealed.c}});
    }
    void pass(std::chrono::milliseconds time) { m_time.pass(time); }

    struct Message {
        std::string phone;
        JSONObject content;
    };

    /// The messages for phones since this was last asked, opened. Whatever was sent has to be a
    /// frame of a kind that the relay knows, with what belongs to it.
    std::vector<Message> takeMessages() {
        std::vector<Message> messages;
        const auto open = [&](const JSONValue& item) {
            const std::string* to = json::textOf(item, "to");
            const std::string* n = json::textOf(item, "n");
            const std::string* c = json::textOf(item, "c");
            require(to && n && c);
            messages.push_back({*to, phone(*to).open(*n, *c)});
        };
        for (const std::string& text : m_sockets.takeSent()) {
            if (text == "ping")
                continue;
            const auto frame = JSONValue::parse(text);
            const std::string* kind = frame ? json::textOf(*frame, "t") : nullptr;
            require(kind != nullptr);
            if (*kind == "msg") {
                open(*frame);
                require(m_client.online().contains(messages.back().phone));
            } else if (*kind == "clear") {
                for (const JSONValue& item : json::arrayOf(*frame, "items"))
                    open(item);
            } else if (*kind == "invite") {
                require(json::textOf(*frame, "hash") && json::numberOf(*frame, "expires") > 0);
            } else {
                require(*kind == "addDevice");
                m_added.push_back(*json::textOf(*frame, "device"));
                require(json::textOf(*frame, "auth") && json::textOf(*frame, "invite"));
            }
        }
        return messages;
    }

    /// After whatever it was given, the client does everything that it is there for.
    void requireUsable() {
        require(m_client.connected() && m_sockets.count() == 1 && m_sockets.last().isAlive);
        pass(std::chrono::seconds(1));
        setOnline({});
        takeMessages();

        setOnline({phoneA});
        requireOneState(phoneA);
        receive(frameFrom(phoneA, phone(phoneA).seal({{"type", "hello"}})));
        requireOneState(phoneA);
        m_client.schedulePush();
        pass(std::chrono::seconds(1));
        requireOneState(phoneA);

        m_calls.clear();
        receive(frameFrom(phoneA, phone(phoneA).seal({{"type", "mode"}, {"mode", "on"}})));
        require(m_calls == std::vector<std::string>{"mode on"});
        const auto results = takeMessages();
        require(results.size() == 1 && *results[0].content.string("type") == "result");

        m_client.clear({"x"});
        require(takeMessages().size() == m_relay.devices.size());
        requirePairing();
        require(json::compact(m_client.status()).has_value());
    }

    [[nodiscard]] static std::string textOf(const JSONObject& message) {
        return json::compact(message).value();
    }

    RelayConfig m_relay;
    FakeScheduler m_time;
    FakeWebSockets m_sockets;
    std::vector<std::string> m_log;
    std::vector<std::string> m_calls; // Of what a phone can ask for.
    std::vector<std::string> m_added; // Phones that the relay was told of.
    std::vector<PairedDevice> m_paired;
    RelayClient m_client{{m_sockets.opener(), m_time, clock()}};

  private:
    [[nodiscard]] static std::string keyText(std::uint8_t first) {
        return base64url::encode(std::array<std::uint8_t, 32>{first});
    }

    void requirePairing() {
        const Invite invite = m_client.makeInvite().value().invite;
        const std::string id = "zzzzzzzzzzzzzzzzzzzzzz";
        const std::string key = base64url::encode(std::array<std::uint8_t, 32>{9});
        receive(textOf({{"t", "pair"},
                        {"device", id},
                        {"invite", pairing::inviteHash(invite)},
                        {"pub", key},
                        {"proof", pairing::proof(invite.secret, id, key, "")}}));
        takeMessages();
        require(!m_paired.empty() && m_paired.back().id == id && m_added.back() == id);
    }

    void requireOneState(const std::string& id) {
        const auto messages = takeMessages();
        require(messages.size() == 1 && messages[0].phone == id &&
                *messages[0].content.string("type") == "state" &&
                messages[0].content.find("state"));
    }
};
