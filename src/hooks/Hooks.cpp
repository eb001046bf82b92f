#include "hooks/Hooks.h"

#include <algorithm>
#include <functional>
#include <system_error>

#include <unistd.h>

#include "core/AtomicFile.h"
#include "core/DaemonError.h"
#include "core/File.h"
#include "core/Localized.h"
#include "core/Text.h"

namespace fs = std::filesystem;

namespace {

constexpr mode_t executable = 0755;
// The program has some hundred kilobytes.
constexpr std::size_t maximumProgram = std::size_t{256} << 20;
// How often a file is looked at again that its agent writes at the same moment.
constexpr int tries = 5;

// Nothing when the file is missing or cannot be read.
// @throws std::system_error when it is too large
std::optional<std::string> bytesOf(const fs::path& path, std::size_t limit) {
    try {
        return file::read(path, limit);
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_too_large)
            throw;
        return std::nullopt;
    }
}

// The file's object, of bytes that were read.
JSONObject objectIn(const std::optional<std::string>& bytes, const fs::path& path) {
    if (!bytes)
        return {};
    const auto value = JSONValue::parse(*bytes);
    if (!value)
        throw DaemonError(localized("%@ 不是有效的 JSON，或巢狀太深", {path.string()}));
    if (!value->object())
        throw DaemonError(localized("%@ 不是 JSON 物件", {path.string()}));
    return *value->object();
}

// A backup of these bytes, which are those of the file.
void backUp(const fs::path& path, std::string_view bytes) {
    const fs::path backup = Hooks::backupOf(path);
    std::error_code ignored;
    // Something odd in its place gives way if it can; what a link names is not ours to write.
    if (!fs::is_regular_file(fs::symlink_status(backup, ignored)))
        fs::remove(backup, ignored);
    atomicfile::writeLike(path, backup, bytes);
}

// What lies at the path, even if it is a link to nothing readable.
// @throws std::system_error when it cannot be read
std::optional<std::string> replacedContent(const fs::path& path) {
    std::error_code error;
    if (!fs::exists(path, error) && !error)
        return std::nullopt;
    return file::read(path, Hooks::maximumFile);
}

// @param content what lies there, for the backup
// @param condition whether it may be replaced, asked last
// @return whether it was
bool replace(const fs::path& path, const JSONObject& object,
             const std::optional<std::string>& content, const std::function<bool()>& condition) {
    // Also where a link leads that leads nowhere yet.
    fs::create_directories(path.parent_path());
    fs::create_directories(atomicfile::targetOf(path).parent_path());
    if (content)
        backUp(path, *content);
    return atomicfile::writeIf(path, json::pretty(object) + "\n", condition);
}

// Replaces the file by what `change` makes of its content; nothing means that it stays. An agent
// may write its file at any time, so what is replaced is what `change` was given: it is looked at
// once more right before.
template <typename Change>
void rewrite(const fs::path& path, Change change) {
    for (int i = 0; i < tries; ++i) {
        const auto bytes = bytesOf(path, Hooks::maximumFile);
        const std::optional<JSONObject> object = change(objectIn(bytes, path));
        if (!object)
            return;
        const auto isUnchanged = [&] { return bytesOf(path, Hooks::maximumFile) == bytes; };
        if (replace(path, *object, bytes ? bytes : replacedContent(path), isUnchanged))
            return;
    }
    throw DaemonError(localized("%@ 一直被其他程式改寫", {path.string()}));
}

// In words for the status; the paths are in them.
template <typename Read>
void noteFailure(std::optional<std::string>& error, Read read) {
    try {
        read();
    } catch (const std::exception& failure) {
        error = failure.what();
    }
}

} // namespace

Hooks::Hooks(Locations locations, std::optional<fs::path> bundledHook,
             std::vector<fs::path> systemPrograms)
    : m_locations(std::move(locations)),
      m_bundledHook(std::move(bundledHook)),
      m_systemPrograms(std::move(systemPrograms)) {}

std::string Hooks::claudeCommand() const {
    return "\"" + m_locations.hookExecutable.string() + "\"";
}

std::string Hooks::codexCommand() const {
    return claudeCommand() + " --client codex";
}

