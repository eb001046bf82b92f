#include "platform/DeadlineTimer.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <system_error>

#include <QSocketNotifier>
#include <sys/timerfd.h>
#include <unistd.h>

#include "core/Descriptor.h"

class DeadlineTimer::Implementation {
  public:
    explicit Implementation(int descriptor)
        : timer(descriptor), notifier(descriptor, QSocketNotifier::Read) {}

    Descriptor timer;
    QSocketNotifier notifier;
};

DeadlineTimer::DeadlineTimer() {
    const int descriptor = ::timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "no timer");
    m_implementation = std::make_unique<Implementation>(descriptor);
    connect(&m_implementation->notifier, &QSocketNotifier::activated, this, [this] {
        std::uint64_t expirations = 0;
        // A deadline that was moved meanwhile leaves nothing to read.
        if (::read(m_implementation->timer.number(), &expirations, sizeof expirations) ==
            sizeof expirations)
            Q_EMIT reached();
    });
}

DeadlineTimer::~DeadlineTimer() = default;

DeadlineTimer::Moment DeadlineTimer::now() {
    timespec time{};
    ::clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void DeadlineTimer::setDeadline(std::optional<Moment> deadline) {
    itimerspec setting{};
    if (deadline) {
        // All zeros would stop the timer.
        const auto count = std::max<std::int64_t>(deadline->count(), 1);
        setting.it_value.tv_sec = count / 1'000'000'000;
        setting.it_value.tv_nsec = count % 1'000'000'000;
    }
    ::timerfd_settime(m_implementation->timer.number(), TFD_TIMER_ABSTIME, &setting, nullptr);
}
