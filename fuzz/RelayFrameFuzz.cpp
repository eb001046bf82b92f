#include <cstdint>
#include <string>
#include <string_view>

#include "RequireUsable.h"

// The input is what the relay sends, a frame a line. Whatever a relay sends, nothing but what
// phones have sealed reaches the daemon, only paired phones that are online get an answer, and the
// client goes on.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    RelayPeer peer;
    peer.connect();
    while (!rest.empty()) {
        const auto end = std::min(rest.find('\n'), rest.size());
        const std::size_t asked = peer.asked.size();
        peer.sockets.receive(std::string(rest.substr(0, end)));
        require(peer.asked.size() <= asked + 1);
        for (const auto& [phone, message] : peer.takeMessages()) {
            const std::string* type = message.string("type");
            require(type && (*type == "state" || *type == "result"));
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    // The relay alone can seal nothing, knows no invite, and repeats a sealed message in vain.
    require(peer.paired.empty() && peer.added.empty());
    requireUsable(peer);
    return 0;
}
