#include "ui/MenuPanel.h"

#include <QApplication>
#include <QClipboard>
#include <QTest>
#include <QTextDocument>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Eventually.h"
#include "support/FakeScheduler.h"
#include "ui/Texts.h"
#include "ui/Theme.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

std::shared_ptr<const PendingItem> item(const char* id, PendingItem::Kind kind,
                                        const char* detail = "ls") {
    PendingItem made;
    made.id = id;
    made.kind = kind;
    made.cwd = "/w/orchard";
    made.client = "terminal";
    made.input = JSONObject{{"command", detail}};
    made.lastMessage = detail;
    made.suggestions = JSONArray{JSONObject{{"<i>", "&"}}};
    return std::make_shared<const PendingItem>(made);
}

class MenuPanelTest : public testing::Test {
  protected:
    static constexpr auto permission = PendingItem::Kind::permission;
    static constexpr auto stop = PendingItem::Kind::stop;

    MenuPanelTest() {
        QObject::connect(&m_panel, &MenuPanel::answered, &m_panel,
                         [this](const QString& id, const JSONObject& answer) {
                             m_answers.push_back(utf8(id) + " " + json::compact(answer).value());
                             if (m_endsWhenAnswered)
                                 std::erase_if(m_facts.pending, [&](const auto& each) {
                                     return each->id == id.toStdString();
                                 });
                             draw();
                         });
        theme::follow(m_panel);
    }

    void show(std::vector<std::shared_ptr<const PendingItem>> pending) {
        m_facts.pending = std::move(pending);
        draw();
        m_panel.show();
        m_panel.activateWindow();
        m_panel.setFocus();
        runDueEvents();
    }

    void draw() {
        m_panel.show(MenuState::of(m_facts));
        runDueEvents();
    }

    /// The widget of that name in the row of that number.
    template <typename Widget>
    Widget* in(int row, const char* name) {
        const auto rows = m_panel.findChildren<PendingRow*>();
        std::vector<PendingRow*> shown;
        for (PendingRow* each : rows)
            if (!each->isHidden())
                shown.push_back(each);
        std::ranges::sort(shown, {}, [](const PendingRow* each) { return each->y(); });
        return shown.at(static_cast<std::size_t>(row))->findChild<Widget*>(QLatin1String(name));
    }

    void click(QWidget* widget) {
        QTest::mouseClick(widget, Qt::LeftButton);
        runDueEvents();
    }

    FakeScheduler m_scheduler;
    MenuFacts m_facts;
    bool m_endsWhenAnswered = true;
    std::vector<std::string> m_answers;
    MenuPanel m_panel{m_scheduler};
};

TEST_F(MenuPanelTest, ApprovesOnlyAfterAMomentAndDeniesAtOnce) {
    m_endsWhenAnswered = false;
    show({item("a", permission), item("b", permission)});
    click(in<QPushButton>(0, "allow"));
    click(in<QPushButton>(0, "always"));
    QTest::keyClick(&m_panel, Qt::Key_Return);
    EXPECT_THAT(m_answers, IsEmpty());
    click(in<QPushButton>(0, "deny"));
    m_scheduler.pass(599ms);
    click(in<QPushButton>(1, "allow"));
    EXPECT_THAT(m_answers, ElementsAre(R"(a {"action":"deny"})"));
    m_scheduler.pass(1ms);
    click(in<QPushButton>(1, "always"));
    click(in<QPushButton>(1, "allow"));
    EXPECT_THAT(m_answers,
                ElementsAre(testing::_, R"(b {"action":"always"})", R"(b {"action":"allow"})"));
    // The second moves up, under the pointer that was on the first.
    m_facts.pending.erase(m_facts.pending.begin());
    m_answers.clear();
    draw();
    click(in<QPushButton>(0, "allow"));
    EXPECT_THAT(m_answers, IsEmpty());
    m_scheduler.pass(600ms);
    click(in<QPushButton>(0, "allow"));
    EXPECT_THAT(m_answers, ElementsAre(R"(b {"action":"allow"})"));
    m_panel.disarm();
    click(in<QPushButton>(0, "allow"));
    EXPECT_EQ(m_answers.size(), 1U) << "the panel has opened anew";
}

