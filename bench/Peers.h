#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Process.h"

namespace bench {

/// A server that answers every POST with 200 and nothing else.
struct PeerServer {
    std::uint16_t port = 0;
    Process process;
};

/// The epoll loop of this project that only reads and answers.
[[nodiscard]] PeerServer startBareServer();
/// Nothing when Node is not installed.
[[nodiscard]] std::unique_ptr<PeerServer> startNodeServer();
/// nginx in one process without logs; nothing when it is not installed.
[[nodiscard]] std::unique_ptr<PeerServer> startNginx(const ScratchDirectory& directory);

} // namespace bench
