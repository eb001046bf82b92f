#include <algorithm>

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
    while (text.size() < size)
        text += std::to_string(text.size()) + ' ';
    return text;
}

TEST_F(HTTPConnectionTest, WritesOneResponseByteForByteAndClosesFromTheLoop) {
    start();
    const auto client = requestHandled();
    client->send("GET /second HTTP/1.1\r\n\r\n");
    connections[0]->respond(404, "caf\u00e9", "text/plain; charset=utf-8");
    EXPECT_EQ(closeCalls, 0);
    connections[0]->respond(500, "a second response", "text/plain");
    connections[0]->startEventStream();
    ASSERT_TRUE(eventually([&] { return client->hasEnded(); }));
    EXPECT_EQ(client->receive(),
              "HTTP/1.1 404 Not Found\r\ncontent-type: text/plain; charset=utf-8\r\n"
              "cache-control: no-store\r\ncontent-length: 5\r\nconnection: close\r\n\r\ncaf\u00e9");
    EXPECT_EQ(requests.size(), 1U);
}

TEST_F(HTTPConnectionTest, AnswersAHalfClosedPeerAtOnceButDoesNotHoldItsRequest) {
    start();
    for (const char* const body : {"reply", ""}) {
        onRequest = [&](const auto& connection) {
            if (*body != '\0')
                connection->respond(200, body, "text/plain");
        };
        RawSocket client(port);
        client.send("GET / HTTP/1.1\r\n\r\n");
        client.finishSending();
        ASSERT_TRUE(eventually([&] { return client.hasEnded(); }));
        EXPECT_EQ(bodyOf(client.receive()), body);
    }
    EXPECT_EQ(closeCalls, 2);
}

TEST_F(HTTPConnectionTest, ClosesOnceWhenThePeerResets) {
    start();
    std::string large;
    large.resize(std::size_t{16} << 20, 'x');
    for (const bool isAnswered : {false, true}) {
        const auto client = requestHandled("/", 4096);
        if (isAnswered)
            connections.back()->respond(200, large, "text/plain");
        runDueEvents();
        closeCalls = 0;
        client->resetConnection();
        ASSERT_TRUE(eventually([&] { return closeCalls > 0; }));
        connections.back()->respond(200, "too late", "text/plain");
        runDueEvents();
        EXPECT_EQ(closeCalls, 1);
    }
}

TEST_F(HTTPConnectionTest, DeliversALargeReplyWhateverThePeerStillSends) {
    start();
    const std::string text = countingText(16 * 1024 * 1024);
    for (const std::string input : {"", "unread input"}) {
        const auto client = requestHandled("/", 4096);
        if (input.empty())
            client->finishSending();
        connections.back()->respond(200, text, "text/plain");
        EXPECT_TRUE(connections.back()->isOpen()) << "it fitted into the system's buffers";
        ASSERT_TRUE(eventually([&] {
            client->send(input);
            client->receive(65'536);
            return !connections.back()->isOpen();
        }));
        ASSERT_TRUE(eventually([&] { return client->hasEnded(); }));
        EXPECT_TRUE(bodyOf(client->receive()) == text) << client->receive().size();
    }
}

TEST_F(HTTPConnectionTest, EndsDrainingByTimeAndBySize) {
    start();
    onRequest = [](const auto& connection) { connection->respond(200, "reply", "text/plain"); };
    const auto lingering = requestHandled();
    const auto talking = requestHandled();
    const auto all = openDescriptors();
    const auto start = std::chrono::steady_clock::now();
    const std::string piece(65'536, 'x');
    std::size_t sent = 0;
    EXPECT_TRUE(eventually([&] {
        sent += talking->send(piece);
        return openDescriptors() < all;
    }));
    EXPECT_GE(sent, HTTPConnection::drainBytes);
    EXPECT_LT(sent, 32 * HTTPConnection::drainBytes); // With what the system's buffers take.
    EXPECT_TRUE(eventually([&] { return openDescriptors() < all - 1; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start,
              HTTPConnection::drainTime - std::chrono::milliseconds(50));
    EXPECT_EQ(closeCalls, 2);
}

TEST_F(HTTPConnectionTest, GivesUpEndlessRequests) {
    start();
    // Within the header, after a request line that is none, and within a body.
    for (const char* const begin :
         {"", "GET\r\n\r\n", "P / 1\r\ncontent-length: 99999999\r\n\r\n"}) {
        RawSocket client(port);
        client.send(begin);
        const std::string piece(65'536, 'x');
        EXPECT_TRUE(eventually([&] {
            client.send(piece);
            return client.hasEnded();
        }));
    }
    EXPECT_TRUE(requests.empty());
}

TEST_F(HTTPConnectionTest, MayDestroyItsServerFromItsCallbacks) {
    start();
    const auto other = requestHandled();
    onRequest = [&](const auto& connection) {
        connection->addCloseHandler([&] { server.reset(); });
        connection->close();
        connection->respond(200, "nobody hears it", "text/plain");
    };
    const auto client = requestHandled();
    ASSERT_TRUE(eventually([&] { return client->hasEnded() && other->hasEnded(); }));
    EXPECT_EQ(closeCalls, 2);
}

TEST_F(HTTPConnectionTest, GivesAStalledStreamWholeRecordsAndTheNewest) {
    start();
    onRequest = [](const auto& connection) { connection->startEventStream(); };
    const auto client = requestHandled("/events", 4096);
    constexpr std::size_t recordSize = 1024 * 1024;
    constexpr int count = 64;
    std::vector<std::weak_ptr<const std::string>> records;
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(100 + i);
        const auto record = std::make_shared<const std::string>(
            number + std::string(recordSize - 2 * number.size(), 'x') + number);
        records.push_back(record);
        connections[0]->sendState(record);
        if (i >= count / 2) // The system's buffers are full since long.
            connections[0]->keepAlive(": ping\n\n");
        runDueEvents();
    }
    EXPECT_LE(std::ranges::count_if(records, [](const auto& each) { return !each.expired(); }),
              SendQueue::limit / recordSize + 1);

    ASSERT_TRUE(eventually([&] { return client->receive().ends_with("x163"); }));
    EXPECT_TRUE(client->receive().starts_with(
        "HTTP/1.1 200 OK\r\ncontent-type: text/event-stream\r\n"
        "cache-control: no-store\r\nconnection: keep-alive\r\n\r\n100x"));
    const std::string body = bodyOf(client->receive());
    ASSERT_EQ(body.size() % recordSize, 0U);
    for (std::size_t at = 0; at < body.size(); at += recordSize) {
        EXPECT_EQ(body.substr(at, 3), body.substr(at + recordSize - 3, 3));
        EXPECT_TRUE(at == 0 || body.substr(at, 3) > body.substr(at - 3, 3));
    }
    connections[0]->keepAlive(": ping\n\n");
    EXPECT_TRUE(eventually([&] { return client->receive().ends_with("x163: ping\n\n"); }));
    client->close();
    EXPECT_TRUE(eventually([&] { return closeCalls == 1; }));
}

} // namespace
