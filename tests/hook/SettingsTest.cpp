#include "hook/Settings.h"

#include <sys/stat.h>

#include "core/ConfigFile.h"
#include "hook/HookRun.h"
#include "hook/Message.h"

namespace {

TEST(ConfigPath, IsTheChosenOneThenOursThenTheUsers) {
    const TemporaryDirectory scratch;
    hook::Surroundings surroundings;
    surroundings.executable = scratch / "bin/tamsell-hook";
    surroundings.home = "/variable";
    surroundings.userDatabase = scratch.put(
        "passwd", "root:x:0:0:root:/root:/bin/sh\nx:y:43\nother:x:421:42::/wrong:/bin/sh\n"
                  "nohome:x:44:44:::/bin/sh\nme:x:42:42:M, E:/home/of me:/bin/sh\n"
                  "last:x:45:45::/no/line/feed");
    const auto pathFor = [&](uid_t user) {
        surroundings.user = user;
        return hook::configPath(surroundings);
    };
    EXPECT_EQ(pathFor(42), "/home/of me/.tamsell/config.json");
    EXPECT_EQ(pathFor(45), "/no/line/feed/.tamsell/config.json");
    for (const uid_t user : {43U, 44U, 4U})
        EXPECT_EQ(pathFor(user), "/variable/.tamsell/config.json") << user;
    const std::string beside = scratch.put("bin/config.json", "");
    EXPECT_EQ(pathFor(42), beside);
    surroundings.chosen = "chosen";
    EXPECT_EQ(pathFor(42), "chosen/config.json");
    surroundings.chosen = "";
    EXPECT_EQ(pathFor(42), "./config.json");
}

TEST(ReadSettings, NamesTheOwnerWhateverTheFileIs) {
    const TemporaryDirectory scratch;
    const auto read = [&](std::string_view name) {
        const hook::Settings settings = hook::readSettings(scratch / name, 4242);
        return std::pair(settings.config.port, settings.owner);
    };
    scratch.put("good", R"({"port":9})");
    scratch.put("large", R"({"port":9})" + std::string(ConfigFile::maximumSize, ' '));
    scratch.put("directory/file", "");
    ASSERT_EQ(::mkfifo((scratch / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(read("good"), std::pair(9.0, ::getuid()));
    EXPECT_EQ(read("absent"), std::pair(8787.0, uid_t{4242}));
    for (const char* name : {"large", "directory", "pipe"})
        EXPECT_EQ(read(name), std::pair(8787.0, ::getuid())) << name;
}

// That it agrees with the daemon's own reader on any bytes is for the fuzz target to find.
TEST(HookConfig, ReadsTheTwoSettingsOrGivesTheDefaults) {
    const auto read = [](const std::string& bytes) {
        const auto config = hook::HookConfig::parse(bytes);
        return config.host + " " + std::to_string(config.port);
    };
    EXPECT_EQ(read(" {\n\"host\" : \"::1\" , \"port\" : -8.787e3 }\n"), "::1 -8787.000000");
    EXPECT_EQ(read(R"({"port":1,"host":"a","port":2,"host":"b"})"), "b 2.000000");
    EXPECT_EQ(read(R"({"port":"1","host":1,"a":{"host":"x"},"Port":3})"), "127.0.0.1 8787.000000");
    // Each of them would move the host but for its fault.
    EXPECT_EQ(read(R"({"host":"moved","a":1})"), "moved 8787.000000");
    for (const std::string value :
         {"01", "1.", "-", "1e", "[1,]", "[1 2]", "{a:1}", "[", "", "1} x", "1}{}", "\"\\x\"",
          "\"\\u12g4\"", "\"\n\"", "\"\\ud800\"", "\"\xff\"", "\"\xc0\x80\""})
        EXPECT_EQ(read(R"({"host":"moved","a":)" + value + "}"), read("")) << value;
}

TEST(Candidates, AreLiteralAddressesAndRealPorts) {
    const auto found = [](const std::string& host, double port) {
        std::string all;
        for (const Endpoint& end : loopbackCandidates(host, port))
            all += headerOf(hook::requestHead(end, 0, "", ""), "host") + " ";
        return all;
    };
    EXPECT_EQ(found("127.8.9.1", 65535.9), "127.8.9.1:65535 ");
    EXPECT_EQ(found("localhost", 1), "127.0.0.1:1 [::1]:1 ");
    EXPECT_EQ(found("0.0.0.0", 1) + found("::ffff:127.0.0.1", 1), "127.0.0.1:1 127.0.0.1:1 ");
    EXPECT_EQ(found("::", 1), "[::1]:1 127.0.0.1:1 ");
    for (const char* host : {"fd00::2", "192.0.2.1", "127.0.0.1 ", "a.org", ""})
        EXPECT_EQ(found(host, 1), "") << host;
    for (const double port : {0.9, -1.0, 65536.0, 1e300})
        EXPECT_EQ(found("127.0.0.1", port), "") << port;
}

} // namespace
