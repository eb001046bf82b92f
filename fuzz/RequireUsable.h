#pragma once

#include "Require.h"
#include "support/RelayPeer.h"

inline void requireOneState(RelayPeer& peer) {
    peer.time.pass(std::chrono::seconds(1)); // The next one may have to wait.
    const auto messages = peer.takeMessages();
    require(messages.size() == 1 && messages[0].phone == RelayPeer::phoneA &&
            *messages[0].content.string("type") == "state" && messages[0].content.find("state"));
}

inline void requirePairing(RelayPeer& peer) {
    const Invite invite = peer.client.makeInvite().value().invite;
    const std::string id = "zzzzzzzzzzzzzzzzzzzzzz";
    const std::string key = base64url::encode(std::array<std::uint8_t, 32>{9});
    peer.sockets.receive(
        RelayPeer::textOf({{"t", "pair"},
                           {"device", id},
                           {"invite", pairing::inviteHash(invite)},
                           {"pub", key},
                           {"proof", pairing::proof(invite.secret, id, key, "")}}));
    peer.takeMessages();
    require(!peer.paired.empty() && peer.paired.back().id == id && peer.added.back() == id);
}

/// After whatever it was given, the client does everything that it is there for.
inline void requireUsable(RelayPeer& peer) {
    require(peer.client.connected() && peer.sockets.count() == 1 && peer.sockets.last().isAlive);
    peer.time.pass(std::chrono::seconds(1));
    peer.takeMessages();
    peer.setOnline({});

    peer.setOnline({RelayPeer::phoneA});
    requireOneState(peer);
    peer.sockets.receive(peer.frameFrom(RelayPeer::phoneA, {{"type", "hello"}}));
    requireOneState(peer);
    peer.client.schedulePush();
    requireOneState(peer);

    peer.asked.clear();
    peer.sockets.receive(peer.frameFrom(RelayPeer::phoneA, {{"type", "mode"}, {"mode", "on"}}));
    require(peer.asked == std::vector<std::string>{"mode on"});
    const auto results = peer.takeMessages();
    require(results.size() == 1 && *results[0].content.string("type") == "result");

    peer.client.clear({"x"});
    require(peer.takeMessages().size() == peer.settings.devices.size());
    requirePairing(peer);
    require(json::compact(peer.client.status()).has_value());
}
