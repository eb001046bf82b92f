#include <algorithm>
#include <chrono>
#include <functional>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/AtomicFile.h"
#include "core/Clock.h"
#include "core/JSONMember.h"
#include "core/JSONValue.h"
#include "ctl/Checks.h"
#include "ctl/CtlRun.h"
#include "hooks/Hooks.h"
#include "support/FakeDaemon.h"
#include "support/FakeEnvironment.h"
#include "support/RunningDaemon.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

// A port on which nobody listens: no test's daemon is given such a low one.
constexpr const char* healthyConfig = R"({"port": 9, "token": "secret"})";

Locations locationsOf(const fs::path& home) {
    Locations at;
    at.home = home;
    at.dataDirectory = home;
    at.configFile = home / "config.json";
    at.hookExecutable = home / "tamsell-hook";
    at.claudeSettings = home / "claude" / "settings.json";
    at.codexHome = home / "codex";
    at.codexHooks = at.codexHome / "hooks.json";
    return at;
}

Hooks hooksOf(const fs::path& home) {
    return {locationsOf(home), fs::path(TAMSELL_BIN "/tamsell-hook")};
}

ctl::Context contextOf(const fs::path& home) {
    return {fakeEnvironment(), locationsOf(home), Bundle::ofThisProcess(), hooksOf(home)};
}

std::string linesOf(const ctl::Findings& findings, const fs::path& home) {
    return shortened(ctl::linesOf(findings), home);
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
    setMode(home / "logs", 0700);
    home.put("claude/settings.json",
             R"({"model": "m", "hooks": {"Stop": [{"hooks": [{"command": "say done"}]}]}})");
    hooksOf(home.path()).install();
}

// What in the agents' files is the user's; their text where they are not understood.
std::vector<JSONValue> ofTheUser(const fs::path& home) {
    std::vector<JSONValue> all;
    for (const char* name : {"claude/settings.json", "codex/hooks.json"}) {
        const std::string text = contentOf(home / name);
        const auto value = JSONValue::parse(text);
        const JSONObject* object = value ? value->object() : nullptr;
        all.push_back(object ? JSONValue(Hooks::withoutOurGroups(*object)) : JSONValue(text));
    }
    return all;
}

// Every file and directory with its mode, date and bytes, but what the daemon writes.
std::map<std::string, std::string> everythingIn(const fs::path& home) {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::recursive_directory_iterator(home)) {
        struct stat status {};
        EXPECT_EQ(::stat(entry.path().c_str(), &status), 0);
        if (entry.path().parent_path() != home / "logs")
            all[entry.path()] = std::to_string(status.st_mode) + " " +
                                std::to_string(status.st_mtim.tv_nsec) +
                                (entry.is_regular_file() ? contentOf(entry.path()) : "");
    }
    return all;
}

enum class AfterFix { stays, isGone };

