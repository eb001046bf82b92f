#include "hook/HookConfig.h"

#include <array>
#include <utility>

#include "core/ConfigFile.h"
#include "hook/JSONScanner.h"

namespace hook {

HookConfig HookConfig::parse(std::string_view bytes) {
    HookConfig result;
    std::array<Member, 2> wanted{Member{.key = "host"}, Member{.key = "port"}};
    if (bytes.size() > ConfigFile::maximumSize ||
        !readMembers(bytes, wanted, LoneSurrogates::refused))
        return result;
    auto& [host, port] = wanted;
    if (host.type == Member::Type::string)
        result.host = std::move(host.text);
    if (port.type == Member::Type::number)
        result.port = port.number;
    return result;
}

} // namespace hook
