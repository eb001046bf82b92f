#include "relay/Pairing.h"

#include <cmath>

#include "core/Base64Url.h"
#include "core/Clock.h"
#include "core/Text.h"
#include "crypto/ConstantTime.h"
#include "crypto/Random.h"
#include "relay/PairingKeys.h"
#include "relay/RelayURL.h"

namespace {

constexpr std::chrono::seconds inviteLife{600};
// 16 bytes as base64url, which is what a phone makes up.
constexpr std::size_t deviceIdLength = 22;
constexpr std::size_t longestName = 64; // Unicode scalars.
constexpr const char* namelessPhone = "iPhone";

bool isDeviceId(const std::string* text) {
    // A character can have any number of bytes.
    constexpr std::size_t longestId = 4 * deviceIdLength;
    return text && text->size() <= longestId &&
           text::prefix(*text, deviceIdLength).size() == text->size() &&
           text::prefix(*text, deviceIdLength - 1).size() < text->size();
}

// Without control characters (U+0000 to U+001F and U+007F to U+009F), cut, trimmed.
std::string cleanedName(std::string_view name) {
    std::string cleaned;
    std::size_t scalars = 0;
    for (std::size_t i = 0; i < name.size();) {
        std::size_t end = i + 1;
        while (end < name.size() && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80)
            ++end;
        const std::string_view scalar = name.substr(i, end - i);
        i = end;
        const auto first = static_cast<unsigned char>(scalar[0]);
        const bool isControl =
            first < 0x20 || first == 0x7F ||
            (first == 0xC2 && scalar.size() == 2 && static_cast<unsigned char>(scalar[1]) < 0xA0);
        if (isControl)
            continue;
        if (++scalars > longestName)
            break;
        cleaned += scalar;
    }
    const std::string_view trimmed = text::trimmed(cleaned);
    return trimmed.empty() ? namelessPhone : std::string(trimmed);
}

} // namespace

std::optional<LiveInvite> Pairing::makeInvite(const RelayConfig& relay) {
    const auto key = relay.agreementKey();
    if (!key || !relayurl::isUsable(relay.url))
        return std::nullopt;
    const LiveInvite made{{relay.url, relay.channel, securerandom::bytes<32>(), key->publicKey()},
                          m_now() + inviteLife};
    forgetExpired();
    const std::string hash = pairing::inviteHash(made.invite);
    m_invites.insert_or_assign(
        hash, Entry{made, m_scheduler.after(inviteLife, [this, hash] { m_invites.erase(hash); })});
    return made;
}

bool Pairing::isLive(const LiveInvite& invite) const {
    const auto found = m_invites.find(pairing::inviteHash(invite.invite));
    return found != m_invites.end() && found->second.live.expires > m_now();
}

Pairing::Announcement Pairing::announcementOf(const LiveInvite& invite) {
    return {pairing::inviteHash(invite.invite), invite.expires};
}

std::vector<Pairing::Announcement> Pairing::announcements() {
    forgetExpired();
    std::vector<Announcement> result;
    for (const auto& [hash, entry] : m_invites)
        result.push_back({hash, entry.live.expires});
    return result;
}

void Pairing::forgetExpired() {
    std::erase_if(m_invites,
                  [now = m_now()](const auto& entry) { return entry.second.live.expires <= now; });
}

std::variant<Pairing::Paired, Pairing::Refusal> Pairing::judge(const RelayConfig& relay,
                                                               const JSONObject& request) {
    const Refusal ignored{"relay: ignored a pairing attempt (no live invite)"};
    const auto own = relay.agreementKey();
    const std::string* device = request.string("device");
    const std::string* inviteHash = request.string("invite");
    const std::string* publicKeyText = request.string("pub");
    const std::string* proof = request.string("proof");
    if (!own || !isDeviceId(device) || !inviteHash || !publicKeyText || !proof)
        return ignored;
    const bool isPaired =
        std::ranges::any_of(relay.devices, [&](const auto& known) { return known.id == *device; });
    const auto found = m_invites.find(*inviteHash);
    const auto publicKey = base64url::decode(*publicKeyText);
    if (isPaired || found == m_invites.end() || found->second.live.expires <= m_now() ||
        !publicKey || publicKey->size() != X25519PrivateKey::size)
        return ignored;

    const Invite& invite = found->second.live.invite;
    const std::string name = request.optionalString("name").value_or("");
    if (!constantTimeEqual(*proof, pairing::proof(invite.secret, *device, *publicKeyText, name)))
        return Refusal{"relay: rejected a pairing attempt with a bad proof"};
    auto key = pairing::deviceKey(*own, *publicKey, invite, *device);
    if (!key)
        return Refusal{};
    m_invites.erase(found);
    PairedDevice paired{*device, cleanedName(name), base64url::encode(key->bytes()),
                        std::round(wallclock::milliseconds(m_now()))};
    return Paired{std::move(paired), std::move(*key), *inviteHash};
}
