#include "platform/UserService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/DaemonError.h"
#include "ctl/Checks.h"
#include "ctl/Commands.h"
#include "ctl/CtlRun.h"
#include "support/FakeEnvironment.h"
#include "support/TemporaryDirectory.h"

namespace {

// A service manager that writes down what it is told and gives the test's answers.
class FakeManager {
  public:
    explicit FakeManager(const std::string& answers) {
        const auto script = home.put("bin/systemctl", "#!/bin/sh\n"
                                                      "shift 3\n"
                                                      "echo \"$*\" >>'" +
                                                          (home / "told").string() +
                                                          "'\n"
                                                          "case $1 in\n" +
                                                          answers + "\nesac\n");
        EXPECT_EQ(::chmod(script.c_str(), 0755), 0);
    }

    [[nodiscard]] CtlRun run(const std::vector<std::string>& words) const {
        return runCtl(home.path(), words, "",
                      {"PATH=" + (home / "bin").string() + ":" + std::getenv("PATH")});
    }

    const TemporaryDirectory home;
};

TEST(Service, IsWrittenStartedAndRemoved) {
    const FakeManager manager("show) echo UnitFileState=enabled; echo ActiveState=active; "
                              "echo Result=success; echo MainPID=7;;");
    const auto unit = manager.home / "config/systemd/user/tamsell.service";
    EXPECT_EQ(manager.run({"service", "install"}).exitCode, 0);
    const std::string text = contentOf(unit);
    EXPECT_THAT(text, testing::HasSubstr("\nExecStart=\"" TAMSELL_BIN "/tamsell\" --headless\n"));
    EXPECT_THAT(text, testing::HasSubstr(
                          "\nEnvironment=\"TAMSELL_HOME=" + manager.home.path().string() + "\"\n"));
    EXPECT_THAT(text, testing::HasSubstr("\nRestart=on-failure\n"));
    const auto status = JSONValue::parse(manager.run({"service", "status", "--json"}).output);
    EXPECT_EQ(*(*status)["active"], JSONValue(true));
    EXPECT_EQ(*(*status)["pid"], JSONValue(7));
    EXPECT_EQ(*(*status)["program"], JSONValue(TAMSELL_BIN "/tamsell"));
    EXPECT_EQ(manager.run({"service", "remove"}).exitCode, 0);
    EXPECT_FALSE(std::filesystem::exists(unit));
    EXPECT_THAT(contentOf(manager.home / "told"),
                testing::HasSubstr("show-environment\ndaemon-reload\nenable tamsell.service\n"
                                   "restart tamsell.service\n"));
    EXPECT_THAT(contentOf(manager.home / "told"),
                testing::HasSubstr("disable --now tamsell.service\ndaemon-reload\n"));
}

TEST(Service, StartsAnewAfterATakeover) {
    const FakeManager manager("show) echo ActiveState=active;;");
    // One that is not ours is left alone.
    EXPECT_EQ(manager.run({"takeover"}).output, "沒有舊版的 daemon\n"
                                                "hooks：Claude Code 7/7、沒有 Codex\n");
    manager.home.put("config/systemd/user/tamsell.service", "");
    const CtlRun run = manager.run({"takeover"});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_THAT(run.output, testing::EndsWith("\n已重新啟動 Tamsell 的服務\n"));
    EXPECT_THAT(contentOf(manager.home / "told"), testing::EndsWith("\nrestart tamsell.service\n"));
}

TEST(Service, ATakeoverThatFailsChangesNothing) {
    if (std::filesystem::exists("/bin/launchctl"))
        GTEST_SKIP() << "it could be taken over here";
    const TemporaryDirectory home;
    const auto agent = home.put("Library/LaunchAgents/works.tamsell.plist", "");
    const Locations locations = Locations::from(fakeEnvironment(), home.path());
    const Bundle bundle = Bundle::ofThisProcess();
    const ctl::Context context{fakeEnvironment(), locations, bundle,
                               Hooks(locations, home.put("bundled", "hook"))};
    try {
        ctl::takeover(context, {});
        ADD_FAILURE() << "taken over without launchctl";
    } catch (const DaemonError& error) {
        EXPECT_THAT(error.message(), testing::HasSubstr("/bin/launchctl"));
    }
    EXPECT_TRUE(std::filesystem::exists(agent));
    EXPECT_FALSE(std::filesystem::exists(locations.claudeSettings));
}

TEST(Service, WithoutAManagerNothingIsLeftBehind) {
    const FakeManager manager("*) echo 'Failed to connect to bus' >&2; exit 1;;");
    const CtlRun run = manager.run({"service", "install"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errors, "tamsellctl: Failed to connect to bus\n");
    EXPECT_FALSE(std::filesystem::exists(manager.home / "config"));
}

TEST(Service, TakesAnyPathForTheProgram) {
    Locations locations;
    locations.home = "/h";
    locations.dataDirectory = "/a %\"b\\";
    const UserService service(fakeEnvironment({{"TAMSELL_HOME", ""}}), locations);
    EXPECT_EQ(service.file(), "/h/.config/systemd/user/tamsell.service");
    const std::string text = service.definition("/p $x%/tamsell");
    EXPECT_THAT(text, testing::HasSubstr(R"(ExecStart="/p $x%%/tamsell" --headless)"));
    EXPECT_THAT(text, testing::HasSubstr(R"(Environment="TAMSELL_HOME=/a %%\"b\\")"));
    // systemd has no way to write these.
    for (const char* path : {"/p\"/tamsell", "/p'/tamsell", "/p\\/tamsell", "/p\n/tamsell"})
        EXPECT_THROW(service.install(path), DaemonError) << path;
}

TEST(Service, WhatKeepsItFromWorkingIsSaidFirst) {
    ctl::DaemonReport report;
    report.process = 7;
    report.address = "127.0.0.1:8787";
    UserService::State state;
    state.isInstalled = state.isEnabled = state.isActive = true;
    state.process = 8;
    state.lingers = false;
    state.program = "/bin/sh";
    EXPECT_EQ(lineOf(ctl::checkService(state, report).at(0)),
              "– 服務：執行中，但 127.0.0.1:8787 由另一個 Tamsell 佔用 → 結束另一個，再執行 "
              "tamsellctl service install");
    state.program = "/gone";
    state.isActive = state.isEnabled = false;
    EXPECT_EQ(lineOf(ctl::checkService(state, report).at(0)),
              "✗ 服務：要啟動的 /gone 不在了 → tamsellctl service install");
}

} // namespace
