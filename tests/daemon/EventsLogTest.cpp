#include "daemon/EventsLog.h"

#include <gtest/gtest.h>

#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

namespace {

const JSONObject event{{"text", std::string(90, 'a')}};

TEST(EventsLog, LosesALineThatDoesNotFitAndSpoilsNoOther) {
    const TemporaryDirectory home;
    EventsLog log(home / "logs/events.jsonl");
    log.prepare();
    EXPECT_FALSE(log.lastWrite());
    log.append(event);
    EXPECT_FALSE(log.error());
    const std::string one = contentOf(home / "logs/events.jsonl");
    {
        const FileSizeLimit roomForHalfALine(one.size() + 50);
        log.append(event);
        EXPECT_EQ(log.error(), std::errc::no_space_on_device);
        EXPECT_EQ(contentOf(home / "logs/events.jsonl"), one);
    }
    {
        const FileSizeLimit full(one.size());
        log.append(event);
        EXPECT_EQ(log.error(), std::errc::file_too_large);
    }
    log.append(event);
    EXPECT_FALSE(log.error());
    EXPECT_EQ(contentOf(home / "logs/events.jsonl"), one + one);
    EXPECT_LE(std::chrono::system_clock::now() - log.lastWrite().value(), std::chrono::minutes(1));
}

} // namespace
