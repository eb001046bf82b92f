#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

/// Whether the desktop's user wants windows light or dark, as the desktop's portal tells it
/// (flatpak.github.io/xdg-desktop-portal, org.freedesktop.portal.Settings: "color-scheme" of
/// "org.freedesktop.appearance"). It may change at any time.
///
/// The portal is asked without waiting for it. Without one, or a session bus, there is no wish.
class ColorScheme final : public QObject {
    Q_OBJECT

  public:
    enum class Wish { none, dark, light };

    ColorScheme();
    explicit ColorScheme(QDBusConnection bus);

    /// As far as is known; none before the first answer.
    [[nodiscard]] Wish wish() const { return m_wish; }

  Q_SIGNALS:
    /// `wish` has another value.
    void changed();

  private Q_SLOTS:
    // A slot, because Qt connects signals of the bus by name alone.
    void take(const QDBusMessage& signal);

  private:
    void setWish(const QVariant& value);

    Wish m_wish = Wish::none;
};
