#include "hooks/CodexTrust.h"

#include <cerrno>
#include <csignal>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "support/CodexLines.h"
#include "support/Eventually.h"
#include "support/FakeEnvironment.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Trust = Hooks::CodexTrust;

namespace {

// What every stand-in can do. It notes its process id, its arguments and what it hears.
constexpr const char* prelude = R"(#!/usr/bin/env python3
import os, signal, sys, time
here = os.path.dirname(os.path.abspath(__file__))
def note(name, text):
    with open(here + "/" + name, "a") as file:
        file.write(text)
def hear():
    line = sys.stdin.readline()
    note("heard", line)
    return line
def say(text):
    os.write(1, text.encode())
def wait():
    while True:
        time.sleep(60)
hello, answer, trusted = open(here + "/lines").readlines()
note("arguments", " ".join(sys.argv[1:]))
note("id", str(os.getpid()) + "\n")
)";
constexpr Trust sampled{1, 4, 1, 1};

class CodexTrustTest : public testing::Test {
  protected:
    // A stand-in for Codex that does this.
    fs::path program(const std::string& text) {
        m_at.put("lines", codexLine("02_initialize.response") +
                              codexLine("05_hooks_list.response") +
                              codexLine("05b_hooks_list.response_all_trusted"));
        fs::path path = m_at.put("codex", text);
        fs::permissions(path, fs::perms(0755));
        for (const char* note : {"id", "heard", "arguments"})
            fs::remove(m_at / note);
        return path;
    }
    fs::path codex(const std::string& script) { return program(prelude + script); }

    // Whether one of the processes that noted their ids is still there.
    [[nodiscard]] bool isRunning() const {
        std::ifstream ids(m_at / "id");
        for (pid_t id = 0; ids >> id;) {
            // One that has ended and that nobody asks about any more is none.
            std::ifstream status("/proc/" + std::to_string(id) + "/stat");
            std::string word;
            char state = 'Z';
            if (status >> word >> word >> state && state != 'Z')
                return true;
        }
        return false;
    }

    std::unique_ptr<CodexTrustCheck> check(const std::optional<fs::path>& path,
                                           std::chrono::milliseconds timeout = 20s) {
        m_count = 0;
        m_begin = Clock::now();
        return std::make_unique<CodexTrustCheck>(path, "/home/user", timeout,
                                                 [this](const auto& trust) {
                                                     ++m_count;
                                                     m_trust = trust;
                                                     m_time = Clock::now() - m_begin;
                                                     m_wasRunning = isRunning();
                                                 });
    }
    // The one result, after which the program ends.
    std::optional<Trust> ask(const std::optional<fs::path>& path,
                             std::chrono::milliseconds timeout = 20s) {
        const auto running = check(path, timeout);
        EXPECT_EQ(m_count, 0) << "from within the constructor";
        EXPECT_TRUE(eventually([this] { return m_count > 0; }, 30s));
        EXPECT_TRUE(eventually([this] { return !isRunning(); }));
        runDueEvents();
        EXPECT_EQ(m_count, 1);
        return m_trust;
    }

    TemporaryDirectory m_at;
    int m_count = 0;
    std::optional<Trust> m_trust;
    Clock::time_point m_begin;
    Clock::duration m_time{};
    bool m_wasRunning = false;
};

TEST_F(CodexTrustTest, IsToldWhateverTheProgramDoesWithItsAnswers) {
    for (const char* script : {
             // One byte at a time, and it goes on.
             "hear()\nfor c in hello: say(c)\nhear(); hear()\nfor c in answer: say(c)\nwait()",
             // Everything at once, among other things, before it is asked; and it is gone.
             "say('oops\\n' + hello + '{\"id\":9}\\n' + answer + trusted)",
             // It hears nothing more after the first message.
             "hear(); os.close(0); say(hello); time.sleep(0.05); say(answer); wait()",
             // The order of its answers is its own.
             "hear(); say(answer); say(hello); wait()",
         }) {
        EXPECT_EQ(ask(codex(script)), sampled) << script;
        EXPECT_EQ(contentOf(m_at / "arguments"), "app-server --listen stdio://");
    }
    EXPECT_EQ(ask(codex("hear(); say(hello); hear(); hear(); say(trusted)")), (Trust{4, 4, 0, 0}));
    EXPECT_EQ(contentOf(m_at / "heard"),
              "{\"id\":1,\"method\":\"initialize\",\"params\":{\"clientInfo\":{\"name\":"
              "\"tamsell\",\"version\":\"0.1.0\"}}}\n{\"method\":\"initialized\"}\n"
              "{\"id\":2,\"method\":\"hooks/list\",\"params\":{\"cwds\":[\"/home/user\"]}}\n");
}

