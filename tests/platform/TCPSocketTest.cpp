#include "platform/TCPSocket.h"

#include <string_view>

#include <gtest/gtest.h>

namespace {

TEST(TCPAddress, KnowsLoopbackAddresses) {
    const struct {
        const char* literal;
        bool isLoopback;
    } cases[] = {
        {"127.0.0.1", true},
        {"127.255.255.254", true},
        {"126.255.255.255", false},
        {"128.0.0.1", false},
        {"0.0.0.0", false},
        {"::1", true},
        {"::", false},
        {"::2", false},
        {"::ffff:127.0.0.1", true},
        {"::ffff:127.9.9.9", true},
        {"::ffff:10.0.0.1", false},
        {"::127.0.0.1", false},
        {"2001:db8::7f00:1", false},
    };
    for (const auto& [literal, isLoopback] : cases) {
        const auto address = tcp::Address::parse(literal, 80);
        ASSERT_TRUE(address.has_value()) << literal;
        EXPECT_EQ(address->isLoopback(), isLoopback) << literal;
        EXPECT_EQ(address->port(), 80);
    }
    EXPECT_FALSE(tcp::Address().isLoopback());
}

TEST(TCPAddress, IsNeverAName) {
    using namespace std::string_view_literals;
    for (const auto text : {""sv, "localhost"sv, "127.1"sv, "1"sv, "127.0.0.1 "sv, "[::1]"sv,
                            "127.0.0.1\0.example"sv}) {
        EXPECT_FALSE(tcp::Address::parse(text, 80).has_value()) << text;
    }
}

} // namespace
