#include "core/JSONMember.h"

namespace json {

const JSONValue& member(const JSONValue& value, std::string_view key) {
    static const JSONValue null;
    const JSONValue* member = value[key];
    return member ? *member : null;
}

const std::string* textOf(const JSONValue& value, std::string_view key) {
    return member(value, key).string();
}

double numberOf(const JSONValue& value, std::string_view key, double otherwise) {
    return member(value, key).number().value_or(otherwise);
}

bool isTrue(const JSONValue& value, std::string_view key) {
    return member(value, key).boolean().value_or(false);
}

const JSONArray& arrayOf(const JSONValue& value, std::string_view key) {
    static const JSONArray none;
    const JSONArray* array = member(value, key).array();
    return array ? *array : none;
}

} // namespace json
