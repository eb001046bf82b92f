#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/JSONValue.h"
#include "core/Locations.h"

/// The entries in the agents' own settings files by which they run our hook: puts them there,
/// counts them, takes them out, and keeps the program that they run up to date.
///
/// Everything else in those files is the user's and stays as it is; a backup is taken before every
/// write. There is no state: every call reads the files afresh. Failures are `DaemonError` in words
/// for the user, or `std::system_error` with the path.
class Hooks {
  public:
    /// An agent's event that runs the hook, and after how many seconds the agent gives it up.
    struct Event {
        std::string_view name;
        int timeout;
    };

    /// How complete the installation is.
    struct Status {
        int claude = 0;                   ///< events whose entry is there exactly, 0 to 7
        std::optional<int> codex;         ///< the same, 0 to 6; absent without a Codex directory
        bool scriptCurrent = false;       ///< the installed program has the bytes of the bundle's
        bool legacy = false;              ///< the older program's hook is in a file
        std::optional<std::string> error; ///< why a file was not understood

        bool operator==(const Status&) const = default;
    };

    /// What Codex says of our entries: it runs one only once the user has trusted it there.
    struct CodexTrust {
        int usable = 0;   ///< enabled, and trusted by the user or the administrator
        int total = 0;    ///< all that it lists
        int modified = 0; ///< of the others, enabled: changed since they were trusted
        int disabled = 0; ///< of the others: switched off

        bool operator==(const CodexTrust&) const = default;
    };

    /// @param bundledHook the program as it came with this one; nothing when it is missing
    /// @param systemPrograms where else Claude Code is looked for, beside the home directory
    Hooks(Locations locations, std::optional<std::filesystem::path> bundledHook,
          std::vector<std::filesystem::path> systemPrograms = {"/opt/homebrew/bin/claude",
                                                               "/usr/local/bin/claude"});

    /// Never fails: what is wrong with a file is in `error`.
    [[nodiscard]] Status status() const;
    /// Installs the program, and the entries for Claude Code and, where there is one, Codex. A file
    /// in which all of them are current is not touched. What was done before a failure stays. A
    /// path that is not UTF-8 is refused, since no settings file could name it.
    void install() const;
    /// The same, and what else is ours in a file goes, also where all of them are current. Each
    /// file is written once, so that its backup has what went.
    void installAnew() const;
    /// Copies the program from the bundle to the data directory, executable.
    void installScript() const;
    /// Brings an installed program up to date while agents use it. Never fails.
    void refreshScript() const;
    /// Whether Claude Code is on this computer.
    [[nodiscard]] bool claudeInstalled() const;
    /// Takes our entries out of both files. What has none is not written.
    void removeEntries() const;

    /// What an agent is told to run.
    [[nodiscard]] std::string claudeCommand() const;
    [[nodiscard]] std::string codexCommand() const;
    /// In the order in which entries are written.
    [[nodiscard]] static std::span<const Event> claudeEvents();
    [[nodiscard]] static std::span<const Event> codexEvents();

    /// How many of the events have an entry with exactly this command and their timeout.
    [[nodiscard]] static int countInstalled(const JSONObject& file, std::string_view command,
                                            std::span<const Event> events);
    /// The file without every group in which a command is our hook's or the older program's.
    [[nodiscard]] static JSONObject withoutOurGroups(JSONObject file);
    /// The file with exactly one group of ours for each event, behind the user's.
    [[nodiscard]] static JSONObject withOurGroups(JSONObject file, std::string_view command,
                                                  std::span<const Event> events);
    /// The commands of ours that an agent runs on this event, in order.
    [[nodiscard]] static std::vector<std::string> ourCommands(const JSONObject& file,
                                                              std::string_view event);
    /// Whether a group of ours runs a command of the user's as well, which would go with it.
    [[nodiscard]] static bool hasSharedGroup(const JSONObject& file);
    /// Whether the older program's hook is among the commands.
    [[nodiscard]] static bool hasLegacy(const JSONObject& file);

    /// Beyond this a file is refused: it is held in memory whole, several times. Settings with many
    /// rules have some hundred kilobytes.
    static constexpr std::size_t maximumFile = std::size_t{256} << 20;

    /// An agent's file. One that is missing or cannot be read is empty.
    /// @throws DaemonError when it is no JSON object, or too large
    [[nodiscard]] static JSONObject readAgentFile(const std::filesystem::path& path);

    /// Replaces the file by this object: indented, keys sorted, "/" not escaped, a line feed at the
    /// end. Before, what was there is written to the backup, atomically: after a failure the backup
    /// is the older one or whole. A link is followed and stays one; its backup lies beside it.
    static void writeJSONFile(const JSONObject& object, const std::filesystem::path& path);

    /// Where the backup of a file lies: beside it, with ".tamsell-backup" at the end of its name.
    [[nodiscard]] static std::filesystem::path backupOf(const std::filesystem::path& path);

  private:
    enum class Current { stays, isReplaced };
    void install(Current current) const;

    Locations m_locations;
    std::optional<std::filesystem::path> m_bundledHook;
    std::vector<std::filesystem::path> m_systemPrograms;
};
