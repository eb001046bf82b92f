#include "core/Decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

namespace decimal {

namespace {

// A decimal as its digits without zeros at either end, times ten to the exponent. Zero has none.
struct Canonical {
    bool negative = false;
    std::string digits;
    std::int64_t exponent = 0;

    bool operator==(const Canonical&) const = default;
};

Canonical canonical(std::string_view text) {
    Canonical result;
    if (text.starts_with('-')) {
        result.negative = true;
        text.remove_prefix(1);
    }
    const std::size_t mark = std::min(text.find_first_of("eE"), text.size());
    if (mark < text.size()) {
        std::string_view exponent = text.substr(mark + 1);
        const bool below = exponent.starts_with('-');
        if (below || exponent.starts_with('+'))
            exponent.remove_prefix(1);
        const auto read =
            std::from_chars(exponent.data(), exponent.data() + exponent.size(), result.exponent);
        // Far beyond every double, and far from overflowing below.
        constexpr std::int64_t bound = std::numeric_limits<std::int64_t>::max() / 4;
        if (read.ec != std::errc{} || result.exponent > bound)
            result.exponent = bound;
        if (below)
            result.exponent = -result.exponent;
    }
    bool fraction = false;
    for (const char c : text.substr(0, mark)) {
        if (c == '.') {
            fraction = true;
            continue;
        }
        result.digits += c;
        if (fraction)
            --result.exponent;
    }
    const std::size_t end = result.digits.find_last_not_of('0') + 1;
    result.exponent += static_cast<std::int64_t>(result.digits.size() - end);
    result.digits.erase(end);
    result.digits.erase(0, result.digits.find_first_not_of('0'));
    if (result.digits.empty())
        result.exponent = 0;
    return result;
}

// Takes digits from the front and says how many.
std::size_t takeDigits(std::string_view& text) {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count;
}

bool isNumber(std::string_view text) {
    if (text.starts_with('-'))
        text.remove_prefix(1);
    const bool startsWithZero = text.starts_with('0');
    const std::size_t whole = takeDigits(text);
    if (whole == 0 || (startsWithZero && whole > 1))
        return false;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (takeDigits(text) == 0)
            return false;
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        if (text.starts_with('+') || text.starts_with('-'))
            text.remove_prefix(1);
        if (takeDigits(text) == 0)
            return false;
    }
    return text.empty();
}

} // namespace

std::optional<double> parse(std::string_view text) {
    if (!isNumber(text))
        return std::nullopt;
    double value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec == std::errc{} && std::isfinite(value))
        return value;
    // Out of range at one end or the other, or with an exponent that no integer holds.
    const Canonical exact = canonical(text);
    const auto magnitude = exact.exponent + static_cast<std::int64_t>(exact.digits.size());
    if (!exact.digits.empty() && magnitude > 0)
        return std::nullopt;
    return exact.negative ? -0.0 : 0.0;
}

void append(std::string& out, double value) {
    char buffer[40];
    std::to_chars_result end{};
    // Whole numbers as digits: std::to_chars prefers an exponent for 1.7e12. -0.0 stays what it is.
    if (value == std::trunc(value) && std::abs(value) < 0x1p63 &&
        (value != 0 || !std::signbit(value)))
        end = std::to_chars(std::begin(buffer), std::end(buffer), static_cast<std::int64_t>(value));
    else
        end = std::to_chars(std::begin(buffer), std::end(buffer), value);
    out.append(buffer, end.ptr);
}

bool losesValue(std::string_view text, double value) {
    // Up to 15 digits survive a double, wherever it is neither very large nor very small.
    if (text.size() <= 15 && text.find_first_of("eE") == std::string_view::npos)
        return false;
    std::string written;
    append(written, value);
    return written != text && canonical(written) != canonical(text);
}

} // namespace decimal