TEST_F(MenuPanelTest, ManyAtOnceAppearAFewAtATimeInTheirOrder) {
    const std::vector<std::string> ids{"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
    std::vector<std::shared_ptr<const PendingItem>> items;
    for (const std::string& id : ids)
        items.push_back(item(id.c_str(), permission));
    show(items);
    EXPECT_LT(m_panel.findChildren<PendingRow*>().size(), 10);
    // One is settled elsewhere before the rest have appeared.
    m_facts.pending.erase(m_facts.pending.begin());
    draw();
    m_scheduler.pass(1s);
    runDueEvents();
    m_endsWhenAnswered = false;
    std::vector<std::string> inTabOrder;
    for (QWidget* at = in<QPushButton>(0, "deny"); inTabOrder.size() < 9;
         at = at->nextInFocusChain())
        if (at->objectName() == QStringLiteral("deny") && at->isVisible()) {
            click(at);
            inTabOrder.push_back(m_answers.back().substr(0, 1));
        }
    EXPECT_THAT(inTabOrder, ElementsAreArray(std::vector(ids.begin() + 1, ids.end())));
}

TEST_F(MenuPanelTest, ReturnAllowsTheOldestPermissionAndNothingElse) {
    show({item("s", stop), item("a", permission), item("b", permission)});
    m_scheduler.pass(1s);
    EXPECT_EQ(in<QPushButton>(1, "allow")->property("look"), QStringLiteral("prominent"));
    EXPECT_EQ(in<QPushButton>(2, "allow")->property("look"), QStringLiteral("tinted"));
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, {}, true);
    QApplication::sendEvent(&m_panel, &repeated);
    QTest::keyClick(&m_panel, Qt::Key_Return, Qt::ShiftModifier);
    auto* const reply = in<QLineEdit>(0, "reply");
    reply->setFocus();
    QTest::keyClick(reply, Qt::Key_Return);
    reply->insert(QStringLiteral(" \t "));
    QTest::keyClick(reply, Qt::Key_Enter);
    EXPECT_FALSE(in<QPushButton>(0, "send")->isEnabled());
    EXPECT_THAT(m_answers, IsEmpty());
    // Its Return must not go on to the permission that moves up.
    QTest::keyClicks(reply, QStringLiteral("x "));
    EXPECT_TRUE(in<QPushButton>(0, "send")->isEnabled());
    QTest::keyClick(reply, Qt::Key_Return);
    EXPECT_THAT(m_answers, ElementsAre(R"(s {"action":"reply","text":" \t x "})"));
    m_scheduler.pass(1s);
    QTest::keyClick(&m_panel, Qt::Key_Return);
    EXPECT_EQ(m_answers.back(), R"(a {"action":"allow"})");
    EXPECT_EQ(m_answers.size(), 2U);
}

TEST_F(MenuPanelTest, WhatHasTheFocusOrWasMeantForAnotherItemAnswersNothingElse) {
    show({item("a", permission), item("b", permission)});
    m_scheduler.pass(1s);
    auto* const other = in<QPushButton>(1, "deny");
    other->setFocus(Qt::TabFocusReason);
    QTest::keyClick(other, Qt::Key_Return);
    EXPECT_THAT(m_answers, IsEmpty()) << "the ring is around another button";
    // What is disarmed leaves its focus to the panel, not to what comes next.
    in<QPushButton>(0, "allow")->setFocus(Qt::TabFocusReason);
    m_panel.disarm();
    EXPECT_EQ(m_panel.focusWidget(), &m_panel);
    m_scheduler.pass(1s);
    // The second half of a double click on the item that has gone.
    QTest::mouseClick(other, Qt::LeftButton);
    QTest::mouseDClick(in<QPushButton>(0, "deny"), Qt::LeftButton);
    QTest::mouseRelease(in<QPushButton>(0, "deny"), Qt::LeftButton);
    EXPECT_THAT(m_answers, ElementsAre(R"(b {"action":"deny"})"));
}

// While a character is being composed, Return belongs to that.
TEST_F(MenuPanelTest, AnInputMethodsReturnAnswersNothing) {
    show({item("s", stop), item("a", permission)});
    m_scheduler.pass(1s);
    auto* const reply = in<QLineEdit>(0, "reply");
    reply->setFocus();
    QInputMethodEvent composing(QStringLiteral("ㄆㄠ"), {});
    reply->setText(QStringLiteral("快"));
    QApplication::sendEvent(reply, &composing);
    QTest::keyClick(reply, Qt::Key_Return);
    EXPECT_THAT(m_answers, IsEmpty());
    QInputMethodEvent commit;
    commit.setCommitString(QStringLiteral("跑"));
    QApplication::sendEvent(reply, &commit);
    EXPECT_THAT(m_answers, IsEmpty());
    QTest::keyClick(reply, Qt::Key_Return);
    EXPECT_THAT(m_answers, ElementsAre(R"(s {"action":"reply","text":"快跑"})"));
}

