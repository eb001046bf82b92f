#include "daemon/HookBody.h"

#include <charconv>

#include "core/Base64.h"
#include "core/Text.h"

namespace hookbody {

namespace {

constexpr std::size_t summaryLength = 200;
// An agent's event has some dozens; reading millions would keep every other agent waiting.
constexpr std::size_t maximumValues = 200'000;
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
    auto value = JSONValue::parse(body, maximumValues);
    if (!value)
        value = JSONValue::parse(withoutLoneSurrogates(body), maximumValues);
    return value && value->object() ? std::move(*value->object()) : JSONObject();
}

std::string withoutLoneSurrogates(std::string_view text) {
    std::string result(text);
    for (std::size_t at = text.find('\\'); at != std::string_view::npos; at = text.find('\\', at)) {
        const auto unit = escapeAt(text, at);
        if (!unit) {
            at += 2; // The second character of another escape begins none.
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

void addSender(JSONObject& body, const std::string* parent, const std::string* client) {
    if (parent) {
        if (const auto bytes = base64::decode(*parent))
            body.set("_parent", text::trimmed(text::repaired(*bytes)));
    }
    if (client && !client->empty())
        body.set("_client", *client);
}

std::string_view detectClient(const JSONObject& body) {
    if (const std::string* client = body.string("_client"); client && *client == "codex")
        return "Codex";
    const std::string* parent = body.string("_parent");
    if (!parent || parent->empty())
        return "unknown";
    if (parent->find("Application Support/Claude/claude-code") != std::string::npos)
        return "Claude.app";
    if (parent->find("stream-json") != std::string::npos)
        return "SDK";
    return namesClaude(*parent) ? "terminal" : "other";
}

const std::string* subject(const JSONValue& toolInput) {
    for (const char* key : {"command", "file_path"}) {
        const JSONValue* member = toolInput[key];
        if (member && member->string())
            return member->string();
    }
    return nullptr;
}

std::string summarize(const JSONObject& body) {
    const auto cut = [](const std::string& whole) {
        return std::string(text::prefix(whole, summaryLength));
    };
    const JSONValue* input = body.find("tool_input");
    if (const std::string* what = input ? subject(*input) : nullptr)
        return cut(*what);
    for (const char* key : {"message", "prompt", "last_assistant_message"}) {
        if (const std::string* member = body.string(key))
            return cut(*member);
    }
    return {};
}

} // namespace hookbody
