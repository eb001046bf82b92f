#include <gmock/gmock.h>

#include "core/Base64.h"
#include "core/Base64Url.h"

namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

// RFC 4648 section 10, and the two characters in which the alphabets differ.
const struct {
    std::string_view bytes;
    std::string_view standard;
    std::string_view urlSafe;
} vectors[] = {
    {"", "", ""},
    {"f", "Zg==", "Zg"},
    {"fo", "Zm8=", "Zm8"},
    {"foo", "Zm9v", "Zm9v"},
    {"foob", "Zm9vYg==", "Zm9vYg"},
    {"fooba", "Zm9vYmE=", "Zm9vYmE"},
    {"foobar", "Zm9vYmFy", "Zm9vYmFy"},
    {"\xfb\xff\xbf", "+/+/", "-_-_"},
    {{"\0\xff\0\xff", 4}, "AP8A/w==", "AP8A_w"},
};

TEST(Base64, PublishedVectorsBothWays) {
    for (const auto& vector : vectors) {
        EXPECT_EQ(base64::encode(vector.bytes), vector.standard);
        EXPECT_EQ(base64::decode(vector.standard), vector.bytes);
        EXPECT_EQ(base64url::encode(bytesOf(vector.bytes)), vector.urlSafe);
        EXPECT_EQ(base64url::decode(vector.urlSafe), bytesOf(vector.bytes));
        std::string padded(vector.urlSafe);
        padded.resize((padded.size() + 3) / 4 * 4, '=');
        EXPECT_EQ(base64url::decode(padded), bytesOf(vector.bytes)) << padded;
    }
}

TEST(Base64, RefusesWhatIsNoEncoding) {
    for (const char* text : {"Z", "Zg", "Zg=", "Zg===", "=", "==", "====", "A===", "Zm9vYg==Zm9v",
                             "Zm=v", "Zm 9v", "Zm9v\n", "-_-_", "Zm9\xc3", "Zm9v===="})
        EXPECT_FALSE(base64::decode(text)) << text;
    for (const char* text :
         {"Z", "Zm9vY", "=", "====", "Zm9v====", "Z===", "Zm=v", "+/+/", " Zg", "Zg\n", "Zm9\xc3"})
        EXPECT_FALSE(base64url::decode(text)) << text;
}

TEST(Base64, TheTwoAlphabetsAgreeAtEveryLength) {
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < 300; ++i) {
        std::string expected = base64::encode(std::string(bytes.begin(), bytes.end()));
        expected.erase(std::min(expected.find('='), expected.size()));
        std::ranges::replace(expected, '+', '-');
        std::ranges::replace(expected, '/', '_');
        const std::string text = base64url::encode(bytes);
        ASSERT_EQ(text, expected);
        ASSERT_EQ(base64url::decode(text), bytes);
        for (std::size_t k = 0; k < text.size(); ++k) {
            std::string changed = text;
            changed[k] = k % 2 == 0 ? '+' : '\x80';
            ASSERT_FALSE(base64url::decode(changed)) << changed;
        }
        bytes.push_back(static_cast<std::uint8_t>(i * 151));
    }
}

} // namespace
