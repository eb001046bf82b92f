#include <array>
#include <cstdio>
#include <cstdlib>

#include <gmock/gmock.h>
#include <unistd.h>

#include "core/Locations.h"
#include "support/FakeEnvironment.h"
#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace {

TEST(Locations, FollowTheHomeDirectoryUnlessTheEnvironmentChooses) {
    const Locations byHome = Locations::from(fakeEnvironment(), "/home/u");
    EXPECT_FALSE(byHome.dataDirectoryIsChosen);
    EXPECT_EQ(byHome.configFile, "/home/u/.tamsell/config.json");
    EXPECT_EQ(byHome.hookExecutable, "/home/u/.tamsell/tamsell-hook");
    EXPECT_EQ(byHome.eventsLog, "/home/u/.tamsell/logs/events.jsonl");
    EXPECT_EQ(byHome.claudeSettings, "/home/u/.claude/settings.json");
    EXPECT_EQ(byHome.codexHooks, "/home/u/.codex/hooks.json");
    EXPECT_EQ(byHome.legacyConfig, "/home/u/.zel/config.json");

    const Locations chosen =
        Locations::from(fakeEnvironment({{"TAMSELL_HOME", "/data"},
                                         {"TAMSELL_CLAUDE_SETTINGS", "/c.json"},
                                         {"CODEX_HOME", "codex"}}),
                        "/home/u");
    EXPECT_TRUE(chosen.dataDirectoryIsChosen);
    EXPECT_EQ(chosen.eventsLog, "/data/logs/events.jsonl");
    EXPECT_EQ(chosen.claudeSettings, "/c.json");
    EXPECT_EQ(chosen.codexHooks, fs::current_path() / "codex/hooks.json");
    EXPECT_EQ(chosen.legacyConfig, "/home/u/.zel/config.json");

    const Locations empty = Locations::from(fakeEnvironment({{"TAMSELL_HOME", ""}}), "/home/u");
    EXPECT_TRUE(empty.dataDirectoryIsChosen);
    EXPECT_EQ(empty.configFile, fs::current_path() / "config.json");
}

// Other programs hand the same text to the kernel, and must find the same file.
TEST(Locations, LinksAndParentsMeanWhatTheKernelSays) {
    const TemporaryDirectory directory;
    directory.put("real/inner/x", "");
    directory.put("real/config.json", "{}");
    fs::create_directory_symlink("real/inner", directory / "link");
    const std::string chosen = (directory / "link").string() + "/..";
    const Locations locations =
        Locations::from(fakeEnvironment({{"TAMSELL_HOME", chosen}}), "/home/u");
    EXPECT_TRUE(fs::exists(locations.configFile)) << locations.configFile;
}

TEST(HomeDirectory, ComesFromTheUserDatabaseAndNotFromTheVariable) {
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen("getent passwd $(id -u)", "r"), ::pclose);
    std::array<char, 1024> line{};
    if (!pipe || !std::fgets(line.data(), line.size(), pipe.get()))
        GTEST_SKIP() << "this user has no entry";
    std::string entry(line.data());
    entry.erase(entry.rfind(':'));
    const std::string expected = entry.substr(entry.rfind(':') + 1);
    EXPECT_EXIT(
        {
            ::setenv("HOME", "/somewhere/else", 1);
            std::fputs(homeDirectory().c_str(), stderr);
            ::_exit(0);
        },
        testing::ExitedWithCode(0), testing::Eq(expected));
}

} // namespace
