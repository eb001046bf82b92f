#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "RequireUsable.h"
#include "crypto/AESGCM.h"
#include "relay/E2EError.h"

namespace {

constexpr double now = 1'700'000'000'000; // Of the peer's clock.

// As a phone that has gone mad would seal it.
Box::Sealed seal(const Box& phone, std::string_view plaintext) {
    const std::array<std::uint8_t, aesgcm::nonceSize> nonce{7};
    const std::string associatedData = "tamsell2|" + phone.channel + "|" + phone.device + "|p2m";
    return {base64url::encode(nonce),
            base64url::encode(aesgcm::seal(phone.key, nonce, associatedData, plaintext))};
}

// Whether the computer has to take it.
bool isMessage(const std::optional<JSONValue>& value) {
    if (!value || !json::textOf(*value, "id"))
        return false;
    const auto time = json::member(*value, "ts").number();
    return time && std::abs(*time - now) <= 600'000;
}

} // namespace

// The input is what a paired phone has sealed: it gets past the cipher, whatever it is. The
// computer takes a fresh message with an id, once, and does at most one thing for it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view plaintext(reinterpret_cast<const char*>(data), size);
    const auto value = JSONValue::parse(plaintext);
    RelayPeer peer;
    peer.connect();
    const Box::Sealed sealed = seal(peer.boxOf(RelayPeer::phoneA), plaintext);

    Box box = peer.boxOf(RelayPeer::phoneA);
    box.sendDirection = Box::Direction::macToPhone;
    std::optional<JSONObject> opened;
    try {
        opened = box.open(sealed.n, sealed.c);
    } catch (const std::exception&) {
    }
    require(opened.has_value() == isMessage(value));
    require(!opened || *value == JSONValue(*opened));
    require(box.seen.size() == (opened ? 1U : 0U));
    try {
        (void)box.open(sealed.n, sealed.c);
        require(false);
    } catch (const E2EError& refusal) {
        require(!opened || refusal.reason() == E2EError::Reason::replayed);
    } catch (const std::exception&) {
        require(!opened);
    }

    peer.setOnline({RelayPeer::phoneA, RelayPeer::phoneB});
    peer.time.pass(std::chrono::seconds(1)); // Both get the state, and the next need not wait.
    peer.time.jump(std::chrono::seconds(-1));
    peer.takeMessages();
    const std::string frame = RelayPeer::relayed(RelayPeer::phoneA, sealed);
    peer.sockets.receive(frame);
    const auto replies = peer.takeMessages();
    require(replies.size() == (opened ? 1U : 0U));
    require(peer.log.size() == (opened ? 0U : 1U));
    const std::string type = opened ? opened->optionalString("type").value_or("") : "";
    require(peer.asked.size() == (type == "answer" || type == "mode" ? 1U : 0U));
    if (opened) {
        const JSONObject& reply = replies[0].content;
        require(*reply.string("type") == (type == "hello" ? "state" : "result"));
        require(type == "hello" || *reply.find("re") == *opened->find("id"));
    }

    const std::size_t asked = peer.asked.size();
    peer.sockets.receive(frame);
    require(peer.asked.size() == asked && peer.takeMessages().empty());
    requireUsable(peer);
    return 0;
}
