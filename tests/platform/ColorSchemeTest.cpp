#include "platform/ColorScheme.h"

#include <utility>
#include <vector>

#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <gmock/gmock.h>

#include "support/Eventually.h"
#include "support/SessionBus.h"

namespace {

using Wish = ColorScheme::Wish;

const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settings = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");

QVariant variant(const QVariant& value) {
    return QVariant::fromValue(QDBusVariant(value));
}

class PortalStandIn final : public QDBusVirtualObject {
  public:
    explicit PortalStandIn(QDBusConnection bus) : m_bus(std::move(bus)) {
        EXPECT_TRUE(m_bus.registerVirtualObject(path, this));
        EXPECT_TRUE(m_bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    }

    void tell(const QString& group, const QVariant& value) {
        QDBusMessage signal =
            QDBusMessage::createSignal(path, settings, QStringLiteral("SettingChanged"));
        m_bus.send(signal << group << colorScheme << variant(value));
    }

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }
    bool handleMessage(const QDBusMessage& question, const QDBusConnection& bus) override {
        EXPECT_EQ(question.member(), QStringLiteral("Read"));
        EXPECT_EQ(question.arguments(), QVariantList({appearance, colorScheme}));
        bus.send(question.createReply(variant(variant(1U))));
        return true;
    }

  private:
    QDBusConnection m_bus;
};

TEST(ColorScheme, IsWhatTheDesktopSaysAndChangesWithIt) {
    SessionBus bus;
    PortalStandIn portal(bus.connect(QStringLiteral("portal")));
    const ColorScheme scheme(bus.connect(QStringLiteral("scheme")));
    EXPECT_EQ(scheme.wish(), Wish::none);
    EXPECT_TRUE(eventually([&] { return scheme.wish() == Wish::dark; }));
    portal.tell(QStringLiteral("org.example"), 0U);
    portal.tell(appearance, 2U);
    EXPECT_TRUE(eventually([&] { return scheme.wish() == Wish::light; }));
    portal.tell(appearance, QStringLiteral("mauve"));
    EXPECT_TRUE(eventually([&] { return scheme.wish() == Wish::none; }));
}

TEST(ColorScheme, WithoutAPortalThereIsNoWish) {
    SessionBus bus;
    const ColorScheme scheme(bus.connect(QStringLiteral("scheme")));
    const ColorScheme nowhere(QDBusConnection(QStringLiteral("no such connection")));
    runDueEvents();
    EXPECT_EQ(scheme.wish(), Wish::none);
    EXPECT_EQ(nowhere.wish(), Wish::none);
}

} // namespace
