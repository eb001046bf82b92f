#include "hook/JSONScanner.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "core/Decimal.h"
#include "core/JSONValue.h"

namespace hook {

namespace {

constexpr bool isHighSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool isLowSurrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The four digits at that place, which are known to be hexadecimal.
std::uint32_t unitAt(std::string_view text, std::size_t at) {
    std::uint32_t unit = 0;
    for (const char digit : text.substr(at, 4))
        unit = unit << 4 | static_cast<std::uint32_t>(hexValue(digit));
    return unit;
}

void appendUTF8(std::string& out, std::uint32_t point) {
    const auto trail = [&](unsigned shift) {
        out += static_cast<char>(0x80 | (point >> shift & 0x3F));
    };
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0 | point >> 6);
        trail(0);
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0 | point >> 12);
        trail(6);
        trail(0);
    } else {
        out += static_cast<char>(0xF0 | point >> 18);
        trail(12);
        trail(6);
        trail(0);
    }
}

char shortEscape(char letter) {
    switch (letter) {
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        return letter; // The quote, the slash and the backslash stand for themselves.
    }
}

// The text of a string that has been validated.
std::string unescaped(std::string_view raw) {
    std::string out;
    out.reserve(raw.size());
    for (std::size_t at = 0; at < raw.size();) {
        if (raw[at] != '\\') {
            out += raw[at++];
            continue;
        }
        if (raw[at + 1] != 'u') {
            out += shortEscape(raw[at + 1]);
            at += 2;
            continue;
        }
        const std::uint32_t unit = unitAt(raw, at + 2);
        at += 6;
        if (!isHighSurrogate(unit)) {
            appendUTF8(out, isLowSurrogate(unit) ? 0xFFFD : unit);
        } else if (raw.substr(at, 2) == "\\u" && isLowSurrogate(unitAt(raw, at + 2))) {
            appendUTF8(out, 0x10000 + ((unit & 0x3FF) << 10 | (unitAt(raw, at + 2) & 0x3FF)));
            at += 6;
        } else {
            appendUTF8(out, 0xFFFD);
        }
    }
    return out;
}

class Scanner {
  public:
    Scanner(std::string_view text, std::span<Member> wanted, LoneSurrogates loneSurrogates)
        : m_text(text), m_wanted(wanted), m_loneSurrogates(loneSurrogates) {}

    bool document() {
        skipSpace();
        if (peek() != '{' || !object(1))
            return false;
        skipSpace();
        return m_at == m_text.size();
    }

