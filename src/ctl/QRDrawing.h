#pragma once

#include <cstddef>
#include <string>

#include "platform/QRCode.h"

/// A QR code at a terminal: two modules, one above the other, are one character.
namespace ctl::qrdrawing {

/// What it takes with its quiet zone, in cells.
[[nodiscard]] std::size_t columns(const qr::Code& code);
[[nodiscard]] std::size_t rows(const qr::Code& code);

/// Black on white whatever the terminal's colours are, and whatever NO_COLOR says: the other way
/// round many cameras do not read it. Every row ends with a line feed.
[[nodiscard]] std::string drawn(const qr::Code& code);

} // namespace ctl::qrdrawing
