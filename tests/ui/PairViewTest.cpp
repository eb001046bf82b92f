#include "ui/PairView.h"

#include <QApplication>
#include <QClipboard>
#include <QScrollBar>
#include <QTest>

#include "daemon/DaemonFixture.h"
#include "platform/ChildProcess.h"
#include "ui/FocusRing.h"
#include "ui/Marks.h"
#include "ui/Texts.h"

namespace {

using namespace std::chrono_literals;

/// What a camera would read of the picture.
std::string scanned(const QPixmap& picture) {
    const TemporaryDirectory directory;
    const auto file = directory.path() / "picture.png";
    EXPECT_TRUE(picture.save(QString::fromStdString(file.string())));
    ChildProcess zbar(
        {.arguments = {"zbarimg", "--quiet", "--raw", "--nodbus", file.string()}, .input = ""});
    if (!zbar.wait(ChildProcess::Clock::now() + 30s))
        return "zbarimg does not end";
    return zbar.output().substr(0, zbar.output().find('\n'));
}

class PairViewTest : public DaemonFixture {
  protected:
    static JSONObject relayWith(int phones) {
        JSONArray devices;
        for (int i = 0; i < phones; ++i)
            devices.emplace_back(JSONObject{{"id", "d" + std::to_string(i)},
                                            {"name", "phone \u202e" + std::to_string(i)},
                                            {"key", "k"},
                                            {"addedAt", 1.7e12}});
        return {{"relay", JSONObject{{"url", "https://relay.example"},
                                     {"channel", "c"},
                                     {"auth", "a"},
                                     {"privateKey", "p"},
                                     {"devices", devices}}}};
    }

    void open(const JSONObject& settings = {}) {
        start(settings);
        m_view = std::make_unique<PairView>(
            PairView::Environment{*m_daemon, m_scheduler, QStringLiteral("https://default.example"),
                                  [this] { return std::chrono::system_clock::now() + m_ahead; }});
        m_view->show();
        m_view->activateWindow();
        runDueEvents();
    }

    template <typename Widget = QPushButton>
    Widget* find(const char* name) {
        return m_view->findChild<Widget*>(QLatin1String(name));
    }
    bool shows(const char* name) { return find<QWidget>(name)->isVisible(); }
    void click(QWidget* widget) {
        QTest::mouseClick(widget, Qt::LeftButton);
        runDueEvents();
    }
    void click(const char* name) { click(find(name)); }
    std::string text(const char* name) { return utf8(find<QLabel>(name)->text()); }
    std::size_t phones() { return m_daemon->config().relay().value().devices.size(); }

