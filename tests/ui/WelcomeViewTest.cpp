#include "ui/WelcomeView.h"

#include <QApplication>
#include <QTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CodexLines.h"
#include "support/Eventually.h"
#include "support/FakeEnvironment.h"
#include "support/FakeScheduler.h"
#include "support/FakeWebSocket.h"
#include "ui/Texts.h"
#include "ui/Theme.h"

namespace fs = std::filesystem;

namespace {

using namespace std::chrono_literals;

class WelcomeViewTest : public testing::Test {
  protected:
    WelcomeViewTest() {
        fs::create_directories(m_at.claudeSettings.parent_path());
        m_home.put("web/app.html", "");
    }

    /// A Codex that lists six hooks of ours, of which so many are trusted.
    void putCodex(int trusted) const {
        JSONArray hooks;
        for (int i = 0; i < 6; ++i)
            hooks.emplace_back(JSONObject{{"command", m_at.hookExecutable.string()},
                                          {"enabled", true},
                                          {"trustStatus", i < trusted ? "trusted" : "untrusted"}});
        const JSONObject list{
            {"id", 2}, {"result", JSONObject{{"data", JSONArray{JSONObject{{"hooks", hooks}}}}}}};
        m_home.put("lines",
                   codexLine("02_initialize.response") + json::compact(list).value() + "\n");
        putProgram("codex", "cat '" + (m_home / "lines").string() + "'; cat >/dev/null\n");
        fs::create_directories(m_at.codexHome);
    }
    void putProgram(const char* name, const std::string& script) const {
        fs::permissions(m_home.put(name, "#!/bin/sh\n" + script), fs::perms(0755));
    }

    void open(int port = 0, bool needsRelayURL = false) {
        m_home.put(".tamsell/config.json", R"({"token":"t","port":)" + std::to_string(port) + "}");
        m_daemon = std::make_unique<Daemon>(Daemon::Environment{
            .locations = m_at,
            .variables = fakeEnvironment({{"TAMSELL_RELAY_URL", "https://relay.test"}}),
            .log = [](const LogMessage&) {},
            .relay = std::make_unique<RelayClient>(
                RelayClient::Environment{m_sockets.opener(), m_scheduler,
                                         [] { return std::chrono::system_clock::now() + 1s; }}),
            .page = m_home / "web/app.html",
            .bundledHook = std::nullopt});
        m_daemon->start();
        ASSERT_TRUE(eventually(
            [this] { return m_daemon->serverState().phase != ServerState::Phase::starting; }));
        m_view = std::make_unique<WelcomeView>(WelcomeView::Environment{
            .daemon = *m_daemon,
            .hooks = m_hooks,
            .legacy = m_legacy,
            .loginItem = m_loginItem,
            .scheduler = m_scheduler,
            .home = m_home.path(),
            .codexProgram =
                [this] {
                    const auto codex = m_home / "codex";
                    return fs::exists(codex) ? std::optional(codex) : std::nullopt;
                },
            .descriptorLimit = std::nullopt,
            .hasClaude = m_hooks.claudeInstalled(),
            .hasCodex = fs::exists(m_at.codexHome),
            .needsRelayURL = needsRelayURL,
            .openPairing = [this] { ++m_pairingsOpened; }});
        m_view->open();
        runDueEvents();
    }

    template <typename Widget = QPushButton>
    Widget* find(const char* name) {
        return m_view->findChild<Widget*>(QLatin1String(name));
    }
    bool shows(const char* name) { return find<QWidget>(name)->isVisible(); }
    std::string text(const char* name) {
        const auto* block = find<TextBlock>(name);
        return utf8(block ? block->toPlainText() : find<QLabel>(name)->text());
    }
    std::string buttonText(const char* name) { return utf8(find(name)->text()); }
    void click(const char* name) {
        QTest::mouseClick(find<QWidget>(name), Qt::LeftButton);
        runDueEvents();
    }
    void press(Qt::Key key) { QTest::keyClick(m_view->focusWidget(), key); }
    bool isRecorded() { return m_daemon->config().raw.find("welcomeDone") != nullptr; }