TEST_F(CodexTrustTest, CannotBeToldOfAProgramThatSaysNothing) {
    for (const char* script : {
             "sys.exit(1)",                         // it ends
             "hear(); say(hello); hear(); hear()",  // it ends half-way
             "os.close(1); wait()",                 // it says that nothing will come
             "hear(); say('{\"id\":2}\\n'); wait()" // it cannot answer
         }) {
        EXPECT_EQ(ask(codex(script)), std::nullopt) << script;
        EXPECT_LT(m_time, 15s) << script;
    }
    EXPECT_EQ(ask(codex("hear(); say(hello + answer[:-1]); wait()"), 500ms), std::nullopt);
    EXPECT_GE(m_time, 500ms);
    EXPECT_EQ(ask(program("#!/no/interpreter\n")), std::nullopt);
    EXPECT_EQ(ask(std::nullopt), std::nullopt);
}

TEST_F(CodexTrustTest, AFloodIsNotKept) {
    // The most that this process ever had, in KiB.
    const auto peak = [] {
        std::ifstream status("/proc/self/status");
        long kilobytes = 0;
        for (std::string word; status >> word;) {
            if (word == "VmHWM:")
                status >> kilobytes;
        }
        return kilobytes;
    };
    ASSERT_EQ(ask(codex("say(answer)")), sampled);
    const long before = peak();
    // One line without end; then lines without end, and it goes on when it is told to stop.
    EXPECT_EQ(ask(codex("while True: say('x' * 65536)")), std::nullopt);
    EXPECT_LT(m_time, 15s);
    EXPECT_EQ(ask(codex("signal.signal(signal.SIGTERM, signal.SIG_IGN)\n"
                        "while True: say('{\"id\":1}\\n' * 7000)"),
                  1s),
              std::nullopt);
    EXPECT_LT(m_time, 5s) << "the loop is not held up";
    EXPECT_LT(peak() - before, 80L << 10);
}

TEST_F(CodexTrustTest, WhatIgnoresTheRequestToEndIsKilledWithItsChildren) {
    const fs::path stubborn = codex("signal.signal(signal.SIGTERM, signal.SIG_IGN)\n"
                                    "if os.fork() == 0:\n"
                                    "    note('id', str(os.getpid()) + '\\n'); wait()\n"
                                    "hear(); say(answer); wait()");
    EXPECT_EQ(ask(stubborn), sampled);
    EXPECT_TRUE(m_wasRunning) << "the result does not wait for the end";
    EXPECT_GE(Clock::now() - m_begin - m_time, 1900ms);

    // The application ends before the answer.
    auto silent = check(codex("signal.signal(signal.SIGTERM, signal.SIG_IGN)\n"
                              "note('deaf', ''); wait()"));
    QTimer started;
    QObject::connect(&started, &QTimer::timeout, [this] {
        if (fs::exists(m_at / "deaf"))
            QCoreApplication::quit();
    });
    started.start(1);
    QCoreApplication::exec();
    EXPECT_FALSE(isRunning());
    EXPECT_EQ(m_count, 0);
    silent.reset();
    started.stop();

    // The program that was started ends, but not what it has started.
    EXPECT_EQ(ask(codex("if os.fork() == 0:\n"
                        "    signal.signal(signal.SIGTERM, signal.SIG_IGN)\n"
                        "    note('id', str(os.getpid()) + '\\n'); say(answer); wait()\n"
                        "hear(); wait()")),
              sampled);
}

