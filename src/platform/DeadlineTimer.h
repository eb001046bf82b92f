#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include <QObject>

/// Fires once at a moment of a clock that goes on while the computer sleeps, so that what was due
/// during the sleep is due at once after it. Qt's own timers stand still meanwhile.
class DeadlineTimer final : public QObject {
    Q_OBJECT

  public:
    /// A moment, as the time since the computer was started, its sleep included.
    using Moment = std::chrono::nanoseconds;

    /// @throws std::system_error when the system has no timer to give
    DeadlineTimer();
    ~DeadlineTimer() override;

    [[nodiscard]] static Moment now();

    /// Replaces the deadline; nothing stops the timer. One in the past fires in the next turn.
    void setDeadline(std::optional<Moment> deadline);

  Q_SIGNALS:
    void reached();

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
