#include "relay/EncodedMessage.h"

#include <stdexcept>

namespace {

constexpr std::size_t stampSize = std::string_view(R"("ts":1700000000000,)").size();
constexpr std::size_t idSize = std::string_view(R"("id":"0123456789abcdef",)").size();

} // namespace

EncodedMessage::EncodedMessage(const JSONObject& message) : m_hasId(message.find("id") != nullptr) {
    auto text = [&] {
        if (!message.find("ts"))
            return json::compact(message);
        JSONObject unstamped = message;
        unstamped.erase("ts");
        return json::compact(unstamped);
    }();
    if (!text)
        throw std::invalid_argument("a number in the message is not finite");
    m_members = std::move(*text);
}

std::string EncodedMessage::stamped(std::string_view id, double time) const {
    std::string text;
    text.reserve(size());
    text += '{';
    if (!m_hasId) {
        text += R"("id":")";
        text += id;
        text += R"(",)";
    }
    text += R"("ts":)";
    if (!json::appendCompact(text, time))
        throw std::invalid_argument("the time is not finite");
    if (m_members.size() > 2) // More than "{}".
        text += ',';
    text.append(m_members, 1);
    return text;
}

std::size_t EncodedMessage::size() const {
    return m_members.size() + stampSize + (m_hasId ? 0 : idSize);
}
