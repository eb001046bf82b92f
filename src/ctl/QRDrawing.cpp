#include "ctl/QRDrawing.h"

namespace ctl::qrdrawing {

namespace {

// Entries of the palette of 256 that themes leave alone, unlike the first 16.
constexpr const char* blackOnWhite = "\x1b[38;5;16;48;5;231m";
constexpr const char* plain = "\x1b[0m\n";

const char* cell(bool isUpperDark, bool isLowerDark) {
    if (isUpperDark)
        return isLowerDark ? "█" : "▀";
    return isLowerDark ? "▄" : " ";
}

} // namespace

std::size_t columns(const qr::Code& code) {
    return static_cast<std::size_t>(code.size) + 2 * static_cast<std::size_t>(qr::quietZone);
}

std::size_t rows(const qr::Code& code) {
    return (columns(code) + 1) / 2;
}

std::string drawn(const qr::Code& code) {
    const int end = code.size + qr::quietZone;
    std::string text;
    for (int y = -qr::quietZone; y < end; y += 2) {
        text += blackOnWhite;
        for (int x = -qr::quietZone; x < end; ++x)
            text += cell(code.isDark(x, y), code.isDark(x, y + 1));
        text += plain;
    }
    return text;
}

} // namespace ctl::qrdrawing
