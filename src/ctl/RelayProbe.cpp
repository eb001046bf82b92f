#include "ctl/RelayProbe.h"

#include <array>
#include <cmath>
#include <ctime>

#include "core/Base64Url.h"
#include "core/Clock.h"
#include "core/HTTPReply.h"
#include "core/Localized.h"
#include "ctl/RelaySocket.h"

namespace ctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{5};
constexpr std::size_t maximumHead = std::size_t{64} << 10;

// The status line and the header; less when the peer ends before they are there.
std::string headOf(RelaySocket& relay, const std::string& request) {
    const auto deadline = Clock::now() + patience;
    relay.send(request, deadline);
    std::string head;
    std::array<char, 4096> buffer{};
    while (head.find("\r\n\r\n") == std::string::npos && head.size() < maximumHead) {
        const std::string_view piece = relay.receive(buffer, deadline);
        if (piece.empty())
            break;
        head += piece;
    }
    return head.substr(0, head.find("\r\n\r\n"));
}

// The time in a field "Date" (RFC 9110 section 6.6.1), in seconds since 1970.
std::optional<std::time_t> timeOf(std::string_view date) {
    std::tm parts{};
    // The names of days and months are English whatever the user's language: this program takes no
    // locale from the environment.
    if (!::strptime(std::string(date).c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts))
        return std::nullopt;
    return ::timegm(&parts);
}

std::string requestTo(const RelayAddress& address, const std::string& channel) {
    // What cannot be a channel is not put into a header either.
    const std::string place = base64url::decode(channel) ? channel : "";
    return "GET /ws/" + place + " HTTP/1.1\r\nhost: " + address.authority() +
           "\r\nuser-agent: tamsellctl\r\nconnection: close\r\n\r\n";
}

} // namespace

RelayReply probeRelay(const RelayAddress& address, const std::string& channel,
                      const std::string& trustedFile) {
    const auto begun = Clock::now();
    RelaySocket relay(address, trustedFile);
    const std::string text = headOf(relay, requestTo(address, channel));
    RelayReply reply;
    reply.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begun);
    const auto head = HTTPReplyHead::read(text);
    if (!head)
        throw RelayUnreachable(localized("%@ 的回應不是 HTTP", {address.authority()}),
                               localized("檢查中繼網址的連接埠"));
    reply.status = head->status;
    const auto date = head->value("date");
    if (const auto time = date ? timeOf(*date) : std::nullopt)
        reply.clockAhead = std::chrono::seconds(
            std::llround(wallclock::milliseconds() / 1000 - static_cast<double>(*time)));
    return reply;
}

} // namespace ctl
