#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "ctl/Terminal.h"

namespace ctl {

/// What the terminal shows while a phone may pair: the link as a QR code and as text, and how long
/// it is valid. Where there is no room for the code, it says how much would do. What it gives is to
/// be written to the terminal at once.
class PairView {
  public:
    /// Everything anew, in place of what was drawn; on a cleared terminal when it has another size
    /// than before.
    [[nodiscard]] std::string draw(const std::string& link, std::string_view timeLeft,
                                   Terminal::Size size);
    /// The time in its place.
    [[nodiscard]] std::string tick(std::string_view timeLeft) const;
    /// Takes back what was drawn. The link is a secret as long as it is valid, and a code below the
    /// outcome would be taken for one that still is.
    [[nodiscard]] std::string erase();

    [[nodiscard]] Terminal::Size size() const { return m_size; }

  private:
    Terminal::Size m_size;
    std::size_t m_rows = 0; // so many are drawn, each ended with a line feed
};

} // namespace ctl
