#include "hook/Message.h"

#include <gtest/gtest.h>

#include "hook/Event.h"

namespace {

using Progress = hook::ReplyReader::Progress;

TEST(ReplyReader, ReadsAReplyHoweverItIsCut) {
    const std::string reply = "HTTP/1.1 200 OK\r\nContent-LENGTH:\t 3 \r\nx: y\r\n\r\na\r\nbeyond";
    for (std::size_t cut = 0; cut < reply.size() - 6; ++cut) {
        hook::ReplyReader reader;
        ASSERT_EQ(reader.add(std::string_view(reply).substr(0, cut)), Progress::incomplete) << cut;
        ASSERT_EQ(reader.add(std::string_view(reply).substr(cut)), Progress::complete) << cut;
        ASSERT_EQ(reader.body(), "a\r\n");
    }
}

TEST(ReplyReader, RefusesWhatIsNoCountedSuccess) {
    for (const std::string head :
         {"403 Forbidden\r\ncontent-length: 1", "2000 OK\r\ncontent-length: 1", "200 OK",
          "200 OK\r\ncontent-length: +1", "200 OK\r\ncontent-length: 100663297",
          "200 OK\r\ncontent-length: 1\r\ncontent-length: 12",
          "200 OK\r\ncontent-length: 1\r\nTransfer-Encoding: chunked",
          "200 OK\r\nno colon\r\ncontent-length: 1"})
        EXPECT_EQ(hook::ReplyReader().add("HTTP/1.1 " + head + "\r\n\r\nb"), Progress::refused)
            << head;
    const std::string endless(hook::ReplyReader::maximumHead, 'x');
    EXPECT_EQ(hook::ReplyReader().add("HTTP/1.1 200 OK\r\n" + endless), Progress::refused);
}

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
