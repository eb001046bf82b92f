#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QByteArray>
#include <QCryptographicHash>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include "platform/QtScheduler.h"
#include "platform/QtWebSocketTask.h"
#include "support/Eventually.h"
#include "support/FakeEnvironment.h"
#include "support/FakeScheduler.h"
#include "support/RawServer.h"
#include "support/RelayDouble.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char* secret = "T0p-Secret_token";
constexpr const char* path = "/ws/channel?role=mac&auth=T0p-Secret_token";
constexpr std::size_t mebibyte = std::size_t{1} << 20;

QByteArray warnings; // NOLINT: Qt's message handler takes no context

/// A task and what it has reported.
struct Client {
    Client(const std::string& url, Scheduler& scheduler,
           const QtWebSocketTask::Options& options = {})
        : task(QtWebSocketTask::opener(scheduler, options)(
              url, {.opened = [this] { note("opened"); },
                    .text = [this](const std::string& text) { note(text); },
                    .failed =
                        [this](const WebSocketTask::Failure& why) {
                            failure = why;
                            note("failed");
                        }})) {
        task->resume();
    }

    void note(const std::string& event) {
        events.push_back(event);
        if (onEvent)
            onEvent();
        if (event == destroyOn)
            task.reset();
    }
    [[nodiscard]] bool hasFailed() const { return failure.has_value(); }
    [[nodiscard]] bool isOpen() const { return !events.empty() && events[0] == "opened"; }

    std::vector<std::string> events;
    std::optional<WebSocketTask::Failure> failure;
    std::string destroyOn;
    std::function<void()> onEvent;
    std::unique_ptr<WebSocketTask> task;
};

/// Against a peer that is no more than bytes.
class QtWebSocketTaskTest : public testing::Test {
  protected:
    QtWebSocketTaskTest() {
        warnings.clear();
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
            warnings += text.toUtf8() + '\n';
        });
    }
    ~QtWebSocketTaskTest() override {
        qInstallMessageHandler(nullptr);
        EXPECT_FALSE(warnings.contains(secret)) << warnings.constData();
    }

    Client& connect(const QtWebSocketTask::Options& options = {}) {
        peer.reset();
        client.emplace("ws://127.0.0.1:" + std::to_string(server.port()) + path, scheduler,
                       options);
        EXPECT_TRUE(eventually([&] {
            if (!peer)
                peer = server.accept();
            return peer && peer->receive().ends_with("\r\n\r\n");
        }));
        return *client;
    }

    /// With what follows in the same segment.
    void accept(const std::string& frames = "") {
        const std::string& request = peer->receive();
        const auto start = request.find("Sec-WebSocket-Key: ") + 19;
        const auto key = request.substr(start, request.find('\r', start) - start);
        const auto hash = QCryptographicHash::hash(
            QByteArray::fromStdString(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11"),
            QCryptographicHash::Sha1);
        peer->send("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                   "Connection: Upgrade\r\nSec-WebSocket-Accept: " +
                   hash.toBase64().toStdString() + "\r\n\r\n" + frames);
        requestSize = request.size();
    }

    Client& open(const QtWebSocketTask::Options& options = {}) {
        Client& opened = connect(options);
        accept();
        EXPECT_TRUE(eventually([&] { return opened.isOpen(); }));
        return opened;
    }

    /// What came from the task after the handshake.
    std::string frames() { return peer->receive().substr(requestSize); }

    void expectOneFailure(Client& failing) {
        EXPECT_TRUE(eventually([&] { return failing.hasFailed(); }));
        // The peer's answers to the end must not count as another one.
        EXPECT_TRUE(!peer || eventually([&] { return peer->hasEnded(); }));
        runDueEvents();
        EXPECT_EQ(std::count(failing.events.begin(), failing.events.end(), "failed"), 1);
        EXPECT_EQ(failing.events.back(), "failed");
        EXPECT_THAT(failing.failure->reason, Not(HasSubstr(secret)));
        EXPECT_THAT(failing.failure->reason, Not(IsEmpty()));
    }

    RawServer server;
    FakeScheduler scheduler;
    std::optional<RawSocket> peer;
    std::optional<Client> client;
    std::size_t requestSize = 0;
};

