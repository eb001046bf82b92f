#include "core/HTTPReply.h"

#include <algorithm>
#include <charconv>

namespace {

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

// The three digits of a status line; 0 when it is none.
int statusIn(std::string_view line) {
    constexpr std::size_t codeAt = sizeof "HTTP/1.x " - 1;
    constexpr std::size_t codeEnd = codeAt + 3;
    if (!line.starts_with("HTTP/1.") || line.size() < codeEnd || line[codeAt - 1] != ' ' ||
        (line.size() > codeEnd && line[codeEnd] != ' '))
        return 0;
    const auto code = numberIn<int>(line.substr(codeAt, 3));
    return code && *code >= 100 ? *code : 0;
}

} // namespace

bool HTTPReplyHead::Field::isNamed(std::string_view lowerCaseName) const {
    return std::ranges::equal(name, lowerCaseName, [](char left, char right) {
        return (left >= 'A' && left <= 'Z' ? left - 'A' + 'a' : left) == right;
    });
}

std::optional<HTTPReplyHead> HTTPReplyHead::read(std::string_view text) {
    const auto nextLine = [&text] {
        const std::size_t end = text.find("\r\n");
        const std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 2);
        return line;
    };
    HTTPReplyHead head{.status = statusIn(nextLine()), .fields = {}};
    if (head.status == 0)
        return std::nullopt;
    while (!text.empty()) {
        const std::string_view line = nextLine();
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            return std::nullopt;
        head.fields.push_back(
            {.name = line.substr(0, colon), .value = trimmed(line.substr(colon + 1))});
    }
    return head;
}

std::optional<std::string_view> HTTPReplyHead::value(std::string_view lowerCaseName) const {
    for (const Field& field : fields) {
        if (field.isNamed(lowerCaseName))
            return field.value;
    }
    return std::nullopt;
}

HTTPReplyReader::Progress HTTPReplyReader::add(std::string_view piece) {
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
    if (m_isEndless)
        return m_received.size() - m_bodyAt > maximumBody ? Progress::refused : Progress::endless;
    return m_received.size() - m_bodyAt < m_bodyLength ? Progress::incomplete : Progress::complete;
}

std::string_view HTTPReplyReader::body() const {
    const auto received = std::string_view(m_received).substr(m_bodyAt);
    return m_isEndless ? received : received.substr(0, m_bodyLength);
}

void HTTPReplyReader::dropFromBody(std::size_t count) {
    m_received.erase(m_bodyAt, count);
}

bool HTTPReplyReader::readHead(std::string_view text) {
    const auto head = HTTPReplyHead::read(text);
    if (!head || head->value("transfer-encoding"))
        return false;
    std::optional<std::size_t> length;
    for (const HTTPReplyHead::Field& field : head->fields) {
        if (!field.isNamed("content-length"))
            continue;
        const auto read = numberIn<std::size_t>(field.value);
        if (!read || *read > maximumBody || (length && *length != *read))
            return false;
        length = read;
    }
    m_status = head->status;
    m_isEndless = !length;
    m_bodyLength = length.value_or(0);
    return true;
}
