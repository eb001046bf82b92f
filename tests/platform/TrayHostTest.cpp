#include "platform/TrayHost.h"

#include <utility>
#include <vector>

#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <gmock/gmock.h>

#include "support/Eventually.h"
#include "support/SessionBus.h"

namespace {

using testing::ElementsAre;

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

// A watcher that does what the test says.
class WatcherStandIn final : public QDBusVirtualObject {
  public:
    explicit WatcherStandIn(QDBusConnection bus) : m_bus(std::move(bus)) {
        EXPECT_TRUE(m_bus.registerVirtualObject(watcherPath, this));
    }

    bool hasHost = false;
    bool keepsSilent = false;
    std::vector<QDBusMessage> unanswered;

    void come() { EXPECT_TRUE(m_bus.registerService(watcherName)); }
    void go() { EXPECT_TRUE(m_bus.unregisterService(watcherName)); }
    void tell(const QString& signal) {
        m_bus.send(QDBusMessage::createSignal(watcherPath, watcherName, signal));
    }
    void answer(const QDBusMessage& question, bool value) {
        m_bus.send(question.createReply(QVariant::fromValue(QDBusVariant(value))));
    }

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }
    bool handleMessage(const QDBusMessage& question, const QDBusConnection& /*bus*/) override {
        EXPECT_EQ(question.member(), QStringLiteral("Get"));
        EXPECT_EQ(question.arguments(),
                  QVariantList({watcherName, QStringLiteral("IsStatusNotifierHostRegistered")}));
        question.setDelayedReply(true);
        if (keepsSilent)
            unanswered.push_back(question);
        else
            answer(question, hasHost);
        return true;
    }

  private:
    QDBusConnection m_bus;
};

struct TrayHostTest : testing::Test {
    SessionBus bus;
    WatcherStandIn watcher{bus.connect(QStringLiteral("watcher"))};
    TrayHost host{bus.connect(QStringLiteral("host"))};
    std::vector<bool> values;

    TrayHostTest() {
        QObject::connect(&host, &TrayHost::changed, &host,
                         [this] { values.push_back(host.isPresent()); });
    }

    bool becomes(bool isPresent) {
        return eventually([&] { return host.isPresent() == isPresent; });
    }
    bool asks(std::size_t count) {
        return eventually([&] { return watcher.unanswered.size() == count; });
    }
    // Everything that was sent has arrived once this has, too.
    void settle() {
        QDBusConnection other = bus.connect(QStringLiteral("other"));
        const QString name = QStringLiteral("org.example.Settled");
        EXPECT_TRUE(other.registerService(name) && other.unregisterService(name));
        runDueEvents();
    }
};

TEST_F(TrayHostTest, ComesAndGoesWithTheDesktopsPanel) {
    watcher.come();
    settle();
    EXPECT_FALSE(host.isPresent()) << "nobody shows what the watcher collects";
    watcher.hasHost = true;
    watcher.tell(QStringLiteral("StatusNotifierHostRegistered"));
    EXPECT_TRUE(becomes(true));
    watcher.hasHost = false;
    watcher.tell(QStringLiteral("StatusNotifierHostUnregistered"));
    EXPECT_TRUE(becomes(false));
    watcher.hasHost = true;
    watcher.tell(QStringLiteral("StatusNotifierHostRegistered"));
    EXPECT_TRUE(becomes(true));
    watcher.go();
    EXPECT_TRUE(becomes(false));
    watcher.come();
    EXPECT_TRUE(becomes(true));
    EXPECT_THAT(values, ElementsAre(true, false, true, false, true));
    TrayHost later(bus.connect(QStringLiteral("later")));
    EXPECT_TRUE(eventually([&] { return later.isPresent(); })) << "one that is there already";
}

TEST_F(TrayHostTest, AnAnswerThatIsOverDoesNotCount) {
    watcher.keepsSilent = true;
    watcher.come();
    ASSERT_TRUE(asks(1));
    watcher.tell(QStringLiteral("StatusNotifierHostUnregistered"));
    ASSERT_TRUE(asks(2));
    watcher.answer(watcher.unanswered[0], true);
    watcher.answer(watcher.unanswered[1], false);
    watcher.tell(QStringLiteral("StatusNotifierHostRegistered"));
    ASSERT_TRUE(asks(3));
    watcher.go();
    settle();
    watcher.answer(watcher.unanswered[2], true);
    settle();
    EXPECT_THAT(values, ElementsAre());
}

TEST(TrayHostWithoutABus, IsNotPresent) {
    const TrayHost host(QDBusConnection(QStringLiteral("none")));
    runDueEvents();
    EXPECT_FALSE(host.isPresent());
}

} // namespace
