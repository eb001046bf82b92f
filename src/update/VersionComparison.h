#pragma once

#include <compare>
#include <string_view>

/// Which of two releases is the later one, by their version texts.
///
/// A version is a row of numbers and words; whatever else stands between them only separates. The
/// rows are compared part by part as if zeros without end followed:
/// - numbers by value, of any length: 1.9 < 1.10, 1 == 1.0 == 1.0.0, 1.0 < 1.0-1
/// - words letter by letter, in either case: 1.0alpha < 1.0beta == 1.0BETA; bytes beyond ASCII are
///   letters
/// - a word is below every number, so that what a word follows is what comes before it: 1.0b1 < 1.0
/// - zeros before a word say nothing: 1b1 == 1.0b1 == 1.0.0-b.1
///
/// A "v" before the first digit says nothing, nor does a "+" and what follows it (build metadata).
/// It is a total order: versions are the same or one of them is the later one, whatever the texts.
[[nodiscard]] std::weak_ordering compareVersions(std::string_view left, std::string_view right);
