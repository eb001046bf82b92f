#include "support/RunningDaemon.h"

#include <charconv>
#include <csignal>
#include <fstream>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

namespace {

constexpr std::string_view listening = "tamsell listening on 127.0.0.1:";

// Many tests start daemons at once, so that each looks somewhere else.
std::uint16_t portBelowTheEphemeralOnes() {
    std::uint16_t end = 0;
    std::ifstream("/proc/sys/net/ipv4/ip_local_port_range") >> end;
    std::random_device random;
    return std::uniform_int_distribution<std::uint16_t>(
        10'000, std::max<std::uint16_t>(end, 11'000) - 1)(random);
}

std::uint16_t portIn(std::string_view log) {
    const std::size_t at = log.find(listening);
    std::uint16_t port = 0;
    if (at != std::string_view::npos && log.find('\n', at) != std::string_view::npos)
        std::from_chars(log.data() + at + listening.size(), log.data() + log.size(), port);
    return port;
}

std::string hookCommand(std::string_view agent) {
    // The second command keeps the shell from becoming the hook, so that it stays its parent.
    return std::string(TAMSELL_BIN "/tamsell-hook") + (agent == "codex" ? " --client codex" : "") +
           "; exit $?";
}

} // namespace

RunningDaemon::RunningDaemon(JSONObject settings, Port port, rlim_t descriptorLimit) {
    for (int attempt = 0; attempt < 20; ++attempt) {
        settings.set("port", port == Port::any ? 0 : static_cast<int>(portBelowTheEphemeralOnes()));
        m_home.put("config.json", json::pretty(settings));
        m_process = launch(descriptorLimit);
        const bool hasSpoken = until([&] {
            const std::string log = m_process->output();
            m_port = portIn(log);
            return m_port != 0 || log.find("is already in use\n") != std::string::npos ||
                   !m_process->isRunning();
        });
        if (m_port != 0)
            return;
        if (!hasSpoken || !m_process->isRunning())
            break;
    }
    throw std::runtime_error("the daemon does not listen: " + m_process->output());
}

RunningDaemon::~RunningDaemon() {
    m_process->signal(SIGTERM);
    EXPECT_EQ(m_process->exitCode(), 0) << m_process->output();
}

std::unique_ptr<Process> RunningDaemon::launch(rlim_t descriptorLimit) const {
    const std::string home = m_home.path();
    return std::make_unique<Process>(
        Process::Command{.program = TAMSELL_BIN "/tamsell",
                         .arguments = {"tamsell", "--headless"},
                         // A user who is never idle, and nothing of the one who runs the tests.
                         .environment = {{"TAMSELL_HOME", home},
                                         {"TAMSELL_CLAUDE_SETTINGS", home + "/claude.json"},
                                         {"CODEX_HOME", home + "/codex"},
                                         {"TAMSELL_FORCE_IDLE", "0"}},
                         .input = {},
                         .descriptorLimit = descriptorLimit});
}

void RunningDaemon::restart() {
    m_process = launch(0);
    if (!until([&] { return portIn(m_process->output()) == m_port; }))
        throw std::runtime_error("the daemon does not listen again: " + m_process->output());
}

std::unique_ptr<Process> RunningDaemon::startAnother() const {
    return launch(0);
}

std::string RunningDaemon::token() const {
    const JSONValue settings =
        JSONValue::parse(contentOf(m_home / "config.json")).value_or(JSONValue());
    const JSONValue* token = settings["token"];
    return token && token->string() ? *token->string() : "";
}

Response RunningDaemon::get(std::string_view target) const {
    Client client(m_port);
    client.send(requestText("GET", target, tokenHeader()));
    return client.response();
}

Response RunningDaemon::post(std::string_view target, const JSONValue& body) const {
    Client client(m_port);
    client.send(requestText("POST", target, tokenHeader(), json::compact(body).value()));
    return client.response();
}

Response RunningDaemon::event(std::string_view body) const {
    Client client(m_port);
    client.send(requestText("POST", "/hook", {}, body));
    return client.response();
}

JSONArray RunningDaemon::pending(std::size_t count) const {
    JSONArray items;
    (void)until([&] {
        const JSONValue now = state();
        const JSONValue* found = now["pending"];
        items = found && found->array() ? *found->array() : JSONArray();
        return found && items.size() == count;
    });
    return items;
}

Response RunningDaemon::answer(const JSONValue& item, JSONObject answer) const {
    answer.set("id", item["id"] ? *item["id"] : JSONValue());
    return post("/answer", answer);
}

std::string RunningDaemon::agentCommandLine(std::string_view agent) {
    return std::string(agent) + " -c " + hookCommand(agent);
}

std::unique_ptr<Process> RunningDaemon::runHook(std::string_view agent,
                                                std::string_view event) const {
    return std::make_unique<Process>(
        Process::Command{.program = "/bin/sh",
                         .arguments = {std::string(agent), "-c", hookCommand(agent)},
                         .environment = {{"TAMSELL_HOME", m_home.path()}},
                         .input = event});
}

std::string permissionRequest(std::string_view session) {
    const JSONObject event{{"hook_event_name", "PermissionRequest"},
                           {"session_id", session},
                           {"tool_name", "Bash"},
                           {"tool_input", JSONObject{{"command", "make"}}}};
    return json::compact(event).value();
}
