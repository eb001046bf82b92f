#include "platform/LaunchSocket.h"

#include <array>
#include <csignal>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include "core/Descriptor.h"
#include "support/Eventually.h"
#include "support/FakeEnvironment.h"
#include "support/RawSocket.h"
#include "support/TemporaryDirectory.h"
#include "support/Until.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Interface = FirstLaunch::Interface;
using Kind = LaunchAnswer::Kind;

constexpr uid_t anotherUser = 65'534;

// A process that does something with this program's memory and then sleeps until it is killed.
class Forked {
  public:
    template <typename Action>
    explicit Forked(Action action) {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        const Descriptor output(ends[0]);
        Descriptor input(ends[1]);
        m_id = ::fork();
        if (m_id == 0) {
            const char result = action();
            [[maybe_unused]] const ssize_t count = ::write(input.number(), &result, 1);
            for (;;)
                ::pause();
        }
        input.reset();
        EXPECT_EQ(::read(output.number(), &m_result, 1), 1);
    }
    ~Forked() {
        ::kill(m_id, SIGKILL);
        ::waitpid(m_id, nullptr, 0);
    }
    Forked(const Forked&) = delete;
    Forked& operator=(const Forked&) = delete;

    [[nodiscard]] pid_t id() const { return m_id; }
    /// What the action came to.
    [[nodiscard]] char result() const { return m_result; }

  private:
    pid_t m_id = -1;
    char m_result = '?';
};

struct LaunchSocketTest : testing::Test {
    TemporaryDirectory directory;
    std::filesystem::path socket = directory / "program.socket";
    std::unique_ptr<FirstLaunch> first;
    std::vector<std::string> asked;

    void claim(Interface interface = Interface::present) {
        first = FirstLaunch::claim(socket, interface);
        ASSERT_TRUE(first);
        QObject::connect(first.get(), &FirstLaunch::asked, first.get(),
                         [this](const QString& token) { asked.push_back(token.toStdString()); });
    }

    // Another launch in a thread, while this one's event loop runs.
    LaunchAnswer ask(std::string token, std::chrono::milliseconds time = patience) const {
        auto answer = std::async(std::launch::async, [this, token = std::move(token), time] {
            return askFirstLaunch(socket, token, time);
        });
        EXPECT_TRUE(eventually([&] { return answer.wait_for(0ms) == std::future_status::ready; }));
        return answer.get();
    }

