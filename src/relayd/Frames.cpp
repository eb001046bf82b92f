#include "relayd/Frames.h"

#include "relayd/Limits.h"

namespace frames {

namespace {

Frame encoded(const JSONObject& message) {
    return std::make_shared<const std::string>(json::compact(message).value_or(""));
}

// Whatever is in the text, it stays one text.
void appendText(std::string& frame, std::string_view name, std::string_view value) {
    frame.append(",\"").append(name).append("\":");
    (void)json::appendCompact(frame, JSONValue(value));
}

} // namespace

std::optional<Sealed> Sealed::of(const JSONObject& message) {
    const std::string* const n = message.string("n");
    const std::string* const c = message.string("c");
    if (!n || !c)
        return std::nullopt;
    return Sealed{*n, *c};
}

std::optional<JSONObject> parse(std::string_view text) {
    auto value = JSONValue::parse(text, limits::frameValues);
    if (!value || !value->object())
        return std::nullopt;
    return std::move(*value->object());
}

std::string_view textOf(const JSONObject& message, std::string_view name) {
    const std::string* const text = message.string(name);
    return text ? std::string_view(*text) : std::string_view();
}

const JSONArray* listOf(const JSONObject& message, std::string_view name) {
    const JSONValue* const value = message.find(name);
    return value ? value->array() : nullptr;
}

Frame peers(const std::vector<std::string>& phones) {
    JSONArray ids;
    for (const std::string& phone : phones)
        ids.emplace_back(phone);
    return encoded({{"t", "peers"}, {"phones", std::move(ids)}});
}

Frame fromPhone(std::string_view device, const Sealed& sealed) {
    std::string frame = R"({"t":"msg")";
    appendText(frame, "from", device);
    appendText(frame, "n", sealed.n);
    appendText(frame, "c", sealed.c);
    return std::make_shared<const std::string>(std::move(frame) + "}");
}

Frame whole(const JSONObject& message) {
    return encoded(message);
}

Frame pushed(std::size_t reached, std::size_t devices) {
    return encoded({{"t", "pushed"},
                    {"ok", static_cast<double>(reached)},
                    {"devices", static_cast<double>(devices)},
                    {"errors", JSONArray()}});
}

Frame toPhone(std::string_view kind, const Sealed& sealed) {
    std::string frame = R"({"t":")" + std::string(kind) + '"';
    frame.reserve(frame.size() + sealed.n.size() + sealed.c.size() + 16);
    appendText(frame, "n", sealed.n);
    appendText(frame, "c", sealed.c);
    return std::make_shared<const std::string>(std::move(frame) + "}");
}

Frame computerPresence(bool isConnected) {
    return encoded({{"t", "computer"}, {"connected", isConnected}});
}

Frame paired() {
    return encoded({{"t", "paired"}});
}

Frame error(std::string_view reason) {
    return encoded({{"t", "error"}, {"reason", reason}});
}

Frame pong() {
    return std::make_shared<const std::string>("pong");
}

} // namespace frames