    std::chrono::milliseconds m_ahead{0};
    std::unique_ptr<PairView> m_view;
};

TEST_F(PairViewTest, SetsTheRelayUpAndShowsACodeThatCanBeScanned) {
    open();
    auto* const field = find<QLineEdit>("relayURL");
    EXPECT_EQ(utf8(field->text()), "https://default.example");
    EXPECT_TRUE(field->hasFocus());
    field->selectAll();
    QTest::keyClicks(field, QStringLiteral("ftp://r"));
    EXPECT_FALSE(find("create")->isEnabled());
    field->selectAll();
    QTest::keyClicks(field, QStringLiteral("http://r.example/"));
    m_relay->invites = false;
    click("create");
    EXPECT_EQ(m_daemon->config().relay().value().url, "http://r.example");
    EXPECT_TRUE(shows("waiting"));
    EXPECT_TRUE(shows("noPhones"));
    EXPECT_FALSE(shows("testPush"));
    m_relay->invites = true;
    m_ahead = 1s;
    m_scheduler.pass(1s);
    runDueEvents();
    EXPECT_FALSE(shows("waiting"));
    for (const QColor ground : {Qt::white, Qt::black}) {
        QApplication::setPalette(QPalette(ground));
        runDueEvents();
        const QImage picture = m_view->grab().toImage();
        EXPECT_EQ(qGray(picture.pixel(4, 4)) < 128, ground == Qt::black) << "the theme follows";
        EXPECT_EQ(scanned(QPixmap::fromImage(picture)), m_daemon->invite()->invite.link());
    }
    QApplication::setPalette(QPalette(Qt::white));
    click("copy");
    EXPECT_EQ(utf8(QApplication::clipboard()->text()), m_daemon->invite()->invite.link());
}

TEST_F(PairViewTest, CountsDownAndTakesAnotherInviteInTime) {
    open(relayWith(0));
    EXPECT_EQ(m_relay->made, 1);
    const int height = m_view->height();
    EXPECT_FALSE(shows("link"));
    click("reveal");
    EXPECT_TRUE(shows("link"));
    EXPECT_GT(m_view->height(), height + 40) << "of several lines";
    auto* const link = find<CommandBox>("link");
    link->selectAll();
    link->copy();
    EXPECT_EQ(utf8(QApplication::clipboard()->text()), m_daemon->invite()->invite.link());
    click("reveal");
    EXPECT_EQ(m_view->height(), height);

    m_ahead = 300s;
    m_scheduler.pass(1s);
    EXPECT_NE(text("countdown").find("，4:59 後失效"), std::string::npos) << text("countdown");
    click("newCode");
    EXPECT_EQ(m_relay->made, 2);
    // It has expired; none is to be had for a while.
    m_relay->invites = false;
    m_relay->live = false;
    m_ahead = 601s;
    m_scheduler.pass(1s);
    EXPECT_TRUE(shows("waiting"));
    m_relay->invites = true;
    Q_EMIT m_daemon->changed();
    EXPECT_EQ(m_relay->made, 2) << "once a second";
    m_relay->lifetime = 1300s;
    m_ahead = 602s;
    m_scheduler.pass(1s);
    EXPECT_EQ(m_relay->made, 3);
    EXPECT_FALSE(shows("waiting"));
    m_view->hide();
    m_relay->live = false;
    m_ahead = 2000s;
    m_scheduler.pass(10s);
    Q_EMIT m_daemon->changed();
    EXPECT_EQ(m_relay->made, 3) << "nobody looks";
}

TEST_F(PairViewTest, RemovesAndResetsOnlyWhenConfirmed) {
    open(relayWith(2));
    auto* const remove = find<PhoneList>("phones")->findChildren<QPushButton*>().at(1);
    const auto ask = [&] {
        click(remove);
        EXPECT_TRUE(shows("confirmation"));
        EXPECT_TRUE(find("cancel")->hasFocus());
        EXPECT_TRUE(m_view->findChild<FocusRing*>()->isVisible());
    };
    auto* const name = find<QLabel>("name");
    EXPECT_EQ(utf8(name->text()), "phone [U+202E]0") << "what hides is marked";
    const auto dismissals = std::to_array<std::function<void()>>({
        [&] { click("cancel"); },
        [&] { QTest::keyClick(find("cancel"), Qt::Key_Escape); },
        [&] { QTest::keyClick(find("cancel"), Qt::Key_Return); },
        [&] {
            QTest::mouseClick(find<QWidget>("confirmation"), Qt::LeftButton, {}, {3, 3});
        },
    });
    for (const auto& dismissal : dismissals) {
        ask();
        dismissal();
        EXPECT_FALSE(shows("confirmation"));
        EXPECT_EQ(phones(), 2U);
    }
    ask();
    QTest::keyClick(find("cancel"), Qt::Key_Tab);
    EXPECT_TRUE(find("confirm")->hasFocus());
    QTest::keyClick(find("confirm"), Qt::Key_Return);
    QMouseEvent second(QEvent::MouseButtonDblClick, {5, 5},
                       find("confirm")->mapToGlobal(QPointF(5, 5)), Qt::LeftButton, Qt::LeftButton,
                       {});
    QApplication::sendEvent(find("confirm"), &second);
    QTest::mouseRelease(find("confirm"), Qt::LeftButton);
    EXPECT_TRUE(shows("confirmation"));
    QTest::keyClick(find("confirm"), Qt::Key_Tab);
    EXPECT_TRUE(find("cancel")->hasFocus()) << "what lies below gets no focus";
    click("confirm");
    EXPECT_FALSE(shows("confirmation"));
    ASSERT_EQ(phones(), 1U);
    EXPECT_EQ(m_daemon->config().relay()->devices.front().id, "d0");

    click("reset");
    click("cancel");
    EXPECT_TRUE(m_daemon->config().relay());
    click("reset");
    click("confirm");
    EXPECT_FALSE(m_daemon->config().relay());
    EXPECT_TRUE(shows("create"));
}

TEST_F(PairViewTest, ListsThePhones) {
    open(relayWith(7));
    auto* const list = find<PhoneList>("phones");
    EXPECT_EQ(list->height(), 5 * 38 + 4 * 8);
    EXPECT_GT(list->verticalScrollBar()->maximum(), 0);
    const auto meaning = [&](int row) {
        return utf8(list->findChildren<StatusMark*>().at(row)->accessibleName());
    };
    const QPointer<QPushButton> second = list->findChildren<QPushButton*>().at(1);
    second->setFocus();
    m_relay->setOnline({"d1"});
    m_relay->onChange();
    EXPECT_TRUE(eventually([&] { return meaning(1) == "在線"; }));
    EXPECT_EQ(meaning(0), "不在線上");
    m_daemon->removeDevice("d0");
    runDueEvents();
    EXPECT_TRUE(second && second->hasFocus()) << "it stays with its phone";
    for (const char* id : {"d2", "d3", "d4", "d5", "d6"})
        m_daemon->removeDevice(id);
    runDueEvents();
    EXPECT_EQ(list->height(), 38);
    EXPECT_EQ(list->verticalScrollBar()->maximum(), 0);
}

TEST_F(PairViewTest, SaysWhatBecameOfATestPush) {
    open(relayWith(1));
    EXPECT_FALSE(shows("testResult"));
    click("testPush");
    EXPECT_EQ(text("testResult"), "傳送中…");
    EXPECT_EQ(callsOf("broadcast notify test"), 1);
    m_scheduler.pass(500ms);
    EXPECT_EQ(text("testResult"), "傳送中…");
    const auto report = [&](double reached) {
        const auto at = std::chrono::system_clock::now().time_since_epoch() + 1s;
        m_relay->report(JSONObject{{"devices", 2},
                                   {"ok", reached},
                                   {"at", std::chrono::duration<double, std::milli>(at).count()}});
    };
    report(1);
    m_scheduler.pass(499ms);
    EXPECT_EQ(text("testResult"), "傳送中…");
    m_scheduler.pass(1ms);
    EXPECT_EQ(text("testResult"), "送達 1/2 台裝置");
    EXPECT_EQ(m_scheduler.waiting(), 0U);
    // A window that goes away asks once more, and no longer then.
    m_relay->report(JSONValue());
    click("testPush");
    report(2);
    m_view->hide();
    EXPECT_EQ(m_scheduler.waiting(), 0U);
    m_view->show();
    EXPECT_EQ(text("testResult"), "送達 2/2 台裝置");
}

} // namespace
