#pragma once

#include <cstdint>

#include <QDBusConnection>
#include <QObject>

/// Whether something on the session bus shows status icons: a host that is registered with the
/// StatusNotifierWatcher (freedesktop.org, "StatusNotifierItem"; on the bus it is
/// org.kde.StatusNotifierWatcher). It comes and goes with the desktop's panel.
///
/// The watcher is asked without waiting for it, and never started. Without a session bus there is
/// never a host.
class TrayHost final : public QObject {
    Q_OBJECT

  public:
    TrayHost();
    explicit TrayHost(QDBusConnection bus);

    /// As far as is known; false before the first answer.
    [[nodiscard]] bool isPresent() const { return m_isPresent; }

  Q_SIGNALS:
    /// `isPresent` has another value.
    void changed();

  private Q_SLOTS:
    void ask(); ///< a slot, because Qt connects signals of the bus by name alone

  private:
    void forget();
    void setPresent(bool isPresent);

    QDBusConnection m_bus;
    bool m_isPresent = false;
    std::uint64_t m_question = 0; ///< the last one, whose answer alone counts
};
