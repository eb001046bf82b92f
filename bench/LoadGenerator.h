#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace bench {

/// How many requests a server gets, and how. Bounded in number and, by `timeLimit`, in time.
struct Load {
    std::uint16_t port = 0;
    std::span<const std::string> requests; ///< sent by turns
    int count = 0;
    int atOnce = 64;
};

/// Sends each request over a connection of its own and reads the reply up to its end.
///
/// It takes a processor of its own: what is measured is the processor time of the server, which
/// does not depend on how fast the requests come as long as as many are under way.
///
/// @throws std::runtime_error when a reply is none with status 200, or after 60 seconds
void run(const Load& load);

} // namespace bench
