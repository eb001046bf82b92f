#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "core/Base64Url.h"
#include "core/File.h"
#include "core/JSONValue.h"

/// The cases of a file of tests/vectors.
inline JSONArray vectorsOf(const char* file) {
    const std::string text = file::read(std::filesystem::path(TAMSELL_VECTORS) / file, 1 << 20);
    const auto value = JSONValue::parse(text);
    const JSONValue* cases = value ? (*value)["cases"] : nullptr;
    if (!cases || !cases->array() || cases->array()->empty())
        throw std::runtime_error(std::string("no vectors in ") + file);
    return *cases->array();
}

inline std::string textIn(const JSONValue& value, std::string_view key) {
    const JSONValue* member = value[key];
    if (!member || !member->string())
        throw std::runtime_error("no " + std::string(key) + " in the vector");
    return *member->string();
}

template <std::size_t count>
std::array<std::uint8_t, count> bytesIn(const JSONValue& value, std::string_view key) {
    const auto bytes = base64url::decode(textIn(value, key)).value();
    if (bytes.size() != count)
        throw std::runtime_error(std::string(key) + " of another length");
    std::array<std::uint8_t, count> result{};
    std::ranges::copy(bytes, result.begin());
    return result;
}
