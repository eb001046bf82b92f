#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/AtomicFile.h"
#include "core/JSONValue.h"
#include "ctl/CtlRun.h"
#include "hooks/Hooks.h"
#include "support/FakeDaemon.h"
#include "support/RunningDaemon.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

// A port on which nobody listens: no test's daemon is given such a low one.
constexpr const char* healthyConfig = R"({"port": 9, "token": "secret"})";

Hooks hooksOf(const fs::path& home) {
    Locations at;
    at.home = home;
    at.dataDirectory = home;
    at.hookExecutable = home / "tamsell-hook";
    at.claudeSettings = home / "claude" / "settings.json";
    at.codexHome = home / "codex";
    at.codexHooks = at.codexHome / "hooks.json";
    return {at, fs::path(TAMSELL_BIN "/tamsell-hook")};
}

void setMode(const fs::path& path, mode_t mode) {
    ASSERT_EQ(::chmod(path.c_str(), mode), 0);
}

void replaceIn(const fs::path& path, std::string_view old, std::string_view fresh) {
    std::string text = contentOf(path);
    const std::size_t at = text.find(old);
    ASSERT_NE(at, std::string::npos) << old;
    text.replace(at, old.size(), fresh);
    atomicfile::write(path, text);
}

// A home in which only the daemon is missing.
void makeHealthy(const TemporaryDirectory& home) {
    setMode(home.put("config.json", healthyConfig), 0600);
    fs::create_directories(home / "codex");
    fs::create_directories(home / "logs");
    hooksOf(home.path()).install();
}

struct Break {
    std::function<void(const TemporaryDirectory&)> how;
    const char* line; // with "~" for the data directory
};

