#include "http/HTTPConnection.h"

#include <cmath>
#include <string>

#include "core/JSONValue.h"
#include "http/ServerFixture.h"

namespace {

using HTTPConnectionTest = ServerFixture;

std::string bodyOf(const std::string& response) {
    const auto end = response.find("\r\n\r\n");
    return end != std::string::npos ? response.substr(end + 4) : "";
}

/// Bytes in which a gap or a repetition shows.
std::string countingText(std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += std::to_string(text.size()) + ' ';
    }
    text.resize(size);
    return text;
}

TEST_F(HTTPConnectionTest, WritesResponsesByteForByte) {
    start();
    const struct {
        int status;
        const char* reason;
    } cases[] = {{200, "OK"},        {400, "Bad Request"}, {401, "Unauthorized"},
                 {403, "Forbidden"}, {404, "Not Found"},   {409, "Error"}};
    for (const auto& [status, reason] : cases) {
        const auto client = requestHandled();
        connections.back()->respond(status, "caf\u00e9", "text/plain; charset=utf-8");
        connections.back()->respond(500, "a second response", "text/plain");
        connections.back()->startEventStream();
        connections.back()->send("more");
        ASSERT_TRUE(eventually([&] { return client->hasEnded(); }));
        EXPECT_EQ(client->receive(), "HTTP/1.1 " + std::to_string(status) + " " + reason +
                                         "\r\ncontent-type: text/plain; charset=utf-8"
                                         "\r\ncache-control: no-store\r\ncontent-length: 5"
                                         "\r\nconnection: close\r\n\r\ncaf\u00e9");
        EXPECT_FALSE(client->isReset());
    }
}

TEST_F(HTTPConnectionTest, WritesJSONOrAnEmptyObject) {
    start();
    JSONValue value = JSONObject{{"ok", true}};
    onRequest = [&](const auto& connection) { connection->respondJSON(200, value); };
    const auto first = requestHandled();
    value = std::nan("");
    const auto second = requestHandled();
    ASSERT_TRUE(eventually([&] { return first->hasEnded() && second->hasEnded(); }));
    EXPECT_EQ(bodyOf(first->receive()), "{\"ok\":true}");
    EXPECT_NE(first->receive().find("content-type: application/json\r\n"), std::string::npos);
    EXPECT_EQ(bodyOf(second->receive()), "{}");
}

TEST_F(HTTPConnectionTest, ClosesFromTheLoopAndRunsHandlersOnceInOrder) {
    start();
    const auto client = requestHandled();
    const auto connection = connections.back();
    std::string order;
    connection->addCloseHandler([&] {
        EXPECT_FALSE(connection->isOpen());
        order += 'a';
        connection->close();
        connection->addCloseHandler([&] { order += '!'; });
    });
    connection->addCloseHandler([&] { order += 'b'; });
    connection->respond(200, "late", "text/plain");
    EXPECT_TRUE(connection->isOpen());
    EXPECT_EQ(order, "");
    ASSERT_TRUE(eventually([&] { return !connection->isOpen(); }));
    connection->close();
    client->close();
    runDueEvents();
    EXPECT_EQ(order, "ab");
}

TEST_F(HTTPConnectionTest, ReadsARequestThatArrivesByteByByteAndNoSecondOne) {
    start();
    RawSocket client(port);
    const std::string request = "POST /x HTTP/1.1\r\ncontent-length: 4\r\n\r\nbody";
    for (const char& byte : request) {
        EXPECT_TRUE(requests.empty());
        client.send({&byte, 1});
        runDueEvents();
    }
    client.send("GET /second HTTP/1.1\r\n\r\n");
    runDueEvents();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].path, "/x");
    EXPECT_EQ(requests[0].body, "body");
    EXPECT_TRUE(requests[0].isLocal);
    EXPECT_TRUE(connections[0]->isOpen());
}

TEST_F(HTTPConnectionTest, AnswersAHalfClosedPeerAtOnceButDoesNotHoldItsRequest) {
    start();
    for (const bool isAnswered : {true, false}) {
        onRequest = [&](const auto& connection) {
            if (isAnswered) {
                connection->respond(200, "reply", "text/plain");
            }
        };
        closeCalls = 0;
        RawSocket client(port);
        client.send("GET / HTTP/1.1\r\n\r\n");
        client.finishSending();
        ASSERT_TRUE(eventually([&] { return client.hasEnded(); }));
        EXPECT_EQ(bodyOf(client.receive()), isAnswered ? "reply" : "");
        EXPECT_FALSE(client.isReset());
        EXPECT_EQ(closeCalls, 1);
        EXPECT_FALSE(connections.back()->isOpen());
    }
    EXPECT_EQ(requests.size(), 2U);
}

