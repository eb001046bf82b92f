#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Decimal texts of JSON numbers (RFC 8259 section 6).
namespace decimal {

/// The double nearest to a number's text; zero where that is too small. Nothing when the text is no
/// JSON number or is beyond every double.
[[nodiscard]] std::optional<double> parse(std::string_view text);

/// The shortest text that reads back as the same double; an integral value below 2^63 as plain
/// digits. The value must be finite. Appends to `out`.
void append(std::string& out, double value);

/// Whether writing `value`, which was read from `text`, would give another decimal value than the
/// text has. `text` must be a valid JSON number.
[[nodiscard]] bool losesValue(std::string_view text, double value);

} // namespace decimal
