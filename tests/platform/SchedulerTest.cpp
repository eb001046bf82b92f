#include <functional>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/QtScheduler.h"
#include "support/Eventually.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(QtScheduler, RunsActionsInTheOrderOfTheirTimesAndNoneThatWasStopped) {
    QtScheduler scheduler;
    std::vector<int> order;
    std::unique_ptr<Scheduler::Timer> stoppedLater;
    const auto third = scheduler.after(30ms, [&] { order.push_back(3); });
    const auto first = scheduler.after(0ms, [&] { order.push_back(1); });
    const auto second = scheduler.after(10ms, [&] {
        order.push_back(2);
        stoppedLater.reset();
    });
    stoppedLater = scheduler.after(20ms, [&] { order.push_back(0); });
    scheduler.after(0ms, [&] { order.push_back(0); }).reset();
    ASSERT_TRUE(eventually([&] { return order.size() >= 3; }));
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(QtScheduler, LetsATimerEndAndReplaceItselfInItsAction) {
    auto scheduler = std::make_unique<QtScheduler>();
    std::unique_ptr<Scheduler::Timer> once;
    std::unique_ptr<Scheduler::Timer> repeating;
    int runs = 0;
    int repetitions = 0;
    // The shared number is looked at after the timer that holds the action is gone.
    const std::function<void()> again = [&, one = std::make_shared<int>(1)] {
        const auto last = std::move(once);
        if ((runs += *one) < 3)
            once = scheduler->after(1ms, again);
        else
            scheduler.reset();
    };
    once = scheduler->after(1ms, again);
    repeating = scheduler->every(1ms, [&, one = std::make_shared<int>(1)] {
        if (++repetitions == 3)
            repeating.reset();
        repetitions += *one - 1;
    });
    ASSERT_TRUE(eventually([&] { return runs == 3 && repetitions == 3; }));
    runDueEvents();
    EXPECT_TRUE(!scheduler && !repeating && runs == 3 && repetitions == 3);
}

} // namespace
