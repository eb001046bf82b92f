#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "core/JSONValue.h"
#include "hooks/Hooks.h"

/// What is said to Codex's application server to learn which of our hooks it would run, and what
/// its answers mean: JSON-RPC without its version member, one message a line. Bytes in, bytes out;
/// no process and no clock.
class CodexDialogue {
  public:
    /// What follows from some bytes of the server's.
    struct Step {
        std::string toWrite;                    ///< to the server's standard input
        bool hasEnded = false;                  ///< no more bytes are needed
        std::optional<Hooks::CodexTrust> trust; ///< once it has ended: nothing cannot be told
    };

    /// @param home the directory whose hooks are asked for
    explicit CodexDialogue(const std::filesystem::path& home);

    /// What is said first.
    [[nodiscard]] static std::string_view opening();
    /// Takes what the server said, cut anywhere. After the end, bytes mean nothing.
    [[nodiscard]] Step take(std::string_view bytes);

    /// A longer line ends the dialogue, and nothing can be told: all hooks of a user are some ten
    /// kilobytes.
    static constexpr std::size_t maximumLine = std::size_t{8} << 20;

  private:
    void hear(const JSONObject& message, Step& step);

    std::string m_question;
    std::string m_line; ///< what has come of the current one
    bool m_hasAsked = false;
    bool m_hasEnded = false;
};
