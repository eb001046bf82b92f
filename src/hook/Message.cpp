#include "hook/Message.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include <arpa/inet.h>

#include "core/Base64.h"

namespace hook {

namespace {

bool isHeaderText(std::string_view text) {
    return !text.empty() && std::ranges::none_of(text, [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
    });
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

bool isName(std::string_view text, std::string_view lowerCaseName) {
    return std::ranges::equal(text, lowerCaseName, [](char left, char right) {
        return (left >= 'A' && left <= 'Z' ? left - 'A' + 'a' : left) == right;
    });
}

std::optional<std::size_t> lengthIn(std::string_view text) {
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    if (error != std::errc() || end != text.data() + text.size() ||
        length > ReplyReader::maximumBody)
        return std::nullopt;
    return length;
}

} // namespace

std::string requestHead(const Endpoint& to, std::size_t bodyLength, std::string_view commandLine,
                        std::string_view client) {
    std::array<char, INET6_ADDRSTRLEN> address{};
    ::inet_ntop(to.family, to.address.data(), address.data(), address.size());
    const bool isV6 = to.family == AF_INET6;
    std::string head = "POST /hook HTTP/1.1\r\nhost: ";
    head.append(isV6 ? "[" : "").append(address.data()).append(isV6 ? "]:" : ":");
    head += std::to_string(to.port);
    head += "\r\ncontent-type: application/json\r\ncontent-length: ";
    head += std::to_string(bodyLength);
    if (!commandLine.empty())
        head.append("\r\nx-tamsell-parent: ").append(base64::encode(commandLine));
    if (isHeaderText(client))
        head.append("\r\nx-tamsell-client: ").append(client);
    return head.append("\r\nconnection: close\r\n\r\n");
}

ReplyReader::Progress ReplyReader::add(std::string_view piece) {
    constexpr std::string_view endOfHead = "\r\n\r\n";
    const std::size_t before = m_received.size();
    m_received += piece;
    if (m_bodyAt == 0) {
        const std::size_t end =
            m_received.find(endOfHead, before < endOfHead.size() ? 0 : before - endOfHead.size());
        if (end == std::string::npos)
            return m_received.size() > maximumHead ? Progress::refused : Progress::incomplete;
        if (!readHead(std::string_view(m_received).substr(0, end)))
            return Progress::refused;
        m_bodyAt = end + endOfHead.size();
    }
    return m_received.size() - m_bodyAt < m_bodyLength ? Progress::incomplete : Progress::complete;
}

std::string_view ReplyReader::body() const {
    return std::string_view(m_received).substr(m_bodyAt, m_bodyLength);
}

bool ReplyReader::readHead(std::string_view head) {
    const auto nextLine = [&head] {
        const std::size_t end = head.find("\r\n");
        const std::string_view line = head.substr(0, end);
        head = end == std::string_view::npos ? std::string_view() : head.substr(end + 2);
        return line;
    };
    const std::string_view status = nextLine();
    if (!status.starts_with("HTTP/1.") || status.substr(8, 4) != " 200" ||
        (status.size() > 12 && status[12] != ' '))
        return false;
    std::optional<std::size_t> length;
    while (!head.empty()) {
        const std::string_view line = nextLine();
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            return false;
        const std::string_view name = line.substr(0, colon);
        if (isName(name, "transfer-encoding"))
            return false;
        if (!isName(name, "content-length"))
            continue;
        const auto read = lengthIn(trimmed(line.substr(colon + 1)));
        if (!read || (length && *length != *read))
            return false;
        length = read;
    }
    m_bodyLength = length.value_or(0);
    return length.has_value();
}

} // namespace hook
