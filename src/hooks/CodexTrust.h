#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "core/Locations.h"
#include "hooks/Hooks.h"
#include "platform/DescriptorLimit.h"

/// Asks Codex which of our hooks it would run, by talking to its application server
/// ("codex app-server") over a pipe. On Qt's event loop, which it never blocks.
///
/// As soon as the result is there, the program is asked to end (SIGTERM), and 2 s later it is
/// killed, with its children. This goes on when the check has gone. What then still runs when the
/// application ends is waited for: at most these 2 s.
class CodexTrustCheck {
  public:
    /// Called once, from the event loop, never from within the constructor; nothing means that it
    /// could not be told: no Codex, it did not start, ended, answered nothing usable, or the time
    /// ran out. It may destroy the check.
    using Result = std::function<void(std::optional<Hooks::CodexTrust>)>;

    /// @param codex the program, from `findCodex`
    /// @param home the directory whose hooks are asked for
    /// @param timeout counts from the program's start
    /// @param limit what the program gets back, when this process has raised its own
    CodexTrustCheck(const std::optional<std::filesystem::path>& codex,
                    const std::filesystem::path& home, std::chrono::milliseconds timeout,
                    Result result, std::optional<DescriptorLimit> limit = std::nullopt);
    /// The result is not delivered any more.
    ~CodexTrustCheck();
    CodexTrustCheck(const CodexTrustCheck&) = delete;
    CodexTrustCheck& operator=(const CodexTrustCheck&) = delete;

  private:
    class Run;
    std::unique_ptr<Run> m_run;
};

/// The Codex program: the first of TAMSELL_CODEX_BIN and the usual places that is a file which can
/// be executed. PATH is not searched.
[[nodiscard]] std::optional<std::filesystem::path> findCodex(const EnvironmentLookup& environment,
                                                             const std::filesystem::path& home);
