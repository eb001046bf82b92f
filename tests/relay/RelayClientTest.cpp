#include "relay/RelayClient.h"

#include <gmock/gmock.h>

#include "support/RelayPeer.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class RelayClientTest : public testing::Test, protected RelayPeer {
  protected:
    /// To whom a state went since this was last asked.
    std::vector<std::string> takeStates() {
        std::vector<std::string> phones;
        for (const auto& [to, message] : takeMessages())
            if (*message.string("type") == "state")
                phones.push_back(to);
        return phones;
    }
};

TEST_F(RelayClientTest, ConnectsWhereTheSettingsSay) {
    client.update(std::nullopt);
    EXPECT_EQ(sockets.count(), 0U);
    EXPECT_EQ(json::compact(client.status()),
              R"({"configured":false,"connected":false,"devices":0,"phones":0})");
    const struct {
        const char* relay;
        const char* socket;
    } urls[] = {
        {"https://relay.test/some/path?query#fragment",
         "wss://relay.test/ws/channel?role=mac&auth=to%2Bken"},
        {"http://127.0.0.1:8080", "ws://127.0.0.1:8080/ws/channel?role=mac&auth=to%2Bken"},
        {"HTTPS://[::1]:444/", "wss://[::1]:444/ws/channel?role=mac&auth=to%2Bken"},
    };
    for (const auto& [relay, socket] : urls) {
        settings.url = relay;
        client.update(settings);
        EXPECT_EQ(sockets.last().url, socket);
        EXPECT_TRUE(sockets.last().isResumed);
    }
    EXPECT_EQ(sockets[0].closeCode, 1001);
    EXPECT_FALSE(sockets[0].isAlive);

    sockets.open();
    EXPECT_THAT(sockets.takeSent(),
                ElementsAre(R"({"devices":[")" + phoneA + R"(",")" + phoneB + R"("],"t":"sync"})"));
    EXPECT_THAT(log, ElementsAre("relay: connected to HTTPS://[::1]:444/"));
    EXPECT_TRUE(client.connected());
    EXPECT_EQ(
        json::compact(client.status()),
        R"({"configured":true,"connected":true,"devices":2,"phones":0,"url":"HTTPS:\/\/[::1]:444\/"})");

    settings.url = "not a url";
    client.update(settings);
    EXPECT_FALSE(client.connected());
    EXPECT_FALSE(sockets.last().isAlive) << "nor with where it was before";
    EXPECT_EQ(time.waiting(), 0U);
}

TEST_F(RelayClientTest, AppliesSettingsWithoutNeedlessReconnects) {
    connect();
    const auto invite = client.makeInvite();
    setOnline({phoneA});
    sockets.takeSent();
    client.update(settings);
    EXPECT_EQ(sockets.count(), 1U);
    EXPECT_THAT(sockets.takeSent(), IsEmpty());

    // A message opened before the change is not opened again after it.
    const std::string question = frameFrom(phoneA, {{"type", "answer"}, {"target", "x"}});
    sockets.receive(question);
    sockets.takeSent();
    const std::string ofTheRemoved = frameFrom(phoneB, {{"type", "answer"}, {"target", "y"}});
    settings.devices.pop_back();
    client.update(settings);
    EXPECT_THAT(sockets.takeSent(),
                ElementsAre(R"({"device":")" + phoneB + R"(","t":"removeDevice"})"));
    sockets.receive(question);
    EXPECT_THAT(asked, SizeIs(1));
    EXPECT_THAT(log, ElementsAre("relay: dropped frame (replayed)"));
    EXPECT_TRUE(client.inviteIsLive(*invite));
    sockets.receive(ofTheRemoved);
    EXPECT_THAT(asked, SizeIs(1)) << "a removed phone asks for nothing";

    settings.auth = "another";
    settings.devices.clear();
    client.update(settings);
    EXPECT_EQ(sockets.count(), 2U);
    EXPECT_FALSE(client.connected());
    EXPECT_TRUE(client.online().empty());
    EXPECT_FALSE(client.inviteIsLive(*invite));
    EXPECT_THAT(sockets.takeSent(), IsEmpty());

    int changes = 0;
    client.onChange = [&changes] { ++changes; };
    settings.privateKey = "none";
    client.update(settings);
    EXPECT_FALSE(sockets.last().isAlive);
    EXPECT_GT(changes, 0);
    EXPECT_EQ(*client.status()["configured"], JSONValue(false));
    EXPECT_EQ(client.makeInvite(), std::nullopt);
}