  private:
    // NUL at the end: it is valid nowhere outside of a string, and not inside either.
    [[nodiscard]] char peek(std::size_t ahead = 0) const {
        return m_at + ahead < m_text.size() ? m_text[m_at + ahead] : '\0';
    }
    [[nodiscard]] unsigned char byte(std::size_t ahead) const {
        return static_cast<unsigned char>(peek(ahead));
    }
    bool take(char expected) {
        if (peek() != expected || m_at == m_text.size())
            return false;
        ++m_at;
        return true;
    }
    void skipSpace() {
        while (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r')
            ++m_at;
    }

    bool value(int depth, Member* into) {
        if (into)
            into->type = Member::Type::other;
        switch (peek()) {
        case '{':
            return depth < json::maximumDepth && object(depth + 1);
        case '[':
            return depth < json::maximumDepth && array(depth + 1);
        case '"': {
            std::string_view raw;
            if (!string(raw))
                return false;
            if (into) {
                into->type = Member::Type::string;
                into->text = unescaped(raw);
            }
            return true;
        }
        case 't':
            return word("true");
        case 'f':
            return word("false");
        case 'n':
            return word("null");
        default:
            return number(into);
        }
    }

    bool object(int depth) {
        take('{');
        skipSpace();
        if (take('}'))
            return true;
        do {
            skipSpace();
            std::string_view key;
            if (peek() != '"' || !string(key))
                return false;
            skipSpace();
            if (!take(':'))
                return false;
            skipSpace();
            if (!value(depth, depth == 1 ? wanted(key) : nullptr))
                return false;
            skipSpace();
        } while (take(','));
        return take('}');
    }

    bool array(int depth) {
        take('[');
        skipSpace();
        if (take(']'))
            return true;
        do {
            skipSpace();
            if (!value(depth, nullptr))
                return false;
            skipSpace();
        } while (take(','));
        return take(']');
    }

    Member* wanted(std::string_view rawKey) {
        std::string key;
        if (rawKey.find('\\') != std::string_view::npos) {
            key = unescaped(rawKey);
            rawKey = key;
        }
        for (Member& member : m_wanted) {
            if (member.key == rawKey) {
                ++member.count;
                return &member;
            }
        }
        return nullptr;
    }

    bool word(std::string_view expected) {
        if (m_text.substr(m_at, expected.size()) != expected)
            return false;
        m_at += expected.size();
        return true;
    }

    bool string(std::string_view& raw) {
        take('"');
        const std::size_t first = m_at;
        while (peek() != '"') {
            if (!character())
                return false;
        }
        raw = m_text.substr(first, m_at - first);
        ++m_at;
        return true;
    }

    bool character() {
        if (byte(0) >= 0x80)
            return multibyte();
        if (peek() == '\\')
            return escape();
        return byte(0) >= 0x20 && ++m_at;
    }

    bool escape() {
        if (peek(1) != 'u') {
            constexpr std::string_view letters = "\"\\/bfnrt";
            if (letters.find(peek(1)) == std::string_view::npos)
                return false;
            m_at += 2;
            return true;
        }
        if (!isUnit(2))
            return false;
        const std::uint32_t unit = unitAt(m_text, m_at + 2);
        m_at += 6;
        if (isHighSurrogate(unit) && peek() == '\\' && peek(1) == 'u' && isUnit(2) &&
            isLowSurrogate(unitAt(m_text, m_at + 2))) {
            m_at += 6;
            return true;
        }
        return m_loneSurrogates == LoneSurrogates::replaced ||
               (!isHighSurrogate(unit) && !isLowSurrogate(unit));
    }

    [[nodiscard]] bool isUnit(std::size_t ahead) const {
        for (std::size_t i = 0; i < 4; ++i) {
            if (hexValue(peek(ahead + i)) < 0)
                return false;
        }
        return true;
    }

    // One well-formed sequence (Unicode 3.9, table 3-7): the lead decides what the second byte
    // may be, which is what keeps out overlong forms, surrogates and points beyond U+10FFFF.
    bool multibyte() {
        const unsigned char lead = byte(0);
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        std::size_t length = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            low = lead == 0xE0 ? 0xA0 : low;
            high = lead == 0xED ? 0x9F : high;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            low = lead == 0xF0 ? 0x90 : low;
            high = lead == 0xF4 ? 0x8F : high;
        } else {
            return false;
        }
        if (byte(1) < low || byte(1) > high)
            return false;
        for (std::size_t i = 2; i < length; ++i) {
            if ((byte(i) & 0xC0) != 0x80)
                return false;
        }
        m_at += length;
        return true;
    }

    bool number(Member* into) {
        const std::size_t after = m_text.find_first_not_of("+-.0123456789Ee", m_at);
        const std::string_view token = m_text.substr(m_at, std::min(after, m_text.size()) - m_at);
        const std::optional<double> read = decimal::parse(token);
        if (!read)
            return false;
        if (into) {
            into->type = Member::Type::number;
            into->number = *read;
        }
        m_at += token.size();
        return true;
    }

    std::string_view m_text;
    std::span<Member> m_wanted;
    LoneSurrogates m_loneSurrogates;
    std::size_t m_at = 0;
};

} // namespace

bool readMembers(std::string_view text, std::span<Member> wanted, LoneSurrogates loneSurrogates) {
    return Scanner(text, wanted, loneSurrogates).document();
}

} // namespace hook
