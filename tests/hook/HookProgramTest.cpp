#include <chrono>
#include <filesystem>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "hook/Endpoint.h"
#include "hook/HookRun.h"
#include "hook/TestServer.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* quickEvent = R"({"hook_event_name":"PreToolUse"})";
constexpr const char* heldEvent = R"({"hook_event_name":"PermissionRequest"})";
// What giving up after 2 seconds may take on a busy machine.
constexpr auto giveUpAtLeast = 1900ms;
constexpr auto giveUpAtMost = 8000ms;

void expectSilence(const HookRun::Outcome& outcome) {
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "");
}

class HookProgram : public testing::Test {
  protected:
    HookProgram() { home.configure(server.port()); }

    HookRun::Outcome runAgainst(const std::string& reply) {
        HookRun run({hookProgram()}, quickEvent, home.path().string());
        {
            TestConnection connection = server.accept();
            (void)connection.readRequest();
            connection.send(reply);
        }
        return run.wait();
    }

    TestServer server;
    ScratchDirectory home;
};

TEST_F(HookProgram, handsOverTheEventAndTheReplyByteForByte) {
    std::string bytes;
    for (int i = 0; i < 3 << 20; ++i)
        bytes += static_cast<char>(i * 7 + i / 251);
    HookRun run({hookProgram(), "rubbish", "--client", "codex", "--client"}, bytes,
                home.path().string());
    TestConnection connection = server.accept();
    const std::string request = connection.readRequest();
    EXPECT_TRUE(request.starts_with("POST /hook HTTP/1.1\r\n"));
    EXPECT_EQ(headerOf(request, "x-tamsell-client: "), "codex");
    EXPECT_TRUE(request.substr(request.find("\r\n\r\n") + 4) == bytes);
    const std::string reply = okReply(bytes);
    connection.send(reply.substr(0, 9));
    connection.send(reply.substr(9));
    const auto outcome = run.wait();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.output == bytes);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(HookProgram, saysNothingWithoutACompleteSuccess) {
    EXPECT_EQ(runAgainst(okReply("said")).output, "said");
    expectSilence(runAgainst(okReply("")));
    expectSilence(runAgainst(""));
    expectSilence(runAgainst("HTTP/1.1 200 OK\r\ncontent-length: 4\r\n\r\nsai"));
    expectSilence(runAgainst("HTTP/1.1 403 Forbidden\r\ncontent-length: 4\r\n\r\nsaid"));
    home.write("config.json", R"({"host":"daemon.invalid","port":80})");
    expectSilence(HookRun({hookProgram()}, quickEvent, home.path().string()).wait());
    {
        const TestServer closed;
        home.configure(closed.port());
    }
    const auto absent = HookRun({hookProgram()}, heldEvent, home.path().string()).wait();
    expectSilence(absent);
    EXPECT_LT(absent.took, giveUpAtLeast);
}

TEST_F(HookProgram, givesUpOnASilentDaemonOnlyWhatIsNeverHeld) {
    HookRun held({hookProgram()}, heldEvent, home.path().string());
    TestConnection connection = server.accept();
    (void)connection.readRequest();
    HookRun quick({hookProgram()}, quickEvent, home.path().string());
    // More than the sockets' buffers take.
    HookRun unread({hookProgram()},
                   R"({"hook_event_name":"Notification","message":")" + std::string(12 << 20, 'x') +
                       "\"}",
                   home.path().string());
    for (HookRun* run : {&quick, &unread}) {
        const auto outcome = run->wait();
        expectSilence(outcome);
        EXPECT_GE(outcome.took, giveUpAtLeast);
        EXPECT_LT(outcome.took, giveUpAtMost);
    }
    EXPECT_TRUE(held.isRunning());
    connection.send(okReply("answer"));
    EXPECT_EQ(held.wait().output, "answer");
}

TEST_F(HookProgram, aTrickleDoesNotOutlastThePatience) {
    HookRun run({hookProgram()}, quickEvent, home.path().string());
    TestConnection connection = server.accept();
    (void)connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\ncontent-length: 1000000\r\n\r\n");
    const auto begun = std::chrono::steady_clock::now();
    while (!connection.sawTheEnd(20ms) && std::chrono::steady_clock::now() - begun < giveUpAtMost)
        connection.send("x");
    const auto outcome = run.wait();
    expectSilence(outcome);
    EXPECT_GE(outcome.took, giveUpAtLeast);
    EXPECT_LT(outcome.took, giveUpAtMost);
}

TEST_F(HookProgram, givesUpConnectingWhateverTheEvent) {
    const TestServer full("127.0.0.1", 0);
    home.configure(full.port());
    sockaddr_storage name{};
    const socklen_t length = hook::candidates("127.0.0.1", full.port()).at(0).writeTo(name);
    std::vector<hook::Descriptor> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        (void)::connect(callers.back().number(), reinterpret_cast<const sockaddr*>(&name), length);
    }
    const auto outcome = HookRun({hookProgram()}, heldEvent, home.path().string()).wait();
    expectSilence(outcome);
    EXPECT_GE(outcome.took, giveUpAtLeast);
    EXPECT_LT(outcome.took, giveUpAtMost);
}

TEST_F(HookProgram, endsWithItsAgent) {
    HookRun run({hookProgram()}, heldEvent, home.path().string());
    TestConnection connection = server.accept();
    (void)connection.readRequest();
    run.stopReading();
    EXPECT_TRUE(connection.sawTheEnd(10s));
    EXPECT_EQ(run.wait().exitCode, 0);

    HookRun quick({hookProgram()}, quickEvent, home.path().string());
    quick.stopReading();
    TestConnection second = server.accept();
    (void)second.readRequest();
    second.send(okReply("nobody reads this"));
    EXPECT_EQ(quick.wait().exitCode, 0);
}

TEST_F(HookProgram, dropsAnEventThatIsTooLarge) {
    const std::string largest(std::size_t{16} << 20, 'x');
    expectSilence(HookRun({hookProgram()}, largest + "x", home.path().string()).wait());
    EXPECT_FALSE(server.hasCaller());
    HookRun run({hookProgram()}, largest, home.path().string());
    TestConnection connection = server.accept();
    EXPECT_TRUE(connection.readRequest().ends_with("\r\n\r\n" + largest));
    connection.send(okReply("taken"));
    EXPECT_EQ(run.wait().output, "taken");
}

TEST_F(HookProgram, findsTheSettingsBesideItself) {
    const std::string installed = (home.path() / "tamsell-hook").string();
    std::filesystem::copy_file(hookProgram(), installed);
    HookRun run({installed}, quickEvent, std::nullopt);
    TestConnection connection = server.accept();
    (void)connection.readRequest();
    connection.send(okReply("found"));
    EXPECT_EQ(run.wait().output, "found");
}

TEST_F(HookProgram, survivesClosedStandardDescriptors) {
    // The reply must not go into whatever got the number of the output.
    HookRun run({"/bin/bash", "-c", "exec '" + hookProgram() + "' <&- >&- 2>&-"}, "",
                home.path().string());
    TestConnection connection = server.accept();
    (void)connection.readRequest();
    connection.send(okReply("lost"));
    EXPECT_TRUE(connection.sawTheEnd(10s));
    expectSilence(run.wait());
}

} // namespace
