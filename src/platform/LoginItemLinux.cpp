#include "platform/LoginItem.h"

#include <algorithm>
#include <map>
#include <string_view>

#include <unistd.h>

#include "core/AtomicFile.h"
#include "core/DaemonError.h"
#include "core/File.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "platform/ExecutableFile.h"

namespace fs = std::filesystem;

namespace {

// An entry has some hundred bytes, in all its languages some kilobytes.
constexpr std::size_t maximumEntry = std::size_t{1} << 18;
constexpr std::string_view fileName = "tamsell.desktop";
constexpr std::string_view heading = "[Desktop Entry]";

using Keys = std::map<std::string, std::string, std::less<>>;

// The absolute ones: others are to be ignored (freedesktop.org, "XDG Base Directory", Basics).
std::vector<fs::path> absolutePaths(std::string_view list) {
    std::vector<fs::path> paths;
    while (!list.empty()) {
        const std::string_view one = list.substr(0, list.find(':'));
        if (one.starts_with('/'))
            paths.emplace_back(one);
        list.remove_prefix(std::min(one.size() + 1, list.size()));
    }
    return paths;
}

std::string chosenOr(const EnvironmentLookup& environment, const char* name,
                     std::string_view usual) {
    const auto chosen = environment(name);
    return chosen && !chosen->empty() ? *chosen : std::string(usual);
}

// A value of the type string (freedesktop.org, "Desktop Entry Specification", "Possible value
// types").
std::string unescaped(std::string_view value) {
    std::string result;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            result += value[i];
            continue;
        }
        const char escaped = value[++i];
        result += escaped == 's'   ? ' '
                  : escaped == 'n' ? '\n'
                  : escaped == 't' ? '\t'
                  : escaped == 'r' ? '\r'
                                   : escaped;
    }
    return result;
}

// What the entry itself says, without its actions' groups.
Keys keysIn(std::string_view entry) {
    Keys keys;
    bool isInside = false;
    while (!entry.empty()) {
        const std::string_view whole = entry.substr(0, entry.find('\n'));
        entry.remove_prefix(std::min(whole.size() + 1, entry.size()));
        const std::string_view line = text::trimmed(whole);
        const std::size_t equals = line.find('=');
        if (line.starts_with('['))
            isInside = line == heading;
        else if (isInside && !line.starts_with('#') && equals != std::string_view::npos)
            keys.insert_or_assign(std::string(text::trimmed(line.substr(0, equals))),
                                  unescaped(text::trimmed(line.substr(equals + 1))));
    }
    return keys;
}

// The first word of a command: plain, or between double quotes, where a backslash takes the meaning
// from the character behind it ("The Exec key"). Empty when its quotes do not end.
std::string programIn(std::string_view command) {
    const bool isQuoted = command.starts_with('"');
    std::string program;
    for (std::size_t i = isQuoted ? 1 : 0; i < command.size(); ++i) {
        if (command[i] == (isQuoted ? '"' : ' '))
            return program;
        const bool isEscape = (isQuoted && command[i] == '\\') || command[i] == '%';
        if (isEscape && i + 1 < command.size())
            ++i;
        program += command[i];
    }
    return isQuoted ? std::string() : program;
}

// The same the other way round. A backslash is written twice once more, since the value is a
// string.
std::string execWord(std::string_view program) {
    std::string word = "\"";
    for (const char c : program) {
        if (c == '\\')
            word += "\\\\\\";
        else if (c == '"' || c == '`' || c == '$')
            word += "\\\\";
        else if (c == '%')
            word += '%';
        word += c;
    }
    return word + '"';
}

// What starts the program; without one, what hides the system's entry.
std::string entryFor(const std::string* program) {
    std::string entry(heading);
    entry += "\nType=Application\nName=Tamsell\n";
    if (program)
        entry += "Exec=" + execWord(*program) +
                 "\nIcon=tamsell\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
    else
        entry += "Hidden=true\n";
    return entry;
}

} // namespace

LoginItem::LoginItem(const EnvironmentLookup& environment, const fs::path& home, fs::path program)
    : m_program(std::move(program)) {
    const auto own = absolutePaths(environment("XDG_CONFIG_HOME").value_or(""));
    m_files.push_back(own.empty() ? home / ".config" : own.front());
    for (const fs::path& directory :
         absolutePaths(chosenOr(environment, "XDG_CONFIG_DIRS", "/etc/xdg")))
        m_files.push_back(directory);
    for (fs::path& file : m_files)
        file = file / "autostart" / fileName;
    m_searchPath = absolutePaths(chosenOr(environment, "PATH", "/usr/local/bin:/usr/bin:/bin"));
}

bool LoginItem::canStart(const std::string& program) const {
    if (program.find('/') != std::string::npos)
        return isExecutable(program);
    return !program.empty() && std::ranges::any_of(m_searchPath, [&](const fs::path& directory) {
        return isExecutable(directory / program);
    });
}

bool LoginItem::isEnabled() const {
    for (const fs::path& file : m_files) {
        const auto entry = file::readStart(file.string(), maximumEntry);
        if (!entry)
            continue;
        // The first one counts, whatever it says.
        Keys keys = keysIn(*entry);
        const auto tried = keys.find("TryExec");
        return keys["Hidden"] != "true" && keys["X-GNOME-Autostart-enabled"] != "false" &&
               (tried == keys.end() || canStart(tried->second)) &&
               canStart(programIn(keys["Exec"]));
    }
    return false;
}

void LoginItem::setEnabled(bool on) const {
    if (on == isEnabled())
        return;
    const std::string program = m_program.string();
    // An Exec key must not have "=" in its program (freedesktop.org, "Desktop Entry"); text that
    // is not UTF-8, or hides, is asking for trouble.
    if (on && (program.find('=') != std::string::npos || text::visible(program) != program))
        throw DaemonError(
            localized("登入時不能自動啟動路徑裡有這些符號的程式：%@", {text::visible(program)}));
    std::error_code error;
    const bool isOfSystem = std::any_of(m_files.begin() + 1, m_files.end(),
                                        [&](const auto& each) { return fs::exists(each, error); });
    if (!on && !isOfSystem) {
        fs::remove(file());
        return;
    }
    fs::create_directories(file().parent_path());
    atomicfile::write(file(), entryFor(on ? &program : nullptr));
}
