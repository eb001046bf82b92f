#include "relay/RelayClient.h"

#include <gmock/gmock.h>

#include "core/Base64Url.h"
#include "core/DaemonError.h"
#include "core/JSONMember.h"
#include "relay/PairingKeys.h"
#include "support/FakeScheduler.h"
#include "support/FakeWebSocket.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const std::string phoneA = "aaaaaaaaaaaaaaaaaaaaaa";
const std::string phoneB = "bbbbbbbbbbbbbbbbbbbbbb";

std::string keyText(std::uint8_t first) {
    std::array<std::uint8_t, 32> key{first};
    return base64url::encode(key);
}

/// A client with two paired phones, a relay that the test plays, and time that it moves.
class RelayClientTest : public testing::Test {
  protected:
    RelayClientTest() {
        m_relay.url = "https://relay.test/some/path?query#fragment";
        m_relay.channel = "channel";
        m_relay.auth = "to+ken";
        m_relay.devices = {{phoneA, "A", keyText(1), 1}, {phoneB, "B", keyText(2), 2}};
        for (const auto& device : m_relay.devices) {
            Box& box = m_phones[device.id];
            box = {m_relay.channel,
                   device.id,
                   pairing::keyFromText(device.key).value(),
                   Box::Direction::phoneToMac,
                   [this] { return m_time.now(); },
                   {}};
        }
        m_client.log = [this](const LogMessage& message) { m_log.emplace_back(message.text); };
        m_client.onChange = [this] { ++m_changes; };
        m_client.handlers = RelayClient::Handlers{
            [this] {
                ++m_snapshots;
                return m_snapshot;
            },
            [this](const std::string& target, const JSONObject& answer) {
                m_asked.push_back(target + " " + json::compact(answer).value());
                if (target == "gone")
                    throw DaemonError("已經回答過或已逾時");
            },
            [this](const std::string& mode) { m_asked.push_back("mode " + mode); },
            [this](const PairedDevice& device) {
                m_relay.devices.push_back(device);
                m_client.update(m_relay);
            }};
    }

    void connect() {
        m_client.update(m_relay);
        m_sockets.open();
        m_sockets.takeSent();
        m_log.clear();
    }

    void setOnline(const std::vector<std::string>& phones) {
        m_sockets.receive(
            json::compact(
                JSONObject{{"t", "peers"}, {"phones", JSONArray(phones.begin(), phones.end())}})
                .value());
    }

    /// A frame that the phone sends, as the relay hands it on.
    std::string frameFrom(const std::string& phone, const JSONObject& message) {
        const auto [n, c] = m_phones.at(phone).seal(message);
        return json::compact(JSONObject{{"t", "msg"}, {"from", phone}, {"n", n}, {"c", c}}).value();
    }

    /// The messages for phones since this was last asked, opened.
    std::vector<std::pair<std::string, JSONObject>> takeMessages() {
        std::vector<std::pair<std::string, JSONObject>> messages;
        const auto open = [&](const JSONValue& item) {
            const std::string to = *json::textOf(item, "to");
            messages.emplace_back(
                to, m_phones.at(to).open(*json::textOf(item, "n"), *json::textOf(item, "c")));
        };
        for (const std::string& frame : m_sockets.takeSent()) {
            const JSONValue value = JSONValue::parse(frame).value();
            if (*json::textOf(value, "t") == "msg")
                open(value);
            for (const JSONValue& item : json::arrayOf(value, "items"))
                open(item);
        }
        return messages;
    }

    /// To whom a state went since this was last asked.
    std::vector<std::string> takeStates() {
        std::vector<std::string> phones;
        for (const auto& [to, message] : takeMessages())
            if (*message.string("type") == "state")
                phones.push_back(to);
        return phones;
    }

    FakeScheduler m_time;
    FakeWebSockets m_sockets;
    RelayConfig m_relay = Config::freshRelayConfig("");
    std::map<std::string, Box> m_phones;
    std::vector<std::string> m_log;
    std::vector<std::string> m_asked;
    JSONValue m_snapshot = JSONObject{{"pending", JSONArray{}}};
    int m_snapshots = 0;
    int m_changes = 0;
    RelayClient m_client{{m_sockets.opener(), m_time, [this] { return m_time.now(); }}};
};

