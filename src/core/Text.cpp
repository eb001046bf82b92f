#include "core/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <utility>
#include <vector>

#include <utf8proc.h>

namespace text {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

struct Decoded {
    utf8proc_int32_t codePoint; // negative when invalid
    std::size_t length;
};

Decoded decodeAt(std::string_view utf8, std::size_t at) {
    utf8proc_int32_t codePoint = -1;
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(utf8.data()) + at,
                         static_cast<utf8proc_ssize_t>(utf8.size() - at), &codePoint);
    if (length <= 0)
        return {-1, 1};
    return {codePoint, static_cast<std::size_t>(length)};
}

void append(std::string& utf8, utf8proc_int32_t codePoint) {
    if (codePoint < 0x80) {
        utf8 += static_cast<char>(codePoint);
        return;
    }
    std::array<utf8proc_uint8_t, 4> bytes;
    const utf8proc_ssize_t length = utf8proc_encode_char(codePoint, bytes.data());
    utf8.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

bool isWhiteSpace(utf8proc_int32_t codePoint) {
    if ((codePoint >= 0x09 && codePoint <= 0x0D) || codePoint == 0x85)
        return true;
    const utf8proc_category_t category = utf8proc_category(codePoint);
    return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
           category == UTF8PROC_CATEGORY_ZP;
}

// What shows nothing, or a blank that is not one, or changes what stands around it: control
// characters, separators of lines and paragraphs, format characters (among them all bidirectional
// controls and tags), what fonts are to ignore (Default_Ignorable_Code_Point: variation selectors,
// fillers), blanks but the space, empty glyphs, and what is no character yet.
bool isInvisible(utf8proc_int32_t codePoint) {
    // An empty braille pattern, the place of an object, Egyptian blanks, a note without a head, the
    // Khitan filler.
    constexpr std::array<utf8proc_int32_t, 6> emptyGlyphs{0x2800,  0xFFFC,  0x13441,
                                                          0x13442, 0x1D159, 0x16FE4};
    const utf8proc_property_t* properties = utf8proc_get_property(codePoint);
    switch (properties->category) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
    case UTF8PROC_CATEGORY_CN:
        return true;
    case UTF8PROC_CATEGORY_ZS:
        return codePoint != ' ';
    default:
        return properties->ignorable ||
               std::ranges::find(emptyGlyphs, codePoint) != emptyGlyphs.end();
    }
}

// The selector that only asks for the coloured form of the pictogram before it.
bool isEmojiStyle(utf8proc_int32_t codePoint, utf8proc_int32_t previous) {
    return codePoint == 0xFE0F && previous >= 0 &&
           utf8proc_get_property(previous)->boundclass == UTF8PROC_BOUNDCLASS_EXTENDED_PICTOGRAPHIC;
}

// What is no character is shown as one.
std::size_t cellsOf(utf8proc_int32_t codePoint) {
    return codePoint < 0 ? 1 : static_cast<std::size_t>(utf8proc_charwidth(codePoint));
}

// How many bytes at `at` are an invalid sequence that counts as one: a well-formed beginning that
// breaks off, or a single byte (Unicode 3.9, table 3-7).
std::size_t invalidLength(std::string_view bytes, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U;
    };
    const unsigned first = byte(at);
    unsigned low = 0x80;
    unsigned high = 0xBF;
    std::size_t needed = 0;
    if (first >= 0xC2 && first <= 0xDF) {
        needed = 1;
    } else if (first >= 0xE0 && first <= 0xEF) {
        needed = 2;
        low = first == 0xE0 ? 0xA0 : 0x80;
        high = first == 0xED ? 0x9F : 0xBF;
    } else if (first >= 0xF0 && first <= 0xF4) {
        needed = 3;
        low = first == 0xF0 ? 0x90 : 0x80;
        high = first == 0xF4 ? 0x8F : 0xBF;
    }
    std::size_t length = 1;
    for (; length <= needed; ++length) {
        const unsigned next = byte(at + length);
        if (at + length >= bytes.size() || next < low || next > high)
            break;
        low = 0x80;
        high = 0xBF;
    }
    return length > needed ? 1 : length;
}

} // namespace

