#include "ui/UpdateWindow.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QWindow>

#include "support/Eventually.h"
#include "support/FakeScheduler.h"
#include "ui/TextBlock.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Phase = UpdateState::Phase;

struct UpdateWindowTest : testing::Test {
    FakeScheduler time;
    std::unique_ptr<UpdateWindow> window = std::make_unique<UpdateWindow>(time);
    std::vector<std::string> calls;

    UpdateWindowTest() {
        window->setHandlers({.download = [this] { calls.emplace_back("download"); },
                             .dismiss = [this] { calls.emplace_back("dismiss"); },
                             .showFile = [this] { calls.emplace_back("showFile"); },
                             .attention = [this] { calls.emplace_back("attention"); }});
    }

    void show(Phase phase, const std::string& text = "") {
        window->show({.phase = phase,
                      .currentVersion = "1",
                      .version = "2",
                      .notes = text,
                      .received = 1,
                      .total = 4,
                      .file = "/d/f",
                      .error = text});
    }
    static QWidget& widget() {
        for (QWidget* top : QApplication::topLevelWidgets())
            if (top->objectName() == QStringLiteral("updateWindow"))
                return *top;
        throw std::logic_error("no window");
    }
    template <typename Type = QPushButton>
    static Type& find(const char* name) {
        auto* found = widget().findChild<Type*>(QLatin1String(name));
        if (!found)
            throw std::logic_error(name);
        return *found;
    }
    static void click(const char* name) { QTest::mouseClick(&find(name), Qt::LeftButton); }
    // What has been called but for "attention", which depends on who activates what.
    std::vector<std::string> taken() {
        runDueEvents();
        std::erase(calls, "attention");
        return std::exchange(calls, {});
    }
};

TEST_F(UpdateWindowTest, ButtonsDoWhatTheySayFromTheEventLoop) {
    const struct {
        Phase phase;
        const char* button;
        const char* call;
    } cases[] = {
        {Phase::checking, "updateCancelButton", "dismiss"},
        {Phase::available, "updateLaterButton", "dismiss"},
        {Phase::available, "updateDownloadButton", "download"},
        {Phase::downloading, "updateCancelButton", "dismiss"},
        {Phase::done, "updateShowFileButton", "showFile"},
        {Phase::done, "updateCloseButton", "dismiss"},
        {Phase::failed, "updateCloseButton", "dismiss"},
    };
    for (const auto& [phase, button, call] : cases) {
        show(phase);
        time.pass(1s);
        click(button);
        EXPECT_THAT(calls, testing::Not(testing::Contains(call))) << "in the middle of a click";
        EXPECT_THAT(taken(), ElementsAre(call)) << button;
    }
}

TEST_F(UpdateWindowTest, ClosingAndEscapeDismissAndTheSessionCloses) {
    show(Phase::available);
    EXPECT_FALSE(widget().close());
    EXPECT_THAT(taken(), ElementsAre("dismiss"));
    QTest::keyClick(&find<TextBlock>("updateNotes"), Qt::Key_Escape);
    EXPECT_THAT(taken(), ElementsAre("dismiss"));
    EXPECT_TRUE(widget().isVisible());
    window->close();
    EXPECT_FALSE(widget().isVisible());
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(UpdateWindowTest, NothingDownloadsUntilTheButtonHasBeenThereForAWhile) {
    const auto tryAll = [] {
        click("updateDownloadButton");
        QTest::keyClick(&widget(), Qt::Key_Return);
        QTest::keyClick(&find("updateDownloadButton"), Qt::Key_Space);
    };
    show(Phase::checking);
    time.pass(10s);
    show(Phase::available);
    time.pass(599ms);
    tryAll();
    EXPECT_THAT(taken(), IsEmpty());
    show(Phase::available, "the same, again"); // Which does not make it wait longer.
    time.pass(1ms);
    tryAll();
    EXPECT_THAT(taken(), ElementsAre("download")) << "the first; the others are not meant";
    time.pass(1s);
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QString(), true);
    QApplication::sendEvent(&widget(), &held);
    EXPECT_THAT(taken(), IsEmpty());
    QTest::keyClick(&find<TextBlock>("updateNotes"), Qt::Key_Return);
    EXPECT_THAT(taken(), ElementsAre("download"));

    window->close();
    show(Phase::available);
    tryAll();
    EXPECT_THAT(taken(), IsEmpty()) << "it has just appeared anew";
}

TEST_F(UpdateWindowTest, AButtonThatGoesLeavesTheFocusToNoOther) {
    show(Phase::downloading);
    window->activate();
    ASSERT_TRUE(eventually([] { return widget().isActiveWindow(); }));
    find("updateCancelButton").setFocus(Qt::TabFocusReason);
    show(Phase::done);
    EXPECT_EQ(QApplication::focusWidget(), &widget());
    QTest::keyClick(&widget(), Qt::Key_Space);
    EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(UpdateWindowTest, AsksForNoFocusAndTellsOfThePersonsAttention) {
    show(Phase::available);
    // What platforms go by; the one without a screen gives every new window the focus.
    EXPECT_TRUE(widget().windowHandle()->property("_q_showWithoutActivating").toBool());
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(eventually([&] { return other.isActiveWindow(); }));
    runDueEvents();
    calls.clear();
    show(Phase::downloading);
    runDueEvents();
    EXPECT_TRUE(other.isActiveWindow());
    EXPECT_THAT(calls, IsEmpty());
    window->activate();
    ASSERT_TRUE(eventually([&] { return !calls.empty(); }));
    EXPECT_THAT(calls, ElementsAre("attention"));
}

TEST_F(UpdateWindowTest, ShowsTextsAsTheyAre) {
    const QString text = QStringLiteral("<img src='x'>&amp; <b>no</b>");
    show(Phase::available, text.toStdString());
    EXPECT_EQ(find<TextBlock>("updateNotes").toPlainText(), text);
    show(Phase::failed, text.toStdString());
    EXPECT_EQ(find<TextBlock>("updateError").toPlainText(), text);
    for (const QLabel* label : widget().findChildren<QLabel*>())
        EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->objectName().toStdString();
}

TEST_F(UpdateWindowTest, NewProgressLeavesTheNotesWhereTheyAre) {
    std::string notes;
    for (int i = 0; i < 200; ++i)
        notes += "line\n";
    show(Phase::available, notes);
    auto* bar = find<TextBlock>("updateNotes").verticalScrollBar();
    bar->setValue(100);
    show(Phase::downloading, notes);
    EXPECT_EQ(bar->value(), 100);
    const auto& progress = find<QProgressBar>("updateProgress");
    EXPECT_EQ(progress.value() * 4, progress.maximum());
    show(Phase::verifying, notes);
    EXPECT_EQ(progress.maximum(), 0) << "busy";
}

TEST_F(UpdateWindowTest, AHandlerMayEndTheWindow) {
    UpdateDialog::Handlers handlers;
    handlers.dismiss = [this] { window.reset(); };
    window->setHandlers(handlers);
    show(Phase::failed);
    click("updateCloseButton");
    runDueEvents();
    EXPECT_FALSE(window);
}

} // namespace
