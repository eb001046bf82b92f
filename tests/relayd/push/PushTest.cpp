#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Base64Url.h"
#include "core/JSONValue.h"
#include "relayd/push/PushEncryption.h"
#include "relayd/push/Subscription.h"
#include "relayd/push/VAPID.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::uint8_t> bytes(std::string_view base64) {
    return base64url::decode(base64).value();
}

// RFC 8291 appendix A.
constexpr std::string_view receiver =
    "BCVxsr7N_eNgVRqvHtD0zTZsEc6-VV-JvLexhqUzORcxaOzi6-AYWXvTBHm4bjyPjs7Vd8pZGH6SRpkNtoIAiw4";
constexpr std::string_view auth = "BTBZMqHH6r4Tts7J_aSIgg";
constexpr std::string_view sender = "yfWPiYE-n46HLnH0KqZOF1fJJU3MYrct3AELtAQ-oRw";
constexpr std::string_view sendersKey =
    "BP4z9KsN6nGRTbVYI_c7VJSPQTBtkgcy27mlmlMoZIIgDll6e3vCYLocInmYWAmS6TlzAC8wEqKK6PBru3jl7A8";

std::string subscriptionJSON(std::string_view endpoint) {
    return R"({"endpoint":")" + std::string(endpoint) +
           R"(","expirationTime":null,"keys":{"p256dh":")" + std::string(receiver) +
           R"(","auth":")" + std::string(auth) + R"("}})";
}

TEST(PushEncryption, GivesTheExampleOfTheRFC) {
    const auto to = Subscription::from(subscriptionJSON("https://fcm.googleapis.com/x"), {}).keys;
    contentencoding::Salt salt{};
    std::ranges::copy(bytes("DGv6ra1nlYgDCS1FRnbzlw"), salt.begin());
    const std::string body =
        pushencryption::encrypt(to, "When I grow up, I want to be a watermelon",
                                P256PrivateKey::from(bytes(sender)).value(), salt, 0);
    EXPECT_EQ(base64url::encode({reinterpret_cast<const std::uint8_t*>(body.data()), body.size()}),
              "DGv6ra1nlYgDCS1FRnbzlwAAEABBBP4z9KsN6nGRTbVYI_c7VJSPQTBtkgcy27mlmlMoZIIgDll6e3vCYLoc"
              "InmYWAmS6TlzAC8wEqKK6PBru3jl7A_yl95bQpu6cVPTpK4Mqgkf1CXztLVBSt2Ks3oZwbuwXPXLWyouBWLV"
              "WGNWQexSgSxsj_Qulcy4a-fN");
}

TEST(PushEncryption, TellsOneOfFourLengthsAndNoneThatServicesRefuse) {
    const auto to = Subscription::from(subscriptionJSON("https://fcm.googleapis.com/x"), {}).keys;
    const auto length = [&](std::size_t plain) {
        return pushencryption::encrypt(to, std::string(plain, 'x')).size();
    };
    EXPECT_EQ(length(0), length(1024));
    EXPECT_EQ(length(1025), length(1024) + 1024);
    EXPECT_EQ(length(pushencryption::maximumPlaintext), 4096U);
    EXPECT_THROW(length(pushencryption::maximumPlaintext + 1), PushTooLong);
}

