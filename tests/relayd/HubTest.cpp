#include "relayd/Hub.h"

#include <deque>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Base64Url.h"
#include "crypto/Hash.h"
#include "relayd/Limits.h"
#include "support/HubPeer.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using Role = Credentials::Role;

std::string hashOf(std::string_view token) {
    return base64url::encode(hash::sha256(token));
}

std::string nameOf(char letter) {
    return std::string(22, letter);
}

class HubTest : public testing::Test {
  protected:
    [[nodiscard]] Credentials computer(char token = 'T') const {
        return {.role = Role::computer,
                .channel = nameOf('C'),
                .device = {},
                .token = std::string(43, token)};
    }
    [[nodiscard]] Credentials phone(char device, std::string token = "right") const {
        return {.role = Role::phone,
                .channel = nameOf('C'),
                .device = nameOf(device),
                .token = std::move(token)};
    }
    [[nodiscard]] Credentials pairing(char device, std::string invite) const {
        return {.role = Role::pairing,
                .channel = nameOf('C'),
                .device = nameOf(device),
                .token = std::move(invite)};
    }
    static std::string addDevice(char device, const std::string& invite = "") {
        return R"({"t":"addDevice","device":")" + nameOf(device) + R"(","auth":")" +
               hashOf("right") + R"(","invite":")" + invite + R"("})";
    }
    static std::string presence(bool isConnected) {
        return std::string(R"({"connected":)") + (isConnected ? "true" : "false") +
               R"(,"t":"computer"})";
    }
    static std::string peers(const std::string& ids) {
        return R"({"phones":[)" + ids + R"(],"t":"peers"})";
    }
    static std::string quoted(char device) { return '"' + nameOf(device) + '"'; }

    double now = 1'000'000;
    Metrics metrics;
    MemoryStore store;
    std::vector<std::string> log;
    Hub hub{{.store = store,
             .metrics = metrics,
             .now = [this] { return now; },
             .log = [this](std::string_view text) { log.emplace_back(text); }}};
};

TEST_F(HubTest, TheFirstTokenIsTheChannelsAndNothingElseIsAdmitted) {
    EXPECT_EQ(HubPeer(hub, phone('a')).admission, Admission::unauthorized);
    EXPECT_EQ(hub.admit(computer(), [] { return false; }), Admission::tooManyRequests);
    EXPECT_THAT(store.channels, IsEmpty());
    HubPeer first(hub, computer());
    EXPECT_EQ(first.admission, Admission::admitted);
    EXPECT_EQ(HubPeer(hub, computer('X')).admission, Admission::unauthorized);
    EXPECT_EQ(store.channels.at(nameOf('C')).tokenHash, hashOf(computer().token));
    first.say(addDevice('a'));
    EXPECT_EQ(HubPeer(hub, phone('a', "wrong")).admission, Admission::unauthorized);
    EXPECT_EQ(HubPeer(hub, phone('b')).admission, Admission::unauthorized);
    EXPECT_EQ(HubPeer(hub, phone('a')).admission, Admission::admitted);
    // All of it from the store, too.
    first.leave();
    EXPECT_EQ(metrics.channels, 0U);
    EXPECT_EQ(HubPeer(hub, computer('X')).admission, Admission::unauthorized);
    EXPECT_EQ(HubPeer(hub, phone('a')).admission, Admission::admitted);
    store.fails = true;
    EXPECT_EQ(HubPeer(hub, computer()).admission, Admission::unavailable);
    EXPECT_THAT(log, ElementsAre("disk full"));
}