struct Break {
    std::function<void(const TemporaryDirectory&)> how;
    const char* line; // with "~" for the data directory
    AfterFix afterFix = AfterFix::stays;
    const char* variable = "NONE="; // with "~", too
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
    const auto hook = [](const char* text) {
        return [text](const TemporaryDirectory& home) {
            atomicfile::write(home / "tamsell-hook", text);
        };
    };
    const std::vector<Break> breaks{
        {[](const auto& home) { setMode(home.path(), 0777); },
         "✗ 資料夾：其他使用者可以改 ~ → chmod go-rwx '~'", AfterFix::isGone},
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
         "✗ 設定檔：其他使用者可以讀 ~/config.json → chmod go-rwx '~/config.json'",
         AfterFix::isGone},
        {config("{"),
         "✗ 設定檔：~/config.json 不是 JSON 物件 → 修正它，或刪掉它（Tamsell 會用預設值重建）"},
        {[](const auto& home) {
             atomicfile::write(home / "config.json", "[]");
             home.put("config.json.last-good", "{}");
         },
         "✗ 設定檔：~/config.json 不是 JSON 物件 → tamsellctl doctor --restore", AfterFix::isGone},
        {[](const auto& home) {
             const auto kept = home.put("config.json.last-good", "{}");
             fs::last_write_time(kept, fs::last_write_time(kept) - std::chrono::hours(1));
             atomicfile::write(home / "config.json", "[]");
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
         "✗ hook 程式：還沒有 ~/tamsell-hook → tamsellctl hooks install", AfterFix::isGone},
        {[](const auto& home) { setMode(home / "tamsell-hook", 0644); },
         "✗ hook 程式：~/tamsell-hook 不能執行 → tamsellctl hooks install", AfterFix::isGone},
        {[](const auto& home) { atomicfile::write(home / "tamsell-hook", "#!/bin/sh\n"); },
         "✗ hook 程式：~/tamsell-hook 不是最新的 → tamsellctl hooks install", AfterFix::isGone},
        {claude("{}"),
         "✗ Claude Code：沒有裝 hooks（~/claude/settings.json） → tamsellctl hooks "
         "install",
         AfterFix::isGone},
        {[](const auto& home) {
             replaceIn(home / "claude/settings.json", R"("timeout": 600)", R"("timeout": 300)");
             replaceIn(home / "claude/settings.json", R"("Stop": [)", R"("Halt": [)");
         },
         "✗ Claude Code：hooks 5/7，少了 PermissionRequest、Stop → tamsellctl hooks install",
         AfterFix::isGone},
        {[](const auto& home) {
             replaceIn(home / "claude/settings.json", R"("Stop": [)",
                       R"("Stop": [{"hooks": [{"command": "/old/tamsell-hook"}]},)");
         },
         "✗ Claude Code：還有別的 Tamsell hook：/old/tamsell-hook → tamsellctl doctor --fix",
         AfterFix::isGone},
        {claude("{,}"), "✗ Claude Code：~/claude/settings.json 不是有效的 JSON，或巢狀太深 → "
                        "修正該檔後執行 tamsellctl hooks install"},
        {[](const auto& home) { atomicfile::write(home / "codex/hooks.json", "[]"); },
         "✗ Codex：~/codex/hooks.json 不是 JSON 物件 → 修正該檔後執行 tamsellctl hooks install"},
        {[](const auto& home) {
             replaceIn(home / "codex/hooks.json", R"("hooks": {)",
                       R"("hooks": {"Other": [{"hooks": [{"command": "~/.zel/zel-hook"}]}],)");
         },
         "✗ 舊版：agent 的設定裡還有舊版的 hooks → tamsellctl doctor --fix", AfterFix::isGone},
        {[](const auto& home) { setMode(home / "logs", 0750); },
         "✗ 紀錄資料夾：其他使用者可以讀 ~/logs → chmod go-rwx '~/logs'", AfterFix::isGone},
        {[](const auto& home) {
             fs::resize_file(home.put("logs/events.jsonl", ""), (std::uintmax_t{3} << 29) + 1);
         },
         "– 事件紀錄：~/logs/events.jsonl 已經有 1.5 GiB → 移走或刪除它，Tamsell "
         "會接著寫新的一份"},
        {[](const auto& home) { setMode(home / "tamsell-hook", 0777); },
         "✗ hook 程式：其他使用者可以改 ~/tamsell-hook → tamsellctl hooks install",
         AfterFix::isGone},
        {hook("\x7f"
              "ELF"),
         "✗ 執行 hook：~/tamsell-hook 執行失敗：結束碼是 126：sh: 1: ~/tamsell-hook: Exec format "
         "error → tamsellctl hooks install",
         AfterFix::isGone},
        {hook("#!/no/such/program\n"),
         "✗ 執行 hook：~/tamsell-hook 執行失敗：結束碼是 127：sh: 1: ~/tamsell-hook: not found → "
         "tamsellctl hooks install",
         AfterFix::isGone},
        {hook("#!/bin/sh\necho '{}'"),
         "✗ 執行 hook：~/tamsell-hook 執行失敗：不該有輸出，卻有 {} → tamsellctl hooks install",
         AfterFix::isGone},
        {[](const auto& home) {
             replaceIn(home / "claude/settings.json", R"("timeout": 600)", R"("timeout": 30)");
         },
         "✗ Claude Code：PermissionRequest 的 hook 在 30 秒後逾時，比 permissionWait 的 120 秒短 → "
         "tamsellctl hooks install",
         AfterFix::isGone},
        {config(R"({"permissionWait": 900.5})"),
         "✗ 設定檔：permissionWait 是 900.5 秒，但 agent 最多等 hook 600 秒 → 把 config.json 的 "
         "permissionWait 改成 600 以下"},
        {[](const auto& home) {
             replaceIn(home / "claude/settings.json", "{", R"({"disableAllHooks": true,)");
         },
         "✗ Claude Code：~/claude/settings.json 的 disableAllHooks 關掉了所有 hooks → 要用 "
         "Tamsell，就從該檔拿掉 disableAllHooks"},
        {[](const auto&) {},
         "✗ Claude Code：這裡的 CLAUDE_CONFIG_DIR 是 ~/moved，那裡讀的是 ~/moved/settings.json，"
         "不是 ~/claude/settings.json → TAMSELL_CLAUDE_SETTINGS='~/moved/settings.json' tamsellctl "
         "hooks install，Tamsell 也要以同一個變數啟動",
         AfterFix::stays, "CLAUDE_CONFIG_DIR=~/moved"},
        {[](const auto& home) {
             home.put("config/systemd/user/tamsell.service", "\nExecStart=\"/gone\"");
             setMode(home.put("bin/systemctl", "#!/bin/sh\n"), 0755);
         },
         "✗ 服務：要啟動的 /gone 不在了 → tamsellctl service install", AfterFix::isGone,
         "PATH=~/bin:/usr/bin:/bin"},
        {[](const auto& home) {
             setMode(home.put("bin/codex",
                              R"(#!/bin/sh
read -r line && echo '{"id": 1}' && read -r line && read -r line && echo '{"id": 2, "result":
{"data": [{"hooks": [{"command": "tamsell-hook", "enabled": true, "trustStatus": "trusted"},
{"command": "tamsell-hook", "enabled": true, "trustStatus": "modified"},
{"command": "tamsell-hook", "enabled": true, "trustStatus": "untrusted"}]}]}}' | tr -d '\n' && echo)"),
                     0755);
         },
         "✗ Codex 信任：3 個 hooks 只會執行 1 個：1 個還沒信任、1 個在信任之後改過 → 開啟 Codex，"
         "輸入 /hooks 信任它們",
         AfterFix::stays, "TAMSELL_CODEX_BIN=~/bin/codex"},
    };
    for (const Break& broken : breaks) {
        const TemporaryDirectory home;
        makeHealthy(home);
        broken.how(home);
        const auto asUser = ofTheUser(home.path());
        std::string variable = broken.variable;
        if (const std::size_t at = variable.find('~'); at != variable.npos)
            variable.replace(at, 1, home.path().string());
        const auto said = [&](std::vector<std::string> words) {
            const CtlRun run = runCtl(home.path(), std::move(words), "", {variable});
            EXPECT_EQ(run.exitCode, 1) << broken.line; // No daemon is there.
            return "\n" + shortened(run.output, home.path());
        };
        const std::string line = "\n" + std::string(broken.line) + "\n";
        EXPECT_THAT(said({"doctor"}), HasSubstr(line));
        const std::string fixed = said({"doctor", "--fix"});
        const bool isGone = broken.afterFix == AfterFix::isGone;
        EXPECT_EQ(fixed.find("\n已修正：") != fixed.npos, isGone) << fixed;
        EXPECT_EQ(said({"doctor"}).find(line) == std::string::npos, isGone) << broken.line;
        EXPECT_EQ(ofTheUser(home.path()), asUser) << broken.line;
    }
}

