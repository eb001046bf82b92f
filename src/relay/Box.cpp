#include "relay/Box.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "core/Base64Url.h"
#include "core/Clock.h"
#include "crypto/Random.h"
#include "relay/E2EError.h"

namespace {

// A person at a phone sends a hundredth of them in that time.
constexpr std::size_t maximumSeen = 100'000;
// A request has a handful.
constexpr std::size_t maximumValues = 4'000;
// How far the clocks of two honest sides may lie apart, how long a message may take, and how long
// its id is remembered. The last must not be shorter than the first: what is forgotten is stale.
constexpr double freshness = 600'000; // Milliseconds.

std::string associatedData(const Box& box, Box::Direction direction) {
    return "tamsell2|" + box.channel + "|" + box.device +
           (direction == Box::Direction::macToPhone ? "|m2p" : "|p2m");
}

Box::Direction opposite(Box::Direction direction) {
    return direction == Box::Direction::macToPhone ? Box::Direction::phoneToMac
                                                   : Box::Direction::macToPhone;
}

std::vector<std::uint8_t> decode(std::string_view text) {
    auto bytes = base64url::decode(text);
    if (!bytes)
        throw E2EError(E2EError::Reason::badFrame);
    return std::move(*bytes);
}

} // namespace

Box::Sealed Box::seal(const JSONObject& message) const {
    return seal(EncodedMessage(message));
}

Box::Sealed Box::seal(const EncodedMessage& message) const {
    const std::string id = base64url::encode(securerandom::bytes<12>());
    const std::string plaintext = message.stamped(id, std::round(wallclock::milliseconds(now())));
    const auto nonce = securerandom::bytes<aesgcm::nonceSize>();
    return {base64url::encode(nonce),
            base64url::encode(
                aesgcm::seal(key, nonce, associatedData(*this, sendDirection), plaintext))};
}

JSONObject Box::open(std::string_view n, std::string_view c) {
    const auto nonce = decode(n);
    const auto sealed = decode(c);
    if (sealed.size() < aesgcm::tagSize)
        throw E2EError(E2EError::Reason::badFrame);
    const std::string plaintext =
        aesgcm::open(key, nonce, associatedData(*this, opposite(sendDirection)), sealed);
    auto value = JSONValue::parse(plaintext, maximumValues);
    if (!value)
        throw std::runtime_error("not JSON, or too much of it");
    JSONObject* message = value->object();
    const std::string* id = message ? message->string("id") : nullptr;
    const JSONValue* stamp = message ? message->find("ts") : nullptr;
    if (!id || !stamp || !stamp->number())
        throw E2EError(E2EError::Reason::badFrame);
    const double time = *stamp->number();
    const double current = wallclock::milliseconds(now());
    if (std::abs(time - current) > freshness)
        throw E2EError(E2EError::Reason::stale);
    if (seen.contains(*id))
        throw E2EError(E2EError::Reason::replayed);
    if (seen.size() >= maximumSeen) {
        seen.forgetBefore(current - freshness);
        if (seen.size() >= maximumSeen)
            throw std::runtime_error("too many messages");
    }
    seen.record(*id, time);
    seen.forgetBefore(current - freshness);
    return std::move(*message);
}

std::size_t Box::longestPlaintext(std::size_t characters) {
    const std::size_t bytes = characters / 4 * 3 + characters % 4 * 3 / 4;
    return bytes - std::min(bytes, aesgcm::tagSize);
}
