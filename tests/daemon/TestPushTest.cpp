#include "daemon/TestPush.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using std::chrono::system_clock;

TEST(TestPush, TellsTheOutcomeFromTheRelaysReport) {
    const system_clock::time_point sent{1'000'000ms};
    const auto report = [](double devices, double ok, double at) {
        return JSONValue(JSONObject{{"devices", devices}, {"ok", ok}, {"at", at}});
    };
    const struct {
        std::optional<JSONValue> report;
        bool connected;
        std::chrono::milliseconds passed;
        std::optional<testpush::Result> expected;
    } cases[] = {
        {report(2, 2, 1'000'000), true, 1s, testpush::Result{"送達 2/2 台裝置", true}},
        {report(3, 0, 1'000'001), true, 1s, testpush::Result{"推播送不出去（0/3）", false}},
        {report(0, 0, 1'000'001), true, 1s,
         testpush::Result{"還沒有手機註冊推播，先在手機上打開 Tamsell App", false}},
        {report(2, 2, 999'999), true, 4s, std::nullopt},
        {report(2, 2, 999'999), true, 4001ms, testpush::Result{"中繼沒有回應", false}},
        {std::nullopt, false, 4001ms, testpush::Result{"還沒連上中繼", false}},
        {JSONValue("rubbish"), true, 1s, std::nullopt},
        {JSONValue(JSONObject{{"devices", 2}, {"ok", 2}}), true, 1s, std::nullopt},
    };
    for (const auto& [lastPush, connected, passed, expected] : cases)
        EXPECT_EQ(testpush::result(lastPush, connected, sent, sent + passed), expected);
}