TEST_F(HTTPConnectionTest, FinishesALargeReplyToAPeerThatHasFinishedSending) {
    start();
    const std::string text = countingText(16 * 1024 * 1024);
    onRequest = [&](const auto& connection) { connection->respond(200, text, "text/plain"); };
    const auto client = requestHandled("/", 4096);
    client->finishSending();
    runDueEvents();
    EXPECT_TRUE(connections[0]->isOpen()) << "the reply fitted into the system's buffers";
    ASSERT_TRUE(eventually([&] { return client->hasEnded(); }));
    EXPECT_TRUE(bodyOf(client->receive()) == text);
    EXPECT_EQ(closeCalls, 1);
}

TEST_F(HTTPConnectionTest, ClosesWhenThePeerResetsAPartlyWrittenReply) {
    start();
    onRequest = [](const auto& connection) {
        connection->respond(200, std::string(16 * 1024 * 1024, 'x'), "text/plain");
    };
    for (const bool hasFinishedBefore : {false, true}) {
        closeCalls = 0;
        const auto client = requestHandled("/", 4096);
        if (hasFinishedBefore) {
            client->finishSending();
        }
        runDueEvents();
        EXPECT_TRUE(connections.back()->isOpen());
        client->resetConnection();
        EXPECT_TRUE(eventually([&] { return closeCalls == 1; }));
    }
}

