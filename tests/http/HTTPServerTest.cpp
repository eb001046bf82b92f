#include "http/HTTPServer.h"

#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "http/ServerFixture.h"

namespace {

using HTTPServerTest = ServerFixture;
using Failure = HTTPServer::Failure;

/// What a server reports about one start.
struct Outcome {
    bool isKnown = false;
    std::optional<Failure> failure;

    HTTPServer::StateCallback callback() {
        return [this](std::optional<Failure> reported) {
            EXPECT_FALSE(isKnown) << "reported twice";
            isKnown = true;
            failure = std::move(reported);
        };
    }
};

void ignoreRequests(const HTTPRequest& /*request*/,
                    const std::shared_ptr<HTTPConnection>& /*connection*/) {}

/// An IPv4 address of this machine that is not a loopback address, or nothing.
std::string outwardAddress() {
    ifaddrs* interfaces = nullptr;
    std::string result;
    if (getifaddrs(&interfaces) != 0) {
        return result;
    }
    for (const ifaddrs* i = interfaces; i != nullptr; i = i->ifa_next) {
        if (i->ifa_addr != nullptr && i->ifa_addr->sa_family == AF_INET) {
            char text[INET_ADDRSTRLEN] = {};
            const auto* const address = reinterpret_cast<const sockaddr_in*>(i->ifa_addr);
            inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
            if (!tcp::Address::parse(text, 0)->isLoopback()) {
                result = text;
            }
        }
    }
    freeifaddrs(interfaces);
    return result;
}

/// As long as it lives, this program gets no new descriptor but those that it closes itself.
class DescriptorShortage {
  public:
    DescriptorShortage() {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &m_before), 0);
        rlimit low = m_before;
        low.rlim_cur = 256;
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
        while (true) {
            Descriptor filler(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
            if (!filler.isValid()) {
                break;
            }
            m_fillers.push_back(std::move(filler));
        }
    }
    DescriptorShortage(const DescriptorShortage&) = delete;
    DescriptorShortage& operator=(const DescriptorShortage&) = delete;
    ~DescriptorShortage() { setrlimit(RLIMIT_NOFILE, &m_before); }

  private:
    rlimit m_before{};
    std::vector<Descriptor> m_fillers;
};

