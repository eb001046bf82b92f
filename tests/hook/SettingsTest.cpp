#include "hook/DataDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "hook/HookRun.h"

namespace {

TEST(ConfigPath, isTheChosenOneThenOursThenTheUsers) {
    const ScratchDirectory scratch;
    const std::string directory = scratch.path().string();
    scratch.write("passwd", "root:x:0:0:root:/root:/bin/sh\n"
                            "x:y:43\n"
                            "other:x:421:42::/wrong:/bin/sh\n"
                            "nohome:x:44:44:::/bin/sh\n"
                            "me:x:42:42:M, E:/home/of me:/bin/sh\n"
                            "me2:x:42:42::/second:/bin/sh\n"
                            "last:x:45:45::/no/line/feed");
    hook::Surroundings surroundings{.chosen = {},
                                    .executable = directory + "/bin/tamsell-hook",
                                    .home = "/from/variable",
                                    .userDatabase = directory + "/passwd",
                                    .user = 42};
    EXPECT_EQ(hook::configPath(surroundings), "/home/of me/.tamsell/config.json");
    surroundings.user = 45;
    EXPECT_EQ(hook::configPath(surroundings), "/no/line/feed/.tamsell/config.json");
    for (const uid_t user : {43U, 44U, 4U}) {
        surroundings.user = user;
        EXPECT_EQ(hook::configPath(surroundings), "/from/variable/.tamsell/config.json") << user;
    }
    scratch.write("bin/config.json", "");
    EXPECT_EQ(hook::configPath(surroundings), directory + "/bin/config.json");
    surroundings.chosen = "relative";
    EXPECT_EQ(hook::configPath(surroundings), "relative/config.json");
    surroundings.chosen = "";
    EXPECT_EQ(hook::configPath(surroundings), "./config.json");
}

TEST(ReadSettings, namesTheOwnerWhateverTheFileIs) {
    const ScratchDirectory scratch;
    const auto read = [&](const char* name) {
        return hook::readSettings((scratch.path() / name).string(), 42);
    };
    scratch.write("good", R"({"port":9})");
    EXPECT_EQ(read("good").config.port, 9);
    EXPECT_EQ(read("good").owner, ::getuid());
    EXPECT_EQ(read("absent").config.port, 8787);
    EXPECT_EQ(read("absent").owner, 42U);
    scratch.write("directory/file", "");
    ASSERT_EQ(::mkfifo((scratch.path() / "pipe").c_str(), 0600), 0);
    for (const char* name : {"directory", "pipe"}) {
        EXPECT_EQ(read(name).config.port, 8787) << name;
        EXPECT_EQ(read(name).owner, ::getuid()) << name;
    }
    scratch.write("large", R"({"port":9})" + std::string(std::size_t{16} << 20, ' '));
    EXPECT_EQ(read("large").config.port, 8787);
}

} // namespace
