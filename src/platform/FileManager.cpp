#include "platform/FileManager.h"

#include <utility>

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFile>

namespace {

QUrl urlOf(const std::filesystem::path& path) {
    return QUrl::fromLocalFile(QFile::decodeName(path.c_str()));
}

} // namespace

FileManager::FileManager()
    : FileManager(QDBusConnection::sessionBus(),
                  [](const QUrl& folder) { QDesktopServices::openUrl(folder); }) {}

FileManager::FileManager(QDBusConnection bus, OpenFolder openFolder,
                         std::chrono::milliseconds patience)
    : m_bus(std::move(bus)), m_openFolder(std::move(openFolder)), m_patience(patience) {}

void FileManager::showInFolder(const std::filesystem::path& file) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    const QString noStartupID;
    call << QStringList{QString::fromLatin1(urlOf(file).toEncoded())} << noStartupID;
    auto* watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(call, static_cast<int>(m_patience.count())), &m_calls);
    const auto finished = [this, watcher, folder = urlOf(file.parent_path())] {
        watcher->deleteLater();
        if (watcher->isError())
            m_openFolder(folder);
    };
    // Without a bus it fails at once, and then no signal comes.
    if (watcher->isFinished())
        QMetaObject::invokeMethod(&m_calls, finished, Qt::QueuedConnection);
    else
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &m_calls, finished);
}