TEST_F(RelayClientTest, ConnectsWhereTheSettingsSay) {
    m_client.update(std::nullopt);
    EXPECT_EQ(m_sockets.count(), 0U);
    EXPECT_EQ(json::compact(m_client.status()),
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
        m_relay.url = relay;
        m_client.update(m_relay);
        EXPECT_EQ(m_sockets.last().url, socket);
        EXPECT_TRUE(m_sockets.last().isResumed);
    }
    EXPECT_EQ(m_sockets[0].closeCode, 1001);
    EXPECT_FALSE(m_sockets[0].isAlive);

    m_sockets.open();
    EXPECT_THAT(m_sockets.takeSent(),
                ElementsAre(R"({"devices":[")" + phoneA + R"(",")" + phoneB + R"("],"t":"sync"})"));
    EXPECT_THAT(m_log, ElementsAre("relay: connected to HTTPS://[::1]:444/"));
    EXPECT_TRUE(m_client.connected());
    EXPECT_EQ(
        json::compact(m_client.status()),
        R"({"configured":true,"connected":true,"devices":2,"phones":0,"url":"HTTPS:\/\/[::1]:444\/"})");

    m_relay.url = "not a url";
    m_client.update(m_relay);
    EXPECT_FALSE(m_client.connected());
    EXPECT_FALSE(m_sockets.last().isAlive) << "nor with where it was before";
    EXPECT_EQ(m_time.waiting(), 0U);
}

TEST_F(RelayClientTest, AppliesSettingsWithoutNeedlessReconnects) {
    connect();
    const auto invite = m_client.makeInvite();
    setOnline({phoneA});
    m_sockets.takeSent();
    m_client.update(m_relay);
    EXPECT_EQ(m_sockets.count(), 1U);
    EXPECT_THAT(m_sockets.takeSent(), IsEmpty());

    // A message opened before the change is not opened again after it.
    const std::string asked = frameFrom(phoneA, {{"type", "answer"}, {"target", "x"}});
    m_sockets.receive(asked);
    m_sockets.takeSent();
    m_relay.devices.pop_back();
    m_client.update(m_relay);
    EXPECT_THAT(m_sockets.takeSent(),
                ElementsAre(R"({"device":")" + phoneB + R"(","t":"removeDevice"})"));
    m_sockets.receive(asked);
    EXPECT_THAT(m_asked, SizeIs(1));
    EXPECT_THAT(m_log, ElementsAre("relay: dropped frame (replayed)"));
    EXPECT_TRUE(m_client.inviteIsLive(*invite));
    m_sockets.receive(frameFrom(phoneB, {{"type", "answer"}, {"target", "y"}}));
    EXPECT_THAT(m_asked, SizeIs(1)) << "a removed phone asks for nothing";

    m_relay.auth = "another";
    m_relay.devices.clear();
    m_client.update(m_relay);
    EXPECT_EQ(m_sockets.count(), 2U);
    EXPECT_FALSE(m_client.connected());
    EXPECT_TRUE(m_client.online().empty());
    EXPECT_FALSE(m_client.inviteIsLive(*invite));
    EXPECT_THAT(m_sockets.takeSent(), IsEmpty());

    const int before = m_changes;
    m_relay.privateKey = "none";
    m_client.update(m_relay);
    EXPECT_FALSE(m_sockets.last().isAlive);
    EXPECT_GT(m_changes, before);
    EXPECT_EQ(*m_client.status()["configured"], JSONValue(false));
    EXPECT_EQ(m_client.makeInvite(), std::nullopt);
}

