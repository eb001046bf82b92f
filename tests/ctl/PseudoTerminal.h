#pragma once

#include <array>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>

#include "core/Descriptor.h"
#include "support/Until.h"

/// A shell with a terminal of its own, in which tamsellctl runs for the user of a data directory.
class PseudoTerminal {
  public:
    /// @param script for the shell; "tamsellctl" is the program under test
    explicit PseudoTerminal(const std::string& home, const std::string& script,
                            unsigned short rows = 24, unsigned short columns = 80) {
        int end = -1;
        const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        m_id = ::forkpty(&end, nullptr, nullptr, &size);
        if (m_id == 0) {
            ::setenv("TAMSELL_HOME", home.c_str(), 1);
            ::setenv("TAMSELL_CLAUDE_SETTINGS", (home + "/claude/settings.json").c_str(), 1);
            ::setenv("CODEX_HOME", (home + "/codex").c_str(), 1);
            ::setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
            ::setenv("TERM", "xterm", 1);
            const std::string path = ::getenv("PATH");
            ::setenv("PATH", (TAMSELL_BIN ":" + path).c_str(), 1);
            ::execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
            ::_exit(127);
        }
        m_end = Descriptor(end);
    }
    ~PseudoTerminal() {
        m_end.reset(); // The terminal is gone, and so is what runs in it.
        (void)status();
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    void type(std::string_view bytes) const {
        EXPECT_EQ(::write(m_end.number(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// Whether this stands in what was written since the last call that found something.
    bool shows(std::string_view text, std::chrono::milliseconds time = patience) {
        return until(
            [&] {
                pollfd wait{.fd = m_end.number(), .events = POLLIN, .revents = 0};
                std::array<char, 4096> bytes{};
                while (::poll(&wait, 1, 0) > 0) {
                    const ssize_t count = ::read(m_end.number(), bytes.data(), bytes.size());
                    if (count <= 0)
                        break;
                    m_text.append(bytes.data(), static_cast<std::size_t>(count));
                }
                const std::size_t at = m_text.find(text);
                if (at == std::string::npos)
                    return false;
                m_before = m_text.substr(0, at);
                m_text.erase(0, at + text.size());
                return true;
            },
            time);
    }
    /// What was written before the text that `shows` found last, and after the one before that.
    [[nodiscard]] const std::string& before() const { return m_before; }
    void resize(unsigned short rows, unsigned short columns) const {
        const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        EXPECT_EQ(::ioctl(m_end.number(), TIOCSWINSZ, &size), 0);
    }
    /// How the shell has ended, as wait(2) says it.
    int status() {
        if (!m_status)
            ::waitpid(m_id, &m_status.emplace(0), 0);
        return *m_status;
    }
    /// Whether a line has to be ended before the program sees it.
    [[nodiscard]] bool waitsForLines() const {
        termios settings{};
        return ::tcgetattr(m_end.number(), &settings) == 0 && (settings.c_lflag & ICANON) != 0 &&
               (settings.c_lflag & ECHO) != 0;
    }

  private:
    pid_t m_id = -1;
    Descriptor m_end;
    std::optional<int> m_status;
    std::string m_text;
    std::string m_before;
};
