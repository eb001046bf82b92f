#pragma once

#include <string>
#include <string_view>

namespace hook {

/// Where the configuration says that the daemon is.
struct HookConfig {
    std::string host = "127.0.0.1";
    double port = 8787; ///< as it is written; `loopbackCandidates` makes a port of it

    /// The two settings of a config.json with these bytes, exactly as `Config` reads them: a text
    /// that is damaged and a value of another type give the defaults. Never fails.
    [[nodiscard]] static HookConfig parse(std::string_view bytes);
};

} // namespace hook
