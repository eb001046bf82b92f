#include "daemon/HookBody.h"

#include <charconv>

#include "core/Text.h"

namespace hookbody {

namespace {

constexpr std::size_t summaryLength = 200;
constexpr std::size_t escapeLength = 6; // \uXXXX

// The code unit of a \uXXXX escape at `at`, or nothing.
std::optional<unsigned> escapeAt(std::string_view text, std::size_t at) {
    if (at + escapeLength > text.size() || text[at] != '\\' || text[at + 1] != 'u')
        return std::nullopt;
    unsigned unit = 0;
    const char* digits = text.data() + at + 2;
    const auto read = std::from_chars(digits, digits + 4, unit, 16);
    if (read.ec != std::errc{} || read.ptr != digits + 4)
        return std::nullopt;
    return unit;
}

bool isHighSurrogate(std::optional<unsigned> unit) {
    return unit && *unit >= 0xD800 && *unit <= 0xDBFF;
}

bool isLowSurrogate(std::optional<unsigned> unit) {
    return unit && *unit >= 0xDC00 && *unit <= 0xDFFF;
}

// Matches (^|/)claude( |$).
bool namesClaude(std::string_view parent) {
    constexpr std::string_view name = "claude";
    for (std::size_t at = parent.find(name); at != std::string_view::npos;
         at = parent.find(name, at + 1)) {
        const std::size_t end = at + name.size();
        if ((at == 0 || parent[at - 1] == '/') && (end == parent.size() || parent[end] == ' '))
            return true;
    }
    return false;
}

} // namespace

JSONObject parse(std::string_view body) {
    auto value = JSONValue::parse(body);
    if (!value)
        value = JSONValue::parse(withoutLoneSurrogates(body));
    return value && value->object() ? std::move(*value->object()) : JSONObject();
}

std::string withoutLoneSurrogates(std::string_view text) {
    std::string result(text);
    for (std::size_t at = text.find('\\'); at != std::string_view::npos; at = text.find('\\', at)) {
        const auto unit = escapeAt(text, at);
        if (!unit) {
            at += 2; // another escape; its second character begins none
        } else if (isHighSurrogate(unit) && isLowSurrogate(escapeAt(text, at + escapeLength))) {
            at += 2 * escapeLength;
        } else {
            if (isHighSurrogate(unit) || isLowSurrogate(unit))
                result.replace(at, escapeLength, "\\uFFFD");
            at += escapeLength;
        }
        if (at >= text.size())
            break;
    }
    return result;
}

const std::string* string(const JSONObject& body, std::string_view key) {
    const JSONValue* value = body.find(key);
    return value ? value->string() : nullptr;
}

std::optional<std::string> optionalString(const JSONObject& body, std::string_view key) {
    const std::string* text = string(body, key);
    return text ? std::optional(*text) : std::nullopt;
}

std::string_view detectClient(const JSONObject& body) {
    if (const std::string* client = string(body, "_client"); client && *client == "codex")
        return "Codex";
    const std::string* parent = string(body, "_parent");
    if (!parent || parent->empty())
        return "unknown";
    if (parent->find("Application Support/Claude/claude-code") != std::string::npos)
        return "Claude.app";
    if (parent->find("stream-json") != std::string::npos)
        return "SDK";
    return namesClaude(*parent) ? "terminal" : "other";
}

std::string summarize(const JSONObject& body) {
    const JSONValue* input = body.find("tool_input");
    const auto cut = [](const std::string& whole) {
        return std::string(text::prefix(whole, summaryLength));
    };
    for (const char* key : {"command", "file_path"}) {
        const JSONValue* member = input ? (*input)[key] : nullptr;
        if (member && member->string())
            return cut(*member->string());
    }
    for (const char* key : {"message", "prompt", "last_assistant_message"}) {
        if (const std::string* member = string(body, key))
            return cut(*member);
    }
    return {};
}

} // namespace hookbody