Hooks::Status Hooks::status() const {
    Status status;
    noteFailure(status.error, [&] {
        const JSONObject claude = readAgentFile(m_locations.claudeSettings);
        status.claude = countInstalled(claude, claudeCommand(), claudeEvents());
        std::error_code error;
        const JSONObject codex = readAgentFile(m_locations.codexHooks);
        if (fs::is_directory(m_locations.codexHome, error))
            status.codex = countInstalled(codex, codexCommand(), codexEvents());
        status.legacy = hasLegacy(claude) || hasLegacy(codex);
    });
    noteFailure(status.error, [&] {
        const auto installed = bytesOf(m_locations.hookExecutable, maximumProgram);
        status.scriptCurrent =
            m_bundledHook && installed && bytesOf(*m_bundledHook, maximumProgram) == installed;
    });
    return status;
}

void Hooks::install() const {
    install(Current::stays);
}

void Hooks::installAnew() const {
    install(Current::isReplaced);
}

void Hooks::install(Current current) const {
    // JSON has no way to say it.
    if (text::repaired(claudeCommand()) != claudeCommand())
        throw DaemonError(localized("%@ 不是有效的 UTF-8，寫不進 agent 的設定",
                                    {m_locations.hookExecutable.string()}));
    installScript();
    const auto installEntries = [current](const fs::path& path, const std::string& command,
                                          std::span<const Event> events) {
        rewrite(path, [&](const JSONObject& file) -> std::optional<JSONObject> {
            if (current == Current::stays &&
                countInstalled(file, command, events) == static_cast<int>(events.size()))
                return std::nullopt;
            JSONObject with = withOurGroups(file, command, events);
            return with == file ? std::nullopt : std::optional(std::move(with));
        });
    };
    installEntries(m_locations.claudeSettings, claudeCommand(), claudeEvents());
    std::error_code error;
    if (fs::is_directory(m_locations.codexHome, error))
        installEntries(m_locations.codexHooks, codexCommand(), codexEvents());
}

void Hooks::installScript() const {
    if (!m_bundledHook)
        throw DaemonError(localized("App 裡缺少 tamsell-hook"));
    fs::create_directories(m_locations.dataDirectory);
    const std::string bytes = file::read(*m_bundledHook, maximumProgram);
    const fs::path& path = m_locations.hookExecutable;
    if (bytesOf(path, maximumProgram) != bytes)
        atomicfile::write(path, bytes, executable);
    else
        fs::permissions(path, static_cast<fs::perms>(executable));
}

void Hooks::refreshScript() const {
    const Status now = status();
    std::error_code error;
    const bool isInUse = now.claude > 0 || now.codex.value_or(0) > 0;
    if (now.scriptCurrent || !isInUse || !fs::exists(m_locations.hookExecutable, error))
        return;
    try {
        installScript();
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the old one goes on serving
    }
}

bool Hooks::claudeInstalled() const {
    std::error_code error;
    if (fs::is_directory(m_locations.claudeSettings.parent_path(), error))
        return true;
    std::vector<fs::path> programs{m_locations.home / ".local/bin/claude",
                                   m_locations.home / ".claude/local/claude"};
    programs.insert(programs.end(), m_systemPrograms.begin(), m_systemPrograms.end());
    return std::ranges::any_of(programs, [&](const fs::path& program) {
        return fs::is_regular_file(program, error) && ::access(program.c_str(), X_OK) == 0;
    });
}

void Hooks::removeEntries() const {
    for (const fs::path& path : {m_locations.claudeSettings, m_locations.codexHooks}) {
        rewrite(path, [](const JSONObject& file) -> std::optional<JSONObject> {
            JSONObject without = withoutOurGroups(file);
            return without == file ? std::nullopt : std::optional(std::move(without));
        });
    }
}

JSONObject Hooks::readAgentFile(const fs::path& path) {
    return objectIn(bytesOf(path, maximumFile), path);
}

void Hooks::writeJSONFile(const JSONObject& object, const fs::path& path) {
    (void)replace(path, object, replacedContent(path), nullptr);
}

fs::path Hooks::backupOf(const fs::path& path) {
    return path.string() + ".tamsell-backup";
}
