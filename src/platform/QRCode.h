#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// QR codes (ISO/IEC 18004), by libqrencode.
namespace qr {

/// So many light modules have to be around a code, or it is not found.
inline constexpr int quietZone = 4;

/// A square of modules, without the quiet zone.
struct Code {
    int size = 0;              ///< modules on each side: 21 to 177
    std::vector<bool> modules; ///< true where dark; row by row from the top, each from the left

    /// Light outside of the code.
    [[nodiscard]] bool isDark(int x, int y) const {
        return x >= 0 && x < size && y >= 0 && y < size &&
               modules[static_cast<std::size_t>(y) * static_cast<std::size_t>(size) +
                       static_cast<std::size_t>(x)];
    }

    bool operator==(const Code&) const = default;
};

/// The smallest code for the bytes, which may lose 15 % of itself (level M).
/// @throws std::length_error for none, and for more than fit into one code: 2331
[[nodiscard]] Code encode(std::string_view text);

} // namespace qr
