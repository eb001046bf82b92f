#pragma once

#include <string>
#include <string_view>

#include "core/JSONValue.h"

/// Reading members that may be missing or of another kind, of values that may be no objects. What
/// is returned lives as long as the value.
namespace json {

/// The member, or a null value; so one look can follow another.
[[nodiscard]] const JSONValue& member(const JSONValue& value, std::string_view key);

/// The member when it is a string, else nothing.
[[nodiscard]] const std::string* textOf(const JSONValue& value, std::string_view key);

/// The member when it is a number, else `otherwise`.
[[nodiscard]] double numberOf(const JSONValue& value, std::string_view key, double otherwise = 0);

/// Whether the member is true.
[[nodiscard]] bool isTrue(const JSONValue& value, std::string_view key);

/// The member when it is an array, else an empty one.
[[nodiscard]] const JSONArray& arrayOf(const JSONValue& value, std::string_view key);

} // namespace json
