#include "relay/Box.h"

#include <gmock/gmock.h>

#include "core/JSONMember.h"
#include "relay/E2EError.h"
#include "relay/Vectors.h"

namespace {

using std::chrono::system_clock;

Box boxOf(const JSONValue& vector, const double& now) {
    Box box;
    box.channel = textIn(vector, "channel");
    box.device = textIn(vector, "device");
    box.key = aesgcm::Key(bytesIn<32>(vector, "key"));
    box.sendDirection = textIn(vector, "sendDirection") == "m2p" ? Box::Direction::macToPhone
                                                                 : Box::Direction::phoneToMac;
    box.now = [&now] {
        return system_clock::time_point(std::chrono::milliseconds(static_cast<std::int64_t>(now)));
    };
    return box;
}

std::string outcomeOf(Box& box, const JSONValue& message) {
    try {
        const JSONObject opened = box.open(textIn(message, "n"), textIn(message, "c"));
        const auto plaintext = JSONValue::parse(textIn(*message["sealed"], "plaintext"));
        EXPECT_EQ(JSONValue(opened), *plaintext);
        return "accepted";
    } catch (const E2EError& refusal) {
        return refusal.what();
    } catch (const CipherError&) {
        return "cipher";
    } catch (const std::runtime_error&) {
        return "decoding";
    }
}

TEST(Box, OpensAndRefusesAsTheVectorsSay) {
    for (const JSONValue& vector : vectorsOf("sealed.json")) {
        double now = 0;
        Box box = boxOf(vector, now);
        for (const JSONValue& message : json::arrayOf(vector, "messages")) {
            now = json::numberOf(message, "now");
            const std::size_t remembered = box.seen.size();
            const std::string outcome = outcomeOf(box, message);
            EXPECT_EQ(outcome, textIn(message, "expect")) << textIn(vector, "name");
            if (outcome != "accepted") {
                EXPECT_EQ(box.seen.size(), remembered) << textIn(vector, "name");
            }
        }
    }
}

class TwoSides : public testing::Test {
  protected:
    TwoSides() {
        for (Box* box : {&m_mac, &m_phone}) {
            box->channel = "channel";
            box->device = "device";
            box->key.writable()[0] = 7;
            box->now = [this] { return m_now; };
        }
        m_phone.sendDirection = Box::Direction::phoneToMac;
    }

    Box m_mac;
    Box m_phone;
    system_clock::time_point m_now{std::chrono::microseconds(1'700'000'000'000'500)};
};

TEST_F(TwoSides, WhatOneSealsTheOtherOpensOnce) {
    const JSONObject message{
        {"type", "state"}, {"ts", "overwritten"}, {"state", JSONArray{1, "/"}}};
    const Box::Sealed sealed = m_mac.seal(message);
    EXPECT_EQ(sealed.n.size(), 16U);
    EXPECT_THROW((void)m_mac.open(sealed.n, sealed.c), CipherError) << "its own direction";
    const JSONObject opened = m_phone.open(sealed.n, sealed.c);
    EXPECT_EQ(*opened.find("ts"), JSONValue(1'700'000'000'001.0)) << "rounded away from zero";
    EXPECT_EQ(opened.string("id")->size(), 16U);
    EXPECT_EQ(*opened.find("state"), *message.find("state"));
    EXPECT_EQ(opened.size(), 4U);
    EXPECT_THROW((void)m_phone.open(sealed.n, sealed.c), E2EError);

    const Box::Sealed again = m_mac.seal(message);
    EXPECT_NE(again.n, sealed.n) << "a nonce is used once";
    EXPECT_NE(*m_phone.open(again.n, again.c).string("id"), *opened.string("id"));
}

TEST_F(TwoSides, WhatAPhoneSendsFillsNoMemory) {
    const std::string longId(1 << 20, 'i');
    auto sealed = m_phone.seal(JSONObject{{"id", longId}});
    (void)m_mac.open(sealed.n, sealed.c);
    EXPECT_THROW((void)m_mac.open(sealed.n, sealed.c), E2EError) << "its whole length counts";
    sealed = m_phone.seal(JSONObject{{"id", longId + "i"}});
    (void)m_mac.open(sealed.n, sealed.c);

    for (int i = 0; i < 100'000; ++i)
        m_mac.seen.record(std::to_string(i), 1'700'000'000'000.0);
    sealed = m_phone.seal(JSONObject{});
    EXPECT_THROW((void)m_mac.open(sealed.n, sealed.c), std::runtime_error);
    m_now += std::chrono::seconds(601);
    sealed = m_phone.seal(JSONObject{});
    (void)m_mac.open(sealed.n, sealed.c);
    EXPECT_EQ(m_mac.seen.size(), 1U);
}

TEST_F(TwoSides, TheLongestPlaintextIsTheLongestThatFits) {
    for (std::size_t characters = 22; characters < 400; ++characters) {
        const std::size_t longest = Box::longestPlaintext(characters);
        const auto lengthOf = [](std::size_t plaintext) {
            return (plaintext + 16) * 4 / 3 + ((plaintext + 16) % 3 != 0);
        };
        EXPECT_LE(lengthOf(longest), characters);
        EXPECT_GT(lengthOf(longest + 1), characters);
    }
}

TEST_F(TwoSides, AMessageMayBringItsId) {
    for (const JSONObject& message :
         {JSONObject{{"id", "own"}}, JSONObject{{"id", "other"}, {"a", 1}}, JSONObject{}}) {
        const auto [n, c] = m_phone.seal(message);
        const JSONObject opened = m_mac.open(n, c);
        if (const std::string* id = message.string("id")) {
            EXPECT_EQ(*opened.string("id"), *id);
        }
        EXPECT_EQ(opened.size(), message.size() + (message.find("id") ? 1 : 2));
    }
    EXPECT_THROW((void)m_mac.seal(JSONObject{{"a", std::numeric_limits<double>::infinity()}}),
                 std::invalid_argument);
}

} // namespace
