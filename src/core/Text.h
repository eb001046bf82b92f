#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What a person calls text, on UTF-8.
namespace text {

/// The first `count` characters as a person counts them (extended grapheme clusters, Unicode
/// Annex 29), as a view into `utf8`.
[[nodiscard]] std::string_view prefix(std::string_view utf8, std::size_t count);

/// The same, and of no more bytes: one character can have any number of them. It is then cut
/// between two Unicode scalars.
[[nodiscard]] std::string_view prefix(std::string_view utf8, std::size_t count,
                                      std::size_t maximumBytes);

/// Whether both are the same text under canonical equivalence (Unicode Annex 15).
[[nodiscard]] bool canonicallyEqual(std::string_view left, std::string_view right);

/// The canonical decomposition (NFD). Invalid UTF-8 comes back as it is.
[[nodiscard]] std::string decomposed(std::string_view utf8);

/// Without the white space and line breaks at both ends: general category Z, U+0009 to U+000D and
/// U+0085.
[[nodiscard]] std::string_view trimmed(std::string_view utf8);

/// Every maximal invalid sequence replaced by U+FFFD (Unicode 3.9, "substitution of maximal
/// subparts").
[[nodiscard]] std::string repaired(std::string_view bytes);

/// On one line and without surprises: control characters, line and paragraph separators,
/// bidirectional and all other invisible characters, blanks but the space, and what is no character
/// as \u{XXXX}, a line feed as \n, an invalid byte as \xXX.
[[nodiscard]] std::string visible(std::string_view utf8);

/// A stretch of a text for a screen: what shows as it is, or one character that hides.
struct Piece {
    std::string_view text;
    std::string mark; ///< "U+202E" for one that hides, "0xFF" for an invalid byte; else empty

    bool operator==(const Piece&) const = default;
};

/// The whole text in such pieces, which refer to it. Tabs and line feeds are what they seem; every
/// other character that `visible` would escape hides.
[[nodiscard]] std::vector<Piece> pieces(std::string_view utf8);

/// How many cells of a terminal it takes: two for a wide character, none for one that joins the
/// one before it.
[[nodiscard]] std::size_t columns(std::string_view utf8);

/// A JSON text whose strings hold no such character but as an escape; the value stays the same.
[[nodiscard]] std::string asciiWhereInvisible(std::string_view json);

/// The beginning that fits into so many cells: whole characters, at least one.
[[nodiscard]] std::string_view fitting(std::string_view utf8, std::size_t cells);

/// The text, or as much of it as fits into so many cells with "…" behind it. 0 cells are endless.
[[nodiscard]] std::string inOneRow(std::string_view utf8, std::size_t cells);

/// The folder or file that a path names: what is behind its last "/", apart from those at its end;
/// "/" for the root.
[[nodiscard]] std::string_view lastPathComponent(std::string_view path);

[[nodiscard]] bool isASCII(std::string_view bytes);

} // namespace text
