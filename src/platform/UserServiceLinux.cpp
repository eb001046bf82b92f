#include "platform/UserService.h"

#include <charconv>
#include <map>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

#include "core/AtomicFile.h"
#include "core/DaemonError.h"
#include "core/File.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "platform/ChildProcess.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view unitName = "tamsell.service";
// Starting includes reading all units again, on a machine that is just starting everything else.
constexpr std::chrono::seconds patience{15};
constexpr std::size_t maximumUnit = std::size_t{1} << 16;

struct Answer {
    int exitCode = -1;
    std::string output{};
    std::string errors{}; ///< the first line, or why it could not be asked
};

Answer askManager(std::vector<std::string> words) {
    std::vector<std::string> arguments{"systemctl", "--user", "--no-pager", "--no-ask-password"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    try {
        ChildProcess process({.arguments = std::move(arguments), .input = {}});
        if (!process.wait(ChildProcess::Clock::now() + patience))
            return {.errors = localized("systemctl 沒有回應")};
        const std::string_view errors = text::trimmed(process.errors());
        return {.exitCode = process.exitCode().value_or(-1),
                .output = process.output(),
                .errors = text::visible(errors.substr(0, errors.find('\n')))};
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory)
            return {.errors = localized("這台電腦沒有 systemctl")};
        return {.errors = error.what()};
    }
}

std::string troubleOf(const Answer& answer) {
    return answer.errors.empty() ? localized("systemctl 失敗了（結束碼 %lld）",
                                             {static_cast<double>(answer.exitCode)})
                                 : answer.errors;
}

// @throws DaemonError
void order(std::vector<std::string> words) {
    const Answer answer = askManager(std::move(words));
    if (answer.exitCode != 0)
        throw DaemonError(troubleOf(answer));
}

// One word of a unit file (systemd.syntax(7), systemd.unit(5) "Specifiers"). "$" stands for itself
// in a program's path and in Environment= (systemd.service(5), systemd.exec(5)).
std::string unitWord(std::string_view word) {
    std::string result = "\"";
    for (const char c : word) {
        if (c == '"' || c == '\\')
            result += '\\';
        if (c == '%')
            result += '%';
        if (c == '\n')
            result += "\\n";
        else
            result += c;
    }
    return result + "\"";
}

std::map<std::string, std::string, std::less<>> propertiesIn(std::string_view output) {
    std::map<std::string, std::string, std::less<>> properties;
    while (!output.empty()) {
        const std::size_t end = output.find('\n');
        const std::string_view line = output.substr(0, end);
        const std::size_t equals = line.find('=');
        if (equals != std::string_view::npos)
            properties.emplace(line.substr(0, equals), line.substr(equals + 1));
        output = end == std::string_view::npos ? std::string_view() : output.substr(end + 1);
    }
    return properties;
}

// What our own file starts: the text between the first quotation marks of ExecStart.
std::string programIn(std::string_view unit) {
    constexpr std::string_view key = "\nExecStart=\"";
    const std::size_t at = unit.find(key);
    if (at == std::string_view::npos)
        return {};
    std::string program;
    for (std::size_t i = at + key.size(); i < unit.size() && unit[i] != '"'; ++i) {
        // Every character that is written twice or behind a backslash stands for itself.
        if ((unit[i] == '\\' || unit[i] == '%') && i + 1 < unit.size())
            ++i;
        program += unit[i];
    }
    return program;
}

std::string userName() {
    const passwd* entry = ::getpwuid(::getuid());
    return entry && entry->pw_name ? entry->pw_name : std::to_string(::getuid());
}

} // namespace

UserService::UserService(const EnvironmentLookup& environment, const Locations& locations)
    : m_lingerMark(fs::path("/var/lib/systemd/linger") / userName()) {
    const auto chosen = environment("XDG_CONFIG_HOME");
    // A relative path is to be ignored (freedesktop.org, "XDG Base Directory", Basics).
    const bool isUsable = chosen && fs::path(*chosen).is_absolute();
    m_file =
        (isUsable ? fs::path(*chosen) : locations.home / ".config") / "systemd" / "user" / unitName;
    // Absolute, since the service starts elsewhere.
    for (const auto& [name, path] : {std::pair("TAMSELL_HOME", locations.dataDirectory),
                                     std::pair("TAMSELL_CLAUDE_SETTINGS", locations.claudeSettings),
                                     std::pair("CODEX_HOME", locations.codexHome)}) {
        if (environment(name))
            m_variables.push_back(std::string(name) + "=" + path.string());
    }
}

UserService::State UserService::state() const {
    State state;
    std::error_code error;
    state.isInstalled = fs::exists(m_file, error);
    if (const auto unit = file::readStart(m_file.string(), maximumUnit))
        state.program = programIn(*unit);
    if (fs::is_directory(m_lingerMark.parent_path(), error))
        state.lingers = fs::exists(m_lingerMark, error);

    const Answer answer = askManager(
        {"show", std::string(unitName), "--property=UnitFileState,ActiveState,Result,MainPID"});
    if (answer.exitCode != 0) {
        state.trouble = troubleOf(answer);
        return state;
    }
    auto properties = propertiesIn(answer.output);
    state.isEnabled = properties["UnitFileState"] == "enabled";
    state.isActive = properties["ActiveState"] == "active";
    if (properties["Result"] != "success")
        state.result = properties["Result"];
    const std::string& process = properties["MainPID"];
    std::from_chars(process.data(), process.data() + process.size(), state.process);
    return state;
}

void UserService::install(const fs::path& program) const {
    // systemd takes no such program, however it is written.
    const std::string path = program.string();
    if (path.find_first_of("\"'\\") != std::string::npos || text::visible(path) != path)
        throw DaemonError(
            localized("systemd 不能啟動路徑裡有這些符號的程式：%@", {text::visible(path)}));
    // Asked first, so that nothing is left behind where there is no manager.
    order({"show-environment"});
    fs::create_directories(m_file.parent_path());
    atomicfile::write(m_file, definition(program));
    order({"daemon-reload"});
    order({"enable", std::string(unitName)});
    // Not start: it may run an older program.
    restart();
}

void UserService::restart() const {
    order({"restart", std::string(unitName)});
}

void UserService::remove() const {
    std::error_code error;
    if (!fs::exists(m_file, error))
        return;
    const Answer stopped = askManager({"disable", "--now", std::string(unitName)});
    fs::remove(m_file);
    if (stopped.exitCode != 0)
        throw DaemonError(troubleOf(stopped));
    order({"daemon-reload"});
}

std::string UserService::definition(const fs::path& program) const {
    std::string text = "[Unit]\n"
                       "Description=Tamsell: answer coding agents while away\n"
                       "\n"
                       "[Service]\n"
                       "ExecStart=" +
                       unitWord(program.string()) + " --headless\n";
    for (const std::string& variable : m_variables)
        text += "Environment=" + unitWord(variable) + "\n";
    return text + "Restart=on-failure\n"
                  "RestartSec=5\n"
                  "\n"
                  "[Install]\n"
                  "WantedBy=default.target\n";
}
