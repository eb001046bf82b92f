#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ChildProcess.h"
#include "support/TemporaryDirectory.h"

/// What a camera would read of a QR code at a terminal: the half blocks become a picture, and zbar
/// reads that. Rows without the colours black on white are grey, and read as nothing.
/// @param text what was written to the terminal; what is no row of the code is left out
inline std::string scanned(std::string_view text) {
    constexpr std::string_view colours = "\x1b[38;5;16;48;5;231m";
    constexpr std::string_view end = "\x1b[0m";
    constexpr std::size_t scale = 4;
    std::vector<std::string> lines; // of pixels, one byte each
    for (std::size_t at = 0; (at = text.find(colours, at)) != std::string_view::npos;) {
        at += colours.size();
        std::string_view row = text.substr(at, text.find(end, at) - at);
        std::string upper;
        std::string lower;
        while (!row.empty()) {
            const bool isBlock = row.starts_with("\xe2\x96"); // U+2580 to U+25BF
            const char kind = isBlock ? row[2] : row[0];
            const bool isFull = isBlock && kind == '\x88';
            upper.append(scale, isFull || (isBlock && kind == '\x80') ? '\0' : '\xff');
            lower.append(scale, isFull || (isBlock && kind == '\x84') ? '\0' : '\xff');
            row.remove_prefix(isBlock ? 3 : 1);
        }
        lines.insert(lines.end(), scale, upper);
        lines.insert(lines.end(), scale, lower);
    }
    std::size_t width = 0;
    for (const std::string& line : lines)
        width = std::max(width, line.size());
    std::string picture =
        "P5 " + std::to_string(width) + " " + std::to_string(lines.size()) + " 255\n";
    for (std::string& line : lines) {
        line.resize(width, '\x80');
        picture += line;
    }
    const TemporaryDirectory directory;
    ChildProcess zbar({.arguments = {"zbarimg", "--quiet", "--raw", "--nodbus",
                                     directory.put("code.pgm", picture).string()},
                       .input = ""});
    if (!zbar.wait(ChildProcess::Clock::now() + std::chrono::seconds(30)))
        return "zbarimg does not end";
    const std::string& said = zbar.output();
    return said.substr(0, said.find('\n'));
}
