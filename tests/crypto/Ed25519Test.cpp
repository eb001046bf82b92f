#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <nettle/eddsa.h>
#include <openssl/err.h>

#include "crypto/Ed25519.h"

#include "Hex.h"

namespace {

template <std::size_t size>
std::array<std::uint8_t, size> arrayFromHex(const std::string& hex) {
    const auto bytes = fromHex(hex);
    std::array<std::uint8_t, size> result{};
    EXPECT_EQ(bytes.size(), size);
    std::copy_n(bytes.begin(), std::min(bytes.size(), size), result.begin());
    return result;
}

struct Signed {
    std::string key;
    std::string message;
    std::string signature;

    [[nodiscard]] bool isGood() const {
        return ed25519::verify(arrayFromHex<32>(key), fromHex(message),
                               arrayFromHex<64>(signature));
    }
};

// RFC 8032 section 7.1: tests 1, 2, 3 and SHA(abc).
const Signed published[] = {
    {"d75a980182b10ab7d54bfed3c964073a0ee172f3daa62325af021a68f707511a", "",
     "e5564300c360ac729086e2cc806e828a84877f1eb8e5d974d873e065224901555fb8821590a33bacc61e39701cf9b"
     "46bd25bf5f0595bbe24655141438e7a100b"},
    {"3d4017c3e843895a92b70aa74d1b7ebc9c982ccf2ec4968cc0cd55f12af4660c", "72",
     "92a009a9f0d4cab8720e820b5f642540a2b27b5416503f8fb3762223ebdb69da085ac1e43e15996e458f3613d0f11"
     "d8c387b2eaeb4302aeeb00d291612bb0c00"},
    {"fc51cd8e6218a1a38da47ed00230f0580816ed13ba3303ac5deb911548908025", "af82",
     "6291d657deec24024827e69c3abe01a30ce548a284743a445e3680d7db5ac3ac18ff9b538d16f290ae67f760984dc"
     "6594a7c15e9716ed28dc027beceea1ec40a"},
    {"ec172b93ad5e563bf4932c70e1245034c35467ef2efd4d64ebf819683467e2bf",
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3fee"
     "bbd454d4423643ce80e2a9ac94fa54ca49f",
     "dc2a4459e7369633a52b1bf277839a00201009a3efbf3ecb69bea2186c26b58909351fc9ac90b3ecfdfbc7c66431e"
     "0303dca179c138ac17ad9bef1177331a704"},
};

TEST(Ed25519, ThePublishedSignatures) {
    for (const Signed& vector : published)
        EXPECT_TRUE(vector.isGood()) << vector.key;
}

TEST(Ed25519, WhatAnotherLibrarySigned) {
    const auto secret = fromHex("833fe62409237b9d62ec77587520911e9a759cec1d19755b7da901b96dca3d42");
    ed25519::PublicKey key;
    nettle_ed25519_sha512_public_key(key.data(), secret.data());
    for (const std::size_t length : {0U, 127U, 128U, 1023U, 1U << 20}) {
        std::vector<std::uint8_t> message(length);
        std::generate(message.begin(), message.end(),
                      [value = 0U]() mutable { return static_cast<std::uint8_t>(value++ * 7); });
        ed25519::Signature signature;
        nettle_ed25519_sha512_sign(key.data(), secret.data(), length, message.data(),
                                   signature.data());
        EXPECT_TRUE(ed25519::verify(key, message, signature)) << length;
        message.push_back(0);
        EXPECT_FALSE(ed25519::verify(key, message, signature)) << length;
    }
}

TEST(Ed25519, AFlippedBitAnywhereIsRefused) {
    const Signed& good = published[2];
    for (std::string Signed::*part : {&Signed::key, &Signed::message, &Signed::signature}) {
        for (std::size_t digit = 0; digit < (good.*part).size(); ++digit) {
            Signed changed = good;
            char& c = (changed.*part)[digit];
            c = c == '0' ? '1' : '0';
            EXPECT_FALSE(changed.isGood()) << "digit " << digit << " of " << good.*part;
            EXPECT_EQ(ERR_peek_error(), 0U) << "a TLS connection would take it for its own failure";
        }
    }
}

// RFC 8032 section 5.1.7: S is below L. Without that, adding L to it makes another signature of the
// same message.
TEST(Ed25519, ASecondFormOfASignatureIsRefused) {
    const auto order = fromHex("edd3f55c1a631258d69cf7a2def9de1400000000000000000000000000000010");
    for (const Signed& vector : published) {
        auto signature = arrayFromHex<64>(vector.signature);
        unsigned carry = 0;
        for (std::size_t i = 0; i < order.size(); ++i) {
            carry += signature[32 + i] + order[i];
            signature[32 + i] = static_cast<std::uint8_t>(carry & 0xFF);
            carry >>= 8;
        }
        ASSERT_EQ(carry, 0U);
        EXPECT_FALSE(
            ed25519::verify(arrayFromHex<32>(vector.key), fromHex(vector.message), signature));
    }
}

TEST(Ed25519, AKeyThatIsNoPointVerifiesNothing) {
    // No x belongs to y = 2; all ones is beyond the field.
    for (const std::string key :
         {"0200000000000000000000000000000000000000000000000000000000000000",
          "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"}) {
        const Signed forged{key, published[1].message, published[1].signature};
        EXPECT_FALSE(forged.isGood());
        EXPECT_EQ(ERR_peek_error(), 0U);
    }
}

} // namespace