std::string_view fitting(std::string_view utf8, std::size_t cells) {
    std::size_t taken = 0;
    std::size_t at = 0;
    while (at < utf8.size()) {
        const Decoded decoded = decodeAt(utf8, at);
        taken += cellsOf(decoded.codePoint);
        if (taken > cells && at > 0)
            break;
        at += decoded.length;
    }
    return utf8.substr(0, at);
}

std::string inOneRow(std::string_view utf8, std::size_t cells) {
    if (cells == 0 || columns(utf8) <= cells)
        return std::string(utf8);
    return std::string(fitting(utf8, cells - 1)) + "…";
}

std::size_t columns(std::string_view utf8) {
    std::size_t cells = 0;
    for (std::size_t at = 0; at < utf8.size();) {
        const Decoded decoded = decodeAt(utf8, at);
        cells += cellsOf(decoded.codePoint);
        at += decoded.length;
    }
    return cells;
}

std::string_view lastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    const std::size_t slash = path.rfind('/');
    return path.size() > 1 && slash != path.npos ? path.substr(slash + 1) : path;
}

bool isASCII(std::string_view bytes) {
    // Without an early exit the loop is vectorised.
    unsigned char any = 0;
    for (const char c : bytes)
        any = static_cast<unsigned char>(any | static_cast<unsigned char>(c));
    return any < 0x80;
}

std::string_view prefix(std::string_view utf8, std::size_t count, std::size_t maximumBytes) {
    if (utf8.size() > maximumBytes) {
        std::size_t end = maximumBytes;
        while (end > 0 && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80)
            --end;
        utf8 = utf8.substr(0, end);
    }
    return prefix(utf8, count);
}

std::string_view prefix(std::string_view utf8, std::size_t count) {
    if (utf8.size() <= count)
        return utf8;
    if (count == 0)
        return {};
    std::size_t at = 0;
    std::size_t characters = 0;
    utf8proc_int32_t previous = -1;
    utf8proc_int32_t state = 0;
    while (at < utf8.size()) {
        const Decoded here = decodeAt(utf8, at);
        const utf8proc_int32_t codePoint = here.codePoint < 0 ? 0xFFFD : here.codePoint;
        if (at == 0 || utf8proc_grapheme_break_stateful(previous, codePoint, &state)) {
            if (characters == count)
                return utf8.substr(0, at);
            ++characters;
        }
        previous = codePoint;
        at += here.length;
    }
    return utf8;
}

std::string decomposed(std::string_view utf8) {
    std::string result;
    result.reserve(utf8.size());
    // Combining marks since the last starter, with their classes. utf8proc would order them by
    // insertion, which a long run of hostile marks turns into minutes.
    std::vector<std::pair<utf8proc_propval_t, utf8proc_int32_t>> marks;
    const auto endRun = [&] {
        if (!std::ranges::is_sorted(marks, {}, &decltype(marks)::value_type::first))
            std::ranges::stable_sort(marks, {}, &decltype(marks)::value_type::first);
        for (const auto& mark : marks)
            append(result, mark.second);
        marks.clear();
    };
    std::size_t at = 0;
    while (at < utf8.size()) {
        const Decoded here = decodeAt(utf8, at);
        if (here.codePoint < 0)
            return std::string(utf8);
        at += here.length;
        std::array<utf8proc_int32_t, 8> pieces; // A canonical decomposition has at most four.
        const utf8proc_ssize_t count = utf8proc_decompose_char(
            here.codePoint, pieces.data(), pieces.size(), UTF8PROC_DECOMPOSE, nullptr);
        for (const utf8proc_int32_t piece :
             std::span(pieces).first(static_cast<std::size_t>(count))) {
            const utf8proc_propval_t order = utf8proc_get_property(piece)->combining_class;
            if (order != 0) {
                marks.emplace_back(order, piece);
                continue;
            }
            if (!marks.empty())
                endRun();
            append(result, piece);
        }
    }
    endRun();
    return result;
}

bool canonicallyEqual(std::string_view left, std::string_view right) {
    if (left == right)
        return true;
    if (isASCII(left) && isASCII(right))
        return false;
    return decomposed(left) == decomposed(right);
}