    RawSocket connect() const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socket.native().copy(address.sun_path, sizeof address.sun_path - 1);
        Descriptor result(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(
            ::connect(result.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            0);
        return RawSocket(std::move(result));
    }
};

TEST_F(LaunchSocketTest, ASecondLaunchIsAnsweredByTheFirst) {
    claim();
    EXPECT_FALSE(FirstLaunch::claim(socket, Interface::present));
    struct stat status {};
    ASSERT_EQ(::stat(socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, mode_t{0600});
    for (const std::string& token : {std::string("gnome-shell/Tamsell/7_TIME 9"), std::string()}) {
        const LaunchAnswer answer = ask(token);
        EXPECT_EQ(answer.kind, Kind::shown);
        EXPECT_EQ(answer.process, ::getpid());
    }
    EXPECT_EQ(ask("x\nshow y").kind, Kind::shown) << "without its token";
    EXPECT_EQ(ask(std::string(1001, 'x')).kind, Kind::shown) << "without its token";
    EXPECT_THAT(asked, ElementsAre("gnome-shell/Tamsell/7_TIME 9", "", "", ""));

    first.reset();
    EXPECT_EQ(ask("", 0ms).process, 0);
    claim(Interface::absent);
    EXPECT_EQ(ask("").kind, Kind::headless);
    EXPECT_EQ(asked.size(), 4U) << "nobody is there to show anything";
}

TEST_F(LaunchSocketTest, AFirstThatHangsIsNamedAndAKilledOneIsReplaced) {
    {
        // It never runs its event loop.
        const Forked hung([&] {
            first = FirstLaunch::claim(socket, Interface::present);
            return first ? 'y' : 'n';
        });
        ASSERT_EQ(hung.result(), 'y');
        EXPECT_FALSE(FirstLaunch::claim(socket, Interface::present));
        const auto start = std::chrono::steady_clock::now();
        const LaunchAnswer answer = ask("", 100ms);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
        EXPECT_EQ(answer.kind, Kind::silent);
        EXPECT_EQ(answer.process, hung.id());
    }
    EXPECT_TRUE(std::filesystem::exists(socket));
    claim();
    EXPECT_EQ(ask("").kind, Kind::shown);
}

TEST_F(LaunchSocketTest, AFirstThatHasJustBegunIsAskedAgain) {
    first = FirstLaunch::claim(socket, Interface::present);
    first.reset();
    ASSERT_THAT(namesIn(directory.path()), ElementsAre("program.socket.lock"));
    // Between the lock and the socket.
    Descriptor lock(::open((directory / "program.socket.lock").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.number(), LOCK_EX | LOCK_NB), 0);
    EXPECT_FALSE(FirstLaunch::claim(socket, Interface::present));
    EXPECT_EQ(ask("", 60ms).kind, Kind::silent);
    auto answer =
        std::async(std::launch::async, [&] { return askFirstLaunch(socket, "", patience); });
    EXPECT_EQ(answer.wait_for(20ms), std::future_status::timeout);
    lock.reset();
    claim();
    EXPECT_TRUE(eventually([&] { return answer.wait_for(0ms) == std::future_status::ready; }));
    EXPECT_EQ(answer.get().kind, Kind::shown);
}

TEST_F(LaunchSocketTest, AChildDoesNotKeepTheLock) {
    claim();
    const Forked child([] { return 'y'; });
    first.reset();
    EXPECT_TRUE(FirstLaunch::claim(socket, Interface::present));
}

TEST_F(LaunchSocketTest, OnlyARequestIsAnswered) {
    claim();
    RawSocket pieces = connect();
    for (const char byte : std::string("show a b\n")) {
        EXPECT_EQ(pieces.send({&byte, 1}), 1U);
        runDueEvents();
    }
    EXPECT_TRUE(eventually([&] { return pieces.hasEnded(); }));
    EXPECT_EQ(pieces.receive(), "shown\n");
    EXPECT_THAT(asked, ElementsAre("a b"));

    for (const std::string& words :
         {std::string("hide \n"), std::string("show\n"), std::string("show a\nshow b\n"),
          std::string("show a\nb"), std::string("show \x1B[2J\n"), std::string("\n"),
          "show " + std::string(1001, 'x') + "\n", std::string(100'000, 'x')}) {
        RawSocket visitor = connect();
        visitor.send(words);
        EXPECT_TRUE(eventually([&] { return visitor.hasEnded(); })) << words.substr(0, 20);
        EXPECT_THAT(visitor.receive(), IsEmpty()) << words.substr(0, 20);
    }
    {
        RawSocket impatient = connect();
        impatient.send("show c\n");
    }
    EXPECT_EQ(ask("d").kind, Kind::shown);
    EXPECT_THAT(asked, ElementsAre("a b", "d")) << "whoever has gone has nothing shown";
}

TEST_F(LaunchSocketTest, TheSilentAreClosed) {
    claim();
    std::vector<RawSocket> silent;
    for (int i = 0; i < 17; ++i)
        silent.push_back(connect());
    ASSERT_TRUE(eventually([&] { return silent.front().hasEnded(); }));
    EXPECT_FALSE(silent[1].hasEnded()) << "there is room for 16";
    EXPECT_EQ(ask("").kind, Kind::shown) << "one gives way to who speaks";
    EXPECT_TRUE(eventually([&] { return silent.back().hasEnded(); })) << "in time";
}

TEST_F(LaunchSocketTest, PathsMayBeLongerThanAnAddress) {
    const auto deep = directory / std::string(200, 'x');
    std::filesystem::create_directory(deep);
    socket = deep / "program.socket";
    claim();
    EXPECT_EQ(ask("").kind, Kind::shown);
    first.reset();
    for (const auto& nowhere : {deep / "missing" / "program.socket", deep / std::string(200, 'y')})
        EXPECT_THROW((void)FirstLaunch::claim(nowhere, Interface::present), std::system_error);
}

TEST_F(LaunchSocketTest, WhatIsNotTheProgramsOwnIsLeftAlone) {
    const auto lock = std::filesystem::path(socket) += ".lock";
    const auto target = directory / "target";
    std::filesystem::create_symlink(target, lock);
    EXPECT_THROW((void)FirstLaunch::claim(socket, Interface::present), std::system_error);
    EXPECT_FALSE(std::filesystem::exists(target));
    std::filesystem::remove(lock);

    // Another program's socket is not the one to talk to.
    const auto other = FirstLaunch::claim(target, Interface::present);
    std::filesystem::create_symlink(target, socket);
    EXPECT_THROW((void)FirstLaunch::claim(socket, Interface::present), std::system_error);
    EXPECT_EQ(ask("", 0ms).process, 0);
    std::filesystem::remove(socket);
    std::ofstream(socket) << "mine";
    EXPECT_THROW((void)FirstLaunch::claim(socket, Interface::present), std::system_error);
    EXPECT_EQ(contentOf(socket), "mine");
}

TEST_F(LaunchSocketTest, AnotherUserIsNeitherAnsweredNorAsked) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    // As open as it can be made by accident.
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    claim();
    std::filesystem::permissions(socket, std::filesystem::perms::all);
    std::promise<char> result;
    std::thread waiter([&] {
        const Forked visitor([&] {
            if (::setresuid(anotherUser, anotherUser, anotherUser) != 0)
                return '?';
            RawSocket connection = connect();
            connection.send("show \n");
            return until([&] { return connection.hasEnded(); }) && connection.receive().empty()
                       ? 'y'
                       : 'n';
        });
        result.set_value(visitor.result());
    });
    auto refused = result.get_future();
    EXPECT_TRUE(eventually([&] { return refused.wait_for(0ms) == std::future_status::ready; }));
    waiter.join();
    EXPECT_EQ(refused.get(), 'y');
    EXPECT_THAT(asked, IsEmpty());
    first.reset();

    std::filesystem::remove(directory / "program.socket.lock");
    const Forked impostor([&] {
        if (::setresuid(anotherUser, anotherUser, anotherUser) != 0)
            return '?';
        first = FirstLaunch::claim(socket, Interface::present);
        return first ? 'y' : 'n';
    });
    ASSERT_EQ(impostor.result(), 'y');
    const LaunchAnswer answer = ask("", 0ms);
    EXPECT_EQ(answer.kind, Kind::silent);
    EXPECT_EQ(answer.process, 0);
}

TEST(LaunchSocketPath, IsInTheUsersOwnRuntimeDirectory) {
    const TemporaryDirectory runtime;
    const TemporaryDirectory data;
    const auto in = [&](const std::filesystem::path& place) {
        return launchSocketPath(fakeEnvironment({{"XDG_RUNTIME_DIR", place.string()}}),
                                data.path());
    };
    EXPECT_EQ(in(runtime.path()).parent_path(), runtime.path());

    const auto elsewhere = launchSocketPath(fakeEnvironment(), data.path());
    const auto open = runtime / "open";
    std::filesystem::create_directory(open);
    std::filesystem::permissions(open, std::filesystem::perms::all);
    for (const auto& unfit : {std::filesystem::path(""), std::filesystem::path("."),
                              runtime / "missing", runtime.put("file", ""), open})
        EXPECT_EQ(in(unfit), elsewhere) << unfit;
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(runtime.path().c_str(), anotherUser, anotherUser), 0);
        EXPECT_EQ(in(runtime.path()), elsewhere);
    }
}

TEST(LaunchSocketPath, GoesWithTheDataDirectoryHoweverItIsSpelled) {
    const TemporaryDirectory place;
    std::filesystem::create_directory(place / "data");
    std::filesystem::create_directory_symlink("data", place / "link");
    const auto pathFor = [&](const std::string& name) {
        return launchSocketPath(fakeEnvironment({{"XDG_RUNTIME_DIR", place.path().string()}}),
                                place / name);
    };
    const std::set<std::filesystem::path> same{pathFor("data"), pathFor("data/"), pathFor("link"),
                                               pathFor("link/../data/.")};
    EXPECT_EQ(same.size(), 1U);
    const auto before = pathFor("new/");
    EXPECT_NE(before, *same.begin());
    std::filesystem::create_directory(place / "new");
    EXPECT_EQ(pathFor("new"), before);
}

} // namespace
