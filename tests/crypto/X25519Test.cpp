#include <gmock/gmock.h>

#include <openssl/err.h>

#include "crypto/X25519.h"

#include "Hex.h"

namespace {

using testing::ElementsAreArray;

std::vector<std::uint8_t> agree(std::span<const std::uint8_t> privateKey,
                                std::span<const std::uint8_t> publicKey) {
    const auto key = X25519PrivateKey::from(privateKey);
    const auto secret = key ? key->sharedSecret(publicKey) : std::nullopt;
    if (!secret)
        return {};
    return {secret->bytes().begin(), secret->bytes().end()};
}

TEST(X25519, PublicKeysOfThePublishedVectors) {
    const struct {
        const char* privateKey;
        const char* publicKey;
    } vectors[] = {
        // RFC 7748 section 6.1, the second party.
        {"5dab087e624a8a4b79e17f8b83800ee66f3bb1292618b6fd1c2f8b27ff88e0eb",
         "de9edb7d7b7dc1b4d35b61c2ece435373f8343c85b78674dadfc7e146f882b4f"},
        // Section 5.2, the first iteration: scalar and base point are 9.
        {"0900000000000000000000000000000000000000000000000000000000000000",
         "422c8e7a6227d7bca1350b3e2bb7279f7897b87bb6854b783c60e80311ae3079"},
        // The same scalar with the bits set that clamping clears (section 5).
        {"0f00000000000000000000000000000000000000000000000000000000000080",
         "422c8e7a6227d7bca1350b3e2bb7279f7897b87bb6854b783c60e80311ae3079"},
    };
    for (const auto& vector : vectors) {
        const auto key = X25519PrivateKey::from(fromHex(vector.privateKey));
        ASSERT_TRUE(key);
        EXPECT_THAT(key->publicKey(), ElementsAreArray(fromHex(vector.publicKey)));
        EXPECT_THAT(key->bytes(), ElementsAreArray(fromHex(vector.privateKey)))
            << "the raw bytes are kept as they came";
    }
}

TEST(X25519, SharedSecretsOfThePublishedVectors) {
    const struct {
        const char* privateKey;
        const char* publicKey;
        const char* secret;
    } vectors[] = {
        // RFC 7748 section 5.2; the second has the highest bit of the public key set.
        {"a546e36bf0527c9d3b16154b82465edd62144c0ac1fc5a18506a2244ba449ac4",
         "e6db6867583030db3594c1a424b15f7c726624ec26b3353b10a903a6d0ab1c4c",
         "c3da55379de9c6908e94ea4df28d084f32eccf03491c71f754b4075577a28552"},
        {"4b66e9d4d1b4673c5ad22691957d6af5c11b6421e0ea01d42ca4169e7918ba0d",
         "e5210f12786811d3f4b7959d0538ae2c31dbe7106fc03c3efc4cd549c715a493",
         "95cbde9476e8907d7aade45cb4b873f88b595a68799fa152e6f8f7647aac7957"},
        // Section 6.1, from the second party's side.
        {"5dab087e624a8a4b79e17f8b83800ee66f3bb1292618b6fd1c2f8b27ff88e0eb",
         "8520f0098930a754748b7ddcb43ef75a0dbf3a0d26381af4eba4a98eaa9b4e6a",
         "4a5d9d5ba4ce2de1728e3bf480350f25e07e21c947d19e3376f09b3c1e161742"},
    };
    for (const auto& vector : vectors)
        EXPECT_THAT(agree(fromHex(vector.privateKey), fromHex(vector.publicKey)),
                    ElementsAreArray(fromHex(vector.secret)));
}

TEST(X25519, AThousandIterations) {
    // RFC 7748 section 5.2: the scalar becomes the public key, and the result the scalar.
    auto scalar = fromHex("0900000000000000000000000000000000000000000000000000000000000000");
    auto point = scalar;
    for (int i = 0; i < 1000; ++i) {
        auto result = agree(scalar, point);
        point = std::exchange(scalar, std::move(result));
    }
    EXPECT_THAT(scalar, ElementsAreArray(fromHex(
                            "684cf59ba83309552800ef566f2f4d3c1c3887c49360e3875f2eb94d99532c51")));
}

TEST(X25519, DegenerateKeysAgreeOnNothing) {
    const auto key = X25519PrivateKey::generate();
    // The points of small order, in every form of less than 2^255, and some with the highest bit,
    // which is to be ignored.
    for (const char* publicKey :
         {"0000000000000000000000000000000000000000000000000000000000000000",
          "0100000000000000000000000000000000000000000000000000000000000000",
          "e0eb7a7c3b41b8ae1656e3faf19fc46ada098deb9c32b1fd866205165f49b800",
          "5f9c95bca3508c24b1d0b1559c83ef5b04445cc4581c8e86d8224eddd09f1157",
          "ecffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
          "edffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
          "eeffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
          "0000000000000000000000000000000000000000000000000000000000000080",
          "ecffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"}) {
        EXPECT_FALSE(key.sharedSecret(fromHex(publicKey))) << publicKey;
        EXPECT_EQ(ERR_peek_error(), 0U) << "a TLS connection would take it for its own failure";
    }
}

TEST(X25519, OnlyThirtyTwoBytesAreAKey) {
    const auto key = X25519PrivateKey::generate();
    for (const std::size_t length : {0U, 1U, 31U, 33U, 64U}) {
        const std::vector<std::uint8_t> bytes(length, 7);
        EXPECT_FALSE(X25519PrivateKey::from(bytes)) << length;
        EXPECT_FALSE(key.sharedSecret(bytes)) << length;
    }
    EXPECT_NE(key.publicKey(), X25519PrivateKey::generate().publicKey());
}

} // namespace
