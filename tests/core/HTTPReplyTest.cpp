#include "core/HTTPReply.h"

#include <gtest/gtest.h>

namespace {

using Progress = HTTPReplyReader::Progress;

TEST(HTTPReplyReader, ReadsAReplyHoweverItIsCut) {
    const std::string reply = "HTTP/1.1 200 OK\r\nContent-LENGTH:\t 3 \r\nx: y\r\n\r\na\r\nbeyond";
    for (std::size_t cut = 0; cut < reply.size() - 6; ++cut) {
        HTTPReplyReader reader;
        ASSERT_EQ(reader.add(std::string_view(reply).substr(0, cut)), Progress::incomplete) << cut;
        ASSERT_EQ(reader.add(std::string_view(reply).substr(cut)), Progress::complete) << cut;
        ASSERT_EQ(reader.body(), "a\r\n");
    }
}

TEST(HTTPReplyReader, RefusesWhatIsNoReply) {
    for (const std::string head :
         {"2000 OK\r\ncontent-length: 1", "2x0 OK\r\ncontent-length: 1",
          "200 OK\r\ncontent-length: +1", "200 OK\r\ncontent-length: 100663297",
          "200 OK\r\ncontent-length: 1\r\ncontent-length: 12",
          "200 OK\r\ncontent-length: 1\r\nTransfer-Encoding: chunked",
          "200 OK\r\nno colon\r\ncontent-length: 1"})
        EXPECT_EQ(HTTPReplyReader().add("HTTP/1.1 " + head + "\r\n\r\nb"), Progress::refused)
            << head;
    const std::string endless(HTTPReplyReader::maximumHead, 'x');
    EXPECT_EQ(HTTPReplyReader().add("HTTP/1.1 200 OK\r\n" + endless), Progress::refused);
}

TEST(HTTPReplyHead, FindsAFieldWhateverItsCase) {
    const auto head = HTTPReplyHead::read("HTTP/1.1 426 Upgrade Required\r\nupdate: no\r\n"
                                          "DATE:\t Sun, 06 Nov 1994 08:49:37 GMT \r\ndate: no");
    ASSERT_TRUE(head);
    EXPECT_EQ(head->status, 426);
    EXPECT_EQ(head->value("date"), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_FALSE(head->value("dat"));
}

TEST(HTTPReplyReader, ABodyWithoutALengthGoesOn) {
    HTTPReplyReader reader;
    EXPECT_EQ(reader.add("HTTP/1.1 200 OK\r\n\r\nda"), Progress::endless);
    EXPECT_EQ(reader.add("ta"), Progress::endless);
    EXPECT_EQ(reader.body(), "data");
    reader.dropFromBody(3);
    EXPECT_EQ(reader.body(), "a");
}

} // namespace
