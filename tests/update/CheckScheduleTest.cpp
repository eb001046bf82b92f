#include "update/CheckSchedule.h"

#include <fstream>

#include <gtest/gtest.h>

#include "support/FakeScheduler.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;

struct CheckScheduleTest : testing::Test {
    TemporaryDirectory directory;
    std::filesystem::path file = directory / "update.json";
    FakeScheduler scheduler;
    int checks = 0;
    int lines = 0;

    /// A run of the program.
    std::unique_ptr<CheckSchedule> run() {
        return std::make_unique<CheckSchedule>(
            file, scheduler, [this] { return scheduler.now(); },
            [this](const LogMessage&) { ++lines; }, [this] { ++checks; });
    }
    /// How many checks a run of that length makes.
    int checksIn(Milliseconds time) {
        const int before = checks;
        const auto schedule = run();
        scheduler.pass(time);
        return checks - before;
    }
};

TEST_F(CheckScheduleTest, ChecksOnceADayHoweverOftenTheProgramStarts) {
    EXPECT_EQ(checksIn(59s), 0);
    EXPECT_EQ(checksIn(60s), 1);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(checksIn(23h), 0);
    for (int start = 0; start < 12; ++start)
        EXPECT_LE(checksIn(15min), 1);
    EXPECT_EQ(checks, 2) << "remembered across runs";
    EXPECT_NEAR(checksIn(240h), 9.6, 0.7) << "every 24 to 26 hours";
}

TEST_F(CheckScheduleTest, ADamagedFileAndAWrongClockNeitherStopNorHurryIt) {
    const std::string now = std::to_string(scheduler.now().time_since_epoch() / 1ms);
    for (const std::string& content :
         {std::string(), std::string("{"), std::string("[]"), std::string(R"({"nextCheck":"1"})"),
          std::string(R"({"nextCheck":1e300})"), std::string(R"({"nextCheck":-1e300})"),
          R"({"nextCheck":)" + now + "00}"}) {
        std::ofstream(file) << content;
        EXPECT_EQ(checksIn(1h), 1) << content;
        EXPECT_EQ(checksIn(1h), 0) << content;
    }
    scheduler.jump(-24h * 365);
    EXPECT_EQ(checksIn(1h), 1) << "a clock set back";
    EXPECT_EQ(checksIn(1h), 0);
    EXPECT_EQ(lines, 0);

    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_EQ(checksIn(12h), 1) << "nothing can be remembered";
    EXPECT_EQ(lines, 1);
}

} // namespace
