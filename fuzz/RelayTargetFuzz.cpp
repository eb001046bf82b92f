#include <cstdint>
#include <string_view>
#include <vector>

#include "Require.h"
#include "relayd/ClientAddress.h"
#include "relayd/Target.h"

// The input is a request's target and, behind a line feed, a header: nobody gets in under a name or
// with a token that is none, and a header decides on an address only behind a named proxy.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto end = std::min(input.find('\n'), input.size());
    const auto target = input.substr(0, end);
    const auto header = input.substr(std::min(end + 1, input.size()));
    for (const auto& credentials :
         {webSocketCredentials(target), messagesCredentials(target, header)}) {
        if (!credentials)
            continue;
        require(isName(credentials->channel));
        require(credentials->role == Credentials::Role::computer || isName(credentials->device));
        require(credentials->token.find_first_of(" \r\n%&/\"") == std::string::npos);
    }
    const IPAddress peer = IPAddress::parse("192.0.2.1").value();
    require(clientAddress(peer, header, {}) == peer);
    const std::vector<AddressBlock> proxies{AddressBlock::parse("192.0.2.0/24").value()};
    const IPAddress client = clientAddress(peer, header, proxies);
    require(!client.shortened().empty() && !client.subscriber().empty());
    if (const auto block = AddressBlock::parse(header))
        require(block->contains(block->start));
    return 0;
}
