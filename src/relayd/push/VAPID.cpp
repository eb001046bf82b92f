#include "relayd/push/VAPID.h"

#include <algorithm>
#include <stdexcept>

#include "core/Base64Url.h"
#include "core/JSONValue.h"

namespace {

constexpr std::size_t longestSubject = 256;
/// Some services have a host for each of their regions. More audiences than this are made up.
constexpr std::size_t mostTokens = 256;

std::string encoded(std::string_view text) {
    return base64url::encode({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// Names of one label, as "localhost", belong to nobody whom a service could reach.
bool isDomain(std::string_view name) {
    const auto dot = name.find('.');
    return dot != std::string_view::npos && dot > 0 && !name.ends_with('.') &&
           name.find("..") == std::string_view::npos && std::ranges::all_of(name, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '.';
           });
}

} // namespace

VAPID::VAPID(P256PrivateKey key, std::string subject)
    : m_key(std::move(key)), m_subject(std::move(subject)) {
    if (!isSubject(m_subject))
        throw std::invalid_argument("not a mailto: or https: address: " + m_subject);
}

bool VAPID::isSubject(std::string_view subject) {
    constexpr std::string_view mail = "mailto:";
    constexpr std::string_view web = "https://";
    const auto isPlain = [](char c) { return c > 0x20 && c < 0x7F && c != '<' && c != '>'; };
    if (subject.size() > longestSubject || !std::ranges::all_of(subject, isPlain))
        return false;
    if (subject.starts_with(mail)) {
        subject.remove_prefix(mail.size());
        const auto at = subject.find('@');
        return at != std::string_view::npos && at > 0 && isDomain(subject.substr(at + 1));
    }
    if (!subject.starts_with(web))
        return false;
    subject.remove_prefix(web.size());
    return isDomain(subject.substr(0, subject.find_first_of("/?#:")));
}

std::string VAPID::authorization(const std::string& audience, Moment now) {
    const auto kept = m_tokens.find(audience);
    if (kept != m_tokens.end() && kept->second.expiry - now >= reserve &&
        kept->second.expiry - now <= lifetime)
        return kept->second.text;
    if (kept == m_tokens.end() && m_tokens.size() >= mostTokens)
        m_tokens.clear();
    const Moment expiry = now + lifetime;
    Token token{"vapid t=" + sign(audience, expiry) + ", k=" + publicKey(), expiry};
    return m_tokens.insert_or_assign(audience, std::move(token)).first->second.text;
}

std::string VAPID::publicKey() const {
    return base64url::encode(m_key.publicKey().bytes());
}

std::string VAPID::sign(const std::string& audience, Moment expiry) const {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(expiry.time_since_epoch()).count();
    const JSONObject claims{
        {"aud", audience}, {"exp", static_cast<double>(seconds)}, {"sub", m_subject}};
    std::string token = encoded(R"({"typ":"JWT","alg":"ES256"})") + "." +
                        encoded(json::compact(claims).value_or("{}"));
    const ES256Signature signature = m_key.sign(token);
    return token + "." + base64url::encode(signature);
}