TEST_F(QtWebSocketTaskTest, ReportsARefusalOnceWithItsStatusAndNothingThatThePeerSaid) {
    const RawServer elsewhere;
    const std::string location =
        "\r\nLocation: ws://127.0.0.1:" + std::to_string(elsewhere.port()) + path;
    const std::string switching = "HTTP/1.1 101 "s + secret +
                                  "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                  "Sec-WebSocket-Accept: " +
                                  secret;
    struct {
        std::string answer;
        std::optional<int> status;
    } const cases[] = {
        {"HTTP/1.1 400 "s + path, 400},
        {"HTTP/1.1 400 Bad\r\nSec-WebSocket-Version: 12", 400},
        {"HTTP/1.1 401 "s + path + "\r\nContent-Length: 0", 401},
        {"HTTP/1.1 503", 503},
        {"HTTP/1.1 200 OK", 200},
        {"HTTP/1.1 301 Moved" + location, 301},
        {"HTTP/1.1 307 Moved" + location, 307},
        {switching, std::nullopt},
        {"HTTP/1.1 101 x", std::nullopt},
        {secret, std::nullopt},
    };
    for (const auto& [answer, status] : cases) {
        for (const bool isKeptOpen : {true, false}) {
            SCOPED_TRACE(answer + (isKeptOpen ? " kept open" : " closed"));
            Client& refused = connect();
            peer->send(answer + "\r\n\r\n");
            if (!isKeptOpen)
                peer->finishSending();
            expectOneFailure(refused);
            EXPECT_EQ(refused.failure->status, status);
            EXPECT_THAT(refused.events, SizeIs(1));
        }
    }
    EXPECT_FALSE(elsewhere.accept().has_value());
}

