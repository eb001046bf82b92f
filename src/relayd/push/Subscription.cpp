#include "relayd/push/Subscription.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include <curl/curl.h>

#include "core/Base64Url.h"
#include "core/JSONMember.h"
#include "core/JSONValue.h"

namespace {

constexpr std::size_t maximumHost = 253; // RFC 1035 section 2.3.4, as text.
constexpr std::size_t maximumValues = 64;
constexpr double latestTime = 8.64e15; // ECMAScript's last moment, in milliseconds.

struct ReleaseURL {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct ReleaseText {
    void operator()(char* text) const { curl_free(text); }
};

std::string part(CURLU* url, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, 0) != CURLUE_OK)
        return {};
    const std::unique_ptr<char, ReleaseText> owner(text);
    return text;
}

bool isHost(std::string_view host) {
    return !host.empty() && host.size() <= maximumHost && !host.starts_with('.') &&
           !host.ends_with('.') && host.find("..") == std::string_view::npos &&
           std::ranges::all_of(host, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.';
           });
}

// The same library sends to the endpoint, so it counts how that reads it.
struct Origin {
    std::string host;
    std::string text; ///< with the scheme, and the port if it is named
    bool isTLS;
};

std::optional<Origin> read(const std::string& address) {
    const std::unique_ptr<CURLU, ReleaseURL> url(curl_url());
    if (!url ||
        curl_url_set(url.get(), CURLUPART_URL, address.c_str(), CURLU_DISALLOW_USER) != CURLUE_OK)
        return std::nullopt;
    const std::string scheme = part(url.get(), CURLUPART_SCHEME);
    const std::string port = part(url.get(), CURLUPART_PORT);
    Origin origin{part(url.get(), CURLUPART_HOST), {}, scheme == "https"};
    if (origin.host.empty() || (!origin.isTLS && scheme != "http"))
        return std::nullopt;
    origin.text = scheme + "://" + origin.host + (port.empty() ? "" : ":" + port);
    return origin;
}

template <std::size_t size>
std::optional<std::array<std::uint8_t, size>> bytesOf(const std::string* text) {
    std::array<std::uint8_t, size> result{};
    if (!text)
        return std::nullopt;
    auto bytes = base64url::decode(*text);
    if (!bytes || bytes->size() != size)
        return std::nullopt;
    std::ranges::copy(*bytes, result.begin());
    scrub(*bytes);
    return result;
}

std::optional<std::chrono::system_clock::time_point> expiryOf(const JSONValue& json) {
    const JSONValue& member = json::member(json, "expirationTime");
    if (member.isNull())
        return std::nullopt;
    const auto milliseconds = member.number();
    if (!milliseconds || *milliseconds < 0 || *milliseconds > latestTime)
        throw SubscriptionError("expirationTime is no time");
    // The clock counts nanoseconds and ends in 2262.
    constexpr double last = 9.2e12;
    return std::chrono::system_clock::time_point(
        std::chrono::milliseconds(static_cast<std::int64_t>(std::min(*milliseconds, last))));
}

} // namespace

PushServices::PushServices()
    : m_hosts{"fcm.googleapis.com", "updates.push.services.mozilla.com", "web.push.apple.com"},
      m_suffixes{".push.services.mozilla.com", ".push.apple.com", ".notify.windows.com"} {}

PushServices::PushServices(std::span<const std::string> more) : PushServices() {
    for (const std::string& each : more) {
        const std::string_view name = each;
        if (isHost(name)) {
            // Four numbers are an address, and a port belongs with one.
            if (name.find_first_not_of("0123456789.") == std::string_view::npos)
                throw std::invalid_argument(each + ": write an address as https://" + each);
            m_hosts.push_back(each);
        } else if (name.starts_with("*.") && isHost(name.substr(2))) {
            m_suffixes.emplace_back(name.substr(1));
        } else {
            const auto origin = read(each);
            const bool isLoopback =
                origin && (origin->host == "127.0.0.1" || origin->host == "[::1]");
            if (!origin || origin->text != each || (!origin->isTLS && !isLoopback))
                throw std::invalid_argument(each + " is no host, *.host or origin");
            m_origins.push_back(each);
        }
    }
}

bool PushServices::hasHost(std::string_view host) const {
    return std::ranges::find(m_hosts, host) != m_hosts.end() ||
           std::ranges::any_of(m_suffixes, [&](const std::string& suffix) {
               return host.size() > suffix.size() && host.ends_with(suffix);
           });
}

std::string PushServices::originOf(const std::string& endpoint) const {
    if (endpoint.size() > Subscription::maximumEndpoint)
        throw SubscriptionError("the endpoint is too long");
    if (!std::ranges::all_of(endpoint,
                             [](char c) { return c > 0x20 && c < 0x7F && c != '\\' && c != '#'; }))
        throw SubscriptionError("the endpoint has a character that does not belong there");
    const auto origin = read(endpoint);
    // It stands there letter by letter, as browsers write it: nothing hides behind another spelling
    // of a host, user information or a port.
    if (!origin || !endpoint.starts_with(origin->text + "/"))
        throw SubscriptionError("the endpoint is no address of a push service");
    if (std::ranges::find(m_origins, origin->text) != m_origins.end())
        return origin->text;
    if (!origin->isTLS)
        throw SubscriptionError("the endpoint is not https");
    if (origin->text != "https://" + origin->host)
        throw SubscriptionError("the endpoint names a port");
    if (!isHost(origin->host) || !hasHost(origin->host))
        throw SubscriptionError("this relay does not push to the endpoint's host");
    return origin->text;
}

Subscription Subscription::from(std::string_view json, const PushServices& services) {
    if (json.size() > maximumJSON)
        throw SubscriptionError("the subscription is too long");
    const auto value = JSONValue::parse(json, maximumValues);
    if (!value || !value->object())
        throw SubscriptionError("the subscription is no JSON object");
    const std::string* const endpoint = json::textOf(*value, "endpoint");
    if (!endpoint)
        throw SubscriptionError("the subscription has no endpoint");
    std::string origin = services.originOf(*endpoint);
    const JSONValue& keys = json::member(*value, "keys");
    const auto point = bytesOf<P256PublicKey::size>(json::textOf(keys, "p256dh"));
    const auto publicKey = point ? P256PublicKey::from(*point) : std::nullopt;
    if (!publicKey)
        throw SubscriptionError("p256dh is no public key of P-256");
    auto auth = bytesOf<16>(json::textOf(keys, "auth"));
    if (!auth)
        throw SubscriptionError("auth is not Base64 of 16 bytes");
    Subscription subscription{
        *endpoint,
        std::move(origin),
        {*publicKey, SecretBytes<16>(std::span<const std::uint8_t, 16>(*auth))},
        expiryOf(*value)};
    scrub(*auth);
    return subscription;
}

std::string Subscription::json() const {
    JSONObject object{{"endpoint", endpoint},
                      {"keys", JSONObject{{"p256dh", base64url::encode(keys.p256dh.bytes())},
                                          {"auth", base64url::encode(keys.auth.bytes())}}}};
    if (expirationTime)
        object.set("expirationTime",
                   static_cast<double>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                           expirationTime->time_since_epoch())
                                           .count()));
    return json::compact(object).value_or("");
}
