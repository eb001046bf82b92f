#include <csignal>

#include <gtest/gtest.h>

#include "support/RunningDaemon.h"

#include "Desktop.h"

namespace {

using namespace std::chrono_literals;

constexpr std::string_view listening = "tamsell listening on 127.0.0.1:";
constexpr std::string_view panel = "Tamsell";
constexpr std::string_view guide = "歡迎使用 Tamsell";

// The program as people start it, in a home of its own.
struct OnADesktop : testing::Test {
    Desktop desktop;
    TemporaryDirectory home;
    std::unique_ptr<Process> tamsell;

    OnADesktop() { home.put("config.json", R"({"port":0,"mode":"on","permissionWait":600})"); }

    ~OnADesktop() override {
        if (!tamsell)
            return;
        tamsell->signal(SIGTERM);
        EXPECT_EQ(tamsell->exitCode(), 0) << tamsell->output();
    }

    std::unique_ptr<Process> launch(const std::vector<std::string>& options = {},
                                    const std::string& variable = "TAMSELL_NO_WELCOME=") const {
        const std::string path = home.path();
        std::vector<std::string> command{TAMSELL_BIN "/tamsell"};
        command.insert(command.end(), options.begin(), options.end());
        return desktop.start(command, {"TAMSELL_HOME=" + path,
                                       "TAMSELL_CLAUDE_SETTINGS=" + path + "/claude.json",
                                       "CODEX_HOME=" + path + "/codex", variable});
    }
    /// The real hook with a permission request. It finds the port in settings of its own, because
    /// that in the program's is the system's choice.
    std::unique_ptr<Process> ask() const {
        const std::string log = tamsell->output();
        const std::size_t at = log.find(listening) + listening.size();
        home.put("hook/config.json", R"({"port":)" + log.substr(at, log.find('\n', at) - at) + "}");
        return desktop.start({TAMSELL_BIN "/tamsell-hook"},
                             {"TAMSELL_HOME=" + (home / "hook").string()},
                             permissionRequest("asking"));
    }
    /// By clicks on the icon: one just after the panel has closed counts as the one that closed it.
    bool opensPanel() const {
        return until([&] {
            desktop.click(Desktop::icon);
            return until([&] { return desktop.shows(panel); }, 1s);
        });
    }
    bool isBelowTheIcon() const {
        return until([&] {
            const Desktop::Rectangle lies = desktop.geometry(panel);
            return lies.left == 0 && lies.top == Desktop::bar;
        });
    }
    bool willSay(std::string_view text) const {
        return until([&] { return tamsell->output().find(text) != std::string::npos; });
    }
};

TEST_F(OnADesktop, IsClickedAnsweredAndQuit) {
    desktop.startDisplay();
    desktop.startTray();
    tamsell = launch();
    ASSERT_TRUE(willSay(listening)) << tamsell->output();
    ASSERT_TRUE(desktop.willShowIcon());
    const auto calm = desktop.picture(Desktop::icon);
    EXPECT_FALSE(desktop.shows(panel));

    // A double click opens it, too. One click later closes it.
    desktop.doubleClick(Desktop::icon);
    ASSERT_TRUE(desktop.willShow(panel));
    EXPECT_TRUE(isBelowTheIcon());
    EXPECT_FALSE(until([&] { return !desktop.shows(panel); }, 1s));
    desktop.click(Desktop::icon);
    EXPECT_TRUE(desktop.willHide(panel));
    desktop.parkPointer();
    EXPECT_TRUE(until([&] { return desktop.picture(Desktop::icon) == calm; }));

    const auto hook = ask();
    EXPECT_TRUE(until([&] { return desktop.picture(Desktop::icon) != calm; }));
    EXPECT_FALSE(desktop.shows(panel));
    const auto opened = std::chrono::steady_clock::now();
    ASSERT_TRUE(opensPanel());
    // A key that is pressed too early is not heard.
    EXPECT_TRUE(until([&] {
        desktop.press("Return");
        return !hook->isRunning();
    }));
    EXPECT_GE(std::chrono::steady_clock::now() - opened, 600ms);
    EXPECT_EQ(hook->exitCode(), 0);
    EXPECT_EQ(hook->output(), R"({"hookSpecificOutput":{"decision":{"behavior":"allow"},)"
                              R"("hookEventName":"PermissionRequest"}})");
    desktop.press("Escape");
    EXPECT_TRUE(desktop.willHide(panel));
    desktop.parkPointer();
    EXPECT_TRUE(until([&] { return desktop.picture(Desktop::icon) == calm; }));

    // The last entry of the icon's menu.
    desktop.click(Desktop::icon, 3);
    EXPECT_TRUE(until([&] {
        desktop.press("Up");
        desktop.press("Return");
        return !tamsell->isRunning();
    }));
    EXPECT_EQ(tamsell->exitCode(), 0);
    EXPECT_TRUE(desktop.willLoseIcon());
}

TEST_F(OnADesktop, FollowsTheTray) {
    desktop.startDisplay();
    tamsell = launch();
    ASSERT_TRUE(desktop.willShow(panel)) << tamsell->output();
    desktop.startTray();
    EXPECT_TRUE(desktop.willShowIcon());
    desktop.endTray();
    EXPECT_TRUE(desktop.willLoseIcon());
    desktop.startTray();
    EXPECT_TRUE(desktop.willShowIcon());
    // The window gives way to the panel behind the icon.
    desktop.click(Desktop::icon);
    EXPECT_TRUE(isBelowTheIcon());
}

TEST_F(OnADesktop, StartsAgain) {
    desktop.startDisplay();
    desktop.startTray();
    tamsell = launch({}, "LANGUAGE=");
    ASSERT_TRUE(desktop.willShow(guide)) << tamsell->output();
    EXPECT_TRUE(willSay("tamsell: showing the setup guide\n")) << tamsell->output();
    ASSERT_TRUE(desktop.willShowIcon());
    EXPECT_FALSE(desktop.shows(panel));

    EXPECT_EQ(launch()->exitCode(), 0);
    EXPECT_TRUE(desktop.willShow(panel));
    // Somewhere else.
    desktop.click(desktop.geometry(guide));
    EXPECT_TRUE(desktop.willHide(panel));

    tamsell->signal(SIGKILL);
    EXPECT_EQ(tamsell->exitCode(), -1);
    EXPECT_TRUE(desktop.willLoseIcon());
    tamsell = launch();
    EXPECT_TRUE(desktop.willShowIcon());
    EXPECT_FALSE(desktop.shows(guide));
    EXPECT_EQ(launch()->exitCode(), 0);
    EXPECT_TRUE(desktop.willShow(panel));
}

TEST_F(OnADesktop, NamesTheHeadlessOne) {
    desktop.startDisplay();
    tamsell = launch({"--headless"});
    ASSERT_TRUE(willSay(listening));
    const auto second = launch();
    ASSERT_TRUE(desktop.willShow("Tamsell 已經在執行")) << second->output();
    EXPECT_TRUE(second->isRunning());
    EXPECT_TRUE(until([&] {
        desktop.press("Escape");
        return !second->isRunning();
    }));
    EXPECT_EQ(second->exitCode(), 0);
    EXPECT_EQ(second->output(), "");
    EXPECT_TRUE(tamsell->isRunning());
}

TEST_F(OnADesktop, WaitsForTheDisplay) {
    tamsell = launch();
    EXPECT_FALSE(until([&] { return !tamsell->isRunning() || !tamsell->output().empty(); }, 3s))
        << tamsell->output();
    desktop.startDisplay();
    desktop.startTray();
    EXPECT_TRUE(desktop.willShowIcon());
}

TEST_F(OnADesktop, DoesWithoutADisplay) {
    tamsell = launch();
    EXPECT_TRUE(willSay("tamsell: the display cannot be reached, running without an interface\n"));
    EXPECT_TRUE(willSay(listening));
}

} // namespace