std::string_view trimmed(std::string_view utf8) {
    std::size_t begin = 0;
    while (begin < utf8.size()) {
        const Decoded here = decodeAt(utf8, begin);
        if (here.codePoint < 0 || !isWhiteSpace(here.codePoint))
            break;
        begin += here.length;
    }
    std::size_t end = utf8.size();
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && end - start < 4 &&
               (static_cast<unsigned char>(utf8[start]) & 0xC0) == 0x80)
            --start;
        const Decoded here = decodeAt(utf8.substr(0, end), start);
        if (here.codePoint < 0 || start + here.length != end || !isWhiteSpace(here.codePoint))
            break;
        end = start;
    }
    return utf8.substr(begin, end - begin);
}

std::string repaired(std::string_view bytes) {
    if (isASCII(bytes))
        return std::string(bytes);
    std::string result;
    result.reserve(bytes.size());
    std::size_t at = 0;
    while (at < bytes.size()) {
        const Decoded here = decodeAt(bytes, at);
        if (here.codePoint >= 0) {
            result.append(bytes, at, here.length);
            at += here.length;
        } else {
            result += replacementCharacter;
            at += invalidLength(bytes, at);
        }
    }
    return result;
}

std::string visible(std::string_view utf8) {
    std::string result;
    result.reserve(utf8.size());
    std::size_t at = 0;
    utf8proc_int32_t previous = -1;
    while (at < utf8.size()) {
        const Decoded here = decodeAt(utf8, at);
        if (here.codePoint == '\n') {
            result += "\\n";
        } else if (here.codePoint < 0 ||
                   (isInvisible(here.codePoint) && !isEmojiStyle(here.codePoint, previous))) {
            char escape[16];
            std::snprintf(escape, sizeof escape, here.codePoint < 0 ? "\\x%02X" : "\\u{%04X}",
                          here.codePoint < 0 ? static_cast<unsigned char>(utf8[at])
                                             : static_cast<unsigned>(here.codePoint));
            result += escape;
        } else {
            result.append(utf8, at, here.length);
        }
        previous = here.codePoint;
        at += here.length;
    }
    return result;
}

std::vector<Piece> pieces(std::string_view utf8) {
    std::vector<Piece> result;
    std::size_t begin = 0;
    utf8proc_int32_t previous = -1;
    const auto flush = [&](std::size_t end) {
        if (end > begin)
            result.push_back({utf8.substr(begin, end - begin), {}});
    };
    for (std::size_t at = 0; at < utf8.size();) {
        const Decoded here = decodeAt(utf8, at);
        const bool isPlain = here.codePoint == '\n' || here.codePoint == '\t' ||
                             (here.codePoint >= 0 && (!isInvisible(here.codePoint) ||
                                                      isEmojiStyle(here.codePoint, previous)));
        if (!isPlain) {
            flush(at);
            char mark[16];
            std::snprintf(mark, sizeof mark, here.codePoint < 0 ? "0x%02X" : "U+%04X",
                          here.codePoint < 0 ? static_cast<unsigned char>(utf8[at])
                                             : static_cast<unsigned>(here.codePoint));
            result.push_back({utf8.substr(at, here.length), mark});
            begin = at + here.length;
        }
        previous = here.codePoint;
        at += here.length;
    }
    flush(utf8.size());
    return result;
}

std::string asciiWhereInvisible(std::string_view json) {
    std::string result;
    result.reserve(json.size());
    for (std::size_t at = 0; at < json.size();) {
        const Decoded here = decodeAt(json, at);
        if (here.codePoint >= 0x7F && isInvisible(here.codePoint)) {
            // RFC 8259 section 7: beyond the first plane as a pair of surrogates.
            const auto code = static_cast<unsigned>(here.codePoint);
            char escape[16];
            if (code < 0x10000)
                std::snprintf(escape, sizeof escape, "\\u%04x", code);
            else
                std::snprintf(escape, sizeof escape, "\\u%04x\\u%04x",
                              0xD800 + ((code - 0x10000) >> 10), 0xDC00 + (code & 0x3FF));
            result += escape;
        } else {
            result.append(json, at, here.length);
        }
        at += here.length;
    }
    return result;
}

} // namespace text
