#include "platform/ColorScheme.h"

#include <utility>

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

namespace {

const QString& group() {
    static const QString name = QStringLiteral("org.freedesktop.appearance");
    return name;
}

const QString& key() {
    static const QString name = QStringLiteral("color-scheme");
    return name;
}

} // namespace

ColorScheme::ColorScheme() : ColorScheme(QDBusConnection::sessionBus()) {}

ColorScheme::ColorScheme(QDBusConnection bus) {
    const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
    const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
    // From whoever sends them: to find out which connection is the portal's, Qt would wait for the
    // bus. More than colours is not to be had by it.
    bus.connect(QString(), path, interface, QStringLiteral("SettingChanged"), this,
                SLOT(take(QDBusMessage)));
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    call << group() << key();
    auto* const answer = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        if (reply.isValid())
            setWish(reply.value().variant());
    });
}

void ColorScheme::take(const QDBusMessage& signal) {
    const QVariantList arguments = signal.arguments();
    if (signal.signature() == QStringLiteral("ssv") && arguments[0] == group() &&
        arguments[1] == key())
        setWish(arguments[2]);
}

void ColorScheme::setWish(const QVariant& value) {
    // "Read" has it in one variant more than the signal.
    QVariant number = value;
    while (number.userType() == qMetaTypeId<QDBusVariant>())
        number = number.value<QDBusVariant>().variant();
    constexpr unsigned preferDark = 1;
    constexpr unsigned preferLight = 2;
    Wish wish = Wish::none;
    if (number.toUInt() == preferDark)
        wish = Wish::dark;
    else if (number.toUInt() == preferLight)
        wish = Wish::light;
    if (std::exchange(m_wish, wish) != wish)
        Q_EMIT changed();
}
