#include "http/HTTPRequestParser.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>
#include <utility>

#include "core/Text.h"
#include "http/RequestTarget.h"

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headerEnd = "\r\n\r\n";

// The next word at `rest`'s front, empty when there is none.
std::string_view takeWord(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    const auto word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(word.size());
    return word;
}

std::string_view takeLine(std::string_view& rest) {
    const auto end = rest.find(lineEnd);
    const auto line = rest.substr(0, end);
    rest.remove_prefix(end != std::string_view::npos ? end + lineEnd.size() : rest.size());
    return line;
}

// Field names are ASCII (RFC 9110 section 5.1), so no other letters are looked for.
std::string lowerCased(std::string_view name) {
    std::string result(name);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return result;
}

std::string_view trimmed(std::string_view value) {
    constexpr std::string_view blanks = " \t";
    value.remove_prefix(std::min(value.find_first_not_of(blanks), value.size()));
    return value.substr(0, value.find_last_not_of(blanks) + 1);
}

// A length that a 64-bit number cannot hold counts as 0 as well.
std::size_t bodyLength(const std::string* text) {
    if (!text)
        return 0;
    std::string_view digits = *text;
    if (digits.starts_with('+')) {
        digits.remove_prefix(1);
        if (digits.starts_with('-'))
            return 0;
    }
    std::int64_t length = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (error != std::errc() || end != digits.data() + digits.size() || length < 0)
        return 0;
    return static_cast<std::size_t>(length);
}

} // namespace

std::optional<HTTPRequest> HTTPRequestParser::feed(std::string_view bytes) {
    m_receivedBytes += bytes.size();
    if (m_phase == Phase::header) {
        // Usually the whole header is in the first piece and is read where it lies.
        const std::size_t seenBytes = m_header.size();
        if (seenBytes > 0)
            m_header += bytes;
        const std::string_view all = seenBytes > 0 ? std::string_view(m_header) : bytes;
        // Only the last three of the bytes seen before can belong to an end that comes now.
        const auto end = all.find(headerEnd, seenBytes - std::min(seenBytes, headerEnd.size() - 1));
        if (end == std::string_view::npos) {
            if (seenBytes == 0)
                m_header = bytes;
            return std::nullopt;
        }
        readHeader(all.substr(0, end));
        bytes = bytes.substr(end + headerEnd.size() - seenBytes);
        m_header = {};
    }
    if (m_phase == Phase::hopeless)
        return std::nullopt;
    std::string& body = m_request.body;
    body += bytes.substr(0, m_bodyLength - body.size());
    if (body.size() < m_bodyLength)
        return std::nullopt;
    return std::move(m_request);
}

void HTTPRequestParser::readHeader(std::string_view block) {
    std::string repaired;
    if (!text::isASCII(block)) {
        repaired = text::repaired(block);
        block = repaired;
    }
    std::string_view requestLine = takeLine(block);
    const auto method = takeWord(requestLine);
    const auto target = takeWord(requestLine);
    if (target.empty()) {
        m_phase = Phase::hopeless;
        return;
    }
    m_phase = Phase::body;
    m_request.method = method;
    if (auto parsed = RequestTarget::parse(target)) {
        m_request.path = std::move(parsed->path);
        m_request.query = std::move(parsed->query);
    }
    while (!block.empty() && m_request.headers.size() < HTTPRequest::maximumFields) {
        const auto line = takeLine(block);
        const auto colon = line.find(':');
        if (colon != std::string_view::npos) {
            m_request.headers.insert_or_assign(lowerCased(line.substr(0, colon)),
                                               std::string(trimmed(line.substr(colon + 1))));
        }
    }
    m_bodyLength = bodyLength(m_request.header("content-length"));
}
