#include "hooks/Hooks.h"

#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/DaemonError.h"
#include "platform/ChildProcess.h"
#include "support/FakeEnvironment.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "support/Until.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

namespace {

class HooksTest : public testing::Test {
  protected:
    // The message of the failure; empty when there is none.
    template <typename Act>
    static std::string failureOf(Act act) {
        try {
            act();
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return "";
    }
    [[nodiscard]] std::string installFailure() const {
        return failureOf([&] { m_hooks.install(); });
    }
    [[nodiscard]] std::string claude() const { return contentOf(m_at.claudeSettings); }
    [[nodiscard]] std::string claudeBackup() const {
        return contentOf(Hooks::backupOf(m_at.claudeSettings));
    }
    static struct stat statusOf(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status;
    }
    static mode_t modeOf(const fs::path& path) { return statusOf(path).st_mode & 07777; }

    TemporaryDirectory m_home;
    Locations m_at = Locations::from(
        fakeEnvironment({{"TAMSELL_CLAUDE_SETTINGS", m_home / "claude/settings.json"},
                         {"TAMSELL_HOME", m_home / "data"},
                         {"CODEX_HOME", m_home / "codex"}}),
        m_home.path());
    fs::path m_program = m_home.put("bundle/tamsell-hook", "new program");
    Hooks m_hooks{m_at, m_program, {m_home / "system/claude"}};
};

TEST_F(HooksTest, InstallsOnceAndTakesAllBack) {
    // As this program writes files, with what a careless reader of JSON changes: so all that comes
    // back must be these bytes.
    const std::string users = "{\n  \"e\\u0001\": \"a/b \\\"q\\\" 使用者 e\u0301 é 😀\",\n"
                              "  \"numbers\": [\n    12345678901234567890,\n    0.1,\n    -0,\n"
                              "    1e-400,\n    3.141592653589793238462643383279\n  ],\n"
                              "  \"É\": {},\n  \"é\": []\n}\n";
    m_home.put("claude/settings.json", users);
    fs::create_directories(m_at.codexHome);
    m_hooks.install();
    EXPECT_EQ(m_hooks.status(), (Hooks::Status{7, 6, true, false, {}}));
    EXPECT_EQ(modeOf(m_at.hookExecutable), 0755U);
    EXPECT_EQ(claudeBackup(), users);
    EXPECT_THAT(claude(),
                HasSubstr("\"command\": \"\\\"" + m_at.hookExecutable.string() + "\\\"\""));
    EXPECT_THAT(contentOf(m_at.codexHooks), HasSubstr("tamsell-hook\\\" --client codex\""));

    const ino_t before = statusOf(m_at.claudeSettings).st_ino;
    fs::permissions(m_at.hookExecutable, fs::perms(0600));
    m_hooks.install();
    EXPECT_EQ(statusOf(m_at.claudeSettings).st_ino, before) << "written once";
    EXPECT_FALSE(fs::exists(Hooks::backupOf(m_at.codexHooks)));
    EXPECT_EQ(claudeBackup(), users);
    EXPECT_EQ(modeOf(m_at.hookExecutable), 0755U);

    const std::string installed = claude();
    m_hooks.removeEntries();
    EXPECT_EQ(claude(), users);
    EXPECT_EQ(claudeBackup(), installed);
    EXPECT_EQ(contentOf(m_at.codexHooks), "{}\n");
}

TEST_F(HooksTest, WritesOnlyWhatItHasToChange) {
    m_hooks.removeEntries();
    EXPECT_FALSE(fs::exists(m_home / "claude"));
    const fs::path codex = m_home.put("codex/hooks.json", "{\"z\":1,\"a\":2}");
    m_hooks.removeEntries();
    EXPECT_EQ(contentOf(codex), "{\"z\":1,\"a\":2}");
    fs::remove_all(m_at.codexHome);

    m_hooks.install();
    EXPECT_FALSE(fs::exists(m_at.codexHome));
    m_home.put("codex", "no directory either");
    EXPECT_THAT(namesIn(m_home / "claude"), ElementsAre("settings.json")) << "nothing to back up";

    // All that is ours is there, so the older program's entry is left to whoever removes hooks.
    JSONObject file = Hooks::readAgentFile(m_at.claudeSettings);
    file.find("hooks")->object()->set(
        "Old", JSONArray{JSONObject{{"hooks", JSONArray{JSONObject{{"command", "zel-hook"}}}}}});
    Hooks::writeJSONFile(file, m_at.claudeSettings);
    m_hooks.install();
    EXPECT_EQ(m_hooks.status(), (Hooks::Status{7, {}, true, true, {}}));
    m_hooks.removeEntries();
    EXPECT_EQ(m_hooks.status(), (Hooks::Status{0, {}, true, false, {}}));
}

TEST_F(HooksTest, AFileThatIsNotUnderstoodIsNotTouched) {
    fs::create_directories(m_at.codexHome);
    m_hooks.install();
    const std::string levels = "{\"a\":" + std::string(1000, '[') + std::string(1000, ']') + "}";
    const std::vector<std::string> texts{"",
                                         "[]",
                                         "null",
                                         "{} {}",
                                         "{\"a\":1",
                                         "{\"a\":1,}",
                                         "{\"a\":1e999}",
                                         "{\"a\":\"\xFF\"}",
                                         "\xEF\xBB\xBF{}",
                                         levels};
    for (const fs::path& path : {m_at.codexHooks, m_at.claudeSettings}) {
        for (const std::string& text : texts) {
            SCOPED_TRACE(path.filename().string() + ": " + text.substr(0, 20));
            std::ofstream(path, std::ios::binary) << text;
            EXPECT_THAT(installFailure(), HasSubstr(path.string() + " 不是"));
            const Hooks::Status status = m_hooks.status();
            EXPECT_THAT(status.error, Optional(HasSubstr(path.string() + " 不是")));
            EXPECT_EQ(status, (Hooks::Status{
                                  path == m_at.codexHooks ? 7 : 0, {}, true, false, status.error}));
            EXPECT_EQ(contentOf(path), text);
            EXPECT_EQ(namesIn(path.parent_path()).size(), 1U) << "no backup";
        }
    }
    std::ofstream(m_at.codexHooks) << "{\"hooks\": {}}";
    EXPECT_NE(failureOf([&] { m_hooks.removeEntries(); }), "");
    EXPECT_EQ(contentOf(m_at.codexHooks), "{\"hooks\": {}}") << "the first failure ends it";
    EXPECT_EQ(claude(), levels);
}

TEST_F(HooksTest, AHugeFileLosesNothing) {
    JSONArray rules;
    for (int i = 0; i < 400'000; ++i)
        rules.emplace_back("Bash(git log --format=%H " + std::to_string(i) + " 使用者)");
    const JSONObject users{{"permissions", JSONObject{{"allow", std::move(rules)}}}};
    const std::string text = json::pretty(users) + "\n";
    ASSERT_GT(text.size(), 20'000'000U);
    m_home.put("claude/settings.json", text);
    m_hooks.install();
    EXPECT_EQ(m_hooks.status().claude, 7);
    EXPECT_TRUE(claudeBackup() == text);
    m_hooks.removeEntries();
    EXPECT_TRUE(claude() == text);
}

TEST_F(HooksTest, LinksAndModesStay) {
    const fs::path real = m_home.put("dotfiles/claude.json", "{\"a\": 1}");
    fs::permissions(real, fs::perms(0640));
    fs::create_directories(m_home / "claude");
    fs::create_directories(m_home / "dotfiles/codex");
    fs::create_symlink("../dotfiles/claude.json", m_at.claudeSettings);
    fs::create_symlink("dotfiles/codex", m_at.codexHome);
    fs::create_symlink("../not/there/yet.json", m_home / "dotfiles/codex/hooks.json");
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(real.c_str(), 12345, 23456), 0);
    }
    // What somebody put in the place of the backup is not written through.
    const fs::path victim = m_home.put("victim", "untouched");
    fs::create_symlink(victim, Hooks::backupOf(m_at.claudeSettings));