TEST(Doctor, NamesWhatIsBrokenAndTheRemedy) {
    const auto config = [](const char* text) {
        return [text](const TemporaryDirectory& home) {
            atomicfile::write(home / "config.json", text);
        };
    };
    const auto claude = [](const char* text) {
        return [text](const TemporaryDirectory& home) {
            atomicfile::write(home / "claude/settings.json", text);
        };
    };
    const std::vector<Break> breaks{
        {[](const auto& home) { setMode(home.path(), 0777); },
         "✗ 資料夾：其他使用者可以改 ~ → chmod go-rwx '~'"},
        {[](const auto& home) {
             fs::remove_all(home / "logs");
             home.put("logs", "");
         },
         "✗ 事件紀錄：~/logs 無法寫入，事件沒有留下紀錄 → 把它移開，再重新啟動 Tamsell"},
        {[](const auto& home) { fs::create_directories(home / "logs/events.jsonl"); },
         "✗ 事件紀錄：~/logs/events.jsonl 不是檔案，事件沒有留下紀錄 → 把它移開"},
        {[](const auto& home) { fs::remove(home / "config.json"); },
         "– 設定檔：還沒有 ~/config.json → 啟動 Tamsell 一次"},
        {[](const auto& home) { setMode(home / "config.json", 0644); },
         "✗ 設定檔：其他使用者可以讀 ~/config.json → chmod go-rwx '~/config.json'"},
        {config("{"),
         "✗ 設定檔：~/config.json 不是 JSON 物件 → 修正它，或刪掉它（Tamsell 會用預設值重建）"},
        {[](const auto& home) {
             atomicfile::write(home / "config.json", "[]");
             home.put("config.json.last-good", "{}");
         },
         "✗ 設定檔：~/config.json 不是 JSON 物件 → tamsellctl doctor --restore"},
        {[](const auto& home) { home.put("config.json.last-good", "{}"); },
         "– 設定檔：曾經損壞過，之前的設定留在 ~/config.json.last-good → 用 tamsellctl doctor "
         "--restore 還原，或刪除該檔"},
        {config(R"({"mode": "On"})"),
         "– 設定檔：「mode」的值 \"On\" 無效，改用 auto → 修正 config.json"},
        {config(R"({"port": 70000})"),
         "✗ 設定檔：port 是 70000，hooks 找不到這樣的連接埠 → 把 config.json 的 port 改成 1 到 "
         "65535，例如 8787"},
        {config(R"({"host": "192.0.2.1"})"),
         "✗ 設定檔：host 是 192.0.2.1，hooks 只連到這台電腦自己的位址 → 把 config.json 的 host "
         "改成 127.0.0.1"},
        {[](const auto&) {},
         "✗ Tamsell：沒有在執行（127.0.0.1:9 沒有程式在監聽） → tamsellctl service install，或自己"
         "執行 tamsell --headless"},
        {[](const auto& home) { fs::remove(home / "tamsell-hook"); },
         "✗ hook 程式：還沒有 ~/tamsell-hook → tamsellctl hooks install"},
        {[](const auto& home) { setMode(home / "tamsell-hook", 0644); },
         "✗ hook 程式：~/tamsell-hook 不能執行 → tamsellctl hooks install"},
        {[](const auto& home) { atomicfile::write(home / "tamsell-hook", "#!/bin/sh\n"); },
         "✗ hook 程式：~/tamsell-hook 不是最新的 → tamsellctl hooks install"},
        {claude("{}"), "✗ Claude Code：沒有裝 hooks（~/claude/settings.json） → tamsellctl hooks "
                       "install"},
        {[](const auto& home) {
             replaceIn(home / "claude/settings.json", R"("timeout": 600)", R"("timeout": 300)");
             replaceIn(home / "claude/settings.json", R"("Stop": [)", R"("Halt": [)");
         },
         "✗ Claude Code：hooks 5/7，少了 PermissionRequest、Stop → tamsellctl hooks install"},
        {[](const auto& home) {
             replaceIn(home / "claude/settings.json", R"("Stop": [)",
                       R"("Stop": [{"hooks": [{"command": "/old/tamsell-hook"}]},)");
         },
         "✗ Claude Code：還有別的 Tamsell hook：/old/tamsell-hook → 先執行 tamsellctl hooks "
         "remove，再執行 tamsellctl hooks install"},
        {claude("{,}"), "✗ Claude Code：~/claude/settings.json 不是有效的 JSON，或巢狀太深 → "
                        "修正該檔後執行 tamsellctl hooks install"},
        {[](const auto& home) { atomicfile::write(home / "codex/hooks.json", "[]"); },
         "✗ Codex：~/codex/hooks.json 不是 JSON 物件 → 修正該檔後執行 tamsellctl hooks install"},
        {[](const auto& home) {
             replaceIn(home / "codex/hooks.json", R"("hooks": {)",
                       R"("hooks": {"Other": [{"hooks": [{"command": "~/.zel/zel-hook"}]}],)");
         },
         "✗ 舊版：agent 的設定裡還有舊版的 hooks → 先執行 tamsellctl hooks remove，再執行 "
         "tamsellctl hooks "
         "install"},
    };
    for (const Break& broken : breaks) {
        const TemporaryDirectory home;
        makeHealthy(home);
        broken.how(home);
        const CtlRun run = runCtl(home.path(), {"doctor"});
        EXPECT_THAT("\n" + shortened(run.output, home.path()),
                    HasSubstr("\n" + std::string(broken.line) + "\n"));
        EXPECT_EQ(run.exitCode, 1) << broken.line;
    }
}

