#include <regex>
#include <set>

#include <gmock/gmock.h>

#include "crypto/ConstantTime.h"
#include "crypto/Random.h"
#include "crypto/SecretBytes.h"

namespace {

TEST(Random, IdentifiersAreVersionFourAndDiffer) {
    const std::regex form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        const std::string id = securerandom::uuid();
        EXPECT_TRUE(std::regex_match(id, form)) << id;
        EXPECT_TRUE(seen.insert(id).second) << id;
    }
}

TEST(ConstantTime, ComparesAllBytesAndNeverAcceptsNothing) {
    EXPECT_TRUE(constantTimeEqual("secret", "secret"));
    EXPECT_TRUE(constantTimeEqual(std::string_view("a\0b", 3), std::string_view("a\0b", 3)));
    for (const auto& [left, right] : std::vector<std::pair<std::string_view, std::string_view>>{
             {"", ""},
             {"a", ""},
             {"", "a"},
             {"secret", "secre"},
             {"secre", "secret"},
             {"secret", "Secret"},
             {"secret", "secreT"},
             {std::string_view("a\0b", 3), std::string_view("a\0c", 3)}})
        EXPECT_FALSE(constantTimeEqual(left, right)) << left << " / " << right;
}

TEST(SecretBytes, MovingLeavesNothingBehind) {
    const std::array<std::uint8_t, 4> bytes{1, 2, 3, 4};
    const auto is = [](const SecretBytes<4>& secret, std::array<std::uint8_t, 4> expected) {
        return std::ranges::equal(secret.bytes(), expected);
    };
    SecretBytes<4> first(bytes);
    SecretBytes<4> second(std::move(first));
    EXPECT_TRUE(is(first, {})); // NOLINT(bugprone-use-after-move): what is left is the point.
    EXPECT_TRUE(is(second, bytes));
    SecretBytes<4> third;
    third = std::move(second);
    EXPECT_TRUE(is(second, {})); // NOLINT(bugprone-use-after-move)
    SecretBytes<4>& same = third;
    third = std::move(same);
    EXPECT_TRUE(is(third, bytes));
    static_assert(!std::is_copy_constructible_v<SecretBytes<4>>);
    static_assert(!std::is_copy_assignable_v<SecretBytes<4>>);
}

} // namespace
