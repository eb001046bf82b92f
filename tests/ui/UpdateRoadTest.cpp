#include <QApplication>
#include <QPushButton>
#include <QTest>

#include "ui/UpdateWindow.h"
#include "update/UpdateSession.h"

namespace {

/// The real updater with its real window, from the feed to the file.
class UpdateRoad : public UpdateSession {
  protected:
    UpdateRoad() {
        makeDialog = [this] { return std::make_unique<UpdateWindow>(scheduler); };
    }

    [[nodiscard]] static QPushButton* button(const char* name) {
        for (QWidget* each : QApplication::topLevelWidgets()) {
            auto* const found = each->findChild<QPushButton*>(QLatin1String(name));
            if (found && found->isVisible())
                return found;
        }
        return nullptr;
    }
    [[nodiscard]] static bool eventuallyOffers(const char* name) {
        return eventually([&] { return button(name) != nullptr; });
    }
};

TEST_F(UpdateRoad, ThePersonsCheckEndsWithTheFileBeingShown) {
    publish("the release");
    start();
    updater->checkForUpdates();
    ASSERT_TRUE(eventuallyOffers("updateDownloadButton"));
    QTest::mouseClick(button("updateDownloadButton"), Qt::LeftButton);
    runDueEvents();
    EXPECT_TRUE(button("updateDownloadButton")) << "not yet armed";
    scheduler.pass(std::chrono::seconds(1));
    QTest::mouseClick(button("updateDownloadButton"), Qt::LeftButton);
    ASSERT_TRUE(eventuallyOffers("updateShowFileButton"));
    EXPECT_EQ(contentOf(downloads / "tamsell_1.2.deb"), "the release");
    EXPECT_EQ(shown, downloads / "tamsell_1.2.deb");
    QTest::mouseClick(button("updateCloseButton"), Qt::LeftButton);
    EXPECT_TRUE(eventually([] { return button("updateCloseButton") == nullptr; }));
}

TEST_F(UpdateRoad, AForgedFileEndsWithWordsAndWithoutAFile) {
    publish("the release");
    server.replies[filePath] = FeedServer::whole("the r3lease");
    start();
    updater->checkForUpdates();
    ASSERT_TRUE(eventuallyOffers("updateDownloadButton"));
    scheduler.pass(std::chrono::seconds(1));
    QTest::mouseClick(button("updateDownloadButton"), Qt::LeftButton);
    ASSERT_TRUE(eventually([&] { return !log.empty() && !updater->available(); }));
    ASSERT_TRUE(eventuallyOffers("updateCloseButton"));
    EXPECT_FALSE(button("updateShowFileButton"));
    EXPECT_TRUE(std::filesystem::is_empty(downloads));
}

} // namespace
