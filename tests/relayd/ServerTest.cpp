#include "relayd/RelayServer.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/HubPeer.h"
#include "support/RawSocket.h"
#include "support/Until.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string channel(22, 'c');
const std::string device(22, 'd');
const std::string upgrade = "Host: relay\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
                            "Sec-WebSocket-Version: 13\r\n"
                            "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
const std::string handshake = "GET /ws/" + channel + "?role=mac&auth=T HTTP/1.1\r\n" + upgrade;

/// The server on a thread of its own, on a free port, until it goes.
class ServerTest : public testing::Test {
  protected:
    ServerTest() : m_thread([this] { m_server.run(); }) {}
    ~ServerTest() override { stop(); }
    void stop() {
        m_server.stop();
        if (m_thread.joinable())
            m_thread.join();
    }
    [[nodiscard]] std::uint16_t port() const { return m_server.port(); }
    /// What has come when the server closes.
    std::string answer(std::string_view request) {
        RawSocket socket(port());
        socket.send(request);
        EXPECT_TRUE(until([&] { return socket.hasEnded(); })) << request;
        return socket.receive();
    }

  private:
    static RelayOptions freePort() {
        RelayOptions options;
        options.port = 0;
        return options;
    }

    MemoryStore m_store;
    RelayServer m_server{freePort(), m_store};
    std::thread m_thread;
};

// A proxy in front that reads the end of a request elsewhere would be made to carry another one.
TEST_F(ServerTest, TakesNoRequestThatCanBeReadInTwoWays) {
    const std::string second = "GET /healthz HTTP/1.1\r\nHost: relay\r\n\r\n";
    for (const char* const first : {
             "GET /healthz HTTP/1.1\r\nHost: relay\r\nTransfer-Encoding: xchunked\r\n\r\n",
             "GET /healthz HTTP/1.1\r\nHost: relay\r\nTransfer-Encoding: chunked, identity\r\n\r\n",
             "GET /healthz HTTP/1.0\r\nConnection: keep-alive\r\nTransfer-Encoding: "
             "chunked\r\n\r\n",
             "GET /healthz HTTP/1.1\r\n\r\n",
         }) {
        const std::string heard = answer(first + second);
        EXPECT_THAT(heard, HasSubstr(" 400 Bad Request\r\n")) << first;
        EXPECT_THAT(heard, Not(HasSubstr(" 200 OK"))) << first;
    }
    // Behind a handshake there is nothing before its answer.
    for (const std::string& rest : {std::string("\r\n\x81\x84\0\0\0\0ping", 12),
                                    std::string("Content-Length: 4\r\n\r\nping")})
        EXPECT_THAT(answer(handshake + rest), StartsWith("HTTP/1.1 400 "));
}

TEST_F(ServerTest, AMessageWithoutATokenIsUnauthorized) {
    // The content is left unread, and the answer arrives all the same.
    EXPECT_THAT(answer("POST /api/" + channel + "/" + device +
                       "/messages HTTP/1.1\r\nHost: relay\r\nContent-Length: 100000\r\n\r\n" +
                       std::string(100'000, 'x')),
                testing::AllOf(StartsWith("HTTP/1.1 401 "), HasSubstr("WWW-Authenticate: Bearer")));
}

TEST_F(ServerTest, EndsWithPeersThatDoNot) {
    RawSocket computer(port());
    computer.send(handshake + "\r\n");
    ASSERT_TRUE(until([&] { return computer.receive().find("peers") != std::string::npos; }));
    RawSocket silent(port());
    stop();
    EXPECT_TRUE(computer.hasEnded());
    EXPECT_TRUE(silent.hasEnded());
    EXPECT_THAT(computer.receive(), HasSubstr("\x88\x02\x03\xe9")) << "going away";
}

} // namespace