TEST_F(QtWebSocketTaskTest, GivesUpOnAHandshakeThatDoesNotEnd) {
    for (const std::string start :
         {"", "HTTP/1.1 101 x\r\n", "HTTP/1.1 401 x\n\n", "HTTP/1.1 101 x\r\na: "}) {
        SCOPED_TRACE(start);
        Client& waiting = connect();
        peer->send(start);
        scheduler.pass(14'999ms);
        runDueEvents();
        EXPECT_FALSE(waiting.hasFailed());
        scheduler.pass(1ms);
        EXPECT_FALSE(waiting.hasFailed()); // Not from inside a call.
        expectOneFailure(waiting);
        EXPECT_EQ(waiting.failure->reason, "no connection within 15 s");
    }
}

TEST_F(QtWebSocketTaskTest, StopsReadingAHandshakeOfAnySize) {
    constexpr std::size_t enough = 64 * mebibyte; // Several times what the system holds.
    const std::string lines(mebibyte, 'x');
    // Of a status line without an end Qt would take everything.
    for (const char* const start : {"", "HTTP/1.1 101 x\r\na: "}) {
        connect();
        peer->send(start);
        std::size_t taken = 0;
        for (int idle = 0; idle < 50 && taken < enough; ++idle) {
            while (const std::size_t count = peer->send(lines)) {
                taken += count;
                idle = 0;
            }
            runDueEvents();
        }
        EXPECT_LT(taken, enough / 2);
    }
}

TEST_F(QtWebSocketTaskTest, ReportsEveryEndOfAnOpenConnectionOnce) {
    const std::string close4001 = "\x88\x02\x0f\xa1";
    struct {
        const char* name;
        std::string frames;
        std::string reason;
    } const cases[] = {
        {"closed", close4001, "closed with code 4001"},
        {"closed without a code", "\x88\x00"s, "closed with code 1000"},
        {"closed with the secret", "\x88\x12\x0f\xa1"s + secret, "closed with code 4001"},
        {"no UTF-8", "\x81\x02\xc3\x28", "closed with code 1007"},
        {"half a character", "\x81\x01\xc3", "closed with code 1007"},
        {"reserved bit", "\xc1\x01x", "closed with code 1002"},
        {"reserved opcode", "\x83\x01x", "closed with code 1002"},
        {"continues nothing", "\x80\x01x", "closed with code 1002"},
        {"long ping", "\x89\x7e\x00\x80"s + std::string(128, 'x'), "closed with code 1002"},
        {"frame over the limit", "\x81\x7e\x04\x01"s + std::string(1025, 'x'),
         "closed with code 1009"},
        {"frame of 2^62 bytes", "\x81\x7f\x40\0\0\0\0\0\0\0"s, "closed with code 1009"},
        {"message over the limit",
         "\x01\x7e\x02\x00"s + std::string(512, 'x') + "\x00\x7e\x02\x00"s + std::string(512, 'x') +
             "\x80\x01x"s,
         "closed with code 1009"},
    };
    QtWebSocketTask::Options options;
    options.maximumMessage = 1024;
    for (const auto& [name, frames, reason] : cases) {
        SCOPED_TRACE(name);
        Client& opened = open(options);
        peer->send(frames);
        expectOneFailure(opened);
        EXPECT_EQ(opened.failure->reason, reason);
        EXPECT_EQ(opened.failure->status, std::nullopt);
        EXPECT_THAT(opened.events, ElementsAre("opened", "failed"));
    }
    for (const bool isReset : {true, false}) {
        Client& opened = open(options);
        if (isReset)
            peer->resetConnection();
        else
            peer->close();
        peer.reset();
        expectOneFailure(opened);
    }
}

TEST_F(QtWebSocketTaskTest, DeliversTextsInOrderUpToTheLimitAndIgnoresBinaryMessages) {
    QtWebSocketTask::Options options;
    options.maximumMessage = 1024;
    Client& opened = connect(options);
    const std::string longest(1024, 'x');
    accept("\x81\x02hi\x82\x01x\x89\x01p\x01\x01y"s + "\x80\x04\xf0\x9f\x98\x80"s +
           "\x81\x03\0\"\n"s + "\x81\x7e\x04\x00"s + longest);
    peer->send("\x88\x02\x0f\xa1");
    ASSERT_TRUE(eventually([&] { return opened.hasFailed(); }));
    EXPECT_THAT(opened.events,
                ElementsAre("opened", "hi", "y\U0001F600", "\0\"\n"s, longest, "failed"));
    EXPECT_THAT(frames(), testing::StartsWith("\x8a\x81")); // The answer to the ping.
}

TEST_F(QtWebSocketTaskTest, EndsAtAClosingFrameOfAPeerThatDoesNotRead) {
    Client& opened = open();
    opened.task->send(std::string(12 * mebibyte, 'x'));
    peer->send("\x88\x02\x0f\xa1");
    ASSERT_TRUE(eventually([&] { return opened.hasFailed(); }));
    EXPECT_EQ(opened.task->unsentBytes(), 0U);
}

TEST_F(QtWebSocketTaskTest, FailsWhenNoFrameFollowsAPing) {
    for (const auto& sign : {"\x8a\x00"s, "\x81\x01x"s, "\x82\x01x"s, "\x01\x01x"s, ""s}) {
        Client& opened = open();
        ASSERT_EQ(scheduler.waiting(), 0U);
        scheduler.pass(25s);
        ASSERT_TRUE(eventually([&] { return frames().starts_with("\x89\x80"); }));
        ASSERT_EQ(scheduler.waiting(), 1U);
        peer->send(sign);
        if (!sign.empty()) {
            ASSERT_TRUE(eventually([&] { return scheduler.waiting() == 0; }));
            scheduler.pass(25s);
            ASSERT_TRUE(eventually([&] { return frames().size() == 12; }));
        }
        scheduler.pass(59'999ms);
        runDueEvents();
        EXPECT_FALSE(opened.hasFailed());
        scheduler.pass(1ms);
        expectOneFailure(opened);
        EXPECT_EQ(opened.failure->reason, "nothing was heard for 60 s");
    }
}

TEST_F(QtWebSocketTaskTest, WaitsForAPingBehindALargeMessageAsLongAsItMoves) {
    Client& opened = open();
    opened.task->send(std::string(24 * mebibyte, 'x'));
    scheduler.pass(25s);
    std::size_t received = 0;
    while (opened.task->unsentBytes() > 0) {
        const std::size_t before = opened.task->unsentBytes();
        ASSERT_TRUE(eventually([&] {
            received = peer->receive(mebibyte).size();
            return opened.task->unsentBytes() < before;
        }));
        scheduler.pass(50s);
        runDueEvents();
        ASSERT_FALSE(opened.hasFailed()) << received;
    }
    // The ping has gone; more that goes is no sign of life.
    opened.task->send("x");
    runDueEvents();
    scheduler.pass(60s);
    expectOneFailure(opened);
}

TEST_F(QtWebSocketTaskTest, ReportsNothingAfterItsEnd) {
    for (const bool isCancelled : {true, false}) {
        for (const bool isOpen : {true, false}) {
            Client& ended = isOpen ? open() : connect();
            if (isOpen)
                peer->send("\x81\x01x\x81\x01y");
            else
                accept("\x81\x01x");
            if (isCancelled)
                ended.task->cancel(1001);
            else
                ended.task.reset();
            ASSERT_TRUE(eventually([&] { return peer->hasEnded(); }));
            scheduler.pass(1h);
            runDueEvents();
            EXPECT_THAT(ended.events, SizeIs(isOpen ? 1 : 0));
            EXPECT_EQ(scheduler.waiting(), 0U);
            if (isCancelled) {
                ended.task->send("late");
                ended.task->cancel(1000);
                EXPECT_EQ(ended.task->unsentBytes(), 0U);
            }
        }
    }
}

TEST_F(QtWebSocketTaskTest, MayBeDestroyedInEachOfItsCallbacks) {
    for (const std::string event : {"opened", "x", "failed"}) {
        Client& destroyed = connect();
        destroyed.destroyOn = event;
        accept("\x81\x01x\x81\x01y\x88\x02\x0f\xa1");
        ASSERT_TRUE(eventually([&] { return !destroyed.task; }));
        ASSERT_TRUE(eventually([&] { return peer->hasEnded(); }));
        runDueEvents();
        EXPECT_EQ(destroyed.events.back(), event);
    }
}

TEST_F(QtWebSocketTaskTest, AnEndInTheHandshakesPacketIsOne) {
    Client& ended = connect();
    accept("\x88\x02\x0f\xa1");
    expectOneFailure(ended);
    EXPECT_THAT(ended.events, ElementsAre("opened", "failed"));
    scheduler.pass(1h); // Nothing goes on.
}

TEST_F(QtWebSocketTaskTest, APeerThatOnlyTalksFillsNoMemory) {
    QtWebSocketTask::Options options;
    options.maximumUnsent = mebibyte;
    Client& pinged = open(options);
    std::string pings;
    while (pings.size() < mebibyte)
        pings += "\x89\x7d" + std::string(125, 'p');
    for (int i = 0; i < 64 && !pinged.hasFailed(); ++i) {
        peer->send(pings); // And never reads the answers.
        runDueEvents();
    }
    expectOneFailure(pinged);
    EXPECT_EQ(pinged.failure->reason, "the peer does not take what it is sent");

    options.maximumUnheard = mebibyte;
    Client& talkedTo = open(options);
    std::string messages;
    while (messages.size() < mebibyte)
        messages += "\x81\x01x";
    peer->send(messages);
    expectOneFailure(talkedTo);
    EXPECT_EQ(talkedTo.failure->reason, "the peer sends faster than it is heard");
}

TEST_F(QtWebSocketTaskTest, AFloodLeavesTheLoopToOthers) {
    Client& flooded = open();
    std::size_t heardWhenAnotherHadItsTurn = 0;
    flooded.onEvent = [&] {
        if (flooded.events.size() == 2)
            QTimer::singleShot(0, [&] { heardWhenAnotherHadItsTurn = flooded.events.size(); });
        const auto end = std::chrono::steady_clock::now() + 1ms; // Each takes its time.
        while (std::chrono::steady_clock::now() < end) {
        }
    };
    std::string messages;
    for (int i = 0; i < 200; ++i)
        messages += "\x81\x01x";
    peer->send(messages);
    ASSERT_TRUE(eventually([&] { return flooded.events.size() == 201; }));
    EXPECT_GT(heardWhenAnotherHadItsTurn, 0U);
    EXPECT_LT(heardWhenAnotherHadItsTurn, 150U);
}

TEST_F(QtWebSocketTaskTest, SaysWhyItCannotConnect) {
    for (const auto& [url, reason] : std::vector<std::pair<std::string, std::string>>{
             {"ws://127.0.0.1:1"s + path, "Connection refused"},
             {"http://127.0.0.1:1"s + path, "Unsupported WebSocket scheme: http"},
             {"ws://[bad"s + path, "the URL cannot be read"},
             {"ws:"s + path, "the URL cannot be read"},
             {"", "the URL cannot be read"}}) {
        Client failing(url, scheduler);
        EXPECT_FALSE(failing.hasFailed()); // Not from inside a call.
        expectOneFailure(failing);
        EXPECT_EQ(failing.failure->reason, reason);
    }
}

// Against a server of another library.

class WebSocketPeer : public testing::TestWithParam<RelayDouble::Transport> {
  protected:
    static QtWebSocketTask::Options trusting(const std::filesystem::path& authority) {
        QtWebSocketTask::Options options;
        if (!authority.empty())
            options.authorities = authority;
        return options;
    }
    static std::string urlOf(const RelayDouble& relay) {
        return "ws" + relay.url().substr(4) + path;
    }

    QtScheduler scheduler;
};

INSTANTIATE_TEST_SUITE_P(Over, WebSocketPeer,
                         testing::Values(RelayDouble::Transport::plain,
                                         RelayDouble::Transport::tls),
                         [](const auto& over) {
                             return over.param == RelayDouble::Transport::tls ? "TLS" : "TCP";
                         });

TEST_P(WebSocketPeer, ExchangesTextsAndCloses) {
    RelayDouble relay({.transport = GetParam(), .identity = {}});
    Client client(urlOf(relay), scheduler, trusting(relay.authority()));
    client.task->send("too early");
    ASSERT_TRUE(eventually([&] { return client.isOpen() && client.events.size() == 2; }))
        << (client.hasFailed() ? client.failure->reason : "");
    EXPECT_EQ(client.events[1], R"({"phones":[],"t":"peers"})");

    const std::string text = "\0\U0001F600\"\n"s;
    const std::string longest(QtWebSocketTask::Options().maximumMessage, 'x');
    client.task->send(text);
    client.task->send("ping");
    relay.inject(longest);
    ASSERT_TRUE(eventually([&] { return client.events.size() == 4; }));
    EXPECT_THAT(relay.received(), ElementsAre(text, "ping"));
    EXPECT_TRUE(client.events[2] == "pong" || client.events[3] == "pong");
    EXPECT_TRUE(client.events[2] == longest || client.events[3] == longest);

    client.task->cancel(1001);
    ASSERT_TRUE(eventually([&] { return relay.open() == 0; }));
    EXPECT_EQ(relay.closeCode(), 1001);
}

TEST_P(WebSocketPeer, KeepsWhatAPeerDoesNotReadAndCountsIt) {
    RelayDouble relay({.transport = GetParam(), .identity = {}});
    relay.stall(true);
    Client client(urlOf(relay), scheduler, trusting(relay.authority()));
    ASSERT_TRUE(eventually([&] { return client.isOpen(); }));
    const std::array texts = {std::string(12 * mebibyte, 'a'), std::string(12 * mebibyte, 'b')};
    for (const std::string& text : texts)
        client.task->send(text);
    const std::size_t all = client.task->unsentBytes();
    EXPECT_GE(all, 24 * mebibyte);
    // The system takes some, and what is encrypted by then still counts.
    ASSERT_TRUE(eventually([&] { return client.task->unsentBytes() < all; }));
    runDueEvents();
    EXPECT_GT(client.task->unsentBytes(), 8 * mebibyte);
    relay.stall(false);
    ASSERT_TRUE(eventually([&] { return client.task->unsentBytes() == 0; }, 60s));
    ASSERT_TRUE(eventually([&] { return relay.received().size() == 2; }, 60s));
    EXPECT_THAT(relay.received(), testing::ElementsAreArray(texts));

    relay.stall(true);
    client.task->send(texts[0]);
    client.task->send(texts[1]);
    client.task->cancel(1001);
    EXPECT_EQ(client.task->unsentBytes(), 0U);
    relay.stall(false);
    ASSERT_TRUE(eventually([&] { return relay.open() == 0; }));
}

TEST_P(WebSocketPeer, IsRefusedWithAStatus) {
    RelayDouble relay({.transport = GetParam(), .identity = {}});
    relay.refuse(429);
    Client client(urlOf(relay), scheduler, trusting(relay.authority()));
    ASSERT_TRUE(eventually([&] { return client.hasFailed(); }));
    EXPECT_EQ(client.failure->status, 429);
}

bool isKnown(const char* host) {
    addrinfo* addresses = nullptr;
    const bool hasSome = ::getaddrinfo(host, nullptr, nullptr, &addresses) == 0;
    if (hasSome)
        ::freeaddrinfo(addresses);
    return hasSome;
}

TEST(WebSocketTLS, TrustsNothingButTheSystemsAuthoritiesAndThoseNamed) {
    QtScheduler scheduler;
    Certificates certificates;
    const TemporaryDirectory directory;
    const auto valid = certificates.issue("IP:127.0.0.1");
    const std::string authority = certificates.authority().string();
    const std::string half = contentOf(authority) + contentOf(authority).substr(0, 100);
    struct {
        const char* name;
        TLSIdentity identity;
        std::string authorities;
        std::string reason; ///< what it has to hold; empty when it opens
        const char* host = "127.0.0.1";
    } const cases[] = {
        {"named", valid, authority, ""},
        {"two in the file", valid,
         directory.put("two", contentOf(certificates.selfSigned("DNS:x").certificate) +
                                  contentOf(authority)),
         ""},
        {"not named", valid, "", "certificate"},
        {"wrong host", certificates.issue("DNS:relay.example"), authority, "host name"},
        {"name for an address", certificates.issue("DNS:localhost"), authority, "host name"},
        {"expired", certificates.issue("IP:127.0.0.1", Certificates::Validity::expired), authority,
         "expired"},
        {"self-signed", certificates.selfSigned("IP:127.0.0.1"), authority, "self-signed"},
        {"no file", valid, directory / "none", directory / "none"},
        {"a directory", valid, directory.path(), directory.path()},
        {"empty file", valid, directory.put("empty", ""), directory / "empty"},
        {"no PEM", valid, directory.put("text", "hello"), directory / "text"},
        {"half of one", valid, directory.put("half", half), directory / "half"},
        {"by its name", certificates.issue("DNS:localhost"), authority, "", "localhost"},
        {"address for a name", valid, authority, "host name", "localhost"},
    };
    for (const auto& [name, identity, authorities, reason, host] : cases) {
        SCOPED_TRACE(name);
        // A container may know no name at all.
        if (!isKnown(host))
            continue;
        const RelayDouble relay({.transport = RelayDouble::Transport::tls, .identity = identity});
        const auto options =
            QtWebSocketTask::Options::from(fakeEnvironment({{"TAMSELL_RELAY_CA", authorities}}));
        const std::string port = relay.url().substr(relay.url().rfind(':'));
        Client client("wss://" + (host + port) + path, scheduler, options);
        ASSERT_TRUE(eventually([&] { return client.hasFailed() || client.isOpen(); }));
        EXPECT_EQ(client.isOpen(), reason.empty());
        EXPECT_EQ(relay.attempts(), reason.empty() ? 1 : 0); // The token goes to no one else.
        EXPECT_THAT(client.hasFailed() ? client.failure->reason : "", HasSubstr(reason));
    }
}

} // namespace