TEST(Doctor, SaysWhatOnlyThePersonCanDo) {
    const TemporaryDirectory home;
    makeHealthy(home);
    home.put("config.json", "[1");
    home.put("config.json.last-good", R"({"port": 9, "token": "before"})");
    atomicfile::write(home / "codex/hooks.json", "[]");
    replaceIn(home / "claude/settings.json", R"("Stop": [)",
              R"("Stop": [{"hooks": [{"command": "/old/tamsell-hook"}]},)");
    const std::string settings = contentOf(home / "claude/settings.json");
    const CtlRun run = runCtl(home.path(), {"doctor", "--fix"});
    EXPECT_THAT(
        shortened(run.output, home.path()),
        testing::StartsWith("已修正：還原先前的設定\n"
                            "沒有修正：移除別的 Tamsell hooks，重新安裝 hooks（~/codex/hooks.json "
                            "不是 JSON 物件）\n"
                            "✗ Tamsell：沒有在執行（127.0.0.1:9 沒有程式在監聽） → 要由你來做："));
    // Nothing is taken out that could not be put back.
    EXPECT_EQ(contentOf(home / "claude/settings.json"), settings);
    EXPECT_EQ(contentOf(home / "config.json.damaged"), "[1");
    EXPECT_THAT(contentOf(home / "config.json"), HasSubstr("before"));
    const auto json = JSONValue::parse(runCtl(home.path(), {"doctor", "--fix", "--json"}).output);
    ASSERT_TRUE(json);
    EXPECT_EQ(*(*json)["fixed"], JSONValue(JSONArray()));
    EXPECT_EQ((*json)["notFixed"]->array()->size(), 1U);
    EXPECT_EQ(runCtl(home.path(), {"doctor", "--fix", "--restore"}).exitCode, 2);
    if (::getuid() != 0)
        return;
    fs::remove(home / "codex/hooks.json");
    ASSERT_EQ(::chown((home / "claude/settings.json").c_str(), 65534, 65534), 0);
    EXPECT_THAT(shortened(runCtl(home.path(), {"doctor", "--fix"}).output, home.path()),
                HasSubstr("hooks（~/claude/settings.json 屬於別的使用者）\n"));
    EXPECT_EQ(contentOf(home / "claude/settings.json"), settings);
}

