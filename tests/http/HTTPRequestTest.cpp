#include <chrono>
#include <map>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "http/HTTPRequestParser.h"
#include "http/RequestTarget.h"

namespace {

using namespace std::string_literals;

TEST(HTTPRequestParser, ReadsTheSameRequestHoweverItIsSplit) {
    const std::string request = "pOST  /a%20b?x=1&y   HTTP/1.1\r\n"
                                "Content-LENGTH: +7 \r\n"
                                "no colon here\r\n"
                                "X-Twice: first\r\n"
                                "x-twice:\tlast: one\t\r\n"
                                "x-bytes: \xFFok\xC3\r\n"
                                "\r\n\r\n\r\n\0ab"s;
    for (std::size_t split = 1; split < request.size(); ++split) {
        HTTPRequestParser parser;
        ASSERT_FALSE(parser.feed(request.substr(0, split)).has_value()) << split;
        const auto got = parser.feed(request.substr(split) + "GET /second HTTP/1.1\r\n\r\n");
        ASSERT_TRUE(got.has_value()) << split;
        EXPECT_EQ(got->method, "pOST");
        EXPECT_EQ(got->path, "/a b");
        EXPECT_EQ(got->query.size(), 2U);
        EXPECT_EQ(got->headers.size(), 3U);
        EXPECT_EQ(*got->header("x-twice"), "last: one");
        EXPECT_EQ(*got->header("x-bytes"), "\uFFFDok\uFFFD");
        EXPECT_EQ(got->body, "\r\n\r\n\0ab"s);
    }
}

TEST(HTTPRequestParser, NeedsLinearTimeByteByByte) {
    // Looking through all bytes again for each new one would take minutes.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (const char* const start :
         {"GET / HTTP/1.1\r\nx: ", "GET / HTTP/1.1\r\ncontent-length: 9999999\r\n\r\n"}) {
        HTTPRequestParser parser;
        EXPECT_FALSE(parser.feed(start).has_value());
        for (int i = 0; i < 4 * 1024 * 1024; ++i) {
            ASSERT_FALSE(parser.feed("\r").has_value());
            ASSERT_TRUE(i % 4096 != 0 || std::chrono::steady_clock::now() < deadline) << i;
        }
    }
}

TEST(RequestTarget, HasADecodedPathAndQuery) {
    using Query = std::map<std::string, std::string, std::less<>>;
    const std::tuple<const char*, const char*, Query> cases[] = {
        {"/state?token=a%20b&x", "/state", {{"token", "a b"}, {"x", ""}}},
        {"/?a=1&a=b+c&%3D=/c%26d", "/", {{"a", "b+c"}, {"=", "/c&d"}}},
        {"/%E6%9C%AA/%2Fx%3Fy#b?c=d", "/\u672a//x?y", {}},
        {"http://u:p@[::1]:80/path?x=1", "/path", {{"x", "1"}}},
    };
    for (const auto& [reference, path, query] : cases) {
        const auto target = RequestTarget::parse(reference);
        ASSERT_TRUE(target.has_value()) << reference;
        EXPECT_EQ(target->path, path) << reference;
        EXPECT_EQ(target->query, query) << reference;
    }
    for (const char* const reference : {"/%2", "/%zz", "/?b=%4", "/%ED%A0%80", "/?b=%C3", "/a|b"})
        EXPECT_FALSE(RequestTarget::parse(reference).has_value()) << reference;
}

} // namespace
