#include "hook/Message.h"

#include <gtest/gtest.h>

namespace {

using Progress = hook::ReplyReader::Progress;

TEST(ReplyReader, readsAReplyHoweverItIsCut) {
    const std::string reply = "HTTP/1.1 200 OK\r\nContent-LENGTH:\t 3 \r\nx: y\r\n\r\na\r\nbeyond";
    const std::size_t end = reply.size() - 6;
    for (std::size_t cut = 0; cut < end; ++cut) {
        hook::ReplyReader reader;
        ASSERT_EQ(reader.add(std::string_view(reply).substr(0, cut)), Progress::incomplete) << cut;
        ASSERT_EQ(reader.add(std::string_view(reply).substr(cut)), Progress::complete) << cut;
        ASSERT_EQ(reader.body(), "a\r\n");
    }
    hook::ReplyReader empty;
    EXPECT_EQ(empty.add("HTTP/1.0 200\r\ncontent-length: 0\r\n\r\n"), Progress::complete);
    EXPECT_EQ(empty.body(), "");
}

TEST(ReplyReader, refusesWhatIsNoCountedSuccess) {
    for (const char* head : {
             "HTTP/1.1 403 Forbidden\r\ncontent-length: 1",
             "HTTP/1.1 2000 OK\r\ncontent-length: 1",
             "HTTP/1.1 100 Continue\r\ncontent-length: 1",
             "HTTP/2 200 OK\r\ncontent-length: 1",
             "POST /hook\r\ncontent-length: 1",
             "x\r\ncontent-length: 1",
             "HTTP/1.1 200 OK",
             "HTTP/1.1 200 OK\r\ncontent-length: +1",
             "HTTP/1.1 200 OK\r\ncontent-length:",
             "HTTP/1.1 200 OK\r\ncontent-length: 16777217",
             "HTTP/1.1 200 OK\r\ncontent-length: 99999999999999999999",
             "HTTP/1.1 200 OK\r\ncontent-length: 1\r\ncontent-length: 12",
             "HTTP/1.1 200 OK\r\ncontent-length: 1\r\nTransfer-Encoding: chunked",
             "HTTP/1.1 200 OK\r\nno colon\r\ncontent-length: 1",
         }) {
        hook::ReplyReader reader;
        (void)reader.add(head);
        EXPECT_EQ(reader.add("\r\n\r\nb"), Progress::refused) << head;
    }
    hook::ReplyReader endless;
    EXPECT_EQ(endless.add("HTTP/1.1 200 OK\r\n"), Progress::incomplete);
    EXPECT_EQ(endless.add(std::string(hook::ReplyReader::maximumHead, 'x')), Progress::refused);
}

TEST(RequestHead, leavesOutWhatIsNoHeader) {
    const hook::Endpoint to{.address = {127, 0, 0, 1}, .port = 80};
    EXPECT_EQ(hook::requestHead(to, 7, "a b?", "codex"),
              "POST /hook HTTP/1.1\r\nhost: 127.0.0.1:80\r\ncontent-type: application/json\r\n"
              "content-length: 7\r\nx-tamsell-parent: YSBiPw==\r\nx-tamsell-client: codex\r\n"
              "connection: close\r\n\r\n");
    for (const char* client : {"", "a\r\nb: c", "\x7f"})
        EXPECT_EQ(hook::requestHead(to, 7, "", client).find("x-tamsell"), std::string::npos);
}

} // namespace
