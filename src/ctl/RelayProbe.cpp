#include "ctl/RelayProbe.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <future>
#include <span>
#include <system_error>
#include <thread>
#include <vector>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include "core/Base64Url.h"
#include "core/Clock.h"
#include "core/Descriptor.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "crypto/TLSConnection.h"
#include "platform/Endpoint.h"

namespace ctl {

namespace {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

constexpr std::chrono::seconds patience{5};
// A name with a dead address among several must not use up the time of the others.
constexpr std::chrono::seconds addressPatience{3};
constexpr std::size_t maximumAddresses = 4;
constexpr std::size_t maximumHead = std::size_t{64} << 10;

std::string checkNetwork() {
    return localized("檢查網路與中繼網址");
}

struct Lookup {
    int error = 0; // of getaddrinfo(3)
    std::vector<Endpoint> endpoints;
};

Lookup lookUp(const std::string& host, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_ADDRCONFIG;
    addrinfo* first = nullptr;
    Lookup lookup;
    lookup.error = ::getaddrinfo(host.c_str(), nullptr, &hints, &first);
    for (const addrinfo* one = first; lookup.error == 0 && one; one = one->ai_next) {
        sockaddr_storage storage{};
        std::copy_n(reinterpret_cast<const char*>(one->ai_addr),
                    std::min<std::size_t>(one->ai_addrlen, sizeof storage),
                    reinterpret_cast<char*>(&storage));
        lookup.endpoints.push_back(Endpoint::from(storage));
        lookup.endpoints.back().port = port;
    }
    if (first)
        ::freeaddrinfo(first);
    return lookup;
}

// The resolver knows no deadline, so a thread waits for it, and is left alone when it takes too
// long: it ends with the program.
std::vector<Endpoint> endpointsOf(const RelayAddress& address) {
    std::packaged_task<Lookup()> task(
        [host = address.host, port = address.port] { return lookUp(host, port); });
    auto result = task.get_future();
    std::thread(std::move(task)).detach();
    if (result.wait_for(patience) != std::future_status::ready)
        throw RelayUnreachable(localized("查 %@ 的位址超過 5 秒沒有結果", {address.host}),
                               checkNetwork());
    Lookup lookup = result.get();
    if (lookup.error != 0 || lookup.endpoints.empty())
        throw RelayUnreachable(
            localized("查不到 %@ 的位址：%@", {address.host, ::gai_strerror(lookup.error)}),
            checkNetwork());
    lookup.endpoints.resize(std::min(lookup.endpoints.size(), maximumAddresses));
    return std::move(lookup.endpoints);
}

// Waits for the socket. False when it is too late.
bool await(int socket, short events, Deadline deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return false;
        pollfd wait{.fd = socket, .events = events, .revents = 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR)
            return false;
    }
}

// @return an error of the system; none when it is connected
std::error_code tryToConnect(const Descriptor& socket, const Endpoint& endpoint,
                             Deadline deadline) {
    sockaddr_storage storage{};
    const socklen_t length = endpoint.writeTo(storage);
    int error = 0;
    if (::connect(socket.number(), reinterpret_cast<const sockaddr*>(&storage), length) != 0)
        error = errno;
    if (error == EINPROGRESS) {
        socklen_t size = sizeof error;
        if (!await(socket.number(), POLLOUT, deadline))
            error = ETIMEDOUT;
        else if (::getsockopt(socket.number(), SOL_SOCKET, SO_ERROR, &error, &size) != 0)
            error = errno;
    }
    return {error, std::generic_category()};
}

Descriptor connectTo(const RelayAddress& address) {
    std::string refusals;
    const std::vector<Endpoint> endpoints = endpointsOf(address);
    for (const Endpoint& endpoint : endpoints) {
        Descriptor socket(::socket(endpoint.family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const auto time = endpoints.size() == 1 ? patience : addressPatience;
        const auto error = socket.isValid() ? tryToConnect(socket, endpoint, Clock::now() + time)
                                            : std::error_code(errno, std::generic_category());
        if (!error)
            return socket;
        refusals += (refusals.empty() ? "" : "、") +
                    localized("%@（%@）", {endpoint.authority(), error.message()});
    }
    throw RelayUnreachable(localized("連不上 %@", {refusals}), checkNetwork());
}

RelayUnreachable troubleWith(const TLSError& error, const RelayAddress& address,
                             const std::string& trustedFile) {
    using Kind = TLSError::Kind;
    const std::string askItsOwner = localized("請中繼的管理者更新憑證");
    const std::string trustIt =
        localized("如果是你自己的中繼，把簽發機構的憑證（PEM 檔）寫進環境變數 TAMSELL_RELAY_CA");
    switch (error.kind()) {
    case Kind::expired:
        return {localized("%@ 的憑證過期了", {address.host}), askItsOwner};
    case Kind::notYetValid:
        return {localized("%@ 的憑證還沒生效", {address.host}), localized("檢查這台電腦的時鐘")};
    case Kind::wrongName:
        return {localized("對方的憑證不是給 %@ 的", {address.host}),
                localized("檢查中繼網址的主機名稱")};
    case Kind::selfSigned:
        return {localized("%@ 的憑證是自己簽的，沒有人擔保", {address.host}), trustIt};
    case Kind::unknownAuthority:
        return {localized("%@ 的憑證由不受信任的機構簽發", {address.host}), trustIt};
    case Kind::certificate:
        return {localized("%@ 的憑證無效：%@", {address.host, text::visible(error.what())}),
                askItsOwner};
    case Kind::trustedFile:
        return {localized("TAMSELL_RELAY_CA 的檔案 %@ 裡沒有憑證", {text::visible(trustedFile)}),
                localized("改成 PEM 格式的憑證檔")};
    case Kind::notInTime:
        return {localized("%@ 連得上，但 5 秒內沒有回應", {address.authority()}), checkNetwork()};
    case Kind::broken:
    case Kind::handshake:
        break;
    }
    return {
        localized("%@ 無法建立 TLS 連線：%@", {address.authority(), text::visible(error.what())}),
        localized("檢查中繼網址的連接埠")};
}

// Over TLS, or as it is.
class Channel {
  public:
    Channel(Descriptor socket, const RelayAddress& address, const std::string& trustedFile)
        : m_socket(std::move(socket)) {
        if (address.usesTLS)
            m_tls.emplace(m_socket.number(), address.host, trustedFile, Clock::now() + patience);
    }

    void send(std::string_view bytes, Deadline deadline) {
        if (m_tls)
            return m_tls->send(bytes, deadline);
        while (!bytes.empty()) {
            const ssize_t count =
                ::send(m_socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count >= 0)
                bytes.remove_prefix(static_cast<std::size_t>(count));
            else
                waitAfterError(POLLOUT, deadline);
        }
    }

    // Empty at the end.
    std::string_view receive(std::span<char> buffer, Deadline deadline) {
        if (m_tls)
            return m_tls->receive(buffer, deadline);
        for (;;) {
            const ssize_t count = ::recv(m_socket.number(), buffer.data(), buffer.size(), 0);
            if (count >= 0)
                return {buffer.data(), static_cast<std::size_t>(count)};
            waitAfterError(POLLIN, deadline);
        }
    }

  private:
    void waitAfterError(short events, Deadline deadline) const {
        if (errno != EAGAIN && errno != EINTR)
            throw TLSError(TLSError::Kind::broken, std::generic_category().message(errno));
        if (!await(m_socket.number(), events, deadline))
            throw TLSError(TLSError::Kind::notInTime, "not in time");
    }

    Descriptor m_socket;
    std::optional<TLSConnection> m_tls;
};

// The status line and the header; less when the peer ends before they are there.
std::string headOf(Channel& channel, const std::string& request) {
    const Deadline deadline = Clock::now() + patience;
    channel.send(request, deadline);
    std::string head;
    std::array<char, 4096> buffer{};
    while (head.find("\r\n\r\n") == std::string::npos && head.size() < maximumHead) {
        const std::string_view piece = channel.receive(buffer, deadline);
        if (piece.empty())
            break;
        head += piece;
    }
    return head.substr(0, head.find("\r\n\r\n"));
}

// 0 when it is no status line (RFC 9112 section 4).
int statusOf(const std::string& head) {
    int status = 0;
    return std::sscanf(head.c_str(), "HTTP/1.%*1[01] %3d", &status) == 1 ? status : 0;
}

// The header "Date" (RFC 9110 section 6.6.1), in seconds since 1970.
std::optional<std::time_t> dateOf(const std::string& head) {
    std::string lower = head;
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    });
    constexpr std::string_view name = "\r\ndate:";
    const std::size_t at = lower.find(name);
    std::tm date{};
    // The names of days and months are English whatever the user's language: this program takes no
    // locale from the environment.
    if (at == std::string::npos ||
        !::strptime(head.c_str() + at + name.size(), " %a, %d %b %Y %H:%M:%S GMT", &date))
        return std::nullopt;
    return ::timegm(&date);
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
    RelayReply reply;
    std::string head;
    try {
        Channel connection(connectTo(address), address, trustedFile);
        head = headOf(connection, requestTo(address, channel));
    } catch (const TLSError& error) {
        throw troubleWith(error, address, trustedFile);
    }
    reply.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begun);
    reply.status = statusOf(head);
    if (reply.status == 0)
        throw RelayUnreachable(localized("%@ 的回應不是 HTTP", {address.authority()}),
                               localized("檢查中繼網址的連接埠"));
    if (const auto date = dateOf(head))
        reply.clockAhead = std::chrono::seconds(
            std::llround(wallclock::milliseconds() / 1000 - static_cast<double>(*date)));
    return reply;
}

} // namespace ctl
