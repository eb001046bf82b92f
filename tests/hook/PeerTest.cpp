#include "hook/PeerOwner.h"

#include <cerrno>
#include <csignal>
#include <optional>
#include <system_error>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hook/HookRun.h"
#include "hook/TestServer.h"

namespace {

constexpr uid_t otherUser = 65534;

/// A listener of another account: reports its port, accepts one connection when it is told to, and
/// reports how many bytes it heard.
class StrangersServer {
  public:
    StrangersServer() {
        int ends[2] = {-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
            throw std::system_error(errno, std::generic_category(), "socketpair");
        m_ours.emplace(ends[0]);
        m_process = ::fork();
        if (m_process == 0) {
            m_ours.reset();
            ::_exit(serve(ends[1]));
        }
        ::close(ends[1]);
    }
    ~StrangersServer() {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    StrangersServer(const StrangersServer&) = delete;
    StrangersServer& operator=(const StrangersServer&) = delete;

    /// -1 when there is none because the other end is gone.
    [[nodiscard]] int nextReport() const {
        int report = -1;
        return ::read(m_ours->number(), &report, sizeof report) == sizeof report ? report : -1;
    }
    void accept() const { (void)!::write(m_ours->number(), "a", 1); }

  private:
    static int serve(int theirs) {
        const auto report = [&](int what) { (void)!::write(theirs, &what, sizeof what); };
        if (::setresuid(otherUser, otherUser, otherUser) != 0)
            return 1;
        const TestServer server("::");
        report(server.port());
        char byte = 0;
        (void)!::read(theirs, &byte, 1);
        const hook::Descriptor connection(::accept(server.socket(), nullptr, nullptr));
        report(0);
        std::string heard;
        (void)hook::readAll(connection.number(), 65536, heard);
        report(static_cast<int>(heard.size()));
        return 0;
    }

    std::optional<hook::Descriptor> m_ours;
    pid_t m_process = -1;
};

class Caller {
  public:
    Caller(const std::string& address, int port)
        : peer(hook::candidates(address, port).at(0)),
          m_socket(::socket(peer.family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_storage name{};
        socklen_t length = peer.writeTo(name);
        if (::connect(m_socket.number(), reinterpret_cast<const sockaddr*>(&name), length) != 0)
            throw std::system_error(errno, std::generic_category(), "connect");
        length = sizeof name;
        ::getsockname(m_socket.number(), reinterpret_cast<sockaddr*>(&name), &length);
        own = hook::Endpoint::from(name);
    }

    [[nodiscard]] hook::PeerOwner owner() const { return hook::peerOwner(own, peer); }

    hook::Endpoint own;
    hook::Endpoint peer;

  private:
    hook::Descriptor m_socket;
};

using Knowledge = hook::PeerOwner::Knowledge;

TEST(PeerOwner, isTheListenersThenTheAcceptersWhateverTheFamily) {
    for (const auto& [listen, call] : std::vector<std::pair<std::string, std::string>>{
             {"127.0.0.1", "127.0.0.1"}, {"::", "127.0.0.1"}, {"::", "::1"}, {"::1", "::1"}}) {
        const TestServer server(listen);
        const Caller caller(call, server.port());
        EXPECT_EQ(caller.owner().knowledge, Knowledge::known) << listen;
        EXPECT_EQ(caller.owner().user, ::getuid()) << listen;
        const TestConnection accepted = server.accept();
        EXPECT_EQ(caller.owner().knowledge, Knowledge::known) << listen;
        EXPECT_EQ(caller.owner().user, ::getuid()) << listen;
    }
    const TestServer server;
    const Caller caller("127.0.0.1", server.port());
    hook::Endpoint elsewhere = caller.peer;
    elsewhere.address[3] = 2;
    EXPECT_EQ(hook::peerOwner(caller.own, caller.peer).knowledge, Knowledge::known);
    EXPECT_NE(hook::peerOwner(caller.own, elsewhere).knowledge, Knowledge::known);
}

TEST(PeerOwner, onlyARefusedQuestionIsNoAnswer) {
    EXPECT_TRUE((hook::PeerOwner{Knowledge::known, 42}).mayBe(42));
    EXPECT_FALSE((hook::PeerOwner{Knowledge::known, 0}).mayBe(42));
    EXPECT_FALSE((hook::PeerOwner{Knowledge::nobody, 42}).mayBe(42));
    EXPECT_TRUE((hook::PeerOwner{Knowledge::refused, 0}).mayBe(42));
}

TEST(PeerOwner, aStrangersListenerIsTheStrangers) {
    if (::getuid() != 0)
        GTEST_SKIP() << "needs root to listen as another user";
    const StrangersServer stranger;
    const int port = stranger.nextReport();
    ASSERT_GT(port, 0);
    const Caller caller("127.0.0.1", port);
    EXPECT_EQ(caller.owner().knowledge, Knowledge::known);
    EXPECT_EQ(caller.owner().user, otherUser);
    stranger.accept();
    ASSERT_EQ(stranger.nextReport(), 0);
    EXPECT_EQ(caller.owner().user, otherUser);
}

TEST(PeerOwner, aStrangerHearsNothingFromTheHook) {
    if (::getuid() != 0)
        GTEST_SKIP() << "needs root to listen as another user";
    // Once the file is the stranger's, the stranger's daemon is the right one.
    for (const bool isStrangersFile : {false, true}) {
        const StrangersServer stranger;
        const ScratchDirectory home;
        home.configure(static_cast<std::uint16_t>(stranger.nextReport()));
        if (isStrangersFile) {
            ASSERT_EQ(::chown((home.path() / "config.json").c_str(), otherUser, otherUser), 0);
        }
        HookRun run({hookProgram()}, R"({"hook_event_name":"PreToolUse"})", home.path().string());
        const auto outcome = run.wait();
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.output + outcome.errors, "");
        stranger.accept();
        ASSERT_EQ(stranger.nextReport(), 0);
        const int heard = stranger.nextReport();
        EXPECT_EQ(heard > 0, isStrangersFile) << heard;
    }
}

} // namespace