TEST(VAPID, SignsWhatTheRFCAsksForAndRenewsItInTime) {
    auto key = P256PrivateKey::from(bytes(sender)).value();
    const P256PublicKey publicKey = key.publicKey();
    VAPID vapid(std::move(key), "mailto:admin@example.org");
    const VAPID::Moment now(1'700'000'000s);
    const std::string header = vapid.authorization("https://push.example.org", now);
    ASSERT_THAT(header, StartsWith("vapid t="));
    const std::size_t comma = header.find(", k=");
    EXPECT_EQ(header.substr(comma + 4), sendersKey);
    const std::string token = header.substr(8, comma - 8);
    const std::size_t dot = token.rfind('.');
    ES256Signature signature{};
    std::ranges::copy(bytes(token.substr(dot + 1)), signature.begin());
    EXPECT_TRUE(publicKey.verify(token.substr(0, dot), signature));
    const auto claims = bytes(token.substr(token.find('.') + 1, dot - token.find('.') - 1));
    EXPECT_EQ(
        std::string(claims.begin(), claims.end()),
        R"({"aud":"https:\/\/push.example.org","exp":1700043200,"sub":"mailto:admin@example.org"})");
    EXPECT_EQ(vapid.authorization("https://push.example.org", now + 11h), header);
    EXPECT_NE(vapid.authorization("https://push.example.org", now + 11h + 1s), header);
    EXPECT_NE(vapid.authorization("https://other.example.org", now), header);
}

TEST(VAPID, TakesNoContactThatAServiceWouldRefuse) {
    EXPECT_TRUE(VAPID::isSubject("https://example.org/contact"));
    for (const auto* subject :
         {"", "admin@example.org", "mailto:admin@localhost", "mailto:@example.org",
          "mailto:admin@example.", "http://example.org", "https://localhost",
          "mailto:a b@example.org", "mailto:<a@example.org>"})
        EXPECT_FALSE(VAPID::isSubject(subject)) << subject;
}

TEST(Subscription, IsTakenForPushServicesAlone) {
    const std::vector<std::string> more{"push.example.org", "*.push.example.net",
                                        "http://127.0.0.1:9000"};
    const PushServices services(more);
    for (const auto* endpoint :
         {"https://fcm.googleapis.com/fcm/send/a:b", "https://web.push.apple.com/Q",
          "https://wns2-by3p.notify.windows.com/w/?token=x", "https://push.example.org/1",
          "https://eu.push.example.net/1", "http://127.0.0.1:9000/1"})
        EXPECT_EQ(Subscription::from(subscriptionJSON(endpoint), services).endpoint, endpoint);
    for (const auto* endpoint : {"http://fcm.googleapis.com/x",
                                 "https://fcm.googleapis.com",
                                 "https://fcm.googleapis.com:8443/x",
                                 "https://fcm.googleapis.com.evil.example/x",
                                 "https://evil.example/fcm.googleapis.com",
                                 "https://fcm.googleapis.com@evil.example/x",
                                 "https://evil@fcm.googleapis.com/x",
                                 "https://FCM.googleapis.com/x",
                                 "https://fcm.googleapis.com./x",
                                 "https://notify.windows.com/x",
                                 "https://evilpush.example.net/x",
                                 "https://127.0.0.1:9000/x",
                                 "http://127.0.0.1:9001/x",
                                 "https://[::1]/x",
                                 "https://2130706433/x",
                                 "https://fcm.googleapis.com%2eevil.example/x",
                                 R"(https://evil.example\\@fcm.googleapis.com/x)",
                                 "https://fcm.googleapis.com/x#y",
                                 "https://fcm.googleapis.com/x\\u000ay",
                                 "file:///etc/passwd",
                                 "//fcm.googleapis.com/x",
                                 ""})
        EXPECT_THROW((void)Subscription::from(subscriptionJSON(endpoint), services),
                     SubscriptionError)
            << endpoint;
    for (const auto* name : {"127.0.0.1", "http://192.0.2.1:80", "https://a b", "*.", ""})
        EXPECT_THROW(PushServices(std::vector<std::string>{name}), std::invalid_argument) << name;
}

TEST(Subscription, IsKeptWholeAndRefusedWithWords) {
    const auto given = Subscription::from(subscriptionJSON("https://web.push.apple.com/Q"), {});
    const auto kept = Subscription::from(given.json(), {});
    EXPECT_EQ(kept.endpoint, given.endpoint);
    EXPECT_EQ(kept.origin, "https://web.push.apple.com");
    EXPECT_EQ(kept.keys.p256dh, given.keys.p256dh);
    const auto problem = [](const std::string& json) {
        try {
            (void)Subscription::from(json, {});
        } catch (const SubscriptionError& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_THAT(problem("[]"), HasSubstr("JSON object"));
    EXPECT_THAT(problem(R"({"endpoint":"https://web.push.apple.com/Q"})"), HasSubstr("p256dh"));
    // A point that is not on the curve.
    std::string moved = subscriptionJSON("https://web.push.apple.com/Q");
    moved.replace(moved.find("Aiw4"), 4, "Ciw4");
    EXPECT_THAT(problem(moved), HasSubstr("p256dh"));
    EXPECT_THAT(problem(std::string(5000, ' ')), HasSubstr("too long"));
}

} // namespace
