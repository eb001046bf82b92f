#include "app/SetupGuide.h"

#include <QApplication>

#include "core/File.h"
#include "daemon/DaemonFixture.h"

namespace {

class SetupGuideTest : public DaemonFixture {
  protected:
    enum class HookState { missing, oneMissing, complete };

    void begin(const JSONObject& settings, HookState hookState = HookState::missing) {
        start(settings);
        const EnvironmentLookup lookup = [this](const char* name) -> std::optional<std::string> {
            const auto found = m_variables.find(name);
            return found == m_variables.end() ? std::nullopt : std::optional(found->second);
        };
        m_home.put("bundled-hook", "the hook");
        const Locations locations = Locations::from(lookup, m_home.path());
        m_hooks.emplace(locations, m_home / "bundled-hook");
        if (hookState != HookState::missing)
            m_hooks->install();
        if (hookState == HookState::oneMissing) {
            JSONObject settingsFile = Hooks::readAgentFile(locations.claudeSettings);
            JSONObject hooks = *settingsFile.find("hooks")->object();
            hooks.erase("Stop");
            settingsFile.set("hooks", hooks);
            Hooks::writeJSONFile(settingsFile, locations.claudeSettings);
        }
        m_legacy.emplace(m_home.path(), m_home / "no-launchctl");
        m_loginItem.emplace(lookup, m_home.path(), "/bin/true");
        m_guide.emplace(SetupGuide::Environment{.daemon = *m_daemon,
                                                .hooks = *m_hooks,
                                                .legacyDaemon = *m_legacy,
                                                .loginItem = *m_loginItem,
                                                .scheduler = m_scheduler,
                                                .locations = locations,
                                                .variables = lookup});
    }

    [[nodiscard]] bool isNotedAsDone() const {
        const auto file =
            JSONValue::parse(file::readStart((m_home / "config.json").string(), 65536).value());
        const JSONValue* done = file ? (*file)["welcomeDone"] : nullptr;
        return done && *done == JSONValue(true);
    }

    std::optional<Hooks> m_hooks;
    std::optional<LegacyDaemon> m_legacy;
    std::optional<LoginItem> m_loginItem;
    std::optional<SetupGuide> m_guide;
};

TEST_F(SetupGuideTest, ShowsItselfUntilEverythingIsSetUp) {
    const JSONObject relay{{"relay", JSONObject{{"url", "https://r.example"},
                                                {"channel", "c"},
                                                {"auth", "a"},
                                                {"privateKey", "k"}}}};
    const JSONObject none;
    struct Case {
        const char* what;
        JSONObject settings;
        HookState hooks;
        bool isShown;
        bool isDone;
    };
    const Case cases[]{
        {"an empty machine", none, HookState::missing, true, false},
        {"been through", {{"welcomeDone", true}}, HookState::missing, false, true},
        {"no boolean", {{"welcomeDone", "true"}}, HookState::missing, true, false},
        {"no relay yet", none, HookState::complete, true, false},
        {"all there", relay, HookState::complete, false, true},
        {"an event without a hook", relay, HookState::oneMissing, true, false},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        m_guide.reset();
        std::filesystem::remove_all(m_home / ".claude");
        begin(each.settings, each.hooks);
        m_guide->showSetupGuideIfNeeded();
        EXPECT_EQ(m_guide->isVisible(), each.isShown);
        EXPECT_EQ(isNotedAsDone(), each.isDone);
    }

    m_guide.reset();
    m_variables["TAMSELL_NO_WELCOME"] = "";
    begin({});
    m_guide->showSetupGuideIfNeeded();
    EXPECT_FALSE(m_guide->isVisible());
}

TEST_F(SetupGuideTest, IsOneWindowThatStays) {
    begin({});
    int closings = 0;
    QObject::connect(&*m_guide, &SetupGuide::closed, [&] { ++closings; });
    m_guide->showSetupGuide();
    m_guide->showSetupGuide();
    std::vector<QWidget*> windows;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->objectName() == QLatin1String("welcomeWindow"))
            windows.push_back(widget);
    ASSERT_EQ(windows.size(), 1U);
    QWidget* const window = windows.front();
    EXPECT_EQ(window->windowTitle().toStdString(), "歡迎使用 Tamsell");
    window->close();
    EXPECT_FALSE(m_guide->isVisible());
    EXPECT_EQ(closings, 1);
    EXPECT_FALSE(isNotedAsDone()) << "its close box says nothing";
    m_guide->showSetupGuide();
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(std::ranges::count(m_log, "tamsell: showing the setup guide"), 1);
}

} // namespace
