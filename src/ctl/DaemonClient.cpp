#include "ctl/DaemonClient.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"

namespace ctl {

namespace {

using Clock = LocalConnection::Clock;
using Progress = HTTPReplyReader::Progress;
using Reason = Unreachable::Reason;

// The daemon answers everything that is asked here at once; a computer may be busy.
constexpr std::chrono::seconds patience{5};

// Only what is surely no control character or separator goes into a header.
bool isTokenText(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c > 0x20 && c < 0x7F; });
}

// Reads on until the reply is complete, or endless. False when it breaks off.
bool readReply(LocalConnection& connection, HTTPReplyReader& reply) {
    const LocalConnection::Patience until{.deadline = Clock::now() + patience};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): filled before it is read
    std::array<char, std::size_t{16} << 10> buffer;
    for (;;) {
        const auto piece = connection.receive(buffer, until);
        if (!piece || piece->empty())
            return false;
        const Progress progress = reply.add(*piece);
        if (progress != Progress::incomplete)
            return progress != Progress::refused;
    }
}

} // namespace

DaemonClient::DaemonClient(const Context& context)
    : DaemonClient(context.config(), context.owner()) {}

DaemonClient::DaemonClient(const Config& config, uid_t owner)
    : m_host(config.host()),
      m_port(config.number("port")),
      m_token(config.token()),
      m_owner(owner) {}

std::string DaemonClient::address() const {
    const auto candidates = loopbackCandidates(m_host, m_port);
    if (!candidates.empty())
        return candidates.front().authority();
    return text::visible(m_host) + ":" + *json::compact(JSONValue(m_port));
}

DaemonClient::Reply DaemonClient::health() const {
    Reply reply = exchange("GET", "/health", {}, Token::keptBack);
    if (reply.status != 200 || !json::member(reply.body, "app").boolean())
        throw Unreachable(Reason::anotherProgram, localized("%@ 被其他程式佔用", {address()}));
    return reply;
}

JSONValue DaemonClient::get(std::string_view target) const {
    return checked(exchange("GET", target, {}, Token::sent));
}

JSONValue DaemonClient::post(std::string_view target, const JSONObject& body) const {
    return checked(exchange("POST", target, json::compact(body).value(), Token::sent));
}

EventStream DaemonClient::events() const {
    LocalConnection connection = connect();
    HTTPReplyReader reply;
    if (!connection.send(head(connection, "GET", "/events", 0, Token::sent), {},
                         {.deadline = Clock::now() + patience}) ||
        !readReply(connection, reply))
        throw silence();
    if (reply.status() != 200)
        (void)checked({.status = reply.status(), .body = {}});
    return EventStream(std::move(connection), std::move(reply));
}

LocalConnection DaemonClient::connect() const {
    const auto candidates = loopbackCandidates(m_host, m_port);
    if (candidates.empty())
        throw Unreachable(Reason::noAddress,
                          localized("設定檔裡的位址 %@ 不是這台電腦的", {address()}));
    using Obstacle = LocalConnection::Obstacle;
    Obstacle obstacle = Obstacle::none;
    auto connection =
        LocalConnection::open(candidates, m_owner, Clock::now() + patience, &obstacle);
    if (connection)
        return std::move(*connection);
    if (obstacle == Obstacle::anotherUser)
        throw Unreachable(
            Reason::anotherUser,
            localized("%@ 被另一位使用者的程式佔用，所以什麼都沒有送出", {address()}));
    if (obstacle == Obstacle::notInTime)
        throw silence();
    throw Unreachable(Reason::notRunning,
                      localized("Tamsell 沒有在執行（%@ 沒有程式在監聽）", {address()}));
}

std::string DaemonClient::head(const LocalConnection& connection, std::string_view method,
                               std::string_view target, std::size_t length, Token token) const {
    std::string text;
    text.append(method).append(" ").append(target).append(" HTTP/1.1\r\nhost: ");
    text += connection.peer().authority();
    if (token == Token::sent && isTokenText(m_token))
        text.append("\r\nx-token: ").append(m_token);
    text.append("\r\ncontent-length: ").append(std::to_string(length));
    return text.append("\r\n\r\n");
}

DaemonClient::Reply DaemonClient::exchange(std::string_view method, std::string_view target,
                                           std::string_view body, Token token) const {
    const auto begun = Clock::now();
    LocalConnection connection = connect();
    HTTPReplyReader reply;
    if (!connection.send(head(connection, method, target, body.size(), token), body,
                         {.deadline = Clock::now() + patience}) ||
        !readReply(connection, reply))
        throw silence();
    return {.status = reply.status(),
            .body = JSONValue::parse(reply.body()).value_or(JSONValue()),
            .took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begun)};
}

JSONValue DaemonClient::checked(const Reply& reply) const {
    if (reply.status == 200)
        return reply.body;
    if (reply.status == 401)
        throw Unreachable(Reason::token,
                          localized("執行中的 Tamsell 不認得設定檔裡的存取權杖（token）"));
    const std::string* error = json::textOf(reply.body, "error");
    throw DaemonError(error ? *error
                            : localized("無法解讀 %@ 的回應：HTTP %@",
                                        {address(), std::to_string(reply.status)}));
}

Unreachable DaemonClient::silence() const {
    return {Reason::notAnswering, localized("%@ 有程式在監聽，但沒有回應", {address()})};
}

} // namespace ctl
