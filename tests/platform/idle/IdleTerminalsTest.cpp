#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "platform/IdleSourceKinds.h"

using namespace std::chrono_literals;

namespace {

class IdleTerminalsTest : public testing::Test {
  protected:
    IdleTerminalsTest() { std::filesystem::create_directories(directory.path() / "pts"); }

    /// Makes a terminal of this user that was read from so long ago.
    void terminal(const char* name, std::chrono::seconds ago) {
        const auto path = directory.path() / name;
        std::ofstream(path).close();
        const auto time = std::chrono::system_clock::to_time_t(now - ago);
        const timespec times[2] = {{time, 0}, {0, UTIME_OMIT}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    std::optional<std::chrono::milliseconds> read(std::uint32_t user = getuid()) {
        return idle::terminalsIdleSource(directory.path(), user, [this] { return now; })->read();
    }

    TemporaryDirectory directory;
    /// An hour ahead, because a file's change time, which tells when a terminal was opened, cannot
    /// be set.
    std::chrono::system_clock::time_point now =
        std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now() + 1h);
};

TEST_F(IdleTerminalsTest, TheNewestAccessOfTheUsersTerminalsCounts) {
    EXPECT_EQ(read(), std::nullopt);
    terminal("pts/3", 500s);
    terminal("tty2", 420s);
    terminal("pts/11", 610s);
    EXPECT_EQ(read(), 420s);
    EXPECT_EQ(read(getuid() + 1), std::nullopt) << "terminals of others";

    // What is read there is output, or another's.
    for (const char* name : {"pts/ptmx", "tty", "ttyUSB0", "pts/3x", "null"})
        terminal(name, 5s);
    EXPECT_EQ(read(), 420s);

    terminal("pts/4", -30s);
    EXPECT_EQ(read(), -30s) << "a clock that was set back";
}

TEST_F(IdleTerminalsTest, OpeningATerminalIsNotTyping) {
    using Clock = std::chrono::system_clock;
    const auto path = directory.path() / "pts/7";
    std::ofstream(path).close();
    EXPECT_TRUE(read()) << "better than nothing";

    // Typed at a moment after it was opened, and before an agent opens the next one.
    const auto typed = std::chrono::floor<std::chrono::milliseconds>(Clock::now() + 200ms);
    const auto nanoseconds = std::chrono::nanoseconds(typed.time_since_epoch()).count();
    const timespec times[2] = {{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000},
                               {0, UTIME_OMIT}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    ASSERT_TRUE(waitFor([&] { return Clock::now() > typed + 50ms; }));
    std::ofstream(directory.path() / "pts/8").close();
    EXPECT_EQ(read(), std::chrono::floor<std::chrono::milliseconds>(now - typed));
}

} // namespace
