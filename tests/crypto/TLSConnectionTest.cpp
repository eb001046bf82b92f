// Against the openssl program as the server.

#include "crypto/TLSConnection.h"

#include <csignal>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "support/Certificates.h"
#include "support/OpenSSLServer.h"

using namespace std::chrono_literals;
using Kind = TLSError::Kind;

namespace {

// What keeps a connection from being made; nothing when it says hello and is answered.
std::optional<Kind> obstacle(const OpenSSLServer& server, const std::string& host,
                             const std::string& trustedFile) {
    const Descriptor socket = server.connect();
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    try {
        TLSConnection connection(socket.number(), host, trustedFile, deadline);
        connection.send("GET / HTTP/1.0\r\n\r\n", deadline);
        std::array<char, 64> buffer{};
        EXPECT_THAT(connection.receive(buffer, deadline), testing::StartsWith("HTTP/1.0 200 "));
        return std::nullopt;
    } catch (const TLSError& error) {
        return error.kind();
    }
}

TEST(TLSConnection, IsMadeOnlyWithWhomItIsMeantFor) {
    std::signal(SIGPIPE, SIG_IGN);
    Certificates authority;
    const Certificates stranger;
    const std::string trusted = authority.authority();
    const TLSIdentity named = authority.issue("DNS:relay.test");
    const TLSIdentity addressed = authority.issue("IP:127.0.0.1");
    const TLSIdentity self = authority.selfSigned("DNS:relay.test");
    struct Case {
        TLSIdentity identity;
        std::string host;
        std::string trustedFile;
        std::optional<Kind> obstacle;
    };
    const std::vector<Case> cases{
        {named, "relay.test", trusted, std::nullopt},
        {named, "other.test", trusted, Kind::wrongName},
        {named, "127.0.0.1", trusted, Kind::wrongName},
        {named, "relay.test", "", Kind::unknownAuthority},
        {named, "relay.test", stranger.authority(), Kind::unknownAuthority},
        {named, "relay.test", trusted + ".missing", Kind::trustedFile},
        {named, "relay.test", named.key, Kind::trustedFile},
        {addressed, "127.0.0.1", trusted, std::nullopt},
        {addressed, "127.0.0.2", trusted, Kind::wrongName},
        {authority.issue("DNS:relay.test", Certificates::Validity::expired), "relay.test", trusted,
         Kind::expired},
        {self, "relay.test", trusted, Kind::selfSigned},
        {self, "relay.test", self.certificate, std::nullopt},
    };
    for (const Case& one : cases) {
        const OpenSSLServer server(one.identity);
        EXPECT_EQ(obstacle(server, one.host, one.trustedFile), one.obstacle)
            << one.host << " " << one.trustedFile << " " << one.identity.certificate;
    }
    EXPECT_EQ(obstacle(OpenSSLServer(named, {"-tls1_1", "-cipher", "ALL:@SECLEVEL=0"}),
                       "relay.test", trusted),
              Kind::handshake);
}

TEST(TLSConnection, EndsInTimeWithAPeerThatSpeaksNoTLS) {
    std::signal(SIGPIPE, SIG_IGN);
    struct Case {
        std::string_view words;
        bool isGone;
        Kind kind;
        std::string_view message; // a part of it
    };
    for (const Case& one :
         {Case{"", false, Kind::notInTime, ""},
          {"HTTP/1.0 200 ok\r\n\r\n", false, Kind::handshake, "wrong version number"},
          {"", true, Kind::broken, "Broken pipe"}}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()),
                  0);
        const Descriptor own(ends[0]);
        Descriptor peer(ends[1]);
        ASSERT_GE(::write(peer.number(), one.words.data(), one.words.size()), 0);
        if (one.isGone)
            peer.reset();
        const auto begun = std::chrono::steady_clock::now();
        try {
            const TLSConnection connection(own.number(), "relay.test", "", begun + 200ms);
            ADD_FAILURE() << one.words;
        } catch (const TLSError& error) {
            EXPECT_EQ(error.kind(), one.kind) << error.what();
            EXPECT_THAT(error.what(), testing::HasSubstr(one.message));
        }
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 5s);
    }
}

} // namespace
