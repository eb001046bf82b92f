#pragma once

#include <csignal>
#include <cstddef>
#include <vector>

namespace ctl {

/// The terminal on standard input (POSIX, General Terminal Interface), which delivers each key at
/// once and does not show it while this lives. One object at a time.
///
/// Ctrl-C and the like stay signals. Those that end the program do so at once, wherever it is, and
/// the terminal is given back first.
class Terminal {
  public:
    /// @throws std::system_error when standard input is no terminal
    Terminal();
    /// Gives it back.
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Has it deliver keys again after `giveBack`, or after somebody else changed it.
    void take();
    /// Leaves it as it was found. Keys that were not read are not for the next program.
    void giveBack();
    /// Forgets what was typed and not read yet.
    void discardInput();

    /// Columns and rows of standard output; 80 and 24 when it does not say.
    struct Size {
        std::size_t columns = 80;
        std::size_t rows = 24;

        bool operator==(const Size&) const = default;
    };
    [[nodiscard]] static Size size();

  private:
    std::vector<struct sigaction> m_actions; // what the ending signals did before
};

} // namespace ctl
