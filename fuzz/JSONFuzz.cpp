#include <cstdint>
#include <string>
#include <string_view>

#include "Require.h"
#include "core/JSONValue.h"
#include "core/Text.h"

// What is read is written and read again as the same; what is refused stays refused with white
// space around it, and in the place of an array's element.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto value = JSONValue::parse(text);
    require(JSONValue::parse(" \r\n\t" + std::string(text) + "\n ") == value);
    if (!value)
        return 0;

    require(text::repaired(text) == text);
    const auto compact = json::compact(*value);
    require(compact && JSONValue::parse(*compact) == value);
    require(json::compact(*JSONValue::parse(*compact)) == compact);
    const std::string pretty = json::pretty(*value);
    require(JSONValue::parse(pretty) == value);
    require(json::pretty(*JSONValue::parse(pretty)) == pretty);

    if (const JSONObject* object = value->object()) {
        for (const auto& [key, member] : *object) {
            require(object->find(key) == &member);
            require(object->find(text::decomposed(key)) == &member);
        }
    }
    return 0;
}
