#include "core/JSONValue.h"

#include <simdjson.h>

#include "core/Decimal.h"

namespace ondemand = simdjson::ondemand;

// Reads one document after another, keeping its buffers between them.
//
// On-Demand validates only what is walked, so everything is walked, and it does not bound the
// depth, so this does. Numbers are read from their text: the parser's own are wrong for some, and
// its integers end at 64 bits.
class JSONReader {
  public:
    std::optional<JSONValue> read(std::string_view text, std::size_t maximumValues) {
        m_valuesLeft = maximumValues;
        const std::size_t first = text.find_first_not_of(" \t\r\n");
        if (first == std::string_view::npos)
            return std::nullopt;
        JSONValue value;
        if (text[first] == '{' || text[first] == '[') {
            m_padded.assign(text);
            if (!readContainer(value))
                return std::nullopt;
            return value;
        }
        // A top-level scalar is a document of another kind to the parser; as the only element of an
        // array it is not.
        m_padded.assign("[").append(text).append("]");
        if (!readContainer(value) || value.array()->size() != 1)
            return std::nullopt;
        return std::move(value.array()->front());
    }

  private:
    bool readContainer(JSONValue& into) {
        m_members.clear();
        m_elements.clear();
        const std::size_t length = m_padded.size();
        m_padded.append(simdjson::SIMDJSON_PADDING, '\0');
        const simdjson::padded_string_view text(m_padded.data(), length, m_padded.size());
        ondemand::document document;
        ondemand::value value;
        if (m_parser.iterate(text).get(document) || document.get_value().get(value) ||
            !readValue(value, 0, into))
            return false;
        // What follows the value is not looked at by itself; at the end there is no location left.
        const char* rest = nullptr;
        return document.current_location().get(rest) == simdjson::OUT_OF_BOUNDS;
    }

    bool readValue(ondemand::value& from, int depth, JSONValue& into) {
        ondemand::json_type type{};
        if (m_valuesLeft == 0 || from.type().get(type))
            return false;
        --m_valuesLeft;
        switch (type) {
        case ondemand::json_type::object:
            return depth < json::maximumDepth && readObject(from, depth + 1, into);
        case ondemand::json_type::array:
            return depth < json::maximumDepth && readArray(from, depth + 1, into);
        case ondemand::json_type::string: {
            std::string_view text;
            if (from.get_string().get(text))
                return false;
            into.m_value.emplace<std::string>(text);
            return true;
        }
        case ondemand::json_type::number:
            return readNumber(from, into);
        case ondemand::json_type::boolean: {
            bool truth = false;
            if (from.get_bool().get(truth))
                return false;
            into.m_value.emplace<bool>(truth);
            return true;
        }
        case ondemand::json_type::null: {
            // The type is told by the first letter alone.
            bool isNull = false;
            return !from.is_null().get(isNull) && isNull;
        }
        }
        return false;
    }

    static bool readNumber(ondemand::value& from, JSONValue& into) {
        // simdjson 3.0 misreads numbers that start with "0." and have more than 19 digits, and
        // refuses exponents of as many.
        std::string_view token = from.raw_json_token();
        token = token.substr(0, token.find_last_not_of(" \t\r\n") + 1);
        const auto value = decimal::parse(token);
        if (!value)
            return false;
        if (decimal::losesValue(token, *value))
            into.m_value.emplace<JSONNumber>(*value, token);
        else
            into.m_value.emplace<JSONNumber>(*value);
        return true;
    }

    bool readObject(ondemand::value& from, int depth, JSONValue& into) {
        ondemand::object object;
        if (from.get_object().get(object))
            return false;
        const std::size_t before = m_members.size();
        for (auto member : object) {
            if (member.error())
                return false;
            // In place: copies of these small structures stall on their own stores.
            ondemand::field& field = member.value_unsafe();
            std::string_view key;
            JSONValue value;
            if (field.unescaped_key().get(key) || !readValue(field.value(), depth, value))
                return false;
            m_members.emplace_back(key, std::move(value));
        }
        into.m_value.emplace<JSONObject>(
            JSONObject::takeMembers(std::span(m_members).subspan(before)));
        m_members.resize(before);
        return true;
    }

    bool readArray(ondemand::value& from, int depth, JSONValue& into) {
        ondemand::array array;
        if (from.get_array().get(array))
            return false;
        const std::size_t before = m_elements.size();
        for (auto element : array) {
            JSONValue value;
            if (element.error() || !readValue(element.value_unsafe(), depth, value))
                return false;
            m_elements.push_back(std::move(value));
        }
        const auto first = m_elements.begin() + static_cast<std::ptrdiff_t>(before);
        into.m_value.emplace<JSONArray>(std::move_iterator(first),
                                        std::move_iterator(m_elements.end()));
        m_elements.resize(before);
        return true;
    }

    std::size_t m_valuesLeft = 0;
    ondemand::parser m_parser;
    std::string m_padded; // The text, with the padding that the parser may read beyond it.
    // Stacks of what the containers being read hold so far, so that each container is allocated
    // once and in its size.
    std::vector<JSONObject::Member> m_members;
    std::vector<JSONValue> m_elements;
};

std::optional<JSONValue> JSONValue::parse(std::string_view text, std::size_t maximumValues) {
    // A document beyond this is rare; the memory that reading it took is given back.
    constexpr std::size_t largeDocument = std::size_t{64} << 10;
    if (text.size() > largeDocument)
        return JSONReader().read(text, maximumValues);
    thread_local JSONReader reader;
    return reader.read(text, maximumValues);
}
