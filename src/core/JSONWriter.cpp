#include "core/JSONValue.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

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
        m_out += '"';
        std::size_t copied = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            const char escape = escapes[byte];
            if (escape == 0 || (form == Form::pretty && escape == '/'))
                continue;
            m_out.append(text, copied, i - copied);
            copied = i + 1;
            m_out += '\\';
            m_out += escape;
            if (escape == 'u') {
                constexpr char digits[] = "0123456789abcdef";
                m_out += "00";
                m_out += digits[byte >> 4];
                m_out += digits[byte & 15];
            }
        }
        m_out.append(text, copied);
        m_out += '"';
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
    if (!appendCompact(out, value))
        return std::nullopt;
    return out;
}

std::string pretty(const JSONValue& value) {
    std::string out;
    return Writer<Form::pretty>(out).write(value) ? out : std::string();
}

} // namespace json