TEST_F(HubTest, CarriesSealedTextsBothWays) {
    HubPeer mac(hub, computer());
    EXPECT_THAT(mac.heard(), ElementsAre(peers("")));
    mac.say("ping");
    EXPECT_THAT(mac.heard(), ElementsAre("pong"));
    mac.say(addDevice('a'));
    mac.say(addDevice('b'));
    HubPeer a(hub, phone('a'));
    HubPeer b(hub, phone('b'));
    EXPECT_THAT(mac.heard(),
                ElementsAre(peers(quoted('a')), peers(quoted('a') + "," + quoted('b'))));
    EXPECT_THAT(a.heard(), ElementsAre(presence(true)));
    b.heard();

    a.say(R"({"t":"msg","n":"N\"","c":"C","from":"somebody else"})");
    EXPECT_THAT(mac.heard(),
                ElementsAre(R"({"t":"msg","from":)" + quoted('a') + R"(,"n":"N\"","c":"C"})"));
    mac.say(R"({"t":"msg","to":)" + quoted('b') + R"(,"n":"N","c":"C"})");
    EXPECT_THAT(b.heard(), ElementsAre(R"({"t":"msg","n":"N","c":"C"})"));
    EXPECT_THAT(a.heard(), IsEmpty());

    const auto items = [](char first, char second) {
        return R"("items":[{"to":)" + quoted(first) + R"(,"n":"1","c":"2"},{"to":)" +
               quoted(second) + R"(,"n":"3","c":"4"},7,{"to":"nobody"}])";
    };
    b.leave();
    mac.heard();
    mac.say(R"({"t":"notify",)" + items('a', 'b') + "}");
    EXPECT_THAT(a.heard(), ElementsAre(R"({"t":"notify","n":"1","c":"2"})"));
    EXPECT_THAT(mac.heard(), ElementsAre(R"({"devices":2,"errors":[],"ok":1,"t":"pushed"})"));
    mac.say(R"({"t":"clear",)" + items('b', 'a') + "}");
    EXPECT_THAT(a.heard(), ElementsAre(R"({"t":"clear","n":"3","c":"4"})"));
    EXPECT_THAT(mac.heard(), IsEmpty());

    for (const char* nothing : {"", "x", "[]", "{}", R"({"t":7})", R"({"t":"unknown"})"}) {
        mac.say(nothing);
        a.say(nothing);
    }
    EXPECT_THAT(mac.heard(), IsEmpty());
    EXPECT_THAT(a.heard(), IsEmpty());

    mac.leave();
    a.say(R"({"t":"msg","n":"N","c":"C"})");
    EXPECT_THAT(
        a.heard(),
        ElementsAre(presence(false), R"({"reason":"the computer is not connected","t":"error"})"));
}

TEST_F(HubTest, ANewerComputerReplacesTheOlderOne) {
    HubPeer older(hub, computer());
    older.say(addDevice('a'));
    HubPeer a(hub, phone('a'));
    a.heard();
    HubPeer newer(hub, computer());
    EXPECT_EQ(older.closed, CloseCode::replaced);
    older.say(R"({"t":"sync","devices":[]})");
    older.leave();
    EXPECT_THAT(a.heard(), IsEmpty()) << "for the phones nothing has changed";
    a.say(R"({"t":"msg","n":"N","c":"C"})");
    EXPECT_THAT(newer.heard(), testing::SizeIs(2));
}

TEST_F(HubTest, DevicesThatAreNotListedAreDropped) {
    HubPeer mac(hub, computer());
    for (const char device : {'a', 'b', 'c'})
        mac.say(addDevice(device));
    HubPeer a(hub, phone('a'));
    HubPeer b(hub, phone('b'));
    mac.heard();
    mac.say(R"({"t":"sync","devices":[7,)" + quoted('a') + "," + quoted('z') + "]}");
    EXPECT_EQ(b.closed, CloseCode::removed);
    EXPECT_FALSE(a.closed);
    EXPECT_THAT(mac.heard(), ElementsAre(peers(quoted('a'))));
    // It hears and says nothing while it goes.
    b.heard();
    mac.say(R"({"t":"msg","to":)" + quoted('b') + R"(,"n":"N","c":"C"})");
    b.say(R"({"t":"msg","n":"N","c":"C"})");
    b.leave();
    EXPECT_THAT(b.heard(), IsEmpty());
    EXPECT_THAT(mac.heard(), IsEmpty());
    EXPECT_EQ(store.channels.at(nameOf('C')).devices.size(), 1U);

    // A list that is not there is not an empty one.
    mac.say(R"({"t":"sync"})");
    EXPECT_FALSE(a.closed);
    mac.heard();
    // What cannot be written is refused all the same, until the relay ends.
    store.fails = true;
    mac.say(R"({"t":"removeDevice","device":)" + quoted('a') + "}");
    EXPECT_EQ(a.closed, CloseCode::removed);
    EXPECT_THAT(mac.heard(), Contains(testing::HasSubstr("could not be removed")));
    store.fails = false;
    mac.say(R"({"t":"sync","devices":[]})");
    EXPECT_THAT(store.channels.at(nameOf('C')).devices, IsEmpty());
}

