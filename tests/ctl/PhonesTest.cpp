// The commands for phones, with a daemon that says what the test wants.

#include <atomic>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Clock.h"
#include "ctl/CtlRun.h"
#include "ctl/PseudoTerminal.h"
#include "ctl/QRDrawing.h"
#include "ctl/QRImage.h"
#include "support/ScriptedDaemon.h"

using testing::HasSubstr;

namespace {

std::string linkNumber(int number) {
    return "https://relay.tamsell.example/#v=2&c=" + std::string(22, 'C') +
           "&i=" + std::string(43, static_cast<char>('a' + number)) + "&m=" + std::string(43, 'M');
}

JSONObject phone(const std::string& id, const std::string& name, double addedAt = 0,
                 bool isOnline = false) {
    return {{"id", id}, {"name", name}, {"addedAt", addedAt}, {"online", isOnline}};
}

TEST(QRDrawing, IsReadByAnotherProgram) {
    for (const std::string& text : {std::string("A"), linkNumber(0), linkNumber(1) + "%/-._~?",
                                    "https://" + std::string(700, 'x') + ".example/#"})
        EXPECT_EQ(scanned(ctl::qrdrawing::drawn(qr::encode(text))), text);
    EXPECT_EQ(qr::encode(std::string(2331, '\xff')).size, 177);
    EXPECT_THROW((void)qr::encode(std::string(2332, 'x')), std::length_error);
    EXPECT_THROW((void)qr::encode(""), std::length_error);
}

TEST(Devices, AreListedAndRemovedByTheBeginningOfTheirId) {
    const JSONArray list{phone("abcd1111xxxx", "小明的 \u202ephone\x1b", 1'700'000'000'000, true),
                         phone("abcd2222xxxx", std::string(100, 'n')), phone("-cd_xxxxxxxx", "P")};
    std::string removed;
    const ScriptedDaemon daemon([&](const std::string& request) {
        if (ScriptedDaemon::asks(request, "GET /devices"))
            return ScriptedDaemon::reply(list);
        removed = request.substr(request.find("\r\n\r\n") + 4);
        return ScriptedDaemon::reply(JSONObject{{"ok", true}});
    });
    const auto ctl = [&](std::vector<std::string> words) {
        return runCtl(daemon.home().path(), std::move(words), "", {"TZ=Asia/Taipei"});
    };
    EXPECT_EQ(ctl({"devices"}).output,
              "abcd1111  小明的 \\u{202E}phone\\u{001B}" + std::string(14, ' ') +
                  "2023-11-15 06:13 配對  在線\n"
                  "abcd2222  " +
                  std::string(39, 'n') + "…  配對時間不明           不在線上\n-cd_xxxx  P" +
                  std::string(39, ' ') + "  配對時間不明           不在線上\n");
    EXPECT_EQ(JSONValue::parse(ctl({"devices", "--json"}).output), JSONValue(list));

    for (const char* id : {"abcd", "bcd1", "abc", "abcd3"}) {
        EXPECT_EQ(ctl({"devices", "remove", id}).exitCode, 1) << id;
        EXPECT_EQ(removed, "") << id;
    }
    EXPECT_EQ(ctl({"devices", "remove", "abcd1"}).output,
              "已移除：小明的 \\u{202E}phone\\u{001B}\n");
    EXPECT_EQ(removed, R"({"id":"abcd1111xxxx"})");
    EXPECT_EQ(ctl({"devices", "remove", "-cd_"}).output, "已移除：P\n");
    EXPECT_EQ(removed, R"({"id":"-cd_xxxxxxxx"})");
}

TEST(TestPush, SaysWhatTheRelayReported) {
    struct Case {
        JSONValue before; // the last report there was
        JSONValue reply;  // what the daemon answers
        bool isConnected;
        const char* outcome;
        bool isDelivered;
    };
    const auto report = [](double phones, double reached, double at) {
        return JSONObject{{"devices", phones}, {"ok", reached}, {"at", at}};
    };
    const JSONObject silence{{"error", "relay did not answer"}};
    const std::vector<Case> cases{
        {{}, report(2, 2, 1000), true, "送達 2/2 台裝置", true},
        {report(2, 2, 999), report(2, 1, 1000), false, "送達 1/2 台裝置", true},
        {{}, report(3, 0, 1000), true, "推播送不出去（0/3）", false},
        {{}, report(0, 0, 1000), true, "還沒有手機註冊推播，先在手機上打開 Tamsell App", false},
        // The report on an earlier push.
        {report(2, 2, 1000), report(2, 2, 1000), true, "中繼沒有回應", false},
        {{}, silence, true, "中繼沒有回應", false},
        {{}, silence, false, "還沒連上中繼", false},
    };
    for (const Case& one : cases) {
        const ScriptedDaemon daemon([&](const std::string& request) {
            if (ScriptedDaemon::asks(request, "POST /test-push"))
                return ScriptedDaemon::reply(one.reply);
            JSONObject relay{{"configured", true}, {"connected", one.isConnected}};
            if (!one.before.isNull())
                relay.set("lastPush", one.before);
            return ScriptedDaemon::reply(JSONObject{{"relay", relay}});
        });
        const CtlRun run = runCtl(daemon.home().path(), {"test-push"});
        EXPECT_EQ(run.exitCode, one.isDelivered ? 0 : 1) << one.outcome;
        EXPECT_EQ(run.output + run.errors,
                  (one.isDelivered ? "" : "tamsellctl: ") + std::string(one.outcome) + "\n");
    }
}

// A daemon that makes invites, and with which a phone can be said to have paired.
class Inviting {
  public:
    std::atomic<int> invites = 0;
    std::atomic<double> life = 600'000; // milliseconds
    std::atomic<bool> hasPaired = false;
    const ScriptedDaemon daemon{[this](const std::string& request) {
        if (ScriptedDaemon::asks(request, "POST /pair"))
            return ScriptedDaemon::reply(JSONObject{{"link", linkNumber(invites++)},
                                                    {"expires", wallclock::milliseconds() + life}});
        JSONArray phones{phone("known", "old")};
        if (hasPaired)
            phones.emplace_back(phone("fresh", "新的 \u200bphone"));
        return ScriptedDaemon::reply(phones);
    }};