TEST(Doctor, LosesNothingOfTheUsersWithAHookOfAnotherInstallation) {
    const TemporaryDirectory home;
    makeHealthy(home);
    const auto settings = home / "claude/settings.json";
    const auto backup = Hooks::backupOf(settings);
    replaceIn(settings, R"("Stop": [)",
              R"("Stop": [{"hooks": [{"command": "my-wrapper /old/tamsell-hook"}]},)");
    const std::string before = contentOf(settings);
    (void)runCtl(home.path(), {"doctor", "--fix"});
    EXPECT_EQ(contentOf(settings).find("my-wrapper"), std::string::npos);
    EXPECT_EQ(contentOf(backup), before);
    for (const char* timeout : {"600", "300"}) { // All are current, or one is not.
        replaceIn(settings, R"("Stop": [)",
                  R"("Stop": [{"hooks": [{"command": "mine"}, {"command": "tamsell-hook"}]},)");
        replaceIn(settings, R"("timeout": 600)", R"("timeout": )" + std::string(timeout));
        const std::string mixed = contentOf(settings);
        EXPECT_THAT(runCtl(home.path(), {"doctor", "--fix"}).output,
                    testing::AllOf(HasSubstr("先把它們分開）\n"),
                                   HasSubstr("，再執行 tamsellctl doctor --fix\n")));
        EXPECT_EQ(contentOf(settings), mixed);
    }
}

