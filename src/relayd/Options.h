#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "relayd/ClientAddress.h"

/// How the relay is run: from the command line, else the environment, else a file, else as below.
///
/// The file is a JSON object with the options' names without dashes: "listen", "database", "page",
/// "trust-proxy" (a list), "max-connections". The environment has them as TAMSELL_RELAY_LISTEN,
/// TAMSELL_RELAY_TRUST_PROXY (with commas between) and so on.
struct RelayOptions {
    using Environment = std::function<std::optional<std::string>(const char* name)>;

    std::string host = "127.0.0.1"; ///< an IP address
    std::uint16_t port = 8788;      ///< 0: any free one
    std::filesystem::path database = "tamsell-relay.db";
    std::optional<std::filesystem::path> page; ///< the folder served at "/"; none: the own one
    std::vector<AddressBlock> proxies;
    std::size_t maximumConnections = 20'000;

    /// @throws std::runtime_error that says what is wrong with which option
    [[nodiscard]] static RelayOptions from(std::span<char* const> arguments,
                                           const Environment& environment);
    [[nodiscard]] static const char* usage();
};
