#include <regex>
#include <set>

#include <gmock/gmock.h>

#include "crypto/ConstantTime.h"
#include "crypto/Random.h"
#include "crypto/X25519.h"

namespace {

std::vector<std::uint8_t> fromHex(std::string_view hex) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(
            static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    return bytes;
}

TEST(X25519, PublicKeysOfThePublishedVectors) {
    const struct {
        const char* privateKey;
        const char* publicKey;
    } vectors[] = {
        // RFC 7748 section 6.1, the second party.
        {"5dab087e624a8a4b79e17f8b83800ee66f3bb1292618b6fd1c2f8b27ff88e0eb",
         "de9edb7d7b7dc1b4d35b61c2ece435373f8343c85b78674dadfc7e146f882b4f"},
        // RFC 7748 section 5.2, the first iteration: scalar and base point are 9.
        {"0900000000000000000000000000000000000000000000000000000000000000",
         "422c8e7a6227d7bca1350b3e2bb7279f7897b87bb6854b783c60e80311ae3079"},
        // The same scalar with the bits set that clamping clears (section 5).
        {"0f00000000000000000000000000000000000000000000000000000000000080",
         "422c8e7a6227d7bca1350b3e2bb7279f7897b87bb6854b783c60e80311ae3079"},
    };
    for (const auto& vector : vectors) {
        const auto key = X25519PrivateKey::from(fromHex(vector.privateKey));
        ASSERT_TRUE(key);
        EXPECT_THAT(key->publicKey(), testing::ElementsAreArray(fromHex(vector.publicKey)));
        EXPECT_THAT(key->bytes(), testing::ElementsAreArray(fromHex(vector.privateKey)))
            << "the raw bytes are kept as they came";
    }
}

TEST(X25519, OnlyThirtyTwoBytesAreAKey) {
    for (const std::size_t length : {0U, 1U, 31U, 33U, 64U})
        EXPECT_FALSE(X25519PrivateKey::from(std::vector<std::uint8_t>(length, 7))) << length;
    EXPECT_NE(X25519PrivateKey::generate().publicKey(), X25519PrivateKey::generate().publicKey());
}

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

} // namespace
