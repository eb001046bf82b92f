#include <numeric>

#include <gmock/gmock.h>

#include "crypto/Hash.h"

#include "Hex.h"

namespace {

using testing::ElementsAreArray;

std::vector<std::uint8_t> repeated(std::size_t count, std::uint8_t byte) {
    return std::vector<std::uint8_t>(count, byte);
}

std::vector<std::uint8_t> counted(std::size_t count, std::uint8_t first) {
    std::vector<std::uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

std::string textOf(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(Hash, SHA256OfThePublishedExamples) {
    const std::pair<std::string, const char*> examples[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(1'000'000, 'a'),
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& [message, digest] : examples)
        EXPECT_THAT(hash::sha256(message), ElementsAreArray(fromHex(digest))) << message.size();
    EXPECT_EQ(hash::sha256({}), hash::sha256("")) << "a view of nothing at all";
}

TEST(Hash, HMACOfThePublishedVectors) {
    const struct {
        std::vector<std::uint8_t> key;
        std::string message;
        const char* mac;
    } vectors[] = {
        // RFC 4231 sections 4.2 to 4.5, 4.7 and 4.8; that of 4.6 is a truncated one.
        {repeated(20, 0x0b), "Hi There",
         "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
        {{'J', 'e', 'f', 'e'},
         "what do ya want for nothing?",
         "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
        {repeated(20, 0xaa), std::string(50, '\xdd'),
         "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe"},
        {counted(25, 0x01), std::string(50, '\xcd'),
         "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b"},
        {repeated(131, 0xaa), "Test Using Larger Than Block-Size Key - Hash Key First",
         "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
        {repeated(131, 0xaa),
         "This is a test using a larger than block-size key and a larger than block-size data. The "
         "key needs to be hashed before being used by the HMAC algorithm.",
         "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
        // As the openssl program computes it of nothing.
        {{}, "", "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad"},
    };
    for (const auto& vector : vectors)
        EXPECT_THAT(hash::hmac(vector.key, vector.message), ElementsAreArray(fromHex(vector.mac)))
            << vector.message;
}

TEST(Hash, HKDFOfThePublishedVectors) {
    const struct {
        std::vector<std::uint8_t> keyMaterial;
        std::vector<std::uint8_t> salt;
        std::string info;
        std::vector<std::uint8_t> key;
    } vectors[] = {
        // RFC 5869 appendix A.1 to A.3.
        {repeated(22, 0x0b), counted(13, 0x00), textOf(counted(10, 0xf0)),
         fromHex("3cb25f25faacd57a90434f64d0362f2a2d2d0a90cf1a5a4c5db02d56ecc4c5bf"
                 "34007208d5b887185865")},
        {counted(80, 0x00), counted(80, 0x60), textOf(counted(80, 0xb0)),
         fromHex("b11e398dc80327a1c8e7f78c596a49344f012eda2d4efad8a050cc4c19afa97c"
                 "59045a99cac7827271cb41c65e590e09da3275600c2f09b8367793a9aca3db71"
                 "cc30c58179ec3e87c14c01d5c1f3434f1d87")},
        {repeated(22, 0x0b),
         {},
         "",
         fromHex("8da4e775a563c18f715f802a063c5a31b8a11f5c5ee1879ec3454e5f3c738d2d"
                 "9d201395faa4b61a96c8")},
    };
    for (const auto& vector : vectors) {
        std::vector<std::uint8_t> key(vector.key.size());
        hash::hkdf(vector.keyMaterial, vector.salt, vector.info, key);
        EXPECT_THAT(key, ElementsAreArray(vector.key));
        EXPECT_THAT(hash::hkdf(vector.keyMaterial, vector.salt, vector.info).bytes(),
                    ElementsAreArray(std::span(vector.key).first(32)));
    }
}

} // namespace