    TemporaryDirectory m_home;
    Locations m_at = Locations::from(fakeEnvironment(), m_home.path());
    Hooks m_hooks{m_at, m_home.put("bundle/tamsell-hook", "program"), {}};
    LegacyDaemon m_legacy{m_home.path(), m_home / "launchctl", 30s};
    LoginItem m_loginItem{fakeEnvironment({{"XDG_CONFIG_DIRS", "/none"}}), m_home.path(),
                          "/bin/sh"};
    FakeScheduler m_scheduler;
    FakeWebSockets m_sockets;
    int m_pairingsOpened = 0;
    std::unique_ptr<Daemon> m_daemon;
    std::unique_ptr<WelcomeView> m_view;
};

TEST_F(WelcomeViewTest, LeadsFromNothingToTheEnd) {
    putCodex(2);
    open();
    find("install")->setFocus(Qt::TabFocusReason);
    press(Qt::Key_Space);
    EXPECT_EQ(m_hooks.status().claude, 7);
    EXPECT_EQ(m_hooks.status().codex, 6);
    EXPECT_EQ(m_view->focusWidget(), find<QWidget>("welcome")) << "not the next button";
    EXPECT_EQ(buttonText("recheck"), "檢查中…");
    EXPECT_FALSE(find("recheck")->isEnabled());
    ASSERT_TRUE(eventually([this] { return find("recheck")->isEnabled(); }));
    EXPECT_EQ(text("codexResult"), "目前 2/6");
    putCodex(6);
    click("recheck");
    ASSERT_TRUE(eventually([this] { return shows("setUp"); }));
    EXPECT_FALSE(shows("recheck"));

    click("setUp");
    EXPECT_EQ(m_daemon->config().relay().value().url, "https://relay.test");
    EXPECT_FALSE(shows("code"));
    m_scheduler.pass(1s);
    EXPECT_TRUE(shows("code"));
    EXPECT_EQ(text("pairWaiting"), "正在連到中繼…");
    ASSERT_EQ(m_sockets.count(), 1U);
    m_sockets.open();
    EXPECT_TRUE(eventually([this] { return text("pairWaiting") == "等手機掃描…"; }));
    m_daemon->addDevice({.id = "p", .name = "phone", .key = std::string(43, 'A')});
    EXPECT_FALSE(shows("code"));

    click("test");
    EXPECT_EQ(text("testResult"), "傳送中…");
    m_scheduler.pass(1s);
    EXPECT_EQ(text("testResult"), "傳送中…");
    m_sockets.receive(R"({"t":"pushed","ok":1,"devices":1,"errors":[]})");
    m_scheduler.pass(1s);
    EXPECT_EQ(text("testResult"), "送達 1/1 台裝置");

    EXPECT_EQ(buttonText("finish"), "稍後再說");
    click("launchAtLogin");
    EXPECT_TRUE(m_loginItem.isEnabled());
    EXPECT_EQ(buttonText("finish"), "完成");
    EXPECT_TRUE(shows("test")) << "its result stays";
    press(Qt::Key_Escape);
    EXPECT_TRUE(m_view->isVisible());
    press(Qt::Key_Return);
    EXPECT_FALSE(m_view->isVisible());
    EXPECT_THAT(contentOf(m_at.configFile), testing::HasSubstr("\"welcomeDone\": true"));
}

TEST_F(WelcomeViewTest, OnlyItsButtonRecordsThatItWasSeen) {
    open();
    m_view->close();
    EXPECT_FALSE(isRecorded());
    m_hooks.install();
    m_view->open();
    EXPECT_FALSE(shows("install")) << "it looks anew when it is shown";
    press(Qt::Key_Return);
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier, {}, true);
    QApplication::sendEvent(m_view->focusWidget(), &held);
    EXPECT_TRUE(m_view->isVisible());
    m_hooks.removeEntries();
    m_scheduler.pass(1s);
    EXPECT_TRUE(shows("install")) << "it sees what others do";
    EXPECT_FALSE(isRecorded());
    press(Qt::Key_Escape);
    EXPECT_FALSE(m_view->isVisible());
    EXPECT_TRUE(isRecorded());

