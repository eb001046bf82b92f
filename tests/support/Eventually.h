#pragma once

#include <chrono>

#include <QCoreApplication>
#include <QTimer>

/// Runs Qt's event loop until the condition holds. False when it did not within the time.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition,
                              std::chrono::milliseconds time = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    QTimer wakeUp; // For conditions that become true outside of the loop.
    wakeUp.start(std::chrono::milliseconds(1));
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

/// Runs Qt's event loop until it has done what is due by now, for conditions that must not come.
inline void runDueEvents() {
    for (int turn = 0; turn < 20; ++turn) {
        bool isOver = false;
        QTimer::singleShot(0, [&isOver] { isOver = true; });
        while (!isOver)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}