TEST_F(HTTPConnectionTest, DeliversAReplyWhoseRequestLeftInputUnread) {
    start();
    const std::string text = countingText(200'019);
    onRequest = [&](const auto& connection) { connection->respond(200, text, "text/plain"); };
    RawSocket client(port, "127.0.0.1", 4096);
    client.send("GET / HTTP/1.1\r\n\r\n" + std::string(500'000, 'x'));
    ASSERT_TRUE(eventually([&] { return closeCalls == 1 || !client.receive(1000).empty(); }));
    ASSERT_TRUE(eventually([&] {
        client.send("and more");
        client.receive(1000);
        return closeCalls == 1;
    }));
    runDueEvents();
    ASSERT_TRUE(eventually([&] { return client.hasEnded(); }));
    EXPECT_FALSE(client.isReset());
    EXPECT_TRUE(bodyOf(client.receive()) == text) << client.receive().size();
}

TEST_F(HTTPConnectionTest, DeliversAReplyThatWasWrittenJustBeforeTheServerStops) {
    start();
    const std::string text = countingText(40'000); // More than the peer's system takes at once.
    const auto client = requestHandled("/", 4096);
    client->send("unread input");
    connections[0]->respond(200, text, "text/plain");
    server->stop();
    EXPECT_EQ(closeCalls, 1);
    ASSERT_TRUE(eventually([&] { return client->hasEnded(); }));
    EXPECT_FALSE(client->isReset());
    EXPECT_TRUE(bodyOf(client->receive()) == text) << client->receive().size();
}

TEST_F(HTTPConnectionTest, EndsDrainingByTimeAndBySize) {
    start();
    const auto before = openDescriptors();
    onRequest = [](const auto& connection) { connection->respond(200, "reply", "text/plain"); };
    const auto lingering = requestHandled();
    const auto talking = requestHandled();
    EXPECT_EQ(openDescriptors(), before + 4); // Each with both of its ends.
    const auto start = std::chrono::steady_clock::now();
    std::size_t sent = 0;
    const std::string piece(65'536, 'x');
    EXPECT_TRUE(eventually([&] {
        sent += talking->send(piece);
        return openDescriptors() <= before + 3;
    }));
    EXPECT_GE(sent, HTTPConnection::drainBytes);
    EXPECT_LT(std::chrono::steady_clock::now() - start, HTTPConnection::drainTime);
    EXPECT_TRUE(eventually([&] { return openDescriptors() <= before + 2; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start,
              HTTPConnection::drainTime - std::chrono::milliseconds(50));
    EXPECT_EQ(closeCalls, 2);
}

TEST_F(HTTPConnectionTest, RunsHandlersOnceWhenThePeerOfAHeldRequestGoes) {
    start();
    for (const bool isReset : {false, true}) {
        closeCalls = 0;
        const auto client = requestHandled();
        runDueEvents();
        EXPECT_EQ(closeCalls, 0);
        isReset ? client->resetConnection() : client->close();
        ASSERT_TRUE(eventually([&] { return closeCalls > 0; }));
        connections.back()->respond(200, "too late", "text/plain");
        runDueEvents();
        EXPECT_EQ(closeCalls, 1);
    }
}

TEST_F(HTTPConnectionTest, GivesUpIncompleteRequests) {
    start();
    const auto before = openDescriptors();
    RawSocket half(port);
    half.send("POST / HTTP/1.1\r\ncontent-length: 5\r\n\r\n1234");
    half.finishSending();
    ASSERT_TRUE(eventually([&] { return half.hasEnded(); }));

    RawSocket endless(port);
    const std::string piece(65'536, 'x');
    std::size_t sent = 0;
    ASSERT_TRUE(eventually([&] {
        sent += endless.send(piece);
        return endless.hasEnded();
    }));
    EXPECT_GE(sent, HTTPRequestParser::maximumSize);
    EXPECT_TRUE(half.receive().empty());
    EXPECT_TRUE(endless.receive().empty());
    EXPECT_TRUE(requests.empty());
    EXPECT_TRUE(eventually([&] { return openDescriptors() == before + 2; }));
}

TEST_F(HTTPConnectionTest, MayBeClosedAndItsServerDestroyedByItsCallbacks) {
    start();
    onRequest = [](const auto& connection) { connection->close(); };
    auto client = requestHandled();
    EXPECT_EQ(closeCalls, 1);
    ASSERT_TRUE(eventually([&] { return client->hasEnded(); }));

    onRequest = nullptr;
    const auto other = requestHandled();
    onRequest = [&](const auto& connection) {
        connection->addCloseHandler([&] { server.reset(); });
        connection->close();
        connection->respond(200, "nobody hears it", "text/plain");
    };
    client = requestHandled();
    ASSERT_TRUE(eventually([&] { return client->hasEnded() && other->hasEnded(); }));
    EXPECT_EQ(server, nullptr);
    EXPECT_EQ(closeCalls, 3);
}

TEST_F(HTTPConnectionTest, StreamsUntilThePeerGoes) {
    start();
    onRequest = [](const auto& connection) {
        connection->startEventStream();
        connection->sendState(std::make_shared<const std::string>("data: 1\n\n"));
        connection->keepAlive(": ping\n\n");
        connection->respond(200, "not any more", "text/plain");
    };
    const auto client = requestHandled();
    connections[0]->send("data: 2\n\n");
    constexpr std::string_view expected = "HTTP/1.1 200 OK\r\n"
                                          "content-type: text/event-stream\r\n"
                                          "cache-control: no-store\r\n"
                                          "connection: keep-alive\r\n\r\n"
                                          "data: 1\n\n: ping\n\ndata: 2\n\n";
    ASSERT_TRUE(eventually([&] { return client->receive() == expected; }));
    EXPECT_TRUE(connections[0]->isOpen());
    client->close();
    ASSERT_TRUE(eventually([&] { return closeCalls == 1; }));
    connections[0]->send("data: 3\n\n");
}

TEST_F(HTTPConnectionTest, GivesAStalledStreamWholeRecordsAndTheNewest) {
    start();
    onRequest = [](const auto& connection) { connection->startEventStream(); };
    const auto client = requestHandled("/events", 4096);
    constexpr std::size_t recordSize = 1024 * 1024;
    constexpr int count = 64;
    std::vector<std::weak_ptr<const std::string>> records;
    for (int i = 0; i < count; ++i) {
        std::string record = "data: " + std::to_string(i) + ' ';
        record.resize(recordSize - 2, 'x');
        const auto shared = std::make_shared<const std::string>(record + "\n\n");
        records.push_back(shared);
        connections[0]->sendState(shared);
        if (i >= count / 2) { // The system's buffers are full since long.
            connections[0]->keepAlive(": ping\n\n");
        }
        runDueEvents();
    }
    EXPECT_TRUE(connections[0]->isOpen());
    const auto kept =
        std::count_if(records.begin(), records.end(), [](const auto& r) { return !r.expired(); });
    EXPECT_LE(static_cast<std::size_t>(kept), SendQueue::limit / recordSize + 1);

    const std::string last = "data: " + std::to_string(count - 1) + ' ';
    ASSERT_TRUE(eventually([&] {
        const std::string& got = client->receive();
        const auto found = got.find(last);
        return found != std::string::npos && got.size() >= found + recordSize;
    }));
    const std::string body = bodyOf(client->receive());
    ASSERT_EQ(body.size() % recordSize, 0U);
    EXPECT_LT(body.size() / recordSize, count);
    int previous = -1;
    for (std::size_t at = 0; at < body.size(); at += recordSize) {
        ASSERT_EQ(body.substr(at, 6), "data: ");
        ASSERT_EQ(body.substr(at + recordSize - 3, 3), "x\n\n");
        const int number = std::stoi(body.substr(at + 6, 10));
        EXPECT_GT(number, previous);
        previous = number;
    }
    EXPECT_EQ(previous, count - 1);
    connections[0]->keepAlive(": ping\n\n");
    EXPECT_TRUE(eventually([&] { return client->receive().ends_with(": ping\n\n"); }));
}

} // namespace