TEST_F(HTTPServerTest, ReportsAnUnusableHostOrPort) {
    const std::string portMessage = "\"port\" must be a whole number from 0 to 65535, not ";
    const std::string hostMessage = "\"host\" must be an IP address or \"localhost\", not ";
    const struct {
        const char* host;
        double port;
        std::string message;
    } cases[] = {
        {"127.0.0.1", 70'000, portMessage + "70000"},
        {"127.0.0.1", 65'536, portMessage + "65536"},
        {"127.0.0.1", -1.5, portMessage + "-1.5"},
        {"127.0.0.1", 1e300, portMessage + "1e+300"},
        {"127.0.0.1", std::numeric_limits<double>::quiet_NaN(), portMessage + "nan"},
        {"127.0.0.1", -std::numeric_limits<double>::infinity(), portMessage + "-inf"},
        {"computer.example", 0, hostMessage + "\"computer.example\""},
        {"", 0, hostMessage + "\"\""},
        {"a\nb", 0, hostMessage + "\"a\\nb\""},
        // Of a range for documentation, so that no interface has it.
        {"203.0.113.1", 0, "Cannot listen on 203.0.113.1 port 0: Cannot assign requested address"},
    };
    for (const auto& [host, wantedPort, message] : cases) {
        Outcome outcome;
        server->start(host, wantedPort, outcome.callback(), ignoreRequests);
        EXPECT_FALSE(outcome.isKnown) << "reported from within start";
        ASSERT_TRUE(eventually([&] { return outcome.isKnown; }));
        ASSERT_TRUE(outcome.failure.has_value()) << message;
        EXPECT_EQ(outcome.failure->kind, Failure::Kind::other);
        EXPECT_EQ(outcome.failure->message, message);
        EXPECT_FALSE(server->port().has_value());
    }
}

TEST_F(HTTPServerTest, ReportsAPortInUseUntilItIsFree) {
    start();
    const auto client = requestHandled();
    HTTPServer second;
    Outcome refused;
    second.start("127.0.0.1", port + 0.7, refused.callback(), ignoreRequests);
    ASSERT_TRUE(eventually([&] { return refused.isKnown; }));
    ASSERT_TRUE(refused.failure.has_value());
    EXPECT_EQ(refused.failure->kind, Failure::Kind::portInUse);
    EXPECT_EQ(refused.failure->port, port);

    server->stop(); // Its end of the client's connection still holds the port for a while.
    Outcome accepted;
    second.start("127.0.0.1", port, accepted.callback(), ignoreRequests);
    ASSERT_TRUE(eventually([&] { return accepted.isKnown; }));
    EXPECT_FALSE(accepted.failure.has_value());
    EXPECT_EQ(second.port(), port);
}

TEST_F(HTTPServerTest, ReportsNothingOfAStartThatNoLongerCounts) {
    Outcome superseded;
    Outcome current;
    server->start("127.0.0.1", 0, superseded.callback(), ignoreRequests);
    server->start("127.0.0.1", 0, current.callback(), ignoreRequests);
    ASSERT_TRUE(eventually([&] { return current.isKnown; }));
    Outcome stopped;
    server->start("127.0.0.1", -1, stopped.callback(), ignoreRequests);
    server->stop();
    runDueEvents();
    Outcome orphaned;
    server->start("127.0.0.1", 0, orphaned.callback(), ignoreRequests);
    server.reset();
    runDueEvents();
    EXPECT_FALSE(superseded.isKnown || stopped.isKnown || orphaned.isKnown);
}

TEST_F(HTTPServerTest, MayBeStartedAgainAndDestroyedByItsCallbacks) {
    start();
    const auto client = requestHandled();
    Outcome restarted;
    connections[0]->addCloseHandler(
        [&] { server->start("127.0.0.1", 0, restarted.callback(), ignoreRequests); });
    server->stop();
    ASSERT_TRUE(eventually([&] { return restarted.isKnown; }));
    EXPECT_FALSE(restarted.failure.has_value());

    bool isDestroyed = false;
    server->start(
        "127.0.0.1", 0,
        [&](const std::optional<Failure>&) {
            server.reset();
            isDestroyed = true;
        },
        ignoreRequests);
    ASSERT_TRUE(eventually([&] { return isDestroyed; }));
}

TEST_F(HTTPServerTest, ClosesEverythingWhenItStops) {
    const auto before = openDescriptors();
    {
        start();
        onRequest = [&](const auto& connection) {
            if (requests.back().path == "/events") {
                connection->startEventStream();
            } else if (requests.back().path == "/answered") {
                connection->respond(200, "reply", "text/plain");
            }
        };
        const auto held = requestHandled();
        const auto stream = requestHandled("/events");
        const auto draining = requestHandled("/answered");
        RawSocket incomplete(port);
        incomplete.send("GET");
        runDueEvents();
        EXPECT_EQ(closeCalls, 1);
        server->stop();
        EXPECT_EQ(closeCalls, 3);
        EXPECT_FALSE(server->port().has_value());
        for (auto* const client : {held.get(), stream.get(), draining.get(), &incomplete}) {
            EXPECT_TRUE(client->hasEnded());
        }
        for (const auto& connection : connections) {
            EXPECT_FALSE(connection->isOpen());
        }
        EXPECT_THROW(RawSocket{port}, std::system_error);
        server.reset();
    }
    runDueEvents();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(HTTPServerTest, ServesOnlyLoopbackPeersOnALoopbackHost) {
    const std::string outward = outwardAddress();
    if (outward.empty()) {
        GTEST_SKIP() << "this machine has no other IPv4 address";
    }
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

TEST_F(HTTPServerTest, TakesBothFamiliesOnTheUnspecifiedIPv6Address) {
    try {
        (void)tcp::listenOn(tcp::Address::parse("::1", 0).value());
    } catch (const std::system_error&) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    start("::");
    RawSocket mapped(port, "127.0.0.1");
    mapped.send("GET / HTTP/1.1\r\n\r\n");
    RawSocket native(port, "::1");
    native.send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(eventually([&] { return requests.size() == 2; }));
    EXPECT_TRUE(requests[0].isLocal && requests[1].isLocal);
}

TEST_F(HTTPServerTest, HoldsManyRequestsAndAnswersEach) {
    start();
    constexpr std::size_t count = 300;
    std::vector<std::unique_ptr<RawSocket>> clients;
    for (std::size_t i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<RawSocket>(port));
        clients.back()->send("GET /" + std::to_string(i) + " HTTP/1.1\r\n\r\n");
    }
    ASSERT_TRUE(eventually([&] { return requests.size() == count; }));
    for (std::size_t i = 0; i < count; ++i) {
        connections[i]->respond(200, "reply to " + requests[i].path, "text/plain");
    }
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_TRUE(eventually([&] { return clients[i]->hasEnded(); }));
        EXPECT_TRUE(clients[i]->receive().ends_with("reply to /" + std::to_string(i)));
    }
    EXPECT_EQ(closeCalls, static_cast<int>(count));
}

TEST_F(HTTPServerTest, WaitsWithoutSpinningWhileThereAreNoDescriptors) {
    start();
    RawSocket client(port);
    client.send("GET / HTTP/1.1\r\n\r\n");
    auto shortage = std::make_unique<DescriptorShortage>();
    const std::clock_t processorTime = std::clock();
    EXPECT_FALSE(eventually([&] { return !requests.empty(); }, std::chrono::milliseconds(500)));
    EXPECT_LT(std::clock() - processorTime, CLOCKS_PER_SEC / 4);
    shortage.reset();
    EXPECT_TRUE(eventually([&] { return requests.size() == 1; }));
}

TEST_F(HTTPServerTest, AcceptsAgainAsSoonAsAConnectionHasClosed) {
    start();
    const auto first = requestHandled();
    RawSocket second(port);
    second.send("GET /second HTTP/1.1\r\n\r\n");
    const DescriptorShortage shortage;
    runDueEvents();
    EXPECT_EQ(requests.size(), 1U);
    connections[0]->close();
    // Far less than the time until the next attempt.
    EXPECT_TRUE(eventually([&] { return requests.size() == 2; }, std::chrono::milliseconds(50)));
}

TEST_F(HTTPServerTest, IsUnderstoodByCurl) {
    start();
    onRequest = [&](const auto& connection) {
        connection->respond(200, requests.back().method + " " + requests.back().body + "\n",
                            "text/plain");
    };
    int pipeEnds[2] = {-1, -1};
    ASSERT_EQ(pipe(pipeEnds), 0);
    Descriptor output(pipeEnds[0]);
    Descriptor input(pipeEnds[1]);
    fcntl(output.number(), F_SETFL, O_NONBLOCK);
    const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/hook";
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        dup2(input.number(), STDOUT_FILENO);
        execlp("curl", "curl", "--silent", "--show-error", "--noproxy", "*", "--data", "a=b",
               "--write-out", "%{http_code} %{content_type} %{num_connects}", url.c_str(),
               static_cast<char*>(nullptr));
        _exit(127);
    }
    input.reset();
    std::string got;
    int status = 0;
    ASSERT_TRUE(eventually([&] { return waitpid(child, &status, WNOHANG) == child; }));
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
        GTEST_SKIP() << "curl is not installed";
    }
    EXPECT_EQ(status, 0);
    got.resize(4096);
    const ssize_t count = read(output.number(), got.data(), got.size());
    ASSERT_GT(count, 0);
    got.resize(static_cast<std::size_t>(count));
    EXPECT_EQ(got, "POST a=b\n200 text/plain 1");
}

} // namespace
