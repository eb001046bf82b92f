#include "update/VersionComparison.h"

#include <algorithm>
#include <vector>

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isLetter(char c) {
    return (lowered(c) >= 'a' && lowered(c) <= 'z') || static_cast<unsigned char>(c) >= 0x80;
}

struct Part {
    bool isNumber = true;
    std::string_view text{}; ///< of a number without leading zeros: zero has no digits
};

std::vector<Part> partsOf(std::string_view version) {
    version = version.substr(0, version.find('+'));
    if (version.size() > 1 && lowered(version[0]) == 'v' && isDigit(version[1]))
        version.remove_prefix(1);
    std::vector<Part> parts;
    for (std::size_t at = 0; at < version.size();) {
        const bool isNumber = isDigit(version[at]);
        if (!isNumber && !isLetter(version[at])) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < version.size() && (isNumber ? isDigit(version[end]) : isLetter(version[end])))
            ++end;
        std::string_view text = version.substr(at, end - at);
        if (isNumber) {
            text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
        } else {
            while (!parts.empty() && parts.back().isNumber && parts.back().text.empty())
                parts.pop_back();
        }
        parts.push_back({isNumber, text});
        at = end;
    }
    return parts;
}

std::weak_ordering compare(const Part& left, const Part& right) {
    if (left.isNumber != right.isNumber)
        return left.isNumber <=> right.isNumber;
    if (left.isNumber && left.text.size() != right.text.size())
        return left.text.size() <=> right.text.size();
    return std::lexicographical_compare_three_way(
        left.text.begin(), left.text.end(), right.text.begin(), right.text.end(),
        [](char a, char b) -> std::weak_ordering {
            return static_cast<unsigned char>(lowered(a)) <=>
                   static_cast<unsigned char>(lowered(b));
        });
}

} // namespace

std::weak_ordering compareVersions(std::string_view left, std::string_view right) {
    const std::vector<Part> lefts = partsOf(left);
    const std::vector<Part> rights = partsOf(right);
    for (std::size_t i = 0; i < std::max(lefts.size(), rights.size()); ++i) {
        const auto order =
            compare(i < lefts.size() ? lefts[i] : Part{}, i < rights.size() ? rights[i] : Part{});
        if (std::is_neq(order))
            return order;
    }
    return std::weak_ordering::equivalent;
}