TEST(Doctor, FindsNothingWrongWhereAllIsWell) {
    RunningDaemon daemon({}, RunningDaemon::Port::inTheSettings);
    const fs::path& home = daemon.home().path();
    fs::create_directories(home / "codex");
    hooksOf(home).install();
    const CtlRun run = runCtl(home, {"doctor"});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    const std::string address = "127.0.0.1:" + std::to_string(daemon.port());
    EXPECT_THAT(
        shortened(run.output, home),
        testing::StartsWith("✓ 資料夾：~\n✓ 設定檔：~/config.json\n✓ Tamsell：執行中（PID " +
                            std::to_string(daemon.process().id()) + "，" + address +
                            "）\n✓ hook 程式：~/tamsell-hook\n"
                            "✓ Claude Code：hooks 7/7（~/claude/settings.json）\n"
                            "✓ Codex：hooks 6/6（~/codex/hooks.json）\n– 中繼："));

    // It goes on where it was when its settings change.
    const std::string settings = contentOf(home / "config.json");
    replaceIn(home / "config.json", std::to_string(daemon.port()), "9");
    EXPECT_THAT(runCtl(home, {"doctor"}).output,
                HasSubstr("✗ Tamsell：還在 " + address +
                          " 執行，設定檔已經改成 127.0.0.1:9 → 重新啟動 Tamsell\n"));
    atomicfile::write(home / "config.json", settings);
    // A setting that it has not read yet says nothing about where it is.
    replaceIn(home / "config.json", daemon.token(), "another");
    EXPECT_THAT(runCtl(home, {"doctor"}).output, testing::Not(HasSubstr("還在")));
    atomicfile::write(home / "config.json", settings);
    ASSERT_TRUE(until([&] { return runCtl(home, {"doctor"}).exitCode == 0; }));
    // Its notes are believed only when they are its own.
    for (const bool isOwn : {true, false}) {
        const pid_t process = isOwn ? daemon.process().id() : 1;
        atomicfile::write(home / "logs/status.json",
                          R"({"idleSource": "test", "pid": )" + std::to_string(process) + "}");
        const std::string said = runCtl(home, {"doctor"}).output;
        EXPECT_EQ(said.find("✓ 閒置時間：0 秒，來源 test\n") != said.npos, isOwn);
    }
    // A pipe in the place of its notes does not stop the looking.
    fs::remove(home / "logs/status.json");
    ASSERT_EQ(::mkfifo((home / "logs/status.json").c_str(), 0600), 0);
    EXPECT_EQ(runCtl(home, {"doctor"}).exitCode, 0);

    // Somebody else's settings for the same port: the daemon there is not theirs.
    const TemporaryDirectory other;
    setMode(other.put("config.json",
                      R"({"token": "other", "port": )" + std::to_string(daemon.port()) + "}"),
            0600);
    EXPECT_THAT(runCtl(other.path(), {"doctor"}).output,
                HasSubstr("✗ Tamsell：執行中的 Tamsell 不認得設定檔裡的存取權杖（token） → 確認 "
                          "TAMSELL_HOME 與執行中的 Tamsell 相同，再重新啟動它\n"));
}

TEST(Doctor, KeepsTheTokenFromAStranger) {
    if (::getuid() != 0)
        GTEST_SKIP() << "needs root to listen as another user";
    const FakeDaemon stranger(loopback4, 16, 65534);
    const CtlRun run = runCtl(stranger.home.path(), {"doctor"});
    const std::string address = "127.0.0.1:" + std::to_string(stranger.port());
    EXPECT_THAT(run.output, HasSubstr("✗ Tamsell：" + address +
                                      " 被另一位使用者的程式佔用，所以什麼都沒有送出 → "));
    EXPECT_EQ(requestOf(stranger.accept()), "");
}

TEST(Doctor, RestoresTheLastGoodSettings) {
    RunningDaemon daemon({{"mode", "on"}, {"token", "first"}, {"custom", 1}},
                         RunningDaemon::Port::inTheSettings);
    const fs::path& home = daemon.home().path();
    EXPECT_EQ(runCtl(home, {"doctor", "--restore"}).exitCode, 1);
    atomicfile::write(home / "config.json", "{");
    ASSERT_TRUE(until([&] {
        return fs::exists(home / "config.json.last-good") && daemon.token() != "first" &&
               !daemon.token().empty();
    }));
    const CtlRun run = runCtl(home, {"doctor", "--restore"});
    EXPECT_EQ(run.output, "已還原先前的設定，執行中的 Tamsell 也採用了\n") << run.errors;
    EXPECT_EQ(daemon.token(), "first");
    EXPECT_EQ(daemon.get("/state").statusLine, "HTTP/1.1 200 OK");
    EXPECT_FALSE(fs::exists(home / "config.json.last-good"));
}

} // namespace
