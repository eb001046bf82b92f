#include "http/HTTPRequestParser.h"

#include <chrono>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

HTTPRequest parsed(std::string_view bytes) {
    HTTPRequestParser parser;
    auto request = parser.feed(bytes);
    EXPECT_TRUE(request.has_value()) << bytes;
    return request.value_or(HTTPRequest());
}

TEST(HTTPRequestParser, ReadsTheSameRequestHoweverItIsSplit) {
    const std::string head = "pOST  /a%20b?x=1&y   HTTP/1.1\r\n"
                             "Content-LENGTH: +7 \r\n"
                             "no colon here\r\n"
                             "X-Twice: first\r\n"
                             "x-twice:\tlast: one\t\r\n"
                             "x-bytes: \xFFok\xC3\r\n"
                             "\r\n";
    const std::string request = head + "\r\n\r\n\0ab"s;
    const auto expectRight = [](const HTTPRequest& got) {
        EXPECT_EQ(got.method, "pOST");
        EXPECT_EQ(got.path, "/a b");
        EXPECT_EQ(got.query.size(), 2U);
        EXPECT_EQ(got.headers.size(), 3U);
        EXPECT_EQ(*got.header("x-twice"), "last: one");
        EXPECT_EQ(*got.header("x-bytes"), "\uFFFDok\uFFFD");
        EXPECT_EQ(got.header("no colon here"), nullptr);
        EXPECT_EQ(got.body, "\r\n\r\n\0ab"s);
    };
    expectRight(parsed(request + "GET /second HTTP/1.1\r\n\r\n"));
    for (std::size_t split = 1; split < request.size(); ++split) {
        HTTPRequestParser parser;
        ASSERT_FALSE(parser.feed(request.substr(0, split)).has_value()) << split;
        const auto got = parser.feed(request.substr(split));
        ASSERT_TRUE(got.has_value()) << split;
        expectRight(*got);
    }
    HTTPRequestParser parser;
    for (const char& byte : request.substr(0, request.size() - 1)) {
        ASSERT_FALSE(parser.feed({&byte, 1}).has_value());
    }
    const auto got = parser.feed(request.substr(request.size() - 1));
    ASSERT_TRUE(got.has_value());
    expectRight(*got);
}

TEST(HTTPRequestParser, ReadsOnlyADecimalContentLength) {
    const struct {
        const char* header;
        const char* body;
    } cases[] = {
        {"content-length: 5", "12345"},
        {"CONTENT-length:5", "12345"},
        {"content-length: 005", "12345"},
        {"content-length: 2\r\ncontent-length: 3", "123"},
        {"content-length : 5", ""}, // That is a header of another name.
        {"content-length: 5x", ""},
        {"content-length: 0x5", ""},
        {"content-length: 5 5", ""},
        {"content-length: +-5", ""},
        {"content-length: +", ""},
        {"content-length: -5", ""},
        {"content-length: 99999999999999999999", ""},
        {"content-length:", ""},
        {"x: 5", ""},
    };
    for (const auto& [header, body] : cases) {
        EXPECT_EQ(parsed("POST / HTTP/1.1\r\n"s + header + "\r\n\r\n1234567").body, body) << header;
    }
}

TEST(HTTPRequestParser, TakesAnUnreadableTargetAsTheRoot) {
    const auto request = parsed("GET /%zz?token=x HTTP/1.1\r\n\r\n");
    EXPECT_EQ(request.path, "/");
    EXPECT_TRUE(request.query.empty());
}

TEST(HTTPRequestParser, NeverMakesARequestOfAShortRequestLine) {
    for (const char* const line : {"", "GET", " GET ", "GET\t/"}) {
        HTTPRequestParser parser;
        EXPECT_FALSE(parser.feed(line + "\r\n\r\nGET / HTTP/1.1\r\n\r\n"s).has_value()) << line;
        EXPECT_FALSE(parser.feed("GET / HTTP/1.1\r\n\r\n").has_value()) << line;
    }
}

TEST(HTTPRequestParser, GivesUpBeyondItsMaximum) {
    const std::string piece(65'536, 'a');
    // Within the header, after a request line that is none, and within a body.
    for (const std::string start :
         {"", "GET\r\n\r\n", "POST / HTTP/1.1\r\ncontent-length: 99999999\r\n\r\n"}) {
        HTTPRequestParser parser;
        std::size_t size = start.size();
        EXPECT_FALSE(parser.feed(start).has_value());
        while (size + piece.size() <= HTTPRequestParser::maximumSize) {
            ASSERT_FALSE(parser.feed(piece).has_value());
            size += piece.size();
        }
        EXPECT_FALSE(parser.feed(piece.substr(0, HTTPRequestParser::maximumSize - size)));
        EXPECT_FALSE(parser.isOverfull());
        EXPECT_FALSE(parser.feed("a").has_value());
        EXPECT_TRUE(parser.isOverfull());
    }
}

TEST(HTTPRequestParser, NeedsLinearTimeByteByByte) {
    // Looking through all bytes again for each new one would take minutes.
    constexpr std::size_t size = 4 * 1024 * 1024;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    const std::string headerStart = "GET / HTTP/1.1\r\nx: ";
    const std::string bodyStart = "GET / HTTP/1.1\r\ncontent-length: 9999999\r\n\r\n";
    for (const auto& begin : {headerStart, bodyStart}) {
        HTTPRequestParser parser;
        EXPECT_FALSE(parser.feed(begin).has_value());
        for (std::size_t i = 0; i < size; ++i) {
            ASSERT_FALSE(parser.feed("\r").has_value());
            ASSERT_TRUE(i % 4096 != 0 || std::chrono::steady_clock::now() < deadline) << i;
        }
    }
}

TEST(HTTPRequest, HasAJSONObjectOnlyWhenItsBodyIsOne) {
    HTTPRequest request;
    for (const char* const body : {"", "[1]", "\"a\"", "{\"a\":", "{} x", "null"}) {
        request.body = body;
        EXPECT_TRUE(request.jsonObject().empty()) << body;
    }
    request.body = " {\"a\": \"b\"}\n";
    ASSERT_NE(request.jsonObject().find("a"), nullptr);
    EXPECT_EQ(*request.jsonObject().find("a"), JSONValue("b"));
}

} // namespace
