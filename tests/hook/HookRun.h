#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "support/FakeDaemon.h"

inline const std::string hookProgram = TAMSELL_BIN "/tamsell-hook";

/// One run of the hook through a shell, as agents do it, begun by the constructor.
class HookRun {
  public:
    HookRun(const TemporaryDirectory& home, std::string_view event,
            const std::string& command = "timeout 20 " + hookProgram) {
        ::setenv("TAMSELL_HOME", home.path().c_str(), 1);
        const std::string input = m_input.put("event", event).string();
        m_output.reset(::popen(("<" + input + " 2>&1 " + command).c_str(), "re"));
    }

    /// All that it said, errors included, once it has ended, which it always must with 0.
    [[nodiscard]] std::string output() {
        std::string text;
        for (int c = std::getc(m_output.get()); c != EOF; c = std::getc(m_output.get()))
            text += static_cast<char>(c);
        EXPECT_EQ(::pclose(m_output.release()), 0);
        return text;
    }

    /// Expects that it ends without a word, and neither before its 2 seconds nor long after them.
    void expectToGiveUp() {
        EXPECT_EQ(output(), "");
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - m_begun;
        EXPECT_TRUE(took.count() > 1.9 && took.count() < 8) << took.count() << " s";
    }

  private:
    TemporaryDirectory m_input;
    std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_output{nullptr, ::pclose};
};
