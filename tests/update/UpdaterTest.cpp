#include "update/Updater.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* someKey = "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";

struct FakeController final : UpdateController {
    [[nodiscard]] bool canCheckForUpdates() const override { return true; }
    void checkForUpdates() override { calls.emplace_back("user"); }
    void checkForUpdatesInBackground() override { calls.emplace_back("background"); }
    std::vector<std::string> calls;
};

struct UpdaterTest : testing::Test {
    FakeController* controller = nullptr;
    UpdaterDelegate* delegate = nullptr;
    StandardUserDriverDelegate* driver = nullptr;
    std::vector<std::string> log;
    std::optional<std::string> feed;
    int made = 0;
    int fronted = 0;

    std::unique_ptr<Updater> started(const std::string& key) {
        auto updater = std::make_unique<Updater>(Updater::Environment{
            .settings = {.publicKey = key, .feedURL = {}},
            .variables =
                [this](const char* name) {
                    return std::string_view(name) == "TAMSELL_FEED_URL" ? feed : std::nullopt;
                },
            .log = [this](const LogMessage& message) { log.emplace_back(message.text); },
            .bringToFront = [this] { ++fronted; },
            .makeController =
                [this](const auto&, UpdaterDelegate& theDelegate,
                       StandardUserDriverDelegate& theDriver) {
                    auto fake = std::make_unique<FakeController>();
                    controller = fake.get();
                    delegate = &theDelegate;
                    driver = &theDriver;
                    ++made;
                    return fake;
                }});
        updater->start();
        updater->start();
        return updater;
    }
};

TEST_F(UpdaterTest, HasAControllerWithAKeyAlone) {
    const struct {
        const char* key;
        std::size_t lines;
    } none[] = {{"", 0}, {"no Base64", 2}, {"QUJD", 2}};
    feed = "https://feed.test/";
    for (const auto& [key, lines] : none) {
        log.clear();
        const auto updater = started(key);
        updater->checkForUpdates();
        EXPECT_FALSE(updater->hasController() || updater->canCheckForUpdates()) << key;
        EXPECT_EQ(log.size(), lines) << key; // Once for each start.
    }
    EXPECT_EQ(made, 0);
    const auto updater = started(someKey);
    EXPECT_TRUE(updater->hasController() && updater->canCheckForUpdates());
    EXPECT_EQ(made, 1);
    EXPECT_THAT(controller->calls, ElementsAre("background"));
    EXPECT_EQ(delegate->feedURLString(), feed);
    feed.reset();
    const auto quiet = started(someKey);
    EXPECT_THAT(controller->calls, IsEmpty());
    EXPECT_EQ(delegate->feedURLString(), std::nullopt);
}

TEST_F(UpdaterTest, RemindsOfWhatABackgroundCheckFoundUntilItIsLookedAt) {
    const auto updater = started(someKey);
    std::vector<std::string> seen;
    QObject::connect(updater.get(), &Updater::availableChanged, updater.get(),
                     [&] { seen.push_back(updater->available().value_or("-")); });
    const Update update{"42", "1.2"};
    EXPECT_TRUE(driver->supportsGentleScheduledUpdateReminders());
    EXPECT_TRUE(driver->shouldHandleShowingScheduledUpdate(update, true));
    EXPECT_FALSE(driver->shouldHandleShowingScheduledUpdate(update, false));

    const auto remind = [&] { driver->willHandleShowingUpdate(false, update, {}); };
    driver->willHandleShowingUpdate(false, update, {.userInitiated = true});
    driver->willHandleShowingUpdate(true, update, {});
    EXPECT_EQ(fronted, 1);
    EXPECT_THAT(seen, IsEmpty());
    remind();
    remind();
    EXPECT_THAT(seen, ElementsAre("1.2")) << "told of a change only";
    driver->didReceiveUserAttention(update);
    remind();
    driver->willFinishUpdateSession();
    driver->willFinishUpdateSession();
    remind();
    updater->checkForUpdates();
    EXPECT_THAT(seen, ElementsAre("1.2", "-", "1.2", "-", "1.2", "-"));
    EXPECT_THAT(controller->calls, ElementsAre("user"));

    delegate->didFindValidUpdate(update);
    delegate->didNotFindUpdate();
    delegate->didAbortWithError("no road");
    EXPECT_THAT(log, ElementsAre("tamsell: update available: 1.2 (42)", "tamsell: no update",
                                 "tamsell: update check failed: no road"));
}

} // namespace
