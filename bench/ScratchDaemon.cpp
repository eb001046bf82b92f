#include "ScratchDaemon.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <thread>

#include "Loopback.h"
#include "core/ConfigFile.h"

namespace bench {

namespace {

Command commandIn(const ScratchDirectory& directory, std::uint16_t port, const std::string& mode,
                  const std::optional<ScratchDaemon::Relay>& relay) {
    Config config = Config::over({{"port", port}, {"mode", mode}, {"permissionWait", 3600}});
    Command command{.arguments = {TAMSELL_BIN "/tamsell", "--headless"},
                    .environment = {{"TAMSELL_HOME", directory.path()}},
                    .output = directory.path() / "daemon.log"};
    if (relay) {
        config.setRelay(relay->settings);
        command.environment.emplace_back("TAMSELL_RELAY_CA", relay->authority);
    }
    (void)directory.write("config.json", json::pretty(config.raw) + "\n");
    return command;
}

} // namespace

Command launchOn(const BareDesktop& desktop, const ScratchDirectory& directory, std::uint16_t port,
                 const std::string& mode, Interface interface) {
    Command command = commandIn(directory, port, mode, std::nullopt);
    if (interface == Interface::present)
        command.arguments.pop_back();
    command.inherits = Command::Inherits::nothing;
    const auto& variables = desktop.environment();
    command.environment.insert(command.environment.end(), variables.begin(), variables.end());
    command.environment.insert(command.environment.end(),
                               {{"TAMSELL_CLAUDE_SETTINGS", directory.path() / "claude.json"},
                                {"CODEX_HOME", directory.path() / "codex"},
                                {"TAMSELL_NO_WELCOME", ""}});
    return command;
}

ScratchDaemon::ScratchDaemon(const std::string& mode, const std::optional<Relay>& relay)
    : m_port(loopback::freePort()), m_process(commandIn(m_directory, m_port, mode, relay)) {
    loopback::waitForListener(m_port);
}

ScratchDaemon::ScratchDaemon(const std::string& mode, const BareDesktop& desktop,
                             Interface interface)
    : m_port(loopback::freePort()),
      m_process(launchOn(desktop, m_directory, m_port, mode, interface)) {
    loopback::waitForListener(m_port);
}

std::string ScratchDaemon::get(const std::string& path) const {
    const ConfigFile config = ConfigFile::read(home() / "config.json");
    const JSONValue* token = config.members.find("token");
    return "GET " + path + " HTTP/1.1\r\nhost: 127.0.0.1\r\nx-token: " +
           (token && token->string() ? *token->string() : "") + "\r\n\r\n";
}

int ScratchDaemon::loggedEvents() const {
    std::ifstream log(home() / "logs" / "events.jsonl");
    return static_cast<int>(std::count(std::istreambuf_iterator<char>(log), {}, '\n'));
}

void ScratchDaemon::settle() const {
    constexpr std::chrono::milliseconds interval{100};
    auto before = m_process.processorTime();
    for (int i = 0; i < 100; ++i) {
        std::this_thread::sleep_for(interval);
        const auto now = m_process.processorTime();
        if (now - before < interval / 100)
            return;
        before = now;
    }
}

} // namespace bench
