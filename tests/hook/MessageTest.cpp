#include "hook/Message.h"

#include <gtest/gtest.h>

#include "hook/Event.h"

namespace {

TEST(RequestHead, LeavesOutWhatIsNoHeader) {
    for (const char* client : {"", "a\r\nb: c", "\x7f"})
        EXPECT_EQ(hook::requestHead({}, 7, "", client).find("x-tamsell"), std::string::npos);
}

TEST(HoldOf, OnlyASurelyOtherEventIsNeverHeld) {
    const std::string name = R"({"hook_event_name":)";
    for (const std::string event : {R"("stop","a":{"hook_event_name":"Stop"}})",
                                    R"("PreToolUse","cut":"\ud83d\ud83d\ude00"})"})
        EXPECT_EQ(hook::holdOf(name + event), hook::Hold::never) << event;
    for (const std::string event :
         {R"("Stop"})", R"("Permission\u0052equest"})", R"("A","hook_event_name":"A"})",
          R"(["A"]})", R"("A"}])", "1}", ""})
        EXPECT_EQ(hook::holdOf(name + event), hook::Hold::perhaps) << event;
}

} // namespace