    const QString before = m_view->styleSheet();
    theme::setColors(theme::dark());
    runDueEvents();
    EXPECT_NE(m_view->styleSheet(), before);
    theme::resetColors();
    runDueEvents();
    EXPECT_EQ(m_view->styleSheet(), before);
}

TEST_F(WelcomeViewTest, GetsThePortBack) {
    HTTPServer other;
    const auto occupy = [&](int port) {
        other.start(
            "127.0.0.1", port, [](const auto&) {}, [](const auto&, const auto&) {});
        return eventually([&] { return other.port().has_value(); });
    };
    const auto listens = [this] {
        return m_daemon->serverState().phase == ServerState::Phase::listening;
    };
    ASSERT_TRUE(occupy(0));
    const int port = *other.port();
    open(port);
    EXPECT_EQ(buttonText("mend"), "重試");
    const int height = m_view->height();
    click("mend");
    EXPECT_TRUE(eventually([this] { return shows("problem"); }));
    other.stop();
    click("mend");
    EXPECT_TRUE(eventually(listens));
    EXPECT_FALSE(shows("problem"));
    EXPECT_LT(m_view->height(), height);

    // The older version has it.
    m_view.reset();
    m_daemon.reset();
    ASSERT_TRUE(occupy(port));
    const auto agent = m_home.put("Library/LaunchAgents/works.tamsell.plist", "older");
    open(port);
    EXPECT_EQ(buttonText("mend"), "停用舊版並接手");
    click("mend");
    EXPECT_THAT(text("error"), testing::HasSubstr("launchctl")) << "there is none";
    EXPECT_TRUE(shows("error"));
    putProgram("launchctl", "");
    other.stop();
    click("mend");
    EXPECT_FALSE(shows("error"));
    EXPECT_FALSE(fs::exists(agent));
    EXPECT_FALSE(shows("install"));
    EXPECT_TRUE(eventually(listens));
}

TEST_F(WelcomeViewTest, SaysWhatFailedAndGoesOn) {
    fs::create_directories(m_at.codexHome);
    m_home.put(".claude/settings.json", "[]");
    const auto inTheWay = m_home.put(".config/autostart", "a file");
    open(0, true);
    click("install");
    EXPECT_EQ(text("error"), m_at.claudeSettings.string() + " 不是 JSON 物件");
    for (int i = 0; i < 2; ++i) {
        click("launchAtLogin");
        EXPECT_THAT(text("error"), testing::HasSubstr("autostart"));
        EXPECT_FALSE(find<Switch>("launchAtLogin")->isChecked()) << "it shows what is";
    }
    fs::remove(inTheWay);
    click("launchAtLogin");
    EXPECT_TRUE(find<Switch>("launchAtLogin")->isChecked());
    EXPECT_FALSE(shows("error"));

    fs::remove(m_at.claudeSettings);
    click("install");
    ASSERT_TRUE(eventually([this] { return find("recheck")->isEnabled(); }));
    EXPECT_EQ(text("codexResult"), "找不到 codex 指令，沒辦法自動檢查");
    putCodex(1);
    click("recheck");
    click("skip");
    EXPECT_TRUE(shows("setUp"));
    EXPECT_FALSE(eventually([this] { return shows("skip"); }, 300ms))
        << "the check that was under way takes it back";
    // This build knows no relay that could ever answer.
    click("setUp");
    EXPECT_EQ(m_pairingsOpened, 1);
    EXPECT_FALSE(m_daemon->config().relay());
}

TEST(WelcomeView, KnowsAnAddressThatStandsForNone) {
    for (const char* url : {"https://relay.tamsell.example", "https://EXAMPLE:1/x"})
        EXPECT_TRUE(WelcomeView::isPlaceholder(url)) << url;
    for (const char* url :
         {"https://relay.test", "https://relay.example.org", "https://counterexample", ""})
        EXPECT_FALSE(WelcomeView::isPlaceholder(url)) << url;
}

} // namespace