TEST_F(CodexTrustTest, EndsItsProgramWhenNobodyWaitsAnyMore) {
    auto dropped = check(codex("wait()"));
    ASSERT_TRUE(eventually([this] { return isRunning(); }));
    dropped.reset();
    EXPECT_TRUE(eventually([this] { return !isRunning(); }));

    // Dropped before it has started, while it starts, and by its own result.
    check(codex("wait()")).reset();
    runDueEvents();
    dropped = check(codex("wait()"));
    ASSERT_TRUE(eventually([turns = 0]() mutable { return ++turns > 2; }));
    dropped.reset();
    EXPECT_EQ(m_count, 0);
    std::unique_ptr<CodexTrustCheck> own;
    bool isOver = false;
    own = std::make_unique<CodexTrustCheck>(codex("hear(); say(answer); wait()"), "/", 20s,
                                            [&](const auto&) {
                                                own.reset();
                                                isOver = true;
                                            });
    EXPECT_TRUE(eventually([&] { return isOver; }));
    EXPECT_TRUE(eventually([this] { return !isRunning(); }));
}

TEST_F(CodexTrustTest, ItsProgramStartsAsIfAloneAtATerminal) {
    // Python has signal actions of its own.
    const fs::path path = program("#!/bin/sh\nhere=$(dirname \"$0\")\n"
                                  "{ grep -E '^Sig(Blk|Ign)' /proc/self/status; ulimit -Sn; pwd\n"
                                  "readlink /proc/$$/fd/2; echo $TAMSELL_TEST\n"
                                  "[ $(ps -o pgid= $$) = $$ ] && echo leader; } >$here/seen\n");
    rlimit files{};
    ::getrlimit(RLIMIT_NOFILE, &files);
    rlimit few = files;
    few.rlim_cur = 200;
    ::setrlimit(RLIMIT_NOFILE, &few);
    ::setenv("TAMSELL_TEST", "inherited", 1);
    std::signal(SIGXFSZ, SIG_IGN);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGUSR1);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    const DescriptorLimit limit;
    bool isOver = false;
    const CodexTrustCheck running(
        path, "/", 20s, [&](const auto&) { isOver = true; }, limit);
    EXPECT_TRUE(eventually([&] { return isOver; }));
    // A shell clears the signal mask by itself, Python does not.
    EXPECT_EQ(ask(codex("print('{\"id\":1}' if signal.pthread_sigmask(0, []) else answer)")),
              sampled);
    ::sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
    std::signal(SIGXFSZ, SIG_DFL);
    ::setrlimit(RLIMIT_NOFILE, &files);
    EXPECT_EQ(contentOf(m_at / "seen"),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n200\n" +
                  fs::current_path().string() + "\n/dev/null\ninherited\nleader\n");
}

TEST_F(CodexTrustTest, TheProgramIsTheFirstThatCanBeExecuted) {
    const TemporaryDirectory home;
    const fs::path chosen = program("");
    const auto environment = fakeEnvironment({{"TAMSELL_CODEX_BIN", chosen.string()}});
    const fs::path usual = home.put(".local/bin/codex", "");
    EXPECT_EQ(findCodex(environment, home.path()), chosen);
    fs::permissions(usual, fs::perms(0755));
    EXPECT_EQ(findCodex(environment, home.path()), chosen);
    if (fs::exists("/usr/local/bin/codex") || fs::exists("/opt/homebrew/bin/codex"))
        GTEST_SKIP() << "this computer's own comes first";
    fs::permissions(chosen, fs::perms(0644));
    EXPECT_EQ(findCodex(environment, home.path()), usual);
    for (const std::string& odd : {home.path().string(), std::string(), (home / "none").string()})
        EXPECT_EQ(findCodex(fakeEnvironment({{"TAMSELL_CODEX_BIN", odd}}), home.path()), usual);
    fs::permissions(usual, fs::perms(0644));
    EXPECT_EQ(findCodex(environment, home.path()), std::nullopt);
}

} // namespace
