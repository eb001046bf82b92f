#include "support/PhoneCrypto.h"

#include <gmock/gmock.h>

#include "relay/Vectors.h"

namespace {

using namespace phonecrypto;

// What stands in for a phone must be right by itself, or two wrong sides could agree.
TEST(PhoneCrypto, DerivesWhatThePairingVectorsSay) {
    for (const JSONValue& vector : vectorsOf("pairing.json")) {
        const auto text = [&vector](std::string_view key) { return textIn(vector, key); };
        const auto bytes = [&text](std::string_view key) { return fromBase64url(text(key)); };
        const std::string privateKey = bytes("phonePrivateKey");
        const std::string secret = bytes("inviteSecret");
        EXPECT_EQ(toBase64url(publicKey(privateKey)), text("phonePublicKey"));
        const std::string shared = sharedSecret(privateKey, bytes("computerPublicKey"));
        EXPECT_EQ(toBase64url(shared), text("sharedSecret"));
        const std::string key =
            hkdf(shared, secret, "tamsell device v2|" + text("channel") + "|" + text("device"));
        EXPECT_EQ(toBase64url(key), text("deviceKey"));
        EXPECT_EQ(hmacText(secret, "tamsell invite v2"), text("inviteToken"));
        EXPECT_EQ(hashText(text("inviteToken")), text("inviteHash"));
        EXPECT_EQ(hmacText(key, "tamsell relay auth v2"), text("admissionToken"));
        EXPECT_EQ(hmacText(secret, "tamsell pair v2|" + text("device") + "|" +
                                       text("phonePublicKey") + "|" + text("name")),
                  text("proof"));
    }
}

TEST(PhoneCrypto, SealsAndOpensAsTheVectorsSay) {
    for (const JSONValue& vector : vectorsOf("sealed.json")) {
        for (const JSONValue& message : *vector["messages"]->array()) {
            const std::string expected = textIn(message, "expect");
            if (expected == "badFrame" || expected == "cipher")
                continue;
            const JSONValue& sealed = *message["sealed"];
            const std::string key = fromBase64url(textIn(sealed, "key"));
            const std::string nonce = fromBase64url(textIn(message, "n"));
            const std::string content = fromBase64url(textIn(message, "c"));
            const std::string associated = textIn(sealed, "associatedData");
            const std::string plaintext = textIn(sealed, "plaintext");
            EXPECT_EQ(seal(key, nonce, associated, plaintext), content);
            EXPECT_EQ(phonecrypto::open(key, nonce, associated, content), plaintext);
            EXPECT_EQ(phonecrypto::open(key, nonce, associated + "x", content), std::nullopt);
        }
    }
}

} // namespace
