#include "platform/AgentProcesses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Process.h"
#include "support/TemporaryDirectory.h"
#include "support/Until.h"

namespace {

using Agent = AgentProcess::Agent;

/// The agents among processes of these ids, parents and arguments; a "|" stands behind each
/// argument.
std::string agentsAmong(const std::vector<std::tuple<int, int, std::string>>& processes) {
    const TemporaryDirectory proc;
    proc.put("self/cmdline", "claude");
    proc.put("12a/cmdline", "claude");
    for (auto [id, parent, line] : processes) {
        std::replace(line.begin(), line.end(), '|', '\0');
        const std::string directory = std::to_string(id);
        proc.put(directory + "/cmdline", line);
        proc.put(directory + "/stat", directory + " (a) b) S " + std::to_string(parent) +
                                          " 1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 77 0 0");
    }
    std::string found;
    for (const AgentProcess& agent : runningAgents(proc.path()))
        found += std::to_string(agent.process) + (agent.agent == Agent::claude ? "c" : "x") + " ";
    return found;
}

TEST(AgentProcesses, AreKnownByTheirProgram) {
    for (const std::string claude :
         {"claude|", "/home/u/.local/bin/claude|--resume|", "claude|||",
          "node|/usr/lib/node_modules/@anthropic-ai/claude-code/cli.js|",
          "/usr/bin/node|--no-warnings|/usr/bin/claude|-p|hello|", "-claude|"})
        EXPECT_EQ(agentsAmong({{7, 1, claude}}), "7c ") << claude;
    for (const std::string codex :
         {"codex|", "codex|exec|do it|", "node|/usr/local/bin/codex|", "bun|/x/codex.js|"})
        EXPECT_EQ(agentsAmong({{7, 1, codex}}), "7x ") << codex;
    for (const std::string other :
         {"", "|", "vim|claude|", "grep|codex|", "node|", "node|--version|", "claude-monitor|",
          "node|/srv/server.js|claude|", "codex|app-server|--listen|stdio://|",
          "node|/usr/local/bin/codex|app-server|"})
        EXPECT_EQ(agentsAmong({{7, 1, other}}), "") << other;
    EXPECT_EQ(agentsAmong({{10, 1, "node|/usr/bin/codex|"},
                           {11, 10, "/opt/codex|"},
                           {9, 10, "claude|"},
                           {12, 9, "claude|"}}),
              "9c 10x ");
}

TEST(AgentProcesses, SayWhenARealOneWasStarted) {
    const auto before = std::chrono::system_clock::now();
    const Process claude({.program = "/bin/sleep", .arguments = {"claude", "1000"}});
    const Process other({.program = "/bin/sleep", .arguments = {"sleep", "1000"}});
    std::vector<AgentProcess> found;
    ASSERT_TRUE(until([&] {
        found = runningAgents();
        std::erase_if(found, [&](const AgentProcess& each) { return each.process != claude.id(); });
        return !found.empty();
    }));
    EXPECT_EQ(found[0].agent, Agent::claude);
    EXPECT_GE(found[0].started, before - std::chrono::milliseconds(30));
    EXPECT_LE(found[0].started, std::chrono::system_clock::now());
}

} // namespace
