#include "core/JSONValue.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/Decimal.h"
#include "core/Text.h"

namespace {

enum class Form { compact, pretty };

// For each byte 0 when it is copied, else the letter after the backslash; 'u' asks for the number.
constexpr auto escapes = [] {
    std::array<char, 256> table{};
    for (std::size_t i = 0; i < 0x20; ++i)
        table[i] = 'u';
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    table['"'] = '"';
    table['\\'] = '\\';
    table['/'] = '/';
    return table;
}();

template <Form form>
class Writer {
  public:
    explicit Writer(std::string& out) : m_out(out) {}

    bool write(const JSONValue& value, int depth = 0) {
        switch (value.type()) {
        case JSONValue::Type::string:
            writeString(*value.string());
            return true;
        case JSONValue::Type::number:
            return writeNumber(*value.numberWithText());
        case JSONValue::Type::boolean:
            m_out += *value.boolean() ? "true" : "false";
            return true;
        case JSONValue::Type::object:
            return writeObject(*value.object(), depth);
        case JSONValue::Type::array:
            return writeSequence('[', ']', depth, *value.array(), [&](const JSONValue& element) {
                return write(element, depth + 1);
            });
        case JSONValue::Type::null:
            m_out += "null";
            return true;
        }
        return false;
    }

  private:
    void writeString(std::string_view text) {
        // By way of a buffer on the stack: growing the text by a few bytes at a time is what takes
        // the time otherwise.
        constexpr std::size_t piece = 128;
        constexpr std::size_t longestEscape = 6;
        std::array<char, piece * longestEscape + sizeof(std::uint64_t) + 2> buffer;
        char* end = buffer.data();
        *end++ = '"';
        for (; text.size() > piece; text.remove_prefix(piece)) {
            end = escape(text.substr(0, piece), end);
            m_out.append(buffer.data(), end);
            end = buffer.data();
        }
        end = escape(text, end);
        *end++ = '"';
        m_out.append(buffer.data(), end);
    }

    // Returns the end of what it wrote; up to seven bytes beyond are overwritten as well.
    static char* escape(std::string_view text, char* out) {
        std::size_t at = 0;
        while (at < text.size()) {
            if constexpr (std::endian::native == std::endian::little) {
                if (at + sizeof(std::uint64_t) <= text.size()) {
                    std::uint64_t word = 0;
                    std::memcpy(&word, text.data() + at, sizeof word);
                    std::memcpy(out, &word, sizeof word);
                    const auto plain =
                        static_cast<std::size_t>(std::countr_zero(specialBytes(word))) / 8;
                    at += plain;
                    out += plain;
                    if (plain == sizeof word)
                        continue;
                }
            }
            const auto byte = static_cast<unsigned char>(text[at++]);
            const char letter = escapes[byte];
            if (letter == 0 || (form == Form::pretty && letter == '/')) {
                *out++ = static_cast<char>(byte);
                continue;
            }
            *out++ = '\\';
            *out++ = letter;
            if (letter == 'u') {
                constexpr char digits[] = "0123456789abcdef";
                *out++ = '0';
                *out++ = '0';
                *out++ = digits[byte >> 4];
                *out++ = digits[byte & 15];
            }
        }
        return out;
    }

    // The high bit of the lowest byte that needs an escape; bits above it mean nothing.
    static std::uint64_t specialBytes(std::uint64_t word) {
        constexpr std::uint64_t ones = 0x0101010101010101;
        const auto below = [](std::uint64_t bytes, unsigned bound) {
            return (bytes - ones * bound) & ~bytes & (ones * 0x80);
        };
        std::uint64_t found =
            below(word, 0x20) | below(word ^ (ones * '"'), 1) | below(word ^ (ones * '\\'), 1);
        if constexpr (form == Form::compact)
            found |= below(word ^ (ones * '/'), 1);
        return found;
    }

    bool writeNumber(const JSONNumber& number) {
        if (!std::isfinite(number.value()))
            return false;
        if (number.text())
            m_out += *number.text();
        else
            decimal::append(m_out, number.value());
        return true;
    }

    bool writeObject(const JSONObject& object, int depth) {
        const auto writeMember = [&](const JSONObject::Member& member) {
            writeString(member.first);
            m_out += form == Form::pretty ? ": " : ":";
            return write(member.second, depth + 1);
        };
        const auto keyIsASCII = [](const auto& member) { return text::isASCII(member.first); };
        if (form == Form::compact || std::ranges::all_of(object, keyIsASCII))
            return writeSequence('{', '}', depth, object, writeMember);
        // The object's own order is that of decomposed keys.
        std::vector<const JSONObject::Member*> sorted;
        for (const auto& member : object)
            sorted.push_back(&member);
        std::ranges::sort(sorted, {},
                          [](const auto* member) -> std::string_view { return member->first; });
        return writeSequence('{', '}', depth, sorted,
                             [&](const auto* member) { return writeMember(*member); });
    }

    template <typename Range, typename WriteOne>
    bool writeSequence(char open, char close, int depth, const Range& range, WriteOne writeOne) {
        m_out += open;
        bool first = true;
        for (const auto& element : range) {
            if (!first)
                m_out += ',';
            first = false;
            breakLine(depth + 1);
            if (!writeOne(element))
                return false;
        }
        if (!first)
            breakLine(depth);
        m_out += close;
        return true;
    }

    void breakLine(int depth) {
        if constexpr (form == Form::pretty) {
            m_out += '\n';
            m_out.append(static_cast<std::size_t>(depth) * 2, ' ');
        }
    }

    std::string& m_out;
};

} // namespace

namespace json {

bool appendCompact(std::string& out, const JSONValue& value) {
    const std::size_t before = out.size();
    if (Writer<Form::compact>(out).write(value))
        return true;
    out.resize(before);
    return false;
}

std::optional<std::string> compact(const JSONValue& value) {
    std::string out;
    // A reply fits, and growing in many small steps would cost as much as the writing.
    out.reserve(256);
    if (!appendCompact(out, value))
        return std::nullopt;
    return out;
}

std::string pretty(const JSONValue& value) {
    std::string out;
    return Writer<Form::pretty>(out).write(value) ? out : std::string();
}

} // namespace json
