#include <ctime>
#include <limits>

#include <QProcess>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <unistd.h>

#include "http/ServerFixture.h"

namespace {

using HTTPServerTest = ServerFixture;
using Failure = HTTPServer::Failure;

/// What a server reports of a start.
std::optional<Failure> failureOf(HTTPServer& server, const std::string& host, double port) {
    std::optional<Failure> result;
    bool isKnown = false;
    const auto report = [&](std::optional<Failure> failure) {
        result = std::move(failure);
        isKnown = true;
    };
    server.start(host, port, report, [](const auto&, const auto&) {});
    EXPECT_FALSE(isKnown) << "reported from within start";
    EXPECT_TRUE(eventually([&] { return isKnown; }));
    return result;
}

/// The address that this machine speaks to others from; empty when it cannot.
std::string outwardAddress() {
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM, 0));
    const auto other = tcp::Address::parse("192.0.2.1", 9).value();
    // Nothing is sent by this.
    if (connect(socket.number(), reinterpret_cast<const sockaddr*>(&other.storage), other.size))
        return {};
    const auto own = tcp::localAddress(socket);
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in&>(own.storage).sin_addr, text,
              sizeof text);
    return text;
}

TEST_F(HTTPServerTest, ReportsAnUnusableHostOrPort) {
    const std::tuple<const char*, double, const char*> cases[] = {
        {"127.0.0.1", 65'536, "\"port\" must be a whole number from 0 to 65535, not 65536"},
        {"127.0.0.1", std::numeric_limits<double>::quiet_NaN(),
         "\"port\" must be a whole number from 0 to 65535, not nan"},
        {"a\nb", 0, "\"host\" must be an IP address or \"localhost\", not \"a\\nb\""},
        // Of a range for documentation, so that no interface has it.
        {"203.0.113.1", 0, "Cannot listen on 203.0.113.1 port 0: Cannot assign requested address"},
    };
    for (const auto& [host, wantedPort, message] : cases) {
        const auto failure = failureOf(*server, host, wantedPort);
        ASSERT_TRUE(failure.has_value()) << message;
        EXPECT_EQ(failure->message, message);
    }
}

TEST_F(HTTPServerTest, ReportsAPortInUseUntilItIsFree) {
    start();
    const auto client = requestHandled();
    HTTPServer second;
    const auto failure = failureOf(second, "127.0.0.1", port + 0.7);
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->kind, Failure::Kind::portInUse);
    EXPECT_EQ(failure->port, port);
    server->stop(); // Its end of the client's connection still holds the port for a while.
    EXPECT_FALSE(failureOf(second, "127.0.0.1", port).has_value());
    EXPECT_EQ(second.port(), port);
}

TEST_F(HTTPServerTest, ClosesEverythingWhenItStopsButCutsNoReply) {
    const auto before = openDescriptors();
    {
        start();
        const auto held = requestHandled();
        const auto stream = requestHandled();
        connections.back()->startEventStream();
        const auto answered = requestHandled("/", 4096);
        answered->send("unread input");
        const std::string reply(40'000, 'x'); // More than the peer's system takes at once.
        connections.back()->respond(200, reply, "text/plain");
        RawSocket incomplete(port);
        incomplete.send("GET");
        server->stop();
        EXPECT_EQ(closeCalls, 3);
        for (auto* const client : {held.get(), stream.get(), answered.get(), &incomplete})
            EXPECT_TRUE(eventually([&] { return client->hasEnded(); }));
        EXPECT_TRUE(answered->receive().ends_with(reply));
        EXPECT_THROW(RawSocket{port}, std::system_error);
        server.reset();
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(HTTPServerTest, ServesOnlyLoopbackPeersOnALoopbackHost) {
    const std::string outward = outwardAddress();
    if (outward.empty())
        GTEST_SKIP() << "this machine has no other IPv4 address";
    start("localhost");
    RawSocket stranger(port, "127.0.0.1", 0, outward);
    stranger.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(eventually([&] { return stranger.hasEnded(); }));
    EXPECT_TRUE(requests.empty());
    const auto local = requestHandled();
    EXPECT_TRUE(requests.at(0).isLocal);

    start("0.0.0.0");
    RawSocket guest(port, outward, 0, outward);
    guest.send("GET /guest HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(eventually([&] { return requests.size() == 2; }));
    EXPECT_FALSE(requests[1].isLocal);
}

TEST_F(HTTPServerTest, WaitsWithoutSpinningWhileThereAreNoDescriptors) {
    start();
    const auto first = requestHandled();
    RawSocket second(port);
    second.send("GET /second HTTP/1.1\r\n\r\n");
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit low = before;
    // The system gives the lowest free number.
    low.rlim_cur = static_cast<rlim_t>(Descriptor(dup(STDERR_FILENO)).number());
    setrlimit(RLIMIT_NOFILE, &low);
    const std::clock_t processorTime = std::clock();
    EXPECT_FALSE(eventually([&] { return requests.size() > 1; }, std::chrono::milliseconds(500)));
    EXPECT_LT(std::clock() - processorTime, CLOCKS_PER_SEC / 4);
    connections[0]->close();
    EXPECT_TRUE(eventually([&] { return requests.size() == 2; }));
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(HTTPServerTest, IsUnderstoodByCurl) {
    start();
    onRequest = [&](const auto& connection) {
        connection->respond(200, requests.back().method + ' ' + requests.back().body, "text/plain");
    };
    QProcess curl;
    const auto url = QStringLiteral("http://127.0.0.1:%1/hook").arg(port);
    curl.start(QStringLiteral("curl"),
               QStringList{url} + QStringLiteral("-sS --noproxy * --data a=b --write-out "
                                                 "\\n%{http_code}/%{content_type}/%{num_connects}")
                                      .split(QLatin1Char(' ')));
    ASSERT_TRUE(eventually([&] { return curl.state() == QProcess::NotRunning; }));
    if (curl.error() == QProcess::FailedToStart)
        GTEST_SKIP() << "curl is not installed";
    EXPECT_EQ(curl.readAllStandardOutput(), "POST a=b\n200/text/plain/1");
}

} // namespace
