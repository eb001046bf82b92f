#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "http/HTTPConnection.h"
#include "http/HTTPRequest.h"

/// A small HTTP/1.1 server: one request from each connection, answered at once, minutes later, or
/// with an event stream. No keep-alive, no TLS, no limit on how long an answer may take.
///
/// Everything runs on the main thread and Qt's event loop. The callbacks run from that loop, never
/// from within `start`, and never after `stop()`, the destructor or a newer `start`. A callback may
/// stop or destroy the server.
class HTTPServer final {
  public:
    /// Why there is no listening.
    struct Failure {
        enum class Kind { portInUse, other };
        Kind kind = Kind::other;
        int port = 0;        ///< of `portInUse`: the configured one
        std::string message; ///< of `other`: one sentence for a person
    };

    /// Without a failure: listening.
    using StateCallback = std::function<void(std::optional<Failure>)>;
    /// Called once a request. Whoever answers later keeps the connection.
    using Handler = std::function<void(HTTPRequest, std::shared_ptr<HTTPConnection>)>;

    HTTPServer();
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;
    /// Does what `stop()` does.
    ~HTTPServer();

    /// Listens, after doing what `stop()` does.
    ///
    /// With the hosts "127.0.0.1", "localhost" and "::1" only loopback peers are served.
    /// @param host an IPv4 or IPv6 address, or "localhost", which means 127.0.0.1 (::1 on a machine
    ///        without IPv4); no other name, because finding out its address could block
    /// @param port as configured; only its whole part counts, and must be from 0 to 65535. 0 lets
    ///        the system choose one, see `port()`.
    void start(const std::string& host, double port, StateCallback onState, Handler handler);
    /// Stops listening and closes every connection, running its close handlers.
    void stop();

    /// The port that is listened on; nothing while there is none.
    [[nodiscard]] std::optional<std::uint16_t> port() const;

  private:
    class Implementation;
    std::shared_ptr<Implementation> m_implementation;
};
