#pragma once

#include <string>
#include <vector>

#include <QDBusContext>
#include <QObject>
#include <QStringList>

/// A file manager that does what the test says.
class FileManagerStandIn final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

  public:
    enum class Manner { shows, refuses, isSilent };

    Manner manner = Manner::shows;
    std::vector<std::string> shown;

  public Q_SLOTS:
    void ShowItems(const QStringList& items, const QString& /*startupID*/) { // NOLINT: its name
        shown.push_back(items.join(u' ').toStdString());
        if (manner == Manner::refuses)
            sendErrorReply(QDBusError::Failed);
        else if (manner == Manner::isSilent)
            setDelayedReply(true);
    }
};
