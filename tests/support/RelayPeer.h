#pragma once

#include <array>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "core/Base64Url.h"
#include "core/DaemonError.h"
#include "core/JSONMember.h"
#include "relay/PairingKeys.h"
#include "relay/RelayClient.h"
#include "support/FakeScheduler.h"
#include "support/FakeWebSocket.h"

/// A `RelayClient` and all that it deals with: a daemon, a relay and two paired phones, in a time
/// that the test moves. Clock and keys are the same in every run, so that a seed of a fuzz target
/// can hold a sealed message. What the client sends must be what a relay knows and a phone opens;
/// reading anything else throws.
struct RelayPeer {
    inline static const std::string phoneA = "aaaaaaaaaaaaaaaaaaaaaa";
    inline static const std::string phoneB = "bbbbbbbbbbbbbbbbbbbbbb";

    RelayPeer() {
        settings.url = "https://relay.test/some/path?query#fragment";
        settings.channel = "channel";
        settings.auth = "to+ken";
        settings.privateKey = keyText(8);
        settings.devices = {{phoneA, "A", keyText(1), 1}, {phoneB, "B", keyText(2), 2}};
        client.log = [this](const LogMessage& message) { log.emplace_back(message.text); };
        client.handlers = RelayClient::Handlers{
            [this] {
                ++snapshots;
                return snapshot;
            },
            [this](const std::string& target, const JSONObject& answer) {
                asked.push_back(target + " " + textOf(answer));
                if (target == "gone")
                    throw DaemonError("已經回答過或已逾時");
            },
            [this](const std::string& mode) { asked.push_back("mode " + mode); },
            [this](const PairedDevice& device) {
                paired.push_back(device);
                settings.devices.push_back(device);
                client.update(settings);
            }};
    }

    void connect() {
        client.update(settings);
        sockets.open();
        sockets.takeSent();
        log.clear();
    }

    void setOnline(const JSONArray& phones) {
        sockets.receive(textOf({{"t", "peers"}, {"phones", phones}}));
    }

    /// A box of the phone, as new.
    [[nodiscard]] Box boxOf(const std::string& phone) const {
        for (const PairedDevice& device : settings.devices)
            if (device.id == phone)
                return {.channel = settings.channel,
                        .device = phone,
                        .key = pairing::keyFromText(device.key).value(),
                        .sendDirection = Box::Direction::phoneToMac,
                        .now = clock(),
                        .seen = {}};
        throw std::runtime_error("no phone " + phone);
    }
    /// The frame in which the relay hands on what the phone has sealed.
    [[nodiscard]] static std::string relayed(const std::string& phone, const Box::Sealed& sealed) {
        return textOf({{"t", "msg"}, {"from", phone}, {"n", sealed.n}, {"c", sealed.c}});
    }
    [[nodiscard]] std::string frameFrom(const std::string& phone, const JSONObject& message) const {
        return relayed(phone, boxOf(phone).seal(message));
    }

    struct Message {
        std::string phone;
        JSONObject content;
    };

    /// The messages for phones since this was last asked, opened.
    std::vector<Message> takeMessages() {
        std::vector<Message> messages;
        const auto open = [&](const JSONValue& sealed) {
            const std::string to = memberOf(sealed, "to");
            messages.push_back({to, boxOf(to).open(memberOf(sealed, "n"), memberOf(sealed, "c"))});
        };
        for (const std::string& text : sockets.takeSent()) {
            if (text == "ping")
                continue;
            const JSONValue frame = JSONValue::parse(text).value();
            const std::string kind = memberOf(frame, "t");
            if (kind == "msg") {
                open(frame);
                check(client.online().contains(messages.back().phone), text);
            } else if (kind == "notify" || kind == "clear") {
                for (const JSONValue& item : json::arrayOf(frame, "items"))
                    open(item);
            } else if (kind == "invite") {
                check(!memberOf(frame, "hash").empty() && json::numberOf(frame, "expires") > 0,
                      text);
            } else {
                check(kind == "addDevice", text);
                added.push_back(memberOf(frame, "device"));
                check(!memberOf(frame, "auth").empty() && !memberOf(frame, "invite").empty(), text);
            }
        }
        return messages;
    }

    [[nodiscard]] static std::string textOf(const JSONObject& message) {
        return json::compact(message).value();
    }

    RelayConfig settings;
    FakeScheduler time;
    FakeWebSockets sockets;
    JSONValue snapshot = JSONObject{{"pending", JSONArray{}}};
    int snapshots = 0;
    std::vector<std::string> log;
    std::vector<std::string> asked;   ///< what phones did: "TARGET ANSWER" or "mode MODE"
    std::vector<PairedDevice> paired; ///< by the daemon
    std::vector<std::string> added;   ///< phones that the relay was told of
    RelayClient client{{sockets.opener(), time, clock()}};

  private:
    [[nodiscard]] Box::Clock clock() const {
        return [this] { return time.now(); };
    }
    [[nodiscard]] static std::string keyText(std::uint8_t first) {
        return base64url::encode(std::array<std::uint8_t, 32>{first});
    }
    static void check(bool holds, const std::string& frame) {
        if (!holds)
            throw std::runtime_error("the client should not have sent " + frame);
    }
    [[nodiscard]] static std::string memberOf(const JSONValue& frame, std::string_view name) {
        const std::string* text = json::textOf(frame, name);
        check(text != nullptr, json::compact(frame).value());
        return *text;
    }
};
