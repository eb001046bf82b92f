#include <cstdint>
#include <string>
#include <string_view>

#include "RequireUsable.h"
#include "core/Text.h"

namespace {

std::size_t scalarsOf(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

bool hasControls(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if (byte < 0x20 || byte == 0x7F || (byte == 0xC2 && next < 0xA0))
            return true;
    }
    return false;
}

// What the phone of this test has of its own.
struct PhoneKey {
    X25519PrivateKey secret =
        X25519PrivateKey::from(std::array<std::uint8_t, X25519PrivateKey::size>{5}).value();
    std::string text = base64url::encode(secret.publicKey());
};

std::string rightProof(const JSONObject& request, const Invite& invite) {
    const auto text = [&](const char* member) {
        return request.optionalString(member).value_or("");
    };
    return pairing::proof(invite.secret, text("device"), text("pub"), text("name"));
}

// The request as somebody sends it who may have seen the invite: the texts "live" and "phone" stand
// for its hash and for the phone's key, "right" for the proof of what else is in the request.
JSONObject completed(JSONObject request, const Invite& invite, const PhoneKey& key) {
    const auto replace = [&](const char* member, const char* placeholder, const auto& text) {
        if (request.optionalString(member) == placeholder)
            request.set(member, text());
    };
    request.set("t", "pair");
    replace("invite", "live", [&] { return pairing::inviteHash(invite); });
    replace("pub", "phone", [&] { return key.text; });
    replace("proof", "right", [&] { return rightProof(request, invite); });
    return request;
}

void requireRightlyPaired(RelayPeer& peer, const JSONObject& request, const Invite& invite,
                          const PhoneKey& key) {
    const PairedDevice& device = peer.paired.front();
    require(request.optionalString("device") == device.id);
    require(text::prefix(device.id, 22) == device.id && text::prefix(device.id, 21) != device.id);
    require(device.id != RelayPeer::phoneA && device.id != RelayPeer::phoneB);
    require(request.optionalString("invite") == pairing::inviteHash(invite));
    require(request.optionalString("proof") == rightProof(request, invite));

    require(!device.name.empty() && scalarsOf(device.name) <= 64 && !hasControls(device.name));
    require(text::trimmed(device.name) == device.name &&
            text::repaired(device.name) == device.name);

    require(pairing::keyFromText(device.key).has_value());
    if (request.optionalString("pub") == key.text) {
        const auto agreed = pairing::deviceKey(key.secret, invite.macKey, invite, device.id);
        require(agreed && base64url::encode(agreed->bytes()) == device.key);
    }
    peer.setOnline({device.id});
    const auto states = peer.takeMessages();
    require(states.size() == 1 && states[0].phone == device.id);
}

} // namespace

// The input is a request to pair, or any text in its place, while there is one invite. A phone is
// paired only with a proof of having seen the invite, one an invite, and under a name that can be
// shown.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const PhoneKey key;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto value = JSONValue::parse(text);
    RelayPeer peer;
    peer.connect();
    const LiveInvite live = peer.client.makeInvite().value();
    if (!value || !value->object()) {
        peer.sockets.receive(text);
        require(peer.takeMessages().empty() && peer.paired.empty());
        require(peer.client.inviteIsLive(live));
        return 0;
    }

    const JSONObject request = completed(*value->object(), live.invite, key);
    const auto frame = json::compact(request);
    require(frame.has_value());
    peer.sockets.receive(*frame);
    require(peer.takeMessages().empty());
    require(peer.paired.size() <= 1 && peer.added.size() == peer.paired.size());
    require(peer.client.inviteIsLive(live) == peer.paired.empty());
    if (!peer.paired.empty())
        requireRightlyPaired(peer, request, live.invite, key);

    // Once more, and from another phone.
    JSONObject second = request;
    second.set("device", "dddddddddddddddddddddd");
    second.set("proof", rightProof(second, live.invite));
    const std::size_t paired = peer.paired.size();
    peer.sockets.receive(*frame);
    if (paired != 0)
        peer.sockets.receive(RelayPeer::textOf(second));
    require(peer.paired.size() == paired);
    requireUsable(peer);
    return 0;
}
