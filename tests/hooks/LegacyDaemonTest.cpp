#include "hooks/LegacyDaemon.h"

#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "core/DaemonError.h"
#include "hooks/Takeover.h"
#include "support/FakeEnvironment.h"
#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

namespace {

constexpr const char* first = "Library/LaunchAgents/works.quillmark.zel.plist";
constexpr const char* second = "Library/LaunchAgents/works.tamsell.plist";

class LegacyDaemonTest : public testing::Test {
  protected:
    // A launchctl that notes what it is told; then comes the test's part.
    void putLaunchctl(const std::string& rest) const {
        const fs::path path = m_home.put(
            "launchctl", "#!/bin/sh\necho \"$@\" >>'" + (m_home / "told").string() + "'\n" + rest);
        fs::permissions(path, fs::perms(0755));
    }
    [[nodiscard]] std::string told() const { return contentOf(m_home / "told"); }
    [[nodiscard]] LegacyDaemon
    legacy(std::chrono::milliseconds bound = std::chrono::seconds(30)) const {
        return LegacyDaemon(m_home.path(), m_home / "launchctl", bound, 501);
    }
    [[nodiscard]] fs::path disabled(const char* agent) const {
        return m_home / (std::string(agent) + ".disabled");
    }
    void expectUntouched(const char* agent) const {
        EXPECT_TRUE(fs::exists(m_home / agent));
        EXPECT_FALSE(fs::exists(disabled(agent)));
    }
    // The action as the interface runs it: which steps came, and the error that shows.
    std::optional<std::string> act(const LegacyDaemon& daemon) {
        m_steps.clear();
        return takeOver(
            daemon, m_hooks, [this] { m_steps.emplace_back("restart"); },
            [this] { m_steps.emplace_back("refresh"); });
    }

    TemporaryDirectory m_home;
    Locations m_at = Locations::from(fakeEnvironment(), m_home.path());
    Hooks m_hooks{m_at, m_home.put("bundle/tamsell-hook", "program")};
    std::vector<std::string> m_steps;
};

TEST_F(LegacyDaemonTest, GivesWayWithItsHooksAndKeepsItsFiles) {
    putLaunchctl("echo noise; echo noise >&2; exit 3\n");
    m_home.put(first, "one");
    m_home.put(second, "two");
    m_home.put(std::string(first) + ".disabled", "earlier");
    m_home.put(std::string(second) + ".disabled/even/a/directory", "earlier");
    m_home.put(".claude/settings.json",
               R"({"hooks":{"Stop":[{"hooks":[{"command":"~/.zel/zel-hook"}]}]}})");
    EXPECT_TRUE(legacy().legacyAgentInstalled());
    EXPECT_TRUE(m_hooks.status().legacy);

    EXPECT_EQ(act(legacy()), std::nullopt);
    EXPECT_THAT(m_steps, ElementsAre("restart", "refresh"));
    EXPECT_EQ(told(), "bootout gui/501/works.quillmark.zel\nbootout gui/501/works.tamsell\n");
    EXPECT_EQ(contentOf(disabled(first)), "one");
    EXPECT_EQ(contentOf(disabled(second)), "two");
    EXPECT_FALSE(legacy().legacyAgentInstalled());
    EXPECT_FALSE(m_hooks.status().legacy);
    EXPECT_EQ(m_hooks.status().claude, 7);

    // With nothing to stop, launchctl need not even exist.
    EXPECT_EQ(act(LegacyDaemon(m_home.path(), m_home / "none")), std::nullopt);
    EXPECT_THAT(m_steps, ElementsAre("restart", "refresh"));
}

TEST_F(LegacyDaemonTest, IsStoppedWhereItIs) {
    putLaunchctl("");
    m_home.put(second, "two");
    legacy().takeOver();
    EXPECT_EQ(told(), "bootout gui/501/works.tamsell\n");
    EXPECT_THAT(namesIn(m_home / "Library/LaunchAgents"),
                ElementsAre("works.tamsell.plist.disabled"));
}

TEST_F(LegacyDaemonTest, AFailureIsShownAndChangesNoHooks) {
    const auto expectFailure = [this](const LegacyDaemon& daemon, const std::string& message) {
        EXPECT_THAT(act(daemon), Optional(HasSubstr(message)));
        EXPECT_THAT(m_steps, ElementsAre("refresh"));
        EXPECT_FALSE(fs::exists(m_at.claudeSettings));
    };
    m_home.put(first, "one");
    m_home.put(second, "two");
    expectFailure(LegacyDaemon(m_home.path(), m_home / "none"), (m_home / "none").string());
    expectUntouched(first);

    putLaunchctl("sleep 60\n");
    expectFailure(legacy(std::chrono::milliseconds(50)), "沒有回應");
    expectUntouched(first);

    // The agent's file is gone when it is to be moved: the second one is not handled any more.
    putLaunchctl("rm '" + (m_home / first).string() + "'\n");
    fs::remove(m_home / "told");
    expectFailure(legacy(), first);
    EXPECT_EQ(told(), "bootout gui/501/works.quillmark.zel\n");
    expectUntouched(second);
}

TEST_F(LegacyDaemonTest, AnEarlierCopyThatStaysIsInTheWay) {
    putLaunchctl("");
    m_home.put(first, "one");
    // Removing holds every directory on the way open: not even the superuser gets so deep.
    std::string deep = std::string(first) + ".disabled";
    for (int i = 0; i < 100; ++i)
        deep += "/d";
    m_home.put(deep + "/file", "earlier");
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    rlimit limit = before;
    limit.rlim_cur = 50;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    const auto error = act(legacy());
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_THAT(error, Optional(HasSubstr(disabled(first).string())));
    EXPECT_THAT(m_steps, ElementsAre("refresh"));
    EXPECT_EQ(contentOf(m_home / first), "one");
    EXPECT_TRUE(fs::exists(m_home / (deep + "/file")));
}

TEST_F(LegacyDaemonTest, HooksThatFailAreShownAfterItWasStopped) {
    putLaunchctl("");
    m_home.put(first, "one");
    m_home.put(".claude/settings.json", "[]");
    EXPECT_EQ(act(legacy()), m_at.claudeSettings.string() + " 不是 JSON 物件");
    EXPECT_THAT(m_steps, ElementsAre("refresh"));
    EXPECT_FALSE(legacy().legacyAgentInstalled());
}

} // namespace
