#pragma once

#include <optional>
#include <string>

#include "core/JSONValue.h"

/// The daemon's records. In JSON the keys are the field names, and an absent optional is left out.
/// All times are wall-clock milliseconds since 1970, rounded to whole numbers.

struct Session {
    std::string id;
    std::string client; ///< fixed when the session is first seen
    int events = 0;     ///< how many hook events; grows with every change of the record
    double startedAt = 0;
    std::optional<std::string> cwd;
    std::optional<std::string> lastEvent;
    double lastAt = 0;
    std::optional<std::string> permissionMode;
    std::optional<std::string> lastMessage;
    std::optional<bool> ended;
};

/// Something that waits for an answer. Never changed once made.
struct PendingItem {
    enum class Kind { permission, stop };

    std::string id; ///< lowercase UUID
    double createdAt = 0;
    double expiresAt = 0;
    Kind kind = Kind::permission;
    std::optional<std::string> sessionId;
    std::optional<std::string> cwd;
    std::string client;
    std::optional<std::string> tool;
    std::optional<JSONValue> input;
    std::optional<JSONValue> suggestions;
    std::optional<std::string> lastMessage;
    std::optional<bool> chained;

    /// What a person has to judge: the command, the file, the whole input, or the last message.
    [[nodiscard]] std::string detail() const;
};

struct RecentEvent {
    double at = 0;
    std::optional<std::string> event;
    std::string session; ///< the first 8 characters of the session id
    std::string client;
    std::optional<std::string> tool;
    std::string summary; ///< at most 200 characters
};

/// The state of the local HTTP server.
struct ServerState {
    enum class Phase { starting, listening, failed };

    Phase phase = Phase::starting;
    std::string message; ///< for the user, when it failed

    bool operator==(const ServerState&) const = default;
};

/// "permission" or "stop".
[[nodiscard]] std::string_view kindText(PendingItem::Kind kind);

[[nodiscard]] JSONValue toJSON(const Session& session);
[[nodiscard]] JSONValue toJSON(const PendingItem& item);
[[nodiscard]] JSONValue toJSON(const RecentEvent& event);
