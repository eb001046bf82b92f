#include "platform/TrayHost.h"

#include <utility>

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace {

const QString& service() {
    static const QString name = QStringLiteral("org.kde.StatusNotifierWatcher");
    return name;
}

const QString& path() {
    static const QString name = QStringLiteral("/StatusNotifierWatcher");
    return name;
}

} // namespace

TrayHost::TrayHost() : TrayHost(QDBusConnection::sessionBus()) {}

TrayHost::TrayHost(QDBusConnection bus) : m_bus(std::move(bus)) {
    auto* watcher =
        new QDBusServiceWatcher(service(), m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                if (owner.isEmpty())
                    forget();
                else
                    ask();
            });
    // From whoever sends them: they only have the watcher asked, and to find out which connection
    // is the watcher's, Qt would wait for the bus.
    for (const auto& name : {QStringLiteral("StatusNotifierHostRegistered"),
                             QStringLiteral("StatusNotifierHostUnregistered")})
        m_bus.connect(QString(), path(), service(), name, this, SLOT(ask()));
    ask();
}

void TrayHost::ask() {
    QDBusMessage call = QDBusMessage::createMethodCall(
        service(), path(), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    call << service() << QStringLiteral("IsStatusNotifierHostRegistered");
    call.setAutoStartService(false);
    auto* answer = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this,
            [this, answer, question = ++m_question] {
                answer->deleteLater();
                if (question != m_question)
                    return;
                const QDBusPendingReply<QDBusVariant> reply = *answer;
                setPresent(reply.isValid() && reply.value().variant().toBool());
            });
}

void TrayHost::forget() {
    ++m_question;
    setPresent(false);
}

void TrayHost::setPresent(bool isPresent) {
    if (std::exchange(m_isPresent, isPresent) != isPresent)
        Q_EMIT changed();
}