    m_hooks.install();
    EXPECT_EQ(m_hooks.status(), (Hooks::Status{7, 6, true, false, {}}));
    EXPECT_TRUE(fs::is_symlink(m_at.claudeSettings));
    EXPECT_EQ(modeOf(real), 0640U);
    EXPECT_EQ(claudeBackup(), "{\"a\": 1}");
    EXPECT_EQ(modeOf(Hooks::backupOf(m_at.claudeSettings)), 0640U);
    EXPECT_EQ(statusOf(Hooks::backupOf(m_at.claudeSettings)).st_uid, statusOf(real).st_uid);
    EXPECT_TRUE(fs::exists(m_home / "dotfiles/not/there/yet.json"));
    EXPECT_EQ(contentOf(victim), "untouched");
}

TEST_F(HooksTest, WhatTheAgentWritesMeanwhileStays) {
    m_home.put("claude/settings.json", "{\"first\": 1}");
    const fs::path fresh = m_home.put("claude/fresh", "{\"second\": 2}");
    // As soon as the backup tells that the file was read.
    const std::jthread agent([&](const std::stop_token& stop) {
        while (!fs::exists(Hooks::backupOf(m_at.claudeSettings)) && !stop.stop_requested())
            std::this_thread::yield();
        fs::rename(fresh, m_at.claudeSettings);
    });
    m_hooks.install();
    ASSERT_TRUE(until([&] { return !fs::exists(fresh); }));
    EXPECT_THAT(claude(), HasSubstr("\"second\": 2"));
}

TEST_F(HooksTest, APathThatNoSettingsFileCanNameIsRefused) {
    m_at.dataDirectory = m_home / "data\xff";
    m_at.hookExecutable = m_at.dataDirectory / "tamsell-hook";
    EXPECT_THROW(Hooks(m_at, TAMSELL_BIN "/tamsell-hook").install(), DaemonError);
    EXPECT_FALSE(fs::exists(m_at.claudeSettings));
}

TEST_F(HooksTest, AFailedWriteHarmsNeitherFileNorBackup) {
    const std::string text = "{\n  \"a\": \"" + std::string(5000, 'x') + "\"\n}\n";
    const fs::path backup = Hooks::backupOf(m_home.put("claude/settings.json", text));
    m_home.put("claude/settings.json.tamsell-backup", "the one before");
    m_hooks.installScript();
    {
        const FileSizeLimit noRoomForTheBackup(4000);
        EXPECT_THAT(installFailure(), HasSubstr(backup.string()));
    }
    EXPECT_EQ(claude(), text);
    EXPECT_EQ(claudeBackup(), "the one before");
    {
        const FileSizeLimit roomForTheBackup(text.size() + 100);
        EXPECT_THAT(installFailure(), HasSubstr(m_at.claudeSettings.string()));
    }
    EXPECT_EQ(claude(), text);
    EXPECT_EQ(claudeBackup(), text);
    EXPECT_EQ(namesIn(m_home / "claude").size(), 2U) << "nothing half written is left";

    fs::remove(backup);
    m_home.put("claude/settings.json.tamsell-backup/theirs", "kept");
    EXPECT_THAT(installFailure(), HasSubstr(backup.string()));
    EXPECT_EQ(claude(), text) << "no write without a backup";
    EXPECT_EQ(contentOf(backup / "theirs"), "kept");
    fs::remove(backup / "theirs");
    EXPECT_EQ(installFailure(), "");
    EXPECT_EQ(claudeBackup(), text);
}

TEST_F(HooksTest, AnOutdatedProgramIsReplacedWhileItRuns) {
    const auto isOld = [&] { return contentOf(m_at.hookExecutable) != "new program"; };
    m_hooks.install();
    fs::remove(m_at.hookExecutable);
    m_hooks.refreshScript();
    EXPECT_FALSE(fs::exists(m_at.hookExecutable)) << "somebody removed the program";

    fs::copy_file("/bin/sleep", m_at.hookExecutable);
    ChildProcess running({.arguments = {m_at.hookExecutable.string(), "600"}, .input = ""});
    EXPECT_FALSE(m_hooks.status().scriptCurrent);
    Hooks(m_at, m_home / "missing").refreshScript();
    Hooks(m_at, std::nullopt).refreshScript();
    EXPECT_TRUE(isOld());
    m_hooks.refreshScript();
    EXPECT_FALSE(isOld());
    EXPECT_EQ(modeOf(m_at.hookExecutable), 0755U);
    EXPECT_FALSE(running.wait(ChildProcess::Clock::now())) << "it goes on";

    m_home.put("data/tamsell-hook", "old program");
    m_hooks.removeEntries();
    m_hooks.refreshScript();
    EXPECT_TRUE(isOld()) << "no agent uses it";
    fs::create_directories(m_at.codexHome);
    Hooks::writeJSONFile(
        Hooks::withOurGroups({}, m_hooks.codexCommand(), Hooks::codexEvents().first(1)),
        m_at.codexHooks);
    m_hooks.refreshScript();
    EXPECT_FALSE(isOld()) << "one entry of one agent is use";

    EXPECT_EQ(failureOf([&] { Hooks(m_at, std::nullopt).install(); }), "App 裡缺少 tamsell-hook");
}

TEST_F(HooksTest, FindsClaudeCode) {
    for (const char* place : {".local/bin/claude", ".claude/local/claude", "system/claude"}) {
        EXPECT_FALSE(m_hooks.claudeInstalled());
        const fs::path program = m_home.put(place, "");
        fs::permissions(program, fs::perms(0644));
        EXPECT_FALSE(m_hooks.claudeInstalled()) << place << " cannot be run";
        fs::permissions(program, fs::perms(0755));
        EXPECT_TRUE(m_hooks.claudeInstalled()) << place;
        fs::remove(program);
    }
    fs::create_directories(m_home / "claude");
    EXPECT_TRUE(m_hooks.claudeInstalled()) << "the directory of its settings is there";
}

} // namespace
