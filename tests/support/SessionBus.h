#pragma once

#include <string>

#include <QDBusConnection>
#include <QStringList>
#include <gtest/gtest.h>

#include "support/Process.h"
#include "support/TemporaryDirectory.h"
#include "support/Until.h"

/// A session bus of one test alone.
class SessionBus {
  public:
    SessionBus() {
        EXPECT_TRUE(until([this] { return m_daemon.output().find('\n') != std::string::npos; }));
        m_address = m_daemon.output().substr(0, m_daemon.output().find('\n'));
    }
    ~SessionBus() {
        for (const QString& name : m_connections)
            QDBusConnection::disconnectFromBus(name);
    }
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// A connection of that name, which lasts as long as the bus.
    [[nodiscard]] QDBusConnection connect(const QString& name) {
        m_connections << name;
        return QDBusConnection::connectToBus(QString::fromStdString(m_address), name);
    }

  private:
    TemporaryDirectory m_directory; // It leaves its socket behind.
    Process m_daemon{{.program = "/usr/bin/dbus-daemon",
                      .arguments = {"dbus-daemon", "--session", "--nofork", "--nopidfile",
                                    "--address=unix:path=" + (m_directory / "bus").string(),
                                    "--print-address=1"}}};
    std::string m_address;
    QStringList m_connections;
};
