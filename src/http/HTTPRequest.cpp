#include "http/HTTPRequest.h"

#include <utility>

JSONObject HTTPRequest::jsonObject() const {
    auto value = JSONValue::parse(body);
    JSONObject* const object = value ? value->object() : nullptr;
    return object ? std::move(*object) : JSONObject();
}

const std::string* HTTPRequest::header(std::string_view name) const {
    const auto found = headers.find(name);
    return found != headers.end() ? &found->second : nullptr;
}
