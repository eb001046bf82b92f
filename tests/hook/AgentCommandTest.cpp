#include "hook/AgentCommand.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "core/Base64.h"
#include "hook/HookRun.h"
#include "hook/TestServer.h"

namespace {

const std::vector<std::string> ownPaths{"/home/u/.tamsell/tamsell-hook", ""};

/// A process tree as the system shows it: every process is the child of the one after it, and the
/// first has the number 1001.
class FakeProcesses {
  public:
    explicit FakeProcesses(const std::vector<std::vector<std::string>>& commands) {
        int process = 1001;
        for (const auto& command : commands) {
            std::string line;
            for (const std::string& argument : command)
                line += argument + '\0';
            const auto directory = std::filesystem::path(std::to_string(process));
            m_proc.write(directory / "cmdline", line);
            m_proc.write(directory / "stat", std::to_string(process) + " (a) R 7) S " +
                                                 std::to_string(process + 1) + " 1 1 0");
            ++process;
        }
    }

    [[nodiscard]] std::string agent() const {
        return hook::agentCommandLine(m_proc.path().string(), 1001, ownPaths);
    }

  private:
    ScratchDirectory m_proc;
};

TEST(AgentCommand, passesOverTheShellThatOnlyStartedUs) {
    const std::string text = "\"/home/u/.tamsell/tamsell-hook\" --client codex";
    for (const std::vector<std::string>& shell : std::vector<std::vector<std::string>>{
             {"sh", "-c", text},
             {"/usr/bin/bash", "-lc", text},
             {"-zsh", "-l", "-c", text},
             {"fish", "--login", "-c", text},
             {"busybox", "sh", "-c", text},
             {"/bin/busybox", "ash", "-ec", text},
         })
        EXPECT_EQ(FakeProcesses({shell, {"claude", "--resume", ""}}).agent(), "claude --resume")
            << shell[0];
}

TEST(AgentCommand, everyOtherProcessIsTheAgent) {
    const std::string text = "/home/u/.tamsell/tamsell-hook";
    for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
             {"sh", "-c", "claude"},
             {"sh", "-c", text, "name"},
             {"sh", "-l", text},
             {"sh", "--norc", text},
             {"sh", text},
             {"node", "-c", text},
             {"bashful", "-c", text},
         }) {
        std::string expected = command[0];
        for (std::size_t i = 1; i < command.size(); ++i)
            expected += " " + command[i];
        EXPECT_EQ(FakeProcesses({command, {"claude"}}).agent(), expected);
    }
    const std::vector<std::string> shell{"sh", "-c", text};
    EXPECT_EQ(FakeProcesses({shell, shell, shell, shell, {"claude"}}).agent(), "claude");
    EXPECT_EQ(FakeProcesses({shell, shell, shell, shell, shell, {"claude"}}).agent(),
              "sh -c " + text);
}

TEST(AgentCommand, isCutAndMayBeUnknown) {
    EXPECT_EQ(FakeProcesses({{"claude", std::string(9000, 'a')}}).agent(),
              "claude " + std::string(8192 - 7, 'a'));
    EXPECT_EQ(FakeProcesses(std::vector<std::vector<std::string>>()).agent(), "");
    EXPECT_EQ(FakeProcesses({{"sh", "-c", ownPaths[0]}}).agent(), "");
    EXPECT_EQ(FakeProcesses({std::vector<std::string>()}).agent(), "");
}

TEST(AgentCommand, isFoundBehindRealShells) {
    // This test program is the agent here.
    std::string expected = hook::readFile("/proc/self/cmdline", 65536).value_or("");
    std::replace(expected.begin(), expected.end(), '\0', ' ');
    expected.pop_back();
    const TestServer server;
    const ScratchDirectory home;
    home.configure(server.port());
    const std::string hook = "\"" + hookProgram() + "\"";
    home.write("agent.sh", hook + "\nexit 0\n");
    const std::string script = (home.path() / "agent.sh").string();
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{hookProgram()}, expected},
        {{"/bin/sh", "-c", hook}, expected},
        {{"/bin/sh", "-c", hook + " --client codex; exit 0"}, expected},
        {{"/bin/bash", "-c", hook}, expected},
        {{"/bin/bash", "--noprofile", "-lc", hook + "; exit 0"}, expected},
        {{"/bin/bash", "-c", "exec -a -bash bash --noprofile -l -c '" + hook + "; exit 0'"},
         expected},
        {{"/bin/sh", "-c", "/bin/bash -c '" + hook + "; exit 0'; exit 0"}, expected},
        {{"/bin/sh", script}, "/bin/sh " + script},
    };
    for (const auto& [command, agent] : cases) {
        HookRun run(command, R"({"hook_event_name":"SessionStart"})", home.path().string());
        TestConnection connection = server.accept();
        const std::string header = headerOf(connection.readRequest(), "x-tamsell-parent: ");
        EXPECT_EQ(base64::decode(header), agent) << testing::PrintToString(command);
        connection.send(okReply("{}"));
        EXPECT_EQ(run.wait().output, "{}");
    }
}

} // namespace
