#include <vector>

#include "hook/HookRun.h"

namespace {

constexpr const char* quickEvent = R"({"hook_event_name":"PreToolUse"})";
constexpr const char* heldEvent = R"({"hook_event_name":"PermissionRequest"})";

struct HookProgram : testing::Test {
    const FakeDaemon daemon;
    const TemporaryDirectory& home = daemon.home;
};

TEST_F(HookProgram, HandsOverTheEventAndTheReplyByteForByte) {
    std::string bytes;
    for (int i = 0; i < 3 << 20; ++i)
        bytes += static_cast<char>(i * 7 + i / 251);
    HookRun run(home, bytes, hookProgram + " rubbish --client codex --client");
    const std::string request = daemon.answer(okReply(bytes));
    EXPECT_TRUE(request.starts_with("POST /hook HTTP/1.1\r\n"));
    EXPECT_EQ(headerOf(request, "x-tamsell-client"), "codex");
    EXPECT_TRUE(request.substr(request.find("\r\n\r\n") + 4) == bytes);
    EXPECT_TRUE(run.output() == bytes);
}

TEST_F(HookProgram, SaysNothingWithoutACompleteSuccess) {
    for (const std::string reply :
         {"", "HTTP/1.1 200 OK\r\ncontent-length: 0\r\n\r\n",
          "HTTP/1.1 200 OK\r\ncontent-length: 4\r\n\r\nsai", "HTTP/1.1 200 OK\r\n\r\nsaid",
          "HTTP/1.1 403 Forbidden\r\ncontent-length: 4\r\n\r\nsaid"}) {
        HookRun run(home, quickEvent);
        EXPECT_TRUE(daemon.answer(reply).ends_with(quickEvent));
        EXPECT_EQ(run.output(), "") << reply;
    }
    home.put("config.json", contentOf(FakeDaemon().home / "config.json")); // It is gone again.
    EXPECT_EQ(HookRun(home, heldEvent).output(), "");
    home.put("config.json", R"({"host":"daemon.invalid","port":80})");
    EXPECT_EQ(HookRun(home, heldEvent).output(), "");
}

TEST_F(HookProgram, GivesUpOnASilentDaemonOnlyWhatIsNeverHeld) {
    HookRun held(home, heldEvent);
    const auto waiting = daemon.accept();
    HookRun quick(home, quickEvent);
    const auto silent = daemon.accept();
    // More than the sockets' buffers take.
    HookRun large(home, R"({"hook_event_name":"Notification","message":")" +
                            std::string(12 << 20, 'x') + "\"}");
    const auto unread = daemon.accept();
    quick.expectToGiveUp();
    large.expectToGiveUp();

    HookRun fed(home, quickEvent);
    const auto trickle = daemon.accept();
    (void)requestOf(trickle);
    send(trickle, "HTTP/1.1 200 OK\r\ncontent-length: 1000000\r\n\r\n");
    pollfd end{.fd = trickle.number(), .events = POLLIN, .revents = 0};
    for (int turn = 0; turn < 500 && ::poll(&end, 1, 20) == 0; ++turn)
        send(trickle, "x");
    fed.expectToGiveUp();

    send(waiting, okReply("answer"));
    EXPECT_EQ(held.output(), "answer");
}

TEST_F(HookProgram, GivesUpConnectingWhateverTheEvent) {
    const FakeDaemon full(loopback4, 0);
    const std::array callers{full.call(), full.call(), full.call()};
    HookRun(full.home, heldEvent).expectToGiveUp();
}

TEST_F(HookProgram, EndsWithItsAgent) {
    const std::string agent = "bash -o pipefail -c 'timeout 20 " + hookProgram + " | sleep 0.2'";
    HookRun held(home, heldEvent, agent);
    const auto connection = daemon.accept();
    EXPECT_TRUE(requestOf(connection).ends_with(heldEvent));
    EXPECT_EQ(held.output(), "");
    HookRun quick(home, quickEvent, agent);
    EXPECT_TRUE(daemon.answer(okReply(std::string(1 << 20, 'x'))).ends_with(quickEvent));
    EXPECT_EQ(quick.output(), "");
}

TEST_F(HookProgram, DropsAnEventThatIsTooLarge) {
    const std::string largest(std::size_t{16} << 20, 'x');
    // Only the second one comes here.
    EXPECT_EQ(HookRun(home, largest + "x").output(), "");
    HookRun run(home, largest);
    EXPECT_TRUE(daemon.answer(okReply("taken")).ends_with("\r\n\r\n" + largest));
    EXPECT_EQ(run.output(), "taken");
}

TEST_F(HookProgram, FindsTheSettingsBesideItself) {
    std::filesystem::copy_file(hookProgram, home / "tamsell-hook");
    HookRun run(home, "", "env -u TAMSELL_HOME " + (home / "tamsell-hook").string());
    daemon.answer(okReply("found"));
    EXPECT_EQ(run.output(), "found");
}

TEST_F(HookProgram, SurvivesClosedStandardDescriptors) {
    HookRun run(home, "", hookProgram + " <&- >&- 2>&-");
    EXPECT_NE(daemon.answer(okReply("lost")), "");
    EXPECT_EQ(run.output(), "");
}

} // namespace
