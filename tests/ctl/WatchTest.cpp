// The program itself at a terminal.

#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>

#include "ctl/KeyGate.h"
#include "e2e/RunningDaemon.h"

using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

namespace {

// tamsellctl watch as a job of a shell, in a terminal of its own.
class WatchAtATerminal {
  public:
    explicit WatchAtATerminal(const std::string& home) {
        int end = -1;
        m_id = ::forkpty(&end, nullptr, nullptr, nullptr);
        if (m_id == 0) {
            ::setenv("TAMSELL_HOME", home.c_str(), 1);
            ::setenv("TERM", "xterm", 1);
            ::execl("/bin/sh", "sh", "-c",
                    "set -m; " TAMSELL_BIN "/tamsellctl watch; echo stopped; read line; fg",
                    nullptr);
            ::_exit(127);
        }
        m_end = Descriptor(end);
    }
    ~WatchAtATerminal() {
        m_end.reset(); // The terminal is gone, and so is what runs in it.
        (void)status();
    }
    WatchAtATerminal(const WatchAtATerminal&) = delete;
    WatchAtATerminal& operator=(const WatchAtATerminal&) = delete;

    void type(std::string_view bytes) const {
        EXPECT_EQ(::write(m_end.number(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    // Whether this stands in what was written since the last call that found something.
    bool shows(std::string_view text, std::chrono::milliseconds time = patience) {
        return until(
            [&] {
                pollfd wait{.fd = m_end.number(), .events = POLLIN, .revents = 0};
                std::array<char, 4096> bytes{};
                while (::poll(&wait, 1, 0) > 0) {
                    const ssize_t count = ::read(m_end.number(), bytes.data(), bytes.size());
                    if (count <= 0)
                        break;
                    m_text.append(bytes.data(), static_cast<std::size_t>(count));
                }
                const std::size_t at = m_text.find(text);
                if (at == std::string::npos)
                    return false;
                m_text.erase(0, at + text.size());
                return true;
            },
            time);
    }
    // How the shell has ended, as wait(2) says it.
    int status() {
        if (!m_status)
            ::waitpid(m_id, &m_status.emplace(0), 0);
        return *m_status;
    }
    // Whether a line has to be ended before the program sees it.
    [[nodiscard]] bool waitsForLines() const {
        termios settings{};
        return ::tcgetattr(m_end.number(), &settings) == 0 && (settings.c_lflag & ICANON) != 0 &&
               (settings.c_lflag & ECHO) != 0;
    }

  private:
    pid_t m_id = -1;
    Descriptor m_end;
    std::optional<int> m_status;
    std::string m_text;
};

TEST(Watch, AnswersWithAKeyAndLeavesTheTerminalAsItWas) {
    RunningDaemon daemon({{"mode", "on"}}, RunningDaemon::Port::inTheSettings);
    WatchAtATerminal watch(daemon.home().path().string());
    ASSERT_TRUE(watch.shows("目前視為離開"));

    auto agent = daemon.runHook("claude", permissionRequest("s"));
    ASSERT_TRUE(watch.shows("q 離開"));
    EXPECT_FALSE(watch.waitsForLines());
    // Until one comes late enough.
    EXPECT_TRUE(until([&] {
        watch.type("a");
        return watch.shows("已允許：", patience / 20);
    }));
    EXPECT_EQ(agent->exitCode(), 0);
    EXPECT_THAT(agent->output(), HasSubstr(R"("behavior":"allow")"));

    agent = daemon.runHook("codex", permissionRequest("t"));
    ASSERT_TRUE(watch.shows("q 離開"));
    EXPECT_TRUE(until([&] {
        watch.type("D");
        return watch.shows("Ctrl-D 取消）：", patience / 20);
    }));
    watch.type("wrong\x15"); // rubbed out
    watch.type("not " + std::string(5000, 'x') + "\n");
    EXPECT_TRUE(watch.shows("已拒絕："));
    EXPECT_EQ(agent->exitCode(), 0);
    EXPECT_THAT(agent->output(), HasSubstr(R"("message":"not )" + std::string(5000, 'x') + '"'));

    // A key, and at once the thought that it was the wrong one.
    agent = daemon.runHook("claude", permissionRequest("u"));
    ASSERT_TRUE(watch.shows("q 離開"));
    EXPECT_FALSE(watch.shows("nothing", ctl::KeyGate::quietPeriod + 200ms));
    watch.type("a\x1a");
    EXPECT_TRUE(watch.shows("stopped"));
    EXPECT_TRUE(watch.waitsForLines());
    watch.type("\n");
    EXPECT_TRUE(watch.shows("q 離開"));
    EXPECT_FALSE(watch.waitsForLines());
    EXPECT_FALSE(watch.shows("已允許", ctl::KeyGate::aloneFor + 200ms));
    watch.type("\x1c");
    EXPECT_TRUE(until([&] { return watch.waitsForLines(); }));
    EXPECT_EQ(WEXITSTATUS(watch.status()), 128 + SIGQUIT);
    EXPECT_EQ(daemon.pending(1).size(), 1U);
    daemon.answer(daemon.pending(1).front(), {{"action", "deny"}});
    EXPECT_EQ(agent->exitCode(), 0);
}

TEST(Watch, OnlyFollowsWithoutATerminal) {
    const RunningDaemon daemon({{"mode", "on"}}, RunningDaemon::Port::inTheSettings);
    Process watch(
        {.program = TAMSELL_BIN "/tamsellctl",
         .arguments = {"tamsellctl", "watch"},
         .environment = {{"TAMSELL_HOME", daemon.home().path().string()}, {"TERM", "xterm"}},
         .input = "a\na\n"});
    const auto agent = daemon.runHook("claude", permissionRequest("s"));
    EXPECT_TRUE(until([&] { return watch.output().find("回答：") != std::string::npos; }));
    EXPECT_THAT(watch.output(), Not(HasSubstr("\x1b")));
    const JSONArray items = daemon.pending(1);
    ASSERT_EQ(items.size(), 1U);
    daemon.answer(items.front(), {{"action", "deny"}});
    EXPECT_TRUE(until([&] { return watch.output().find("已在別處回答") != std::string::npos; }));
    EXPECT_TRUE(watch.isRunning());
}

} // namespace
