#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <gmp.h>
#include <nettle/ecc-curve.h>
#include <nettle/ecc.h>
#include <nettle/ecdsa.h>
#include <openssl/err.h>

#include "crypto/Hash.h"
#include "crypto/P256.h"

#include "Hex.h"

namespace {

using testing::ElementsAreArray;

constexpr const char* order = "ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551";

P256PrivateKey keyFrom(const std::string& hex) {
    auto key = P256PrivateKey::from(fromHex(hex));
    if (!key)
        throw std::runtime_error("not a scalar: " + hex);
    return std::move(*key);
}

ES256Signature signatureFrom(const std::string& hex) {
    ES256Signature signature{};
    std::ranges::copy(fromHex(hex), signature.begin());
    return signature;
}

// RFC 6979 appendix A.2.5.
constexpr const char* scalar = "c9afa9d845ba75166b5c215767b1d6934e50c3db36e89b127b8a622b120f6721";
constexpr const char* point = "0460fed4ba255a9d31c961eb74c6356d68c049b8923b61fa6ce669622e60f29fb6"
                              "7903fe1008b8bc99a41ae9e95628bc64f2f1b20c2d7e9f5177a3c294d4462299";
const std::pair<const char*, const char*> published[] = {
    {"sample", "efd48b2aacb6a8fd1140dd9cd45e81d69d2c877b56aaf991c34d0ea84eaf3716"
               "f7cb1c942d657c41d436c7a1b6e29f65f3e900dbb9aff4064dc4ab2f843acda8"},
    {"test", "f1abb023518351cd71d881567b1ea663ed3efcf6c5132b354f28d3b0b7d38367"
             "019f4113742a2b14bd25926b49c649155f267e60d3814b4c0cc84250e46f0083"},
};

TEST(P256, ThePublishedKeysAndSecrets) {
    EXPECT_THAT(keyFrom(scalar).publicKey().bytes(), ElementsAreArray(fromHex(point)));
    const struct {
        const char* scalar;
        const char* other;
        const char* secret;
    } vectors[] = {
        // NIST's cryptographic algorithm validation, ECC CDH primitive, P-256, count 0.
        {"7d7dc5f71eb29ddaf80d6214632eeae03d9058af1fb6d22ed80badb62bc1a534",
         "04700c48f77f56584c5cc632ca65640db91b6bacce3a4df6b42ce7cc838833d287"
         "db71e509e3fd9b060ddb20ba5c51dcc5948d46fbf640dfe0441782cab85fa4ac",
         "46fc62106420ff012e54a434fbdd2d25ccc5852060561e68040dd7778997bd7b"},
        // RFC 5903 section 8.1.
        {"c88f01f510d9ac3f70a292daa2316de544e9aab8afe84049c62a9c57862d1433",
         "04d12dfb5289c8d4f81208b70270398c342296970a0bccb74c736fc7554494bf63"
         "56fbf3ca366cc23e8157854c13c58d6aac23f046ada30f8353e74f33039872ab",
         "d6840f6b42f6edafd13116e0e12565202fef8e9ece7dce03812464d04b9442de"},
    };
    for (const auto& vector : vectors) {
        const auto other = P256PublicKey::from(fromHex(vector.other));
        ASSERT_TRUE(other);
        EXPECT_THAT(keyFrom(vector.scalar).sharedSecret(*other).bytes(),
                    ElementsAreArray(fromHex(vector.secret)));
    }
}

TEST(P256, OnlyScalarsBelowTheOrderAreKeys) {
    std::string most = order;
    most.back() = '0';
    for (const std::string& good :
         {std::string("0000000000000000000000000000000000000000000000000000000000000001"), most})
        EXPECT_THAT(keyFrom(good).bytes(), ElementsAreArray(fromHex(good)));
    EXPECT_NE(P256PrivateKey::generate().publicKey(), P256PrivateKey::generate().publicKey());
    for (const std::string& bad :
         {std::string(), std::string(64, '0'), std::string(order), std::string(64, 'f'),
          std::string(62, '1'), std::string(66, '1')})
        EXPECT_FALSE(P256PrivateKey::from(fromHex(bad))) << bad;
}

TEST(P256, OnlyPointsOfTheCurveAreKeys) {
    const std::string good = point;
    std::string offCurve = good;
    offCurve.back() = '8';
    const std::string y = "459243b9aa581806fe913bce99817ade11ca503c64d9a3c533415c083248fbcc";
    const std::string five = "0000000000000000000000000000000000000000000000000000000000000005";
    ASSERT_TRUE(P256PublicKey::from(fromHex("04" + five + y)));
    const std::pair<const char*, std::string> cases[] = {
        {"off the curve", offCurve},
        {"x beyond the field",
         "04ffffffff00000001000000000000000000000001000000000000000000000004" + y},
        {"infinity", "00"},
        {"infinity, filled up", std::string(130, '0')},
        {"no coordinates", good.substr(0, 2).append(128, '0')},
        {"compressed", "03" + good.substr(2, 64)},
        {"hybrid", "07" + good.substr(2)},
        {"another form", "05" + good.substr(2)},
        {"one byte less", good.substr(0, 128)},
        {"one byte more", good + "00"},
        {"nothing", ""},
    };
    for (const auto& [what, bytes] : cases) {
        EXPECT_FALSE(P256PublicKey::from(fromHex(bytes))) << what;
        EXPECT_EQ(ERR_peek_error(), 0U) << "a TLS connection would take it for its own failure";
    }
}

TEST(ES256, ThePublishedSignaturesAndNoOthers) {
    const P256PrivateKey key = keyFrom(scalar);
    for (const auto& [message, signature] : published)
        EXPECT_TRUE(key.publicKey().verify(message, signatureFrom(signature))) << message;
    const ES256Signature good = signatureFrom(published[0].second);
    EXPECT_FALSE(key.publicKey().verify("Sample", good));
    EXPECT_FALSE(P256PrivateKey::generate().publicKey().verify("sample", good));
    for (std::size_t i = 0; i < good.size(); ++i) {
        ES256Signature changed = good;
        changed[i] ^= 1;
        EXPECT_FALSE(key.publicKey().verify("sample", changed)) << i;
    }
    EXPECT_FALSE(key.publicKey().verify("sample", ES256Signature{}));
    EXPECT_EQ(ERR_peek_error(), 0U) << "a TLS connection would take it for its own failure";
}

TEST(ES256, AnotherLibraryTakesWhatWasSigned) {
    for (int i = 0; i < 50; ++i) { // Some have leading zeros in r or s.
        const P256PrivateKey key = P256PrivateKey::generate();
        const std::string message(static_cast<std::size_t>(i), 'm');
        const ES256Signature signature = key.sign(message);
        EXPECT_TRUE(key.publicKey().verify(message, signature));

        const auto load = [](mpz_t number, std::span<const std::uint8_t> bytes) {
            mpz_init(number);
            mpz_import(number, bytes.size(), 1, 1, 1, 0, bytes.data());
        };
        mpz_t x;
        mpz_t y;
        load(x, key.publicKey().bytes().subspan<1, 32>());
        load(y, key.publicKey().bytes().last<32>());
        ecc_point other;
        ecc_point_init(&other, nettle_get_secp_256r1());
        ASSERT_EQ(ecc_point_set(&other, x, y), 1);
        dsa_signature pair;
        dsa_signature_init(&pair);
        mpz_import(pair.r, 32, 1, 1, 1, 0, signature.data());
        mpz_import(pair.s, 32, 1, 1, 1, 0, signature.data() + 32);
        const auto digest = hash::sha256(message);
        EXPECT_EQ(ecdsa_verify(&other, digest.size(), digest.data(), &pair), 1);
        dsa_signature_clear(&pair);
        ecc_point_clear(&other);
        mpz_clears(x, y, nullptr);
    }
}

} // namespace