TEST_F(RelayClientTest, ComesBackWithADoublingDelay) {
    client.update(settings);
    for (const int delay : {1, 2, 4, 8, 16, 30, 30}) {
        sockets.fail({401, "refused"});
        EXPECT_EQ(log.back(), "relay: could not connect (HTTP 401), retrying in " +
                                  std::to_string(delay) + "s");
        const std::size_t count = sockets.count();
        time.pass(std::chrono::seconds(delay) - 1ms);
        EXPECT_EQ(sockets.count(), count);
        time.pass(1ms);
        ASSERT_EQ(sockets.count(), count + 1);
    }
    const auto old = client.makeInvite();
    for (int i = 0; i < 120; ++i) { // An hour without a network.
        sockets.fail();
        time.pass(30s);
    }
    EXPECT_FALSE(client.inviteIsLive(*old));
    const std::size_t connections = sockets.count();
    const auto invite = client.makeInvite();
    sockets.open();
    EXPECT_THAT(sockets.takeSent(),
                ElementsAre(HasSubstr("sync"),
                            HasSubstr(pairing::inviteHash(invite->invite) + R"(","t":"invite")")));
    setOnline({phoneA});
    sockets.fail();
    EXPECT_EQ(log.back(), "relay: disconnected, retrying in 1s");
    EXPECT_TRUE(client.online().empty());
    client.update(std::nullopt);
    time.pass(1h);
    EXPECT_EQ(sockets.count(), connections) << "a reconnect is forgotten with the settings";
}

TEST_F(RelayClientTest, PingsWhileItIsOpen) {
    client.update(settings);
    time.pass(60s);
    EXPECT_THAT(sockets.takeSent(), IsEmpty());
    sockets.open();
    sockets.takeSent();
    time.pass(50s);
    EXPECT_THAT(sockets.takeSent(), ElementsAre("ping", "ping"));
    sockets.receive("pong");
    EXPECT_THAT(log, SizeIs(1));
}

TEST_F(RelayClientTest, APhoneGetsTheStateWhenItComesAndWhenItAsks) {
    connect();
    setOnline({phoneA, "unknown"});
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    time.pass(100ms);
    setOnline({phoneA, phoneB});
    EXPECT_THAT(takeStates(), ElementsAre(phoneB));
    time.pass(100ms);
    sockets.receive(frameFrom(phoneA, {{"type", "hello"}}));
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    time.pass(100ms);

    for (int i = 0; i < 3; ++i) {
        client.schedulePush();
        time.pass(20ms);
    }
    EXPECT_THAT(takeStates(), IsEmpty());
    snapshots = 0;
    snapshot = JSONObject{{"newest", true}};
    time.pass(40ms);
    auto messages = takeMessages();
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(*messages[1].content.find("state"), snapshot);
    EXPECT_EQ(snapshots, 1) << "one snapshot serves all phones";
    time.pass(1s);
    EXPECT_THAT(takeStates(), IsEmpty());

    sockets.receive(R"({"t":"peers"})");
    EXPECT_TRUE(client.online().empty());
    client.schedulePush();
    EXPECT_EQ(time.waiting(), 0U);
}

TEST_F(RelayClientTest, StatesGoOutAtAMeasuredPaceWhateverTheRelaySays) {
    connect();
    for (int i = 0; i < 1000; ++i) {
        setOnline({"nobody"});
        sockets.receive(frameFrom(phoneA, {{"type", "hello"}})); // Kept out by the relay.
        setOnline({});
    }
    EXPECT_EQ(snapshots, 0) << "who cannot get one costs none";
    for (int i = 0; i < 1000; ++i) {
        setOnline({});
        setOnline({phoneA});
    }
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    time.pass(100ms);
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    EXPECT_EQ(snapshots, 2);

    // A long one is waited for longer, and encoded once however long the relay takes to take it.
    time.pass(100ms);
    snapshot = JSONObject{{"long", std::string(5 << 20, 'x')}};
    snapshots = 0;
    setOnline({phoneA, phoneB});
    client.schedulePush();
    sockets.last().unsentPerFrame = 5 << 20;
    time.pass(599ms);
    EXPECT_EQ(snapshots, 1);
    time.pass(1ms);
    EXPECT_GT(sockets.last().unsent, 0U);
    time.pass(10s);
    sockets.last().unsent = 0;
    time.pass(1s);
    EXPECT_THAT(takeStates(), ElementsAre(phoneB, phoneA, phoneB));
    EXPECT_EQ(snapshots, 2);
}

TEST_F(RelayClientTest, ARelayThatStallsGetsOneStateOnceItGoesOn) {
    connect();
    setOnline({phoneA});
    sockets.takeSent();
    sockets.last().unsent = 5 << 20;
    for (int i = 0; i < 1000; ++i)
        sockets.receive(frameFrom(phoneA, {{"type", "hello"}}));
    time.pass(10s);
    EXPECT_THAT(sockets.takeSent(), IsEmpty());
    sockets.last().unsent = 0;
    time.pass(100ms);
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    time.pass(100ms);
    EXPECT_EQ(time.waiting(), 0U);
}

TEST_F(RelayClientTest, ARequestIsAnsweredWithItsOutcome) {
    connect();
    setOnline({phoneA});
    takeMessages();
    const struct {
        JSONObject request;
        const char* wish;
        JSONValue error;
    } table[] = {
        {{{"type", "answer"},
          {"target", "item"},
          {"action", "deny"},
          {"message", "no"},
          {"other", 1}},
         R"(item {"action":"deny","message":"no"})",
         nullptr},
        {{{"type", "answer"}, {"target", 5}, {"text", 6}}, R"( {"text":6})", nullptr},
        {{{"type", "answer"}, {"target", "gone"}}, "gone {}", "已經回答過或已逾時"},
        {{{"type", "mode"}, {"mode", "on"}}, "mode on", nullptr},
        {{{"type", "mode"}}, "mode ", nullptr},
        {{{"type", "foo"}}, nullptr, "unknown request foo"},
        {{}, nullptr, "unknown request "},
    };
    for (const auto& [request, wish, error] : table) {
        asked.clear();
        JSONObject named = request;
        named.set("id", "the id" + json::compact(request).value());
        sockets.receive(frameFrom(phoneA, named));
        EXPECT_EQ(asked, wish ? std::vector<std::string>{wish} : std::vector<std::string>());
        const auto messages = takeMessages();
        ASSERT_THAT(messages, SizeIs(1));
        const JSONObject& result = messages[0].content;
        EXPECT_EQ(*result.find("type"), JSONValue("result"));
        EXPECT_EQ(*result.find("re"), *named.find("id"));
        EXPECT_EQ(*result.find("ok"), JSONValue(error.isNull()));
        EXPECT_EQ(result.find("error") ? *result.find("error") : JSONValue(), error);
    }
}

TEST_F(RelayClientTest, FramesThatAreNothingAreDropped) {
    connect();
    setOnline({phoneA});
    takeMessages();
    const std::string good = frameFrom(phoneA, {{"type", "answer"}, {"target", "x"}});
    const std::string tooMany = R"({"t":"error","more":[)" + [] {
        std::string values = "0";
        for (int i = 0; i < 5000; ++i)
            values += ",0";
        return values;
    }() + "]}";
    for (const std::string& frame : std::vector<std::string>{
             tooMany, "", "ping", "[]", "{", R"({"t":5})", R"({"t":"unknown"})", R"({"t":"msg"})",
             R"({"t":"msg","from":"nobody","n":"","c":""})", R"({"t":"peers)", "\xff"})
        sockets.receive(frame);
    EXPECT_THAT(log, IsEmpty());
    sockets.receive(R"({"t":"msg","from":")" + phoneA + R"(","n":"","c":""})");
    sockets.receive(R"({"t":"error","reason":"too fast"})");
    sockets.receive(R"({"t":"error","reason":1})");
    EXPECT_THAT(log,
                ElementsAre("relay: dropped frame (badFrame)", "relay: too fast", "relay: error"));
    sockets.receive(good);
    EXPECT_THAT(takeMessages(), SizeIs(1));
    time.jump(1h);
    sockets.receive(good);
    EXPECT_THAT(asked, SizeIs(1));
    EXPECT_EQ(log.back(), "relay: dropped frame (stale)");
    EXPECT_THAT(sockets.takeSent(), IsEmpty()) << "what is dropped is not answered";
}

TEST_F(RelayClientTest, ABroadcastIsSealedForEveryPairedPhone) {
    client.broadcast("notify", {{"type", "notify"}});
    connect();
    client.broadcast("notify", {{"type", "notify"}, {"target", "x"}});
    client.clear({"x", "y"});
    const auto messages = takeMessages();
    ASSERT_THAT(messages, SizeIs(4));
    EXPECT_EQ(messages[0].phone, phoneA);
    EXPECT_EQ(*messages[0].content.find("target"), JSONValue("x"));
    EXPECT_NE(*messages[0].content.find("id"), *messages[1].content.find("id"));
    EXPECT_EQ(*messages[3].content.find("targets"), JSONValue(JSONArray{"x", "y"}));

    settings.devices = {{phoneA, "A", "not a key", 1}};
    client.update(settings);
    sockets.takeSent();
    client.clear({});
    EXPECT_THAT(sockets.takeSent(), ElementsAre(R"({"items":[],"t":"clear"})"));
}

TEST_F(RelayClientTest, AReportOfAPushIsKeptAndItsFaultsAreLogged) {
    connect();
    const struct {
        const char* frame;
        bool isKept;
        std::vector<std::string> lines;
    } table[] = {
        {R"({"t":"pushed","ok":2,"devices":2,"errors":[]})", true, {}},
        {R"({"t":"pushed","ok":1,"devices":2})", true, {}},
        {R"({"t":"pushed","ok":0,"devices":0,"errors":[]})",
         true,
         {"relay: push reached 0/0 devices " + json::pretty(JSONArray{})}},
        {R"({"t":"pushed","ok":1.9,"devices":2,"errors":["gone"],"silent":true})",
         false,
         {"relay: push reached 1/2 devices [\n  \"gone\"\n]"}},
        {R"({"t":"pushed","errors":["\u202e"],"silent":1})",
         true,
         {"relay: push reached 0/0 devices [\n  \"\\u202e\"\n]"}},
    };
    for (const auto& [frame, isKept, lines] : table) {
        log.clear();
        time.pass(1ms);
        const auto before = client.lastPush();
        sockets.receive(frame);
        EXPECT_EQ(log, lines);
        JSONObject report = *JSONValue::parse(frame)->object();
        report.set(
            "at", std::chrono::duration<double, std::milli>(time.now().time_since_epoch()).count());
        EXPECT_EQ(client.lastPush(), isKept ? std::optional<JSONValue>(report) : before) << frame;
    }
}

TEST_F(RelayClientTest, APhonePairsOnceAndIsServedAtOnce) {
    connect();
    const auto live = client.makeInvite();
    ASSERT_TRUE(live);
    const std::string hash = pairing::inviteHash(live->invite);
    EXPECT_THAT(sockets.takeSent(),
                ElementsAre(R"({"expires":1700000600000,"hash":")" + hash + R"(","t":"invite"})"));

    const std::string device = "cccccccccccccccccccccc";
    const auto phoneKey = X25519PrivateKey::generate();
    const std::string publicKey = base64url::encode(phoneKey.publicKey());
    const std::string request =
        json::compact(
            JSONObject{{"t", "pair"},
                       {"device", device},
                       {"invite", hash},
                       {"pub", publicKey},
                       {"proof", pairing::proof(live->invite.secret, device, publicKey, "C\n")},
                       {"name", "C\n"}})
            .value();
    sockets.receive(request);
    const auto key =
        pairing::deviceKey(phoneKey, live->invite.macKey, live->invite, device).value();
    EXPECT_THAT(sockets.takeSent(),
                ElementsAre(R"({"auth":")" + pairing::admissionHash(key) + R"(","device":")" +
                            device + R"(","invite":")" + hash + R"(","t":"addDevice"})"));
    EXPECT_EQ(log.back(), "relay: paired C");
    ASSERT_THAT(settings.devices, SizeIs(3));
    sockets.receive(request);
    EXPECT_EQ(log.back(), "relay: ignored a pairing attempt (no live invite)");

    setOnline({device});
    EXPECT_THAT(takeStates(), ElementsAre(device));
}

} // namespace
