#include "hook/Exchange.h"

#include <array>
#include <chrono>

#include "core/HTTPReply.h"
#include "platform/LocalConnection.h"

namespace hook {

namespace {

constexpr std::chrono::seconds patienceForAnswer{2};

std::optional<std::string> receive(LocalConnection& connection,
                                   const LocalConnection::Patience& patience) {
    HTTPReplyReader reply;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): filled before it is read
    std::array<char, std::size_t{16} << 10> buffer;
    while (const auto piece = connection.receive(buffer, patience)) {
        if (piece->empty())
            return std::nullopt;
        const auto progress = reply.add(*piece);
        if (reply.status() != 0 && reply.status() != 200)
            return std::nullopt;
        if (progress == HTTPReplyReader::Progress::complete)
            return std::string(reply.body());
        if (progress != HTTPReplyReader::Progress::incomplete)
            return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> exchange(const Call& call) {
    using Clock = LocalConnection::Clock;
    auto connection =
        LocalConnection::open(call.candidates, call.owner, Clock::now() + patienceForAnswer);
    if (!connection)
        return std::nullopt;
    LocalConnection::Patience patience{.watched = call.output};
    if (call.hold == Hold::never)
        patience = {.deadline = Clock::now() + patienceForAnswer};
    if (!connection->send(call.head(connection->peer()), call.body, patience))
        return std::nullopt;
    return receive(*connection, patience);
}

} // namespace hook
