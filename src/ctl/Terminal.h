#pragma once

#include <cstddef>

#include <termios.h>

namespace ctl {

/// The terminal on standard input, and how it delivers what is typed (POSIX, General Terminal
/// Interface). The destructor leaves it as it was found.
class Terminal {
  public:
    enum class Delivery {
        asFound,
        keys, ///< each at once, without showing it
        lines ///< shown, can be corrected, ended by Return
    };

    /// @throws std::system_error when standard input is no terminal
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Ctrl-C and the like stay signals in each of them.
    void deliver(Delivery delivery);
    /// Forgets what was typed and not read yet.
    void discardInput();

    /// How many columns standard output has; 80 when it does not say.
    [[nodiscard]] static std::size_t width();

  private:
    termios m_found{};
    Delivery m_delivery = Delivery::asFound;
};

} // namespace ctl
