#include "ui/MenuView.h"

#include <QApplication>
#include <QScreen>
#include <QTest>

#include "daemon/DaemonFixture.h"
#include "ui/PanelWindow.h"
#include "ui/Texts.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class MenuViewTest : public DaemonFixture {
  protected:
    void open(const JSONObject& settings) {
        start(settings);
        m_home.put("bundled-hook", "the hook");
        m_locations = Locations::from(
            [this](const char* name) -> std::optional<std::string> {
                return std::string_view(name) == "TAMSELL_HOME"
                           ? std::optional(m_home.path().string())
                           : std::nullopt;
            },
            m_home.path());
        m_hooks.emplace(m_locations, m_home / "bundled-hook");
        m_legacy.emplace(m_home.path(), m_home / "no-launchctl");
        m_view = std::make_unique<MenuView>(
            MenuView::Environment{.daemon = *m_daemon,
                                  .hooks = *m_hooks,
                                  .legacyDaemon = *m_legacy,
                                  .scheduler = m_scheduler,
                                  .locations = m_locations,
                                  .findCodex = [] { return std::nullopt; },
                                  .setLaunchAtLogin = [](bool) { throw DaemonError("不行"); }});
        m_window = std::make_unique<PanelWindow>(&m_view->panel(), PanelWindow::Kind::popup,
                                                 PanelWindow::Compositing::available);
        QObject::connect(m_window.get(), &PanelWindow::opening, m_view.get(), &MenuView::appears);
        QObject::connect(m_window.get(), &PanelWindow::moved, &m_view->panel(), &MenuPanel::disarm);
        m_window->openAt({100, 0});
        settle();
    }

    void settle() {
        m_scheduler.pass(100ms);
        runDueEvents();
    }

    template <typename Widget>
    Widget* find(const char* name) {
        return m_view->panel().findChild<Widget*>(QLatin1String(name));
    }

    void click(const char* name) {
        auto* const button = find<QAbstractButton>(name);
        ASSERT_TRUE(button) << name;
        QTest::mouseClick(button, Qt::LeftButton);
        settle();
    }

    [[nodiscard]] std::string error() { return utf8(find<TextBlock>("error")->toPlainText()); }

    Locations m_locations;
    std::optional<Hooks> m_hooks;
    std::optional<LegacyDaemon> m_legacy;
    std::unique_ptr<MenuView> m_view;
    std::unique_ptr<PanelWindow> m_window; // Ends before what it shows.
};

TEST_F(MenuViewTest, ARealHookGetsWhatIsClicked) {
    open({{"mode", "on"}});
    const auto hook = holdHook({{"hook_event_name", "PermissionRequest"},
                                {"session_id", "s"},
                                {"cwd", "/w/orchard"},
                                {"tool_name", "Bash"},
                                {"tool_input", JSONObject{{"command", "ls"}}}});
    settle();
    ASSERT_TRUE(find<QPushButton>("allow"));
    m_scheduler.pass(600ms);
    const int tall = m_window->height();
    click("allow");
    EXPECT_THAT(responseOn(*hook).body, HasSubstr(R"("behavior":"allow")"));
    settle();
    EXPECT_FALSE(find<QPushButton>("allow")->isVisible());
    EXPECT_LT(m_window->height(), tall);
}

TEST_F(MenuViewTest, StandsOnABarAtTheBottomAndIsNotArmedWhereItHasMoved) {
    open({{"mode", "on"}});
    const JSONObject question{{"hook_event_name", "PermissionRequest"}, {"session_id", "s"}};
    const auto first = holdHook(question);
    m_window->hide();
    m_window->openAt(QGuiApplication::primaryScreen()->availableGeometry().bottomRight());
    settle();
    m_scheduler.pass(600ms);
    const int bottom = m_window->geometry().bottom();
    const int top = m_window->geometry().top();
    const auto second = holdHook(question);
    settle();
    EXPECT_EQ(m_window->geometry().bottom(), bottom);
    EXPECT_LT(m_window->geometry().top(), top);
    click("allow");
    EXPECT_EQ(m_daemon->pending().size(), 2U) << "another button may have come under the pointer";
}

TEST_F(MenuViewTest, InstallsAndRemovesHooksAndSaysWhatFails) {
    open({});
    click("warningButton");
    EXPECT_EQ(m_hooks->status().claude, 7);
    EXPECT_EQ(error(), "");
    EXPECT_TRUE(find<QPushButton>("removeHooks")->isVisible());
    m_home.put(".claude/settings.json", "[]");
    click("removeHooks");
    EXPECT_THAT(error(), HasSubstr("settings.json 不是 JSON 物件"));
    auto* const login = find<Switch>("launchAtLogin");
    QTest::mouseClick(login, Qt::LeftButton);
    settle();
    EXPECT_FALSE(login->isChecked()) << "a refused change goes back";
    EXPECT_EQ(error(), "不行");
    auto* const modes = find<SegmentedControl>("modes");
    QTest::mouseClick(modes->findChildren<QPushButton*>().at(2), Qt::LeftButton);
    EXPECT_EQ(m_daemon->config().mode(), AwayMode::on);
}

TEST_F(MenuViewTest, APopupIsWithinTheScreenAndClosesWithEscape) {
    open({});
    const QRect room = m_window->screen()->availableGeometry();
    const int around = theme::metrics::panelShadow;
    const QMargins shadow(around, around, around, around);
    for (const QPoint& point : {room.topLeft(), room.bottomRight(), QPoint(-500, 9000)}) {
        m_window->openAt(point);
        EXPECT_TRUE(room.contains(m_window->geometry().marginsRemoved(shadow)));
    }
    QTest::keyClick(&m_view->panel(), Qt::Key_Escape);
    EXPECT_FALSE(m_window->isVisible());
    // What is not seen is not drawn.
    const auto status = find<QLabel>("modeDescription")->text();
    m_daemon->setMode(AwayMode::on);
    settle();
    EXPECT_EQ(find<QLabel>("modeDescription")->text(), status);
    m_window->openAt({});
    EXPECT_NE(find<QLabel>("modeDescription")->text(), status);
}

} // namespace
