#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// What the window of an update session shows: everything it is drawn from.
struct UpdateState {
    enum class Phase {
        checking,    ///< the feed is being fetched; can be cancelled
        upToDate,    ///< nothing newer
        available,   ///< waits for the person: download, or not now
        downloading, ///< can be cancelled
        verifying,   ///< the file is here, its signature is being checked
        done,        ///< `file` is in the downloads folder
        failed       ///< `error` says why
    };

    Phase phase = Phase::checking;
    std::string currentVersion;
    std::string version;                ///< for people; empty while none is known
    std::string notes;                  ///< plain text, from the feed
    std::uint64_t received = 0;         ///< bytes
    std::optional<std::uint64_t> total; ///< bytes; nothing when the server does not say
    std::string file;                   ///< where the verified file lies
    std::string error;                  ///< for people

    bool operator==(const UpdateState&) const = default;
};
