#include "hook/HookConfig.h"

#include <gtest/gtest.h>

#include "core/ConfigFile.h"
#include "core/JSONValue.h"
#include "hook/Endpoint.h"
#include "hook/Event.h"
#include "hook/Message.h"
#include "hook/TestServer.h"

namespace {

using namespace std::string_literals;

struct Read {
    std::string bytes;
    std::string host;
    double port;
};

constexpr const char* defaultHost = "127.0.0.1";

std::string nested(int arrays) {
    const auto count = static_cast<std::size_t>(arrays);
    return R"({"port":5,"a":)" + std::string(count, '[') + std::string(count, ']') + "}";
}

TEST(HookConfig, readsTheTwoSettings) {
    const std::vector<Read> cases{
        {R"({"port":9000})", defaultHost, 9000},
        {" \t\r\n{ \"host\" : \"::1\" , \"port\" : 8.787e3 }\n", "::1", 8787},
        {R"({"p\u006Frt":-1.5E+0,"\u0068ost":"a\/\"\\\b\f\n\r\t\u00e9\u20ac"})",
         "a/\"\\\b\f\n\r\t\u00e9\u20ac", -1.5},
        {R"({"host":"\uD83D\uDE00\u0000"})", "\U0001F600\0"s, 8787},
        {R"({"port":1,"host":"a","port":2,"host":"b"})", "b", 2},
        {R"({"port":1,"port":null,"host":"a","host":[]})", defaultHost, 8787},
        {R"({"port":"1","host":1})", defaultHost, 8787},
        {R"({"a":{"port":1,"host":"x"},"b":[{"port":2}],"Port":3,"port ":4})", defaultHost, 8787},
        {R"({"port":9007199254740993.00000000000000000000000001})", defaultHost,
         9007199254740994.0},
        {R"({"port":1e-400})", defaultHost, 0},
        {nested(json::maximumDepth - 1), defaultHost, 5},
    };
    for (const Read& read : cases) {
        const auto config = hook::HookConfig::parse(read.bytes);
        EXPECT_EQ(config.host, read.host) << read.bytes;
        EXPECT_EQ(config.port, read.port) << read.bytes;
    }
}

TEST(HookConfig, aDamagedFileGivesTheDefaults) {
    // Each one but for its fault would move the host.
    const std::vector<std::string> values{
        "01",
        "1.",
        ".5",
        "+1",
        "-",
        "1e",
        "1e+",
        "1e400",
        "0x1",
        "NaN",
        "tru",
        "nulll",
        "[1,]",
        "[,1]",
        "[1 2]",
        "{\"a\"}",
        "{a:1}",
        "{\"a\":1,}",
        "[",
        "\"",
        "\"\\x\"",
        "\"\\u12g4\"",
        "\"\\",
        "\"\n\"",
        "\"\\ud800\"",
        "\"\\udc00\"",
        "\"\\ud800\\ud800\"",
        "\"\xff\"",
        "\"\xc0\x80\"",
        "\"\xe0\x9f\xbf\"",
        "\"\xed\xa0\x80\"",
        "\"\xf4\x90\x80\x80\"",
        "\"\xe2\x82\"",
        "-1" + std::string(309, '0'),
        "\"\0\""s,
        "",
    };
    std::vector<std::string> texts{
        "",
        " ",
        "null",
        R"([{"host":"moved"}])",
        R"({"host":"moved"} x)",
        R"({"host":"moved"}{})",
        "\xEF\xBB\xBF{\"host\":\"moved\"}",
        R"({"host":"moved")",
        "{\"host\":\"moved\"}\0"s,
        R"({"host":"moved",)" + nested(json::maximumDepth).substr(1),
        R"({"host":"moved"})" + std::string(ConfigFile::maximumSize, ' '),
    };
    for (const std::string& value : values)
        texts.push_back(R"({"host":"moved","a":)" + value + "}");
    for (const std::string& text : texts) {
        EXPECT_EQ(hook::HookConfig::parse(text).host, defaultHost) << text.substr(0, 80);
    }
    EXPECT_EQ(hook::HookConfig::parse(R"({"host":"moved","a":1})").host, "moved");
}

TEST(Candidates, areLiteralAddressesAndRealPorts) {
    const auto texts = [](const std::string& host, double port) {
        std::string all;
        for (const hook::Endpoint& to : hook::candidates(host, port)) {
            all += headerOf(hook::requestHead(to, 0, "", ""), "host: ") + " ";
        }
        return all;
    };
    EXPECT_EQ(texts("127.0.0.1", 8787.9), "127.0.0.1:8787 ");
    EXPECT_EQ(texts("127.8.9.1", 65535), "127.8.9.1:65535 ");
    EXPECT_EQ(texts("localhost", 1), "127.0.0.1:1 [::1]:1 ");
    EXPECT_EQ(texts("0.0.0.0", 1), "127.0.0.1:1 ");
    EXPECT_EQ(texts("::", 1), "[::1]:1 127.0.0.1:1 ");
    EXPECT_EQ(texts("::ffff:127.0.0.1", 1), "127.0.0.1:1 ");
    EXPECT_EQ(texts("fd00::2", 1), "[fd00::2]:1 ");
    for (const std::string& host : {"example.org"s, ""s, "127.0.0.1 "s, "127.0.0.1\0"s, "127.1"s})
        EXPECT_EQ(texts(host, 1), "") << host;
    for (const double port : {0.0, 0.9, -1.0, 65536.0, 1e300, -1e300})
        EXPECT_EQ(texts("127.0.0.1", port), "") << port;
}

TEST(HoldOf, onlyASurelyOtherEventIsNeverHeld) {
    for (const char* event : {
             R"({"hook_event_name":"PreToolUse"})",
             R"({"hook_event_name":"stop","nested":{"hook_event_name":"Stop"}})",
             R"({"hook_event_name":"PreToolUse","cut":"\ud83d"})",
             R"({"hook_event_name":"PreToolUse","cut":"\ud83d\ud83d\ude00\udc00"})",
         })
        EXPECT_EQ(hook::holdOf(event), hook::Hold::never) << event;
    for (const char* event : {
             R"({"hook_event_name":"Stop"})",
             R"({"hook_event_name":"Permission\u0052equest"})",
             R"({"hook_event_name":"PreToolUse","hook_event_name":"PreToolUse"})",
             R"({"hook_event_name":["PreToolUse"]})",
             R"({"hook_event_name":"PreToolUse"}])",
             R"({"tool":1})",
             "",
         })
        EXPECT_EQ(hook::holdOf(event), hook::Hold::perhaps) << event;
}

} // namespace