TEST_F(RelayClientTest, ComesBackWithADoublingDelay) {
    m_client.update(m_relay);
    for (const int delay : {1, 2, 4, 8, 16, 30, 30}) {
        m_sockets.fail({401, "refused"});
        EXPECT_EQ(m_log.back(), "relay: could not connect (HTTP 401), retrying in " +
                                    std::to_string(delay) + "s");
        const std::size_t count = m_sockets.count();
        m_time.pass(std::chrono::seconds(delay) - 1ms);
        EXPECT_EQ(m_sockets.count(), count);
        m_time.pass(1ms);
        ASSERT_EQ(m_sockets.count(), count + 1);
    }
    const auto old = m_client.makeInvite();
    for (int i = 0; i < 120; ++i) { // An hour without a network.
        m_sockets.fail();
        m_time.pass(30s);
    }
    EXPECT_FALSE(m_client.inviteIsLive(*old));
    const std::size_t connections = m_sockets.count();
    const auto invite = m_client.makeInvite();
    m_sockets.open();
    EXPECT_THAT(m_sockets.takeSent(),
                ElementsAre(HasSubstr("sync"),
                            HasSubstr(pairing::inviteHash(invite->invite) + R"(","t":"invite")")));
    setOnline({phoneA});
    m_sockets.fail();
    EXPECT_EQ(m_log.back(), "relay: disconnected, retrying in 1s");
    EXPECT_TRUE(m_client.online().empty());
    m_client.update(std::nullopt);
    m_time.pass(1h);
    EXPECT_EQ(m_sockets.count(), connections) << "a reconnect is forgotten with the settings";
}

TEST_F(RelayClientTest, PingsWhileItIsOpen) {
    m_client.update(m_relay);
    m_time.pass(60s);
    EXPECT_THAT(m_sockets.takeSent(), IsEmpty());
    m_sockets.open();
    m_sockets.takeSent();
    m_time.pass(50s);
    EXPECT_THAT(m_sockets.takeSent(), ElementsAre("ping", "ping"));
    m_sockets.receive("pong");
    EXPECT_THAT(m_log, SizeIs(1));
}

TEST_F(RelayClientTest, APhoneGetsTheStateWhenItComesAndWhenItAsks) {
    connect();
    setOnline({phoneA, "unknown"});
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    m_time.pass(100ms);
    setOnline({phoneA, phoneB});
    EXPECT_THAT(takeStates(), ElementsAre(phoneB));
    m_time.pass(100ms);
    m_sockets.receive(frameFrom(phoneA, {{"type", "hello"}}));
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    m_time.pass(100ms);

    for (int i = 0; i < 3; ++i) {
        m_client.schedulePush();
        m_time.pass(20ms);
    }
    EXPECT_THAT(takeStates(), IsEmpty());
    m_snapshots = 0;
    m_snapshot = JSONObject{{"newest", true}};
    m_time.pass(40ms);
    auto messages = takeMessages();
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(*messages[1].second.find("state"), m_snapshot);
    EXPECT_EQ(m_snapshots, 1) << "one snapshot serves all phones";
    m_time.pass(1s);
    EXPECT_THAT(takeStates(), IsEmpty());

    m_sockets.receive(R"({"t":"peers"})");
    EXPECT_TRUE(m_client.online().empty());
    m_client.schedulePush();
    EXPECT_EQ(m_time.waiting(), 0U);
}

TEST_F(RelayClientTest, StatesGoOutAtAMeasuredPaceWhateverTheRelaySays) {
    connect();
    for (int i = 0; i < 1000; ++i) {
        setOnline({"nobody"});
        m_sockets.receive(frameFrom(phoneA, {{"type", "hello"}})); // Kept out by the relay.
        setOnline({});
    }
    EXPECT_EQ(m_snapshots, 0) << "who cannot get one costs none";
    for (int i = 0; i < 1000; ++i) {
        setOnline({});
        setOnline({phoneA});
    }
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    m_time.pass(100ms);
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    EXPECT_EQ(m_snapshots, 2);

    // A long one is waited for longer, and encoded once however long the relay takes to take it.
    m_time.pass(100ms);
    m_snapshot = JSONObject{{"long", std::string(5 << 20, 'x')}};
    m_snapshots = 0;
    setOnline({phoneA, phoneB});
    m_client.schedulePush();
    m_sockets.last().unsentPerFrame = 5 << 20;
    m_time.pass(599ms);
    EXPECT_EQ(m_snapshots, 1);
    m_time.pass(1ms);
    EXPECT_GT(m_sockets.last().unsent, 0U);
    m_time.pass(10s);
    m_sockets.last().unsent = 0;
    m_time.pass(1s);
    EXPECT_THAT(takeStates(), ElementsAre(phoneB, phoneA, phoneB));
    EXPECT_EQ(m_snapshots, 2);
}

TEST_F(RelayClientTest, ARelayThatStallsGetsOneStateOnceItGoesOn) {
    connect();
    setOnline({phoneA});
    m_sockets.takeSent();
    m_sockets.last().unsent = 5 << 20;
    for (int i = 0; i < 1000; ++i)
        m_sockets.receive(frameFrom(phoneA, {{"type", "hello"}}));
    m_time.pass(10s);
    EXPECT_THAT(m_sockets.takeSent(), IsEmpty());
    m_sockets.last().unsent = 0;
    m_time.pass(100ms);
    EXPECT_THAT(takeStates(), ElementsAre(phoneA));
    m_time.pass(100ms);
    EXPECT_EQ(m_time.waiting(), 0U);
}

TEST_F(RelayClientTest, ARequestIsAnsweredWithItsOutcome) {
    connect();
    setOnline({phoneA});
    takeMessages();
    const struct {
        JSONObject request;
        const char* asked;
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
    for (const auto& [request, asked, error] : table) {
        m_asked.clear();
        JSONObject named = request;
        named.set("id", "the id" + json::compact(request).value());
        m_sockets.receive(frameFrom(phoneA, named));
        EXPECT_EQ(m_asked, asked ? std::vector<std::string>{asked} : std::vector<std::string>());
        const auto messages = takeMessages();
        ASSERT_THAT(messages, SizeIs(1));
        const JSONObject& result = messages[0].second;
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
        m_sockets.receive(frame);
    EXPECT_THAT(m_log, IsEmpty());
    m_sockets.receive(R"({"t":"msg","from":")" + phoneA + R"(","n":"","c":""})");
    m_sockets.receive(R"({"t":"error","reason":"too fast"})");
    m_sockets.receive(R"({"t":"error","reason":1})");
    EXPECT_THAT(m_log,
                ElementsAre("relay: dropped frame (badFrame)", "relay: too fast", "relay: error"));
    m_sockets.receive(good);
    EXPECT_THAT(takeMessages(), SizeIs(1));
    m_time.jump(1h);
    m_sockets.receive(good);
    EXPECT_THAT(m_asked, SizeIs(1));
    EXPECT_EQ(m_log.back(), "relay: dropped frame (stale)");
    EXPECT_THAT(m_sockets.takeSent(), IsEmpty()) << "what is dropped is not answered";
}

TEST_F(RelayClientTest, ABroadcastIsSealedForEveryPairedPhone) {
    m_client.broadcast("notify", {{"type", "notify"}});
    connect();
    m_client.broadcast("notify", {{"type", "notify"}, {"target", "x"}});
    m_client.clear({"x", "y"});
    const auto messages = takeMessages();
    ASSERT_THAT(messages, SizeIs(4));
    EXPECT_EQ(messages[0].first, phoneA);
    EXPECT_EQ(*messages[0].second.find("target"), JSONValue("x"));
    EXPECT_NE(*messages[0].second.find("id"), *messages[1].second.find("id"));
    EXPECT_EQ(*messages[3].second.find("targets"), JSONValue(JSONArray{"x", "y"}));

    m_relay.devices = {{phoneA, "A", "not a key", 1}};
    m_client.update(m_relay);
    m_sockets.takeSent();
    m_client.clear({});
    EXPECT_THAT(m_sockets.takeSent(), ElementsAre(R"({"items":[],"t":"clear"})"));
}

TEST_F(RelayClientTest, AReportOfAPushIsKeptAndItsFaultsAreLogged) {
    connect();
    const struct {
        const char* frame;
        bool isKept;
        std::vector<std::string> log;
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
    for (const auto& [frame, isKept, log] : table) {
        m_log.clear();
        m_time.pass(1ms);
        const auto before = m_client.lastPush();
        m_sockets.receive(frame);
        EXPECT_EQ(m_log, log);
        JSONObject report = *JSONValue::parse(frame)->object();
        report.set(
            "at",
            std::chrono::duration<double, std::milli>(m_time.now().time_since_epoch()).count());
        EXPECT_EQ(m_client.lastPush(), isKept ? std::optional<JSONValue>(report) : before) << frame;
    }
}

TEST_F(RelayClientTest, APhonePairsOnceAndIsServedAtOnce) {
    connect();
    const auto live = m_client.makeInvite();
    ASSERT_TRUE(live);
    const std::string hash = pairing::inviteHash(live->invite);
    EXPECT_THAT(m_sockets.takeSent(),
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
    m_sockets.receive(request);
    auto key = pairing::deviceKey(phoneKey, live->invite.macKey, live->invite, device).value();
    EXPECT_THAT(m_sockets.takeSent(),
                ElementsAre(R"({"auth":")" + pairing::admissionHash(key) + R"(","device":")" +
                            device + R"(","invite":")" + hash + R"(","t":"addDevice"})"));
    EXPECT_EQ(m_log.back(), "relay: paired C");
    ASSERT_THAT(m_relay.devices, SizeIs(3));
    m_sockets.receive(request);
    EXPECT_EQ(m_log.back(), "relay: ignored a pairing attempt (no live invite)");

    m_phones[device] = {m_relay.channel,
                        device,
                        std::move(key),
                        Box::Direction::phoneToMac,
                        [this] { return m_time.now(); },
                        {}};
    setOnline({device});
    EXPECT_THAT(takeStates(), ElementsAre(device));
}

} // namespace
