#include "core/JSONValue.h"

#include <cstring>

#include <simdjson.h>

#include "core/Decimal.h"

namespace {

namespace ondemand = simdjson::ondemand;

// A document beyond this is rare; the memory that parsing it took is given back.
constexpr std::size_t largeDocument = std::size_t{256} << 10;

// On-Demand validates only what is walked, so everything is walked, and it does not bound the
// depth, so this does. Reading every number as a double is the system's rule; it also is the only
// way to accept integers beyond 64 bits.
class Walker {
  public:
    static bool read(ondemand::value from, int depth, JSONValue& into) {
        ondemand::json_type type{};
        if (from.type().get(type))
            return false;
        switch (type) {
        case ondemand::json_type::object:
            return depth < json::maximumDepth && readObject(from, depth + 1, into);
        case ondemand::json_type::array:
            return depth < json::maximumDepth && readArray(from, depth + 1, into);
        case ondemand::json_type::string: {
            std::string_view text;
            if (from.get_string().get(text))
                return false;
            into = JSONValue(text);
            return true;
        }
        case ondemand::json_type::number:
            return readNumber(from, into);
        case ondemand::json_type::boolean: {
            bool truth = false;
            if (from.get_bool().get(truth))
                return false;
            into = JSONValue(truth);
            return true;
        }
        case ondemand::json_type::null:
            into = JSONValue();
            return isNull(from);
        }
        return false;
    }

  private:
    static bool isNull(ondemand::value from) {
        // The type is told by the first letter alone.
        return from.raw_json_token().substr(0, 4) == "null" && from.is_null();
    }

    static bool readNumber(ondemand::value from, JSONValue& into) {
        std::string_view token = from.raw_json_token();
        double value = 0;
        if (from.get_double().get(value))
            return false;
        token = token.substr(0, token.find_first_not_of("+-.0123456789eE"));
        into = decimal::losesValue(token, value) ? JSONValue(JSONNumber(value, token))
                                                 : JSONValue(value);
        return true;
    }

    static bool readObject(ondemand::value from, int depth, JSONValue& into) {
        ondemand::object object;
        if (from.get_object().get(object))
            return false;
        std::vector<JSONObject::Member> members;
        for (auto field : object) {
            std::string_view key;
            ondemand::value value;
            if (field.unescaped_key().get(key))
                return false;
            members.emplace_back(key, JSONValue());
            if (field.value().get(value) || !read(value, depth, members.back().second))
                return false;
        }
        into = JSONValue(JSONObject::fromMembers(std::move(members)));
        return true;
    }

    static bool readArray(ondemand::value from, int depth, JSONValue& into) {
        ondemand::array array;
        if (from.get_array().get(array))
            return false;
        JSONArray elements;
        for (auto element : array) {
            ondemand::value value;
            elements.emplace_back();
            if (element.get(value) || !read(value, depth, elements.back()))
                return false;
        }
        into = JSONValue(std::move(elements));
        return true;
    }
};

// The parser and the padded copy of the text, kept between documents.
struct Scratch {
    ondemand::parser parser;
    std::string padded;
};

bool parseContainer(Scratch& scratch, JSONValue& into) {
    const std::size_t length = scratch.padded.size();
    scratch.padded.append(simdjson::SIMDJSON_PADDING, '\0');
    const simdjson::padded_string_view text(scratch.padded.data(), length, scratch.padded.size());
    ondemand::document document;
    ondemand::value value;
    if (scratch.parser.iterate(text).get(document) || document.get_value().get(value) ||
        !Walker::read(value, 0, into))
        return false;
    // What follows the value is not looked at by itself; at the end there is no location left.
    const char* rest = nullptr;
    return document.current_location().get(rest) == simdjson::OUT_OF_BOUNDS;
}

} // namespace

std::optional<JSONValue> JSONValue::parse(std::string_view text) {
    thread_local std::unique_ptr<Scratch> scratch;
    if (!scratch)
        scratch = std::make_unique<Scratch>();
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return std::nullopt;
    const bool isContainer = text[first] == '{' || text[first] == '[';
    JSONValue value;
    bool valid = false;
    if (isContainer) {
        scratch->padded.assign(text);
        valid = parseContainer(*scratch, value);
    } else {
        // A top-level scalar is a document of another kind to the parser; as the only element of an
        // array it is not.
        scratch->padded.assign("[").append(text).append("]");
        valid = parseContainer(*scratch, value) && value.array()->size() == 1;
        if (valid) {
            JSONValue only = std::move(value.array()->front());
            value = std::move(only);
        }
    }
    if (text.size() > largeDocument)
        scratch.reset();
    return valid ? std::optional(std::move(value)) : std::nullopt;
}
