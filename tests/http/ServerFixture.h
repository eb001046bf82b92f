#pragma once

#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "http/HTTPServer.h"
#include "support/Eventually.h"
#include "support/RawSocket.h"

inline std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// A server that keeps what it is asked, and holds every request unless `onRequest` does otherwise.
class ServerFixture : public testing::Test {
  protected:
    void start(const std::string& host = "127.0.0.1") {
        bool isListening = false;
        server->start(
            host, 0,
            [&](const std::optional<HTTPServer::Failure>& failure) { isListening = !failure; },
            [this](HTTPRequest request, const std::shared_ptr<HTTPConnection>& connection) {
                requests.push_back(std::move(request));
                connections.push_back(connection);
                connection->addCloseHandler([this] { ++closeCalls; });
                if (onRequest)
                    onRequest(connection);
            });
        ASSERT_TRUE(eventually([&] { return isListening; }));
        port = server->port().value();
    }

    /// A client whose request has reached the handler.
    std::unique_ptr<RawSocket> requestHandled(const std::string& path = "/",
                                              int receiveBuffer = 0) {
        auto client = std::make_unique<RawSocket>(port, "127.0.0.1", receiveBuffer);
        const std::size_t count = requests.size();
        client->send("GET " + path + " HTTP/1.1\r\n\r\n");
        EXPECT_TRUE(eventually([&] { return requests.size() > count; }));
        return client;
    }

    std::unique_ptr<HTTPServer> server = std::make_unique<HTTPServer>();
    std::uint16_t port = 0;
    std::function<void(const std::shared_ptr<HTTPConnection>&)> onRequest;
    std::vector<HTTPRequest> requests;
    std::vector<std::shared_ptr<HTTPConnection>> connections;
    int closeCalls = 0;
};
