#include "hook/Message.h"

#include <algorithm>

#include "core/Base64.h"

namespace hook {

namespace {

bool isHeaderText(std::string_view text) {
    return !text.empty() && std::ranges::none_of(text, [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
    });
}

} // namespace

std::string requestHead(const Endpoint& to, std::size_t bodyLength, std::string_view commandLine,
                        std::string_view client) {
    std::string head = "POST /hook HTTP/1.1\r\nhost: ";
    head += to.authority();
    head += "\r\ncontent-type: application/json\r\ncontent-length: ";
    head += std::to_string(bodyLength);
    if (!commandLine.empty())
        head.append("\r\nx-tamsell-parent: ").append(base64::encode(commandLine));
    if (isHeaderText(client))
        head.append("\r\nx-tamsell-client: ").append(client);
    return head.append("\r\nconnection: close\r\n\r\n");
}

} // namespace hook