TEST_F(MenuPanelTest, WhatFailedCanBeCopiedAndATipIsPlain) {
    m_facts.error = QStringLiteral("/home/<b>x</b>/") + QString(200, QLatin1Char('y'));
    show({item("a", permission)});
    auto* const error = m_panel.findChild<TextBlock*>(QStringLiteral("error"));
    EXPECT_GE(error->height(), 4 * theme::lineHeight(theme::Style::caption)) << "whole";
    QTest::keyClick(error, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(error, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), *m_facts.error);
    const QPushButton* always = in<QPushButton>(0, "always");
    EXPECT_EQ(utf8(always->accessibleDescription()), "agent 會照這樣記住：\n{\"<i>\":\"&\"}");
    QTextDocument tip; // What Qt makes of it.
    EXPECT_TRUE(Qt::mightBeRichText(always->toolTip()));
    tip.setHtml(always->toolTip());
    EXPECT_EQ(tip.toPlainText(), always->accessibleDescription());
}

TEST_F(MenuPanelTest, KeepsWhatIsTypedAndGivesTheFocusToNoOtherItem) {
    show({item("a", permission), item("s", stop), item("b", permission)});
    auto* const reply = in<QLineEdit>(1, "reply");
    reply->setFocus();
    reply->insert(QStringLiteral("跑測試"));
    m_facts.pending.insert(m_facts.pending.begin(), item("c", permission));
    draw();
    m_facts.pending.erase(m_facts.pending.begin() + 1);
    draw();
    EXPECT_EQ(in<QLineEdit>(1, "reply"), reply);
    EXPECT_EQ(reply->text(), QStringLiteral("跑測試"));
    EXPECT_TRUE(reply->hasFocus());
    in<QPushButton>(0, "deny")->setFocus(Qt::TabFocusReason);
    m_facts.pending.erase(m_facts.pending.begin());
    draw();
    EXPECT_TRUE(m_panel.hasFocus());
}

TEST_F(MenuPanelTest, ShowsTheCommandWholeAndCopiesItAsItIs) {
    const std::string command = "a-b/c:d\techo \u202e😀\nrm -rf x";
    show({item("a", permission, command.c_str())});
    auto* const box = in<CommandBox>(0, "detail");
    EXPECT_TRUE(box->hidesSomething());
    EXPECT_TRUE(box->toPlainText().contains(QStringLiteral("U+202E")));
    box->selectAll();
    QTest::keyClick(box, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(utf8(QApplication::clipboard()->text()), command);
    // Lines up to twelve, and half a one more.
    std::string lines = "1";
    int height = 0;
    for (int count = 2; count <= 40; ++count) {
        lines += "\n" + std::to_string(count);
        box->setCommand(lines);
        EXPECT_EQ(box->height() - height > 0, count <= 13) << count;
        height = box->height();
    }
    box->setCommand(std::string(70'000, 'x') + "漢");
    EXPECT_EQ(box->charactersLeftOut(), 70'001U - CommandBox::maximumShown);
    EXPECT_FALSE(box->hidesSomething());
}

TEST_F(MenuPanelTest, SaysWhatWasClicked) {
    std::vector<std::string> clicked;
    const auto note = [&](const char* what) { return [&, what] { clicked.emplace_back(what); }; };
    QObject::connect(&m_panel, &MenuPanel::modeChosen, &m_panel,
                     [&](AwayMode mode) { clicked.emplace_back(rawValue(mode)); });
    QObject::connect(&m_panel, &MenuPanel::takeOverClicked, &m_panel, note("take over"));
    QObject::connect(&m_panel, &MenuPanel::retryClicked, &m_panel, note("retry"));
    QObject::connect(&m_panel, &MenuPanel::installClicked, &m_panel, note("install"));
    QObject::connect(&m_panel, &MenuPanel::recheckClicked, &m_panel, note("recheck"));
    m_facts.server = {ServerState::Phase::failed, "m"};
    show({});
    const auto mend = [&](const char* notice) {
        click(m_panel.findChild<QPushButton*>(QLatin1String(notice) + QStringLiteral("Button")));
    };
    mend("failure");
    mend("warning");
    m_facts.hasLegacyDaemon = true;
    draw();
    mend("failure");
    m_facts.server = {ServerState::Phase::listening, {}};
    m_facts.hooks.claude = 7;
    m_facts.hooks.scriptCurrent = true;
    m_facts.codexTrust = Hooks::CodexTrust();
    draw();
    mend("warning");
    const auto segments = m_panel.findChild<SegmentedControl*>()->findChildren<QPushButton*>();
    click(segments.at(2));
    segments.at(2)->setFocus();
    QTest::keyClick(segments.at(2), Qt::Key_Left);
    EXPECT_THAT(clicked, ElementsAre("retry", "install", "take over", "recheck", "on", "auto"));
}

} // namespace
