#include <gmock/gmock.h>

#include <openssl/err.h>

#include "crypto/AESGCM.h"

#include "Hex.h"

namespace {

using testing::ElementsAreArray;

aesgcm::Key keyOf(const std::vector<std::uint8_t>& bytes) {
    return aesgcm::Key(std::span(bytes).first<32>());
}

struct Message {
    aesgcm::Key key;
    std::vector<std::uint8_t> nonce;
    std::string associatedData;
    std::string plaintext;
    std::vector<std::uint8_t> sealed;
};

// The test cases for 256-bit keys of McGrew and Viega, "The Galois/Counter Mode of Operation",
// appendix B: numbers 13 to 18.
std::vector<Message> published() {
    const char* const zeros = "0000000000000000000000000000000000000000000000000000000000000000";
    const char* const key = "feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308";
    const std::string blocks = "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
                               "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b39";
    const std::string ciphertext =
        "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
        "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662";
    const char* const associated = "feedfacedeadbeeffeedfacedeadbeefabaddad2";
    const struct {
        const char* key;
        std::string nonce;
        const char* associatedData;
        std::string plaintext;
        std::string sealed;
    } cases[] = {
        {zeros, "000000000000000000000000", "", "", "530f8afbc74536b9a963b4f1c4cb738b"},
        {zeros, "000000000000000000000000", "", "00000000000000000000000000000000",
         "cea7403d4d606b6e074ec5d3baf39d18d0d1c8a799996bf0265b98b5d48ab919"},
        {key, "cafebabefacedbaddecaf888", "", blocks + "1aafd255",
         ciphertext + "898015adb094dac5d93471bdec1a502270e3cc6c"},
        {key, "cafebabefacedbaddecaf888", associated, blocks,
         ciphertext + "76fc6ece0f4e1768cddf8853bb2d551b"},
        {key, "cafebabefacedbad", associated, blocks,
         "c3762df1ca787d32ae47c13bf19844cbaf1ae14d0b976afac52ff7d79bba9de0"
         "feb582d33934a4f0954cc2363bc73f7862ac430e64abe499f47c9b1f"
         "3a337dbf46a792c45e454913fe2ea8f2"},
        {key,
         "9313225df88406e555909c5aff5269aa6a7a9538534f7da1e4c303d2a318a728"
         "c3c0c95156809539fcf0e2429a6b525416aedbf5a0de6a57a637b39b",
         associated, blocks,
         "5a8def2f0c9e53f1f75d7853659e2a20eeb2b22aafde6419a058ab4f6f746bf4"
         "0fc0c3b780f244452da3ebf1c5d82cdea2418997200ef82e44ae7e3f"
         "a44a8266ee1c8eb0c8b5d4cf5ae9f19a"},
    };
    std::vector<Message> messages;
    for (const auto& one : cases)
        messages.push_back({keyOf(fromHex(one.key)), fromHex(one.nonce),
                            textFromHex(one.associatedData), textFromHex(one.plaintext),
                            fromHex(one.sealed)});
    return messages;
}

TEST(AESGCM, SealsAndOpensThePublishedCases) {
    for (const auto& [key, nonce, associatedData, plaintext, sealed] : published()) {
        EXPECT_THAT(aesgcm::seal(key, nonce, associatedData, plaintext), ElementsAreArray(sealed));
        if (nonce.size() >= aesgcm::nonceSize) {
            EXPECT_EQ(aesgcm::open(key, nonce, associatedData, sealed), plaintext);
        } else {
            EXPECT_THROW(static_cast<void>(aesgcm::open(key, nonce, associatedData, sealed)),
                         CipherError)
                << "its tag is right, and its nonce too short";
        }
    }
}

// The same appendix's cases 1, 2 and 4.
TEST(AESGCM, SealsAndOpensThePublishedCasesForShortKeys) {
    const struct {
        const char* key;
        const char* nonce;
        const char* associatedData;
        const char* plaintext;
        const char* sealed;
    } cases[] = {
        {"00000000000000000000000000000000", "000000000000000000000000", "", "",
         "58e2fccefa7e3061367f1d57a4e7455a"},
        {"00000000000000000000000000000000", "000000000000000000000000", "",
         "00000000000000000000000000000000",
         "0388dace60b6a392f328c2b971b2fe78ab6e47d42cec13bdf53a67b21257bddf"},
        {"feffe9928665731c6d6a8f9467308308", "cafebabefacedbaddecaf888",
         "feedfacedeadbeeffeedfacedeadbeefabaddad2",
         "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
         "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b39",
         "42831ec2217774244b7221b784d0d49ce3aa212f2c02a4e035c17e2329aca12e"
         "21d514b25466931c7d8f6a5aac84aa051ba30b396a0aac973d58e091"
         "5bc94fbc3221a5db94fae95ae7121a47"},
    };
    for (const auto& each : cases) {
        const auto bytes = fromHex(each.key);
        const aesgcm::Key128 key{std::span(bytes).first<16>()};
        auto sealed = fromHex(each.sealed);
        const auto nonce = fromHex(each.nonce);
        const std::string associatedData = textFromHex(each.associatedData);
        const std::string plaintext = textFromHex(each.plaintext);
        EXPECT_THAT(aesgcm::seal(key, nonce, associatedData, plaintext), ElementsAreArray(sealed));
        EXPECT_EQ(aesgcm::open(key, nonce, associatedData, sealed), plaintext);
        sealed.back() ^= 1;
        EXPECT_THROW(static_cast<void>(aesgcm::open(key, nonce, associatedData, sealed)),
                     CipherError);
    }
}

TEST(AESGCM, RefusesWhatWasChanged) {
    using Change = std::function<void(Message&)>;
    const std::pair<const char*, Change> changes[] = {
        {"first bit", [](Message& m) { m.sealed.front() ^= 0x80; }},
        {"first byte of the tag", [](Message& m) { m.sealed[m.sealed.size() - 16] ^= 1; }},
        {"last bit", [](Message& m) { m.sealed.back() ^= 1; }},
        {"one byte less", [](Message& m) { m.sealed.pop_back(); }},
        {"one byte more", [](Message& m) { m.sealed.push_back(0); }},
        {"no ciphertext",
         [](Message& m) { m.sealed.erase(m.sealed.begin(), m.sealed.end() - 16); }},
        {"15 bytes", [](Message& m) { m.sealed.resize(15); }},
        {"nothing", [](Message& m) { m.sealed.clear(); }},
        {"associated data", [](Message& m) { m.associatedData.back() ^= 1; }},
        {"associated data gone", [](Message& m) { m.associatedData.clear(); }},
        {"key", [](Message& m) { m.key.writable()[31] ^= 1; }},
        {"nonce", [](Message& m) { m.nonce.back() ^= 1; }},
        {"nonce of 11 bytes", [](Message& m) { m.nonce.pop_back(); }},
        {"no nonce", [](Message& m) { m.nonce.clear(); }},
        {"nonce longer than OpenSSL takes", [](Message& m) { m.nonce.resize(4096); }},
    };
    for (const auto& [what, change] : changes) {
        Message message = std::move(published()[3]);
        change(message);
        EXPECT_THROW(static_cast<void>(aesgcm::open(message.key, message.nonce,
                                                    message.associatedData, message.sealed)),
                     CipherError)
            << what;
        EXPECT_EQ(ERR_peek_error(), 0U)
            << what << ": a TLS connection would take it for its own failure";
    }
}

} // namespace
