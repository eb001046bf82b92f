#include "hook/AgentCommand.h"

#include <vector>

#include "core/Base64.h"
#include "hook/HookRun.h"

namespace {

/// What is found where each process is the child of the one after it. A "|" stands behind each of
/// its arguments.
std::string agentOf(const std::vector<std::string>& processes) {
    const TemporaryDirectory proc;
    int number = 1000;
    for (std::string line : processes) {
        std::replace(line.begin(), line.end(), '|', '\0');
        const std::string directory = std::to_string(++number);
        proc.put(directory + "/cmdline", line);
        proc.put(directory + "/stat", "1 (a) R 7) S " + std::to_string(number + 1) +
                                          " 1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 77 0 0");
    }
    const std::vector<std::string> ownPaths{"/u/tamsell-hook", ""};
    return hook::agentCommandLine(proc.path().string(), 1001, ownPaths);
}

TEST(AgentCommand, IsTheNearestProcessThatIsNoShellAroundUs) {
    for (const std::string shell : {"sh|-c|", "/usr/bin/bash|-lc|", "-zsh|-l|-c|",
                                    "fish|--login|-c|", "/bin/busybox|ash|-ec|"})
        EXPECT_EQ(agentOf({shell + "'/u/tamsell-hook' --client a|", "b|-r||"}), "b -r") << shell;
    for (std::string other :
         {"sh|-c|claude", "sh|-c|/u/tamsell-hook|name", "sh|-l|/u/tamsell-hook",
          "sh|--norc|/u/tamsell-hook", "node|-c|/u/tamsell-hook", "bashful|-c|/u/tamsell-hook"}) {
        const std::string found = agentOf({other + "|", "claude|"});
        std::replace(other.begin(), other.end(), '|', ' ');
        EXPECT_EQ(found, other);
    }
    const std::string shell = "sh|-c|/u/tamsell-hook|";
    EXPECT_EQ(agentOf({shell, shell, shell, shell, "claude|"}), "claude");
    EXPECT_EQ(agentOf({shell, shell, shell, shell, shell, "claude|"}), "sh -c /u/tamsell-hook");
    const std::string title(9000, 'a');
    EXPECT_EQ(agentOf({title}), title.substr(0, 8192));
    EXPECT_EQ(agentOf({}) + agentOf({shell}) + agentOf({""}), "");
}

TEST(AgentCommand, IsFoundBehindRealShells) {
    // This test program is the agent here.
    std::string agent = contentOf("/proc/self/cmdline");
    std::replace(agent.begin(), agent.end(), '\0', ' ');
    agent.pop_back();
    const FakeDaemon daemon;
    const std::string& hook = hookProgram;
    const std::string script =
        "/bin/sh " + daemon.home.put("agent.sh", hook + "\nexit 0\n").string();
    for (const std::string& command :
         {hook, "dash -c '" + hook + "'", "dash -c '" + hook + " --client codex; exit 0'",
          "bash --noprofile -lc '" + hook + "; exit 0'",
          "bash -c 'exec -a -bash bash --noprofile -lc \"" + hook + "; exit 0\"'",
          "dash -c 'bash -c \"" + hook + "; exit 0\"; exit 0'", script}) {
        HookRun run(daemon.home, "{}", command);
        const std::string request = daemon.answer(okReply("{}"));
        EXPECT_EQ(base64::decode(headerOf(request, "x-tamsell-parent")),
                  command == script ? script : agent)
            << command;
        EXPECT_EQ(run.output(), "{}");
    }
}

} // namespace