    [[nodiscard]] std::string home() const { return daemon.home().path().string(); }
};

TEST(Pair, ShowsACodeUntilAPhoneHasTakenIt) {
    Inviting inviting;
    PseudoTerminal terminal(inviting.home(), "tamsellctl pair; echo \"code $?\"", 24, 80);
    ASSERT_TRUE(terminal.shows("只能配對一支手機，10:00 後失效"));
    EXPECT_THAT(terminal.before(), HasSubstr("終端機太小，畫不下 QR code：要 57 欄 33 列"));
    EXPECT_EQ(scanned(terminal.before()), "");
    EXPECT_FALSE(terminal.waitsForLines());

    // There is room for it now.
    terminal.resize(33, 80);
    ASSERT_TRUE(terminal.shows("\x1b[H"));
    ASSERT_TRUE(terminal.shows("只能配對一支手機"));
    EXPECT_EQ(scanned(terminal.before()), linkNumber(0));
    EXPECT_EQ(inviting.invites, 1);

    inviting.hasPaired = true;
    EXPECT_TRUE(terminal.shows("已配對：新的 \\u{200B}phone\r\ncode 0"));
}

TEST(Pair, ReplacesAnInviteThatEndsAndEndsItselfByASignal) {
    Inviting inviting;
    inviting.life = 2000;
    PseudoTerminal terminal(inviting.home(), "exec tamsellctl pair", 60, 100);
    ASSERT_TRUE(terminal.shows("只能配對一支手機"));
    EXPECT_EQ(scanned(terminal.before()), linkNumber(0));
    ASSERT_TRUE(terminal.shows("\x1b[J"));
    ASSERT_TRUE(terminal.shows("只能配對一支手機"));
    EXPECT_EQ(scanned(terminal.before()), linkNumber(1));
    terminal.type("\x03");
    EXPECT_EQ(WTERMSIG(terminal.status()), SIGINT);
    EXPECT_TRUE(terminal.waitsForLines());
}

TEST(Pair, GivesOnlyTheLinkWithoutATerminal) {
    Inviting inviting;
    EXPECT_EQ(runCtl(inviting.home(), {"pair"}).output, linkNumber(0) + "\n");
    const JSONValue value =
        JSONValue::parse(runCtl(inviting.home(), {"pair", "--json"}).output).value_or(JSONValue());
    EXPECT_EQ(*value["link"], JSONValue(linkNumber(1)));
    EXPECT_GT(value["expires"]->number(), wallclock::milliseconds());

    const ScriptedDaemon unset([](const std::string&) {
        return std::string("HTTP/1.1 409 Error\r\ncontent-length: 29\r\n\r\n"
                           R"({"error":"relay not set up"}  )");
    });
    EXPECT_EQ(runCtl(unset.home().path(), {"pair"}).errors,
              "tamsellctl: 還沒設定中繼，不能配對手機；先用 tamsellctl relay set URL 設定\n");
}

} // namespace
