#include "platform/QtScheduler.h"

#include <map>
#include <optional>
#include <utility>

#include <QTimer>

#include "platform/DeadlineTimer.h"

// All timers that fire once, behind one of the system's.
class QtScheduler::Queue final : public std::enable_shared_from_this<Queue> {
  public:
    using Order = std::multimap<DeadlineTimer::Moment, Once*>;

    Queue() {
        QObject::connect(&m_timer, &DeadlineTimer::reached, &m_timer, [this] { fire(); });
    }

    [[nodiscard]] Order::iterator add(std::chrono::milliseconds delay, Once& once) {
        const auto place = m_order.emplace(DeadlineTimer::now() + delay, &once);
        setDeadline();
        return place;
    }

    // The system's timer stays: one that fires for nothing costs less than to set it each time.
    void remove(Order::iterator place) { m_order.erase(place); }

  private:
    void fire();

    void setDeadline() {
        if (m_order.empty() || (m_deadline && *m_deadline <= m_order.begin()->first))
            return;
        m_deadline = m_order.begin()->first;
        m_timer.setDeadline(m_deadline);
    }

    Order m_order;
    std::optional<DeadlineTimer::Moment> m_deadline; // As the system has it.
    DeadlineTimer m_timer;
};

class QtScheduler::Once final : public Timer {
  public:
    Once(std::shared_ptr<Queue> queue, std::chrono::milliseconds delay,
         std::function<void()> action)
        : m_queue(std::move(queue)),
          m_action(std::move(action)),
          m_place(m_queue->add(delay, *this)) {}

    ~Once() override {
        if (m_place)
            m_queue->remove(*m_place);
    }

    // The queue has let go of it. It may be destroyed by its action.
    void run() {
        m_place.reset();
        const auto action = std::move(m_action);
        action();
    }

  private:
    const std::shared_ptr<Queue> m_queue;
    std::function<void()> m_action;
    std::optional<Queue::Order::iterator> m_place;
};

void QtScheduler::Queue::fire() {
    const auto self = shared_from_this(); // An action may destroy all who use this.
    m_deadline.reset();
    const auto now = DeadlineTimer::now();
    while (!m_order.empty() && m_order.begin()->first <= now) {
        Once* const once = m_order.begin()->second;
        m_order.erase(m_order.begin());
        once->run();
    }
    setDeadline();
}

class QtScheduler::Repeating final : public Timer {
  public:
    Repeating(std::chrono::milliseconds period, std::function<void()> action) {
        // Qt keeps the action alive while it runs, so that it may destroy this.
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, std::move(action));
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.start(period);
    }

  private:
    QTimer m_timer;
};

QtScheduler::QtScheduler() : m_queue(std::make_shared<Queue>()) {}

QtScheduler::~QtScheduler() = default;

std::unique_ptr<Scheduler::Timer> QtScheduler::after(std::chrono::milliseconds delay,
                                                     std::function<void()> action) {
    return std::make_unique<Once>(m_queue, delay, std::move(action));
}

std::unique_ptr<Scheduler::Timer> QtScheduler::every(std::chrono::milliseconds period,
                                                     std::function<void()> action) {
    return std::make_unique<Repeating>(period, std::move(action));
}