TEST(Doctor, SeesAMountOnWhichNothingRunsAndNoEventFits) {
    const TemporaryDirectory home;
    ChildProcess process({.arguments = {"unshare", "-rm", "sh", "-c", R"(
mount -t tmpfs -o noexec,size=64m none "$0" || exit 77
export TAMSELL_HOME="$0" TAMSELL_CLAUDE_SETTINGS="$0/settings.json" CODEX_HOME="$0/codex"
"$1" hooks install && mkdir -m 700 "$0/logs" || exit
dd if=/dev/zero of="$0/fill" 2>/dev/null
exec "$1" doctor)",
                                        home.path().string(), TAMSELL_BIN "/tamsellctl"},
                          .input = {}});
    ASSERT_TRUE(process.wait(ChildProcess::Clock::now() + patience));
    if (process.output().empty())
        GTEST_SKIP() << "cannot mount: " << process.errors();
    EXPECT_THAT(shortened(process.output(), home.path()),
                HasSubstr("✗ hook 程式：~/tamsell-hook 所在的檔案系統不准執行程式（noexec） → "));
    EXPECT_THAT(shortened(process.output(), home.path()),
                HasSubstr("✗ 事件紀錄：~/logs 所在的磁碟滿了，事件沒有留下紀錄 → 清出空間\n"));
}

TEST(Doctor, NamesWhatTheAdministratorAndTheHomeSwitchOff) {
    const TemporaryDirectory home;
    ctl::Context context = contextOf(home.path());
    const auto managed =
        home.put("managed.json", R"({"disableAllHooks": true, "allowManagedHooksOnly": true})");
    EXPECT_EQ(
        linesOf(ctl::checkAgentSettings(context, managed), home.path()),
        "✗ Claude Code：管理者以 ~/managed.json 的 disableAllHooks 關掉了所有 hooks → 請管理者"
        "拿掉它\n✗ Claude Code：~/managed.json 的 allowManagedHooksOnly 只准執行管理者的 hooks "
        "→ 請管理者拿掉它，或把 Tamsell 的 hooks 加進該檔\n");
    home.put("managed.json", "{");
    EXPECT_EQ(linesOf(ctl::checkAgentSettings(context, managed), home.path()),
              "– Claude Code：~/managed.json 不是有效的 JSON，或巢狀太深\n");
    fs::remove(managed);
    EXPECT_EQ(linesOf(ctl::checkAgentSettings(context, managed), home.path()), "");

    context.locations.claudeSettings = home / ".claude/settings.json";
    home.put(".claude/settings.local.json", R"({"disableAllHooks": true})");
    EXPECT_THAT(linesOf(ctl::checkAgentSettings(context, managed), home.path()),
                testing::StartsWith("– Claude Code：~/.claude/settings.local.json 的 "
                                    "disableAllHooks 關掉了在 ~ 啟動時的 hooks → "));
    // A directory that is moved to where ours is has not moved.
    fs::remove(home / ".claude/settings.local.json");
    context.environment =
        fakeEnvironment({{"CLAUDE_CONFIG_DIR", (home / "codex/../.claude/").string()}});
    EXPECT_EQ(linesOf(ctl::checkAgentSettings(context, managed), home.path()), "");
}

TEST(Doctor, NamesATimeoutOnlyBelowTheWait) {
    for (const auto& [timeout, wait, findings] :
         {std::tuple(30, 120, 1), {120, 120, 0}, {300, 120, 0}, {30, 900, 2}, {30, -1, 0}}) {
        const TemporaryDirectory home;
        makeHealthy(home);
        home.put("config.json", R"({"permissionWait": )" + std::to_string(wait) + "}");
        replaceIn(home / "codex/hooks.json", R"("timeout": 600)",
                  R"("timeout": )" + std::to_string(timeout));
        EXPECT_EQ(ctl::checkHookTimeouts(contextOf(home.path())).size(), findings)
            << timeout << " " << wait;
    }
}

