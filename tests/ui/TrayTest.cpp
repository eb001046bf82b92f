#include "ui/Tray.h"

#include <QApplication>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/Texts.h"

namespace {

using testing::ElementsAre;

// Its entries as they are seen, in order; "✓" before what is on, "-" before what cannot be chosen.
std::vector<std::string> entries(const QMenu& menu) {
    std::vector<std::string> texts;
    for (const QAction* action : menu.actions()) {
        if (!action->isVisible() || action->isSeparator())
            continue;
        const char* const mark = action->isChecked() ? "✓" : action->isEnabled() ? "" : "-";
        texts.push_back(mark + utf8(action->text()));
    }
    return texts;
}

TEST(TrayTest, HasTheCommandsAtTheFootOfThePanel) {
    Tray tray;
    const QMenu* menu = nullptr;
    for (const QWidget* widget : QApplication::topLevelWidgets())
        if (widget->objectName() == QLatin1String("trayMenu"))
            menu = qobject_cast<const QMenu*>(widget);
    ASSERT_TRUE(menu);

    MenuFacts facts;
    facts.mode = AwayMode::on;
    tray.show(TrayState::of(facts, 0));
    EXPECT_THAT(entries(*menu), ElementsAre("打開 Tamsell", "打開網頁", "轉發到手機", "配對手機…",
                                            "登入時自動啟動", "設定指南…", "結束"));
    facts.pairedPhones = 1;
    facts.hooks = {.claude = 7, .codex = {}, .scriptCurrent = true, .legacy = false, .error = {}};
    facts.updater = MenuFacts::Updater::busy;
    facts.availableVersion = QStringLiteral("1.4 & more");
    facts.launchAtLogin = true;
    tray.show(TrayState::of(facts, 0));
    EXPECT_THAT(entries(*menu),
                ElementsAre("打開 Tamsell", "打開網頁", "轉發到手機", "配對另一支手機…",
                            "有新版本 1.4 && more，查看…", "✓登入時自動啟動", "設定指南…",
                            "-檢查更新…", "移除 hooks", "結束"));
    EXPECT_THAT(entries(*menu->findChild<QMenu*>()), ElementsAre("關閉", "自動", "✓開啟"));

    // Each says what it was, and none answers a question.
    std::vector<std::string> heard;
    const auto hear = [&](const char* what) {
        return [&heard, what] { heard.emplace_back(what); };
    };
    QObject::connect(&tray, &Tray::panelClicked, hear("panel"));
    QObject::connect(&tray, &Tray::pageClicked, hear("page"));
    QObject::connect(&tray, &Tray::pairClicked, hear("pair"));
    QObject::connect(&tray, &Tray::updateClicked, hear("update"));
    QObject::connect(&tray, &Tray::launchAtLoginChosen,
                     [&](bool on) { heard.emplace_back(on ? "login" : "no login"); });
    QObject::connect(&tray, &Tray::guideClicked, hear("guide"));
    QObject::connect(&tray, &Tray::removeHooksClicked, hear("remove"));
    QObject::connect(&tray, &Tray::quitClicked, hear("quit"));
    QObject::connect(&tray, &Tray::modeChosen, [&](AwayMode mode) {
        heard.emplace_back(mode == AwayMode::off ? "off" : "another mode");
    });
    for (QAction* action : menu->actions())
        action->trigger();
    menu->findChild<QMenu*>()->actions().front()->trigger();
    EXPECT_THAT(heard, ElementsAre("panel", "page", "pair", "update", "no login", "guide", "remove",
                                   "quit", "off"));

    // A change that was refused goes back.
    tray.show(TrayState::of(facts, 0));
    EXPECT_TRUE(menu->actions().at(7)->isChecked());
}

TEST(TrayTest, SaysHowManyWait) {
    MenuFacts facts;
    facts.pairedPhones = 1;
    facts.server.phase = ServerState::Phase::listening;
    facts.isConnected = true;
    facts.phonesOnline = 2;
    EXPECT_EQ(utf8(TrayState::of(facts, 0).toolTip), "已連線，2 支手機在線");
    EXPECT_EQ(utf8(TrayState::of(facts, 123).toolTip), "已連線，2 支手機在線\n123 件事在等你回答");
}

} // namespace