TEST_F(HubTest, AnotherAdmissionEndsTheOlderOne) {
    HubPeer mac(hub, computer());
    mac.say(addDevice('a'));
    HubPeer a(hub, phone('a'));
    mac.say(addDevice('a'));
    EXPECT_FALSE(a.closed);
    mac.say(R"({"t":"addDevice","device":)" + quoted('a') + R"(,"auth":")" + hashOf("other") +
            R"("})");
    EXPECT_EQ(a.closed, CloseCode::removed);
    EXPECT_EQ(HubPeer(hub, phone('a')).admission, Admission::unauthorized);
    const Moment start{};
    for (int i = 0; i < limits::phoneMessages; ++i)
        EXPECT_TRUE(hub.mayPost(phone('a'), start));
    EXPECT_FALSE(hub.mayPost(phone('a'), start));
}

TEST_F(HubTest, AnInviteLetsOnePhoneAskOnce) {
    HubPeer mac(hub, computer());
    const std::string invite = R"({"t":"invite","hash":")" + hashOf("secret") + R"(","expires":)";
    EXPECT_EQ(HubPeer(hub, pairing('p', "secret")).admission, Admission::unauthorized);
    mac.say(invite + "1000500}");
    EXPECT_EQ(HubPeer(hub, pairing('p', "guess")).admission, Admission::unauthorized);
    HubPeer p(hub, pairing('p', "secret"));
    p.heard();
    const auto pair = [](char device, const std::string& hash) {
        return R"({"device":)" + quoted(device) + R"(,"invite":")" + hash +
               R"(","name":"P","proof":"x","pub":"y","t":"pair"})";
    };
    mac.heard();
    // As somebody else, or with another's invite.
    p.say(pair('q', hashOf("secret")));
    p.say(pair('p', hashOf("other")));
    EXPECT_THAT(mac.heard(), IsEmpty());
    EXPECT_FALSE(p.closed);
    p.say(pair('p', hashOf("secret")));
    EXPECT_THAT(mac.heard(), ElementsAre(pair('p', hashOf("secret"))));
    p.say(pair('p', hashOf("secret")));
    EXPECT_EQ(p.closed, CloseCode::policyViolation);
    EXPECT_THAT(mac.heard(), IsEmpty());

    p.heard();
    mac.say(addDevice('p', hashOf("secret")));
    EXPECT_THAT(p.heard(), ElementsAre(R"({"t":"paired"})"));
    EXPECT_EQ(HubPeer(hub, pairing('q', "secret")).admission, Admission::unauthorized);
    mac.say(invite + "1000500}");
    now += 500;
    EXPECT_EQ(HubPeer(hub, pairing('q', "secret")).admission, Admission::unauthorized) << "expired";
}

TEST_F(HubTest, BoundsWhatAChannelHas) {
    HubPeer mac(hub, computer());
    const auto name = [](std::size_t number) {
        std::string text = std::to_string(number);
        return std::string(22 - text.size(), 'd') + text;
    };
    for (std::size_t i = 0; i <= limits::devicesPerChannel; ++i) {
        mac.heard();
        mac.say(R"({"t":"addDevice","device":")" + name(i) + R"(","auth":")" + hashOf("x") +
                R"("})");
    }
    EXPECT_THAT(mac.heard(), ElementsAre(R"({"reason":"too many devices","t":"error"})"));
    // One that is there may change.
    mac.say(R"({"t":"addDevice","device":")" + name(0) + R"(","auth":")" + hashOf("right") +
            R"("})");
    for (std::size_t i = 0; i <= limits::invitesPerChannel; ++i)
        mac.say(R"({"t":"invite","hash":")" + hashOf(name(i)) + R"(","expires":9e9})");
    EXPECT_THAT(mac.heard(), ElementsAre(R"({"reason":"too many invites","t":"error"})"));

    Credentials same = phone('a');
    same.device = name(0);
    std::deque<HubPeer> phones;
    for (std::size_t i = 0; i < limits::listenersPerDevice + 2; ++i)
        phones.emplace_back(hub, same);
    EXPECT_EQ(phones[0].closed, CloseCode::replaced);
    EXPECT_EQ(phones[1].closed, CloseCode::replaced);
    EXPECT_FALSE(phones[2].closed);
    phones.pop_front();
    EXPECT_THAT(mac.heard(), ElementsAre(peers('"' + name(0) + '"'))) << "it has never been away";
}

} // namespace