TEST(Doctor, NamesAgentsThatAreOlderThanTheirHooksOrReadOthers) {
    const TemporaryDirectory home;
    makeHealthy(home);
    const ctl::Context context = contextOf(home.path());
    const auto now = std::chrono::system_clock::now();
    using Agent = AgentProcess::Agent;
    const std::vector<AgentProcess> running{{Agent::claude, 5, now - std::chrono::hours(1)},
                                            {Agent::claude, 6, now},
                                            {Agent::claude, 7, now - std::chrono::minutes(1)},
                                            {Agent::codex, 8, now}};
    home.put("proc/6/environ", "A=B" + std::string(1, '\0') + "CLAUDE_CONFIG_DIR=" +
                                   (home / "other").string() + std::string(1, '\0'));
    home.put("proc/8/environ", "CODEX_HOME=" + (home / "codex").string());
    const std::string lines =
        linesOf(ctl::checkAgentProcesses(context, running, home / "proc"), home.path());
    EXPECT_THAT(lines, testing::StartsWith("– Claude Code：執行中的（PID 5、7）可能在 hooks "
                                           "裝好之前就啟動了 → 重新開啟它\n– Claude Code：執行中的"
                                           "（PID 6）的 CLAUDE_CONFIG_DIR 是 ~/other，"));
    EXPECT_EQ(std::ranges::count(lines, '\n'), 2);
    // Where no hooks are, none are missed.
    context.hooks.removeEntries();
    EXPECT_EQ(linesOf(ctl::checkAgentProcesses(context, {running[0]}, home / "proc"), home.path()),
              "");
}

TEST(Doctor, TellsWhatTheDaemonHasNoticed) {
    ctl::DaemonReport report;
    const double hourAgo = wallclock::milliseconds() - 3 * 3600e3;
    report.troubles = JSONObject{
        {"hookSilence", JSONObject{{"since", hourAgo}, {"agents", JSONArray{"claude", "codex"}}}},
        {"stuckIdleSource", JSONObject{{"since", hourAgo}, {"sources", JSONArray{"X11"}}}},
        {"eventsLog", JSONObject{{"since", hourAgo}, {"error", "No\nspace"}}},
        {"relayRefusal", JSONObject{{"since", hourAgo}, {"status", 401}}},
        {"yetUnknown", JSONObject{}}};
    EXPECT_EQ(
        ctl::linesOf(ctl::checkTroubles(report)),
        "✗ hooks：Claude Code、Codex 在執行，但 3 小時以來沒有收到任何 hook 事件 → 重新開啟 agent；"
        "還是一樣就用 tamsellctl test 找原因\n"
        "✗ 閒置時間：來源 X11 在 3 小時前卡住了，所以不採用它 → 「自動」判斷錯時，離開前用 "
        "tamsellctl mode on\n"
        "✗ 事件紀錄：從 3 小時前開始寫不進去：No\\nspace → 清出空間，或讓自己可以寫入 logs\n");
    // Instead of that there is no connection, and not once there is one.
    for (const bool isConnected : {false, true}) {
        report.snapshot =
            JSONObject{{"relay", JSONObject{{"configured", true}, {"connected", isConnected}}}};
        const std::string lines = ctl::linesOf(ctl::checkSurroundings(report));
        EXPECT_EQ(lines.find("拒絕") == lines.npos, isConnected);
        EXPECT_EQ(lines.find("連不上"), lines.npos);
    }
    for (const auto& trouble : {JSONValue("text"), JSONValue(JSONObject{{"eventsLog", 1}})}) {
        report.troubles = trouble;
        EXPECT_TRUE(ctl::checkTroubles(report).empty());
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
    EXPECT_THAT(run.output, HasSubstr("\n✓ 執行 hook：空的事件沒有問題\n"));
    EXPECT_TRUE(json::arrayOf(daemon.state(), "recent").empty());

    const auto before = everythingIn(home);
    const CtlRun fix = runCtl(home, {"doctor", "--fix"});
    EXPECT_EQ(fix.exitCode, 0) << fix.errors;
    EXPECT_THAT(fix.output, testing::StartsWith("– 中繼："));
    EXPECT_EQ(everythingIn(home), before);

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
                          R"({"troubles": {"eventsLog": {}}, "idleSource": "test", "pid": )" +
                              std::to_string(process) + "}");
        const std::string said = runCtl(home, {"doctor"}).output;
        EXPECT_EQ(said.find("✓ 閒置時間：0 秒，來源 test\n") != said.npos, isOwn);
        for (const char* command : {"doctor", "status"})
            EXPECT_EQ(runCtl(home, {command}).output.find("\n✗ 事件紀錄：") != said.npos, isOwn);
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
