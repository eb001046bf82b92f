#pragma once

#include <optional>
#include <string>
#include <string_view>

/// As whom a connection wants to be admitted, and by what.
struct Credentials {
    enum class Role { computer, phone, pairing };

    Role role = Role::computer;
    std::string channel; ///< 22 characters
    std::string device;  ///< 22 characters; empty for a computer
    std::string token;
};

/// Reads the target of a WebSocket handshake: "/ws/CHANNEL?role=mac&auth=TOKEN",
/// "…?role=phone&device=ID&auth=TOKEN" or "…?role=pair&device=ID&invite=TOKEN", in any order and
/// with others beside them. Nothing when it is none of these, a name is not 22 characters of the
/// URL-safe Base64 alphabet, or the token is empty, longer than 128 characters or has others than
/// these.
[[nodiscard]] std::optional<Credentials> webSocketCredentials(std::string_view target);

/// Reads "/api/CHANNEL/DEVICE/messages". Nothing when it is none. The token comes from an
/// "Authorization" header of the form "Bearer TOKEN" (RFC 6750 section 2.1), and is empty without
/// one that could be right.
[[nodiscard]] std::optional<Credentials> messagesCredentials(std::string_view target,
                                                             std::string_view authorization);

/// Whether it is a name as channels and devices have them.
[[nodiscard]] bool isName(std::string_view text);
/// Whether it is the Base64 text of 32 bytes, as all hashes here are.
[[nodiscard]] bool isHash(std::string_view text);
