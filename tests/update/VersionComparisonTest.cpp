#include <compare>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "update/VersionComparison.h"

namespace {

// Every row is later than the one above it; the versions of a row are the same.
const std::vector<std::vector<std::string_view>> ascending{
    {"b", "0.0b"},
    {"", "0", "0.0", "...", "v0"},
    {"0.9"},
    {"1.0a1.5"},
    {"1alpha", "1.0.0-alpha", "1.0ALPHA0"},
    {"1.0b1", "1b1", "1.0.0-b.1", "1.0b01"},
    {"1.0b1.1"},
    {"1.0b2"},
    {"1.0rc2", "v1.0-rc.2", "1.0RC2+build.9"},
    {"1.0rc10"},
    {"1.0版"},
    {"1", "1.0", "1.0.0", "v1.0", "1.0+42", "01.00"},
    {"1.0-1", "1.0.1"},
    {"1.1"},
    {"1.9"},
    {"1.10"},
    {"42"},
    {"18446744073709551616"},
    {"18446744073709551617", "00018446744073709551617"},
};

// All pairs have the order of the table, so the order is antisymmetric and transitive over it.
TEST(CompareVersions, OrdersATable) {
    for (std::size_t i = 0; i < ascending.size(); ++i)
        for (std::size_t j = 0; j < ascending.size(); ++j)
            for (const auto left : ascending[i])
                for (const auto right : ascending[j])
                    EXPECT_EQ(compareVersions(left, right), std::weak_ordering(i <=> j))
                        << left << " and " << right;
}

// The same for all short texts of characters that matter, of which nobody wrote a table.
TEST(CompareVersions, IsATotalOrderOfAnything) {
    std::vector<std::string> texts{""};
    for (std::size_t from = 0, length = 1; length <= 3; ++length) {
        const std::size_t to = texts.size();
        for (; from < to; ++from)
            for (const char c : {'0', '1', 'a', 'V', '.', '+'})
                texts.push_back(texts[from] + c);
    }
    std::vector<std::string> sorted = texts;
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
        return std::is_lt(compareVersions(left, right));
    });
    for (std::size_t i = 0; i < sorted.size(); ++i)
        for (std::size_t j = i; j < sorted.size(); ++j) {
            const auto order = compareVersions(sorted[i], sorted[j]);
            ASSERT_TRUE(std::is_lteq(order)) << sorted[i] << " and " << sorted[j];
            ASSERT_EQ(std::is_gt(compareVersions(sorted[j], sorted[i])), std::is_lt(order));
        }
}

} // namespace
