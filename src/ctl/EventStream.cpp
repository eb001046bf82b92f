#include "ctl/EventStream.h"

#include <algorithm>
#include <array>

#include "core/Localized.h"
#include "ctl/DaemonClient.h"

namespace ctl {

std::optional<JSONValue> EventStream::newest(LocalConnection::Deadline deadline) {
    constexpr std::string_view endOfRecord = "\n\n";
    constexpr std::string_view beginning = "data: ";
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): filled before it is read
    std::array<char, std::size_t{16} << 10> buffer;
    for (;;) {
        std::optional<JSONValue> newest;
        const std::string_view body = m_reply.body();
        // The record's end may lie half in what was searched. A snapshot of many megabytes comes in
        // many pieces, and only the new one is looked at.
        const std::size_t from = m_searched - std::min(m_searched, endOfRecord.size() - 1);
        const std::size_t end = body.substr(from).rfind(endOfRecord);
        m_searched = body.size();
        if (end != std::string_view::npos) {
            const std::size_t taken = from + end + endOfRecord.size();
            // Only the last record counts; those before it and the comments between say less.
            for (std::string_view rest = body.substr(0, from + end); !newest && !rest.empty();) {
                const std::size_t before = rest.rfind(endOfRecord);
                const std::size_t at =
                    before == std::string_view::npos ? 0 : before + endOfRecord.size();
                if (rest.substr(at).starts_with(beginning))
                    newest = JSONValue::parse(rest.substr(at + beginning.size()));
                rest = rest.substr(0, before == std::string_view::npos ? 0 : before);
            }
            m_reply.dropFromBody(taken);
            m_searched -= taken;
        }
        if (newest)
            return newest;
        const auto piece = m_connection.receive(buffer, {.deadline = deadline});
        if (!piece && LocalConnection::Clock::now() >= deadline)
            return std::nullopt;
        if (!piece || piece->empty() || m_reply.add(*piece) != HTTPReplyReader::Progress::endless)
            throw Unreachable(Unreachable::Reason::notRunning,
                              localized("與 Tamsell 的連線中斷了"));
    }
}

} // namespace ctl
