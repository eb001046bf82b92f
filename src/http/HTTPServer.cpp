#include "http/HTTPServer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <span>
#include <system_error>
#include <unordered_map>
#include <utility>
#include <vector>

#include <QObject>
#include <QTimer>

#include "core/Descriptor.h"
#include "core/Text.h"
#include "platform/SocketPoller.h"
#include "platform/TCPSocket.h"

namespace {

constexpr std::size_t readBufferSize = 65'536;
constexpr int acceptsPerTurn = 64;
// Out of descriptors: how long it takes at most until the next attempt.
constexpr std::chrono::milliseconds acceptRetryTime{100};

using Failure = HTTPServer::Failure;

std::string numberText(double number) {
    std::array<char, 64> buffer{};
    char* const first = buffer.data();
    char* const last = first + buffer.size();
    const auto result = std::abs(number) < 1e15
                            ? std::to_chars(first, last, number, std::chars_format::fixed)
                            : std::to_chars(first, last, number);
    return {first, result.ptr};
}

struct Endpoint {
    std::vector<tcp::Address> addresses; // In the order of preference.
    std::uint16_t port = 0;
};

// @throws Failure
Endpoint endpoint(const std::string& host, double configuredPort) {
    const double wholePort = std::trunc(configuredPort);
    // Written so that NaN fails as well.
    if (!(wholePort >= 0 && wholePort <= 65'535)) {
        throw Failure{Failure::Kind::other, 0,
                      "\"port\" must be a whole number from 0 to 65535, not " +
                          numberText(configuredPort)};
    }
    Endpoint result;
    result.port = static_cast<std::uint16_t>(wholePort);
    const auto add = [&](std::string_view literal) {
        if (const auto address = tcp::Address::parse(literal, result.port))
            result.addresses.push_back(*address);
    };
    if (host == "localhost") {
        add("127.0.0.1");
        add("::1");
    } else {
        add(host);
    }
    if (result.addresses.empty()) {
        throw Failure{Failure::Kind::other, 0,
                      "\"host\" must be an IP address or \"localhost\", not \"" +
                          text::visible(text::prefix(host, 100)) + "\""};
    }
    return result;
}

// @throws Failure
Descriptor listener(const std::string& host, const Endpoint& endpoint) {
    std::error_code error;
    for (const tcp::Address& address : endpoint.addresses) {
        try {
            return tcp::listenOn(address);
        } catch (const std::system_error& failure) {
            error = failure.code();
        }
        // Only a machine without that kind of address makes the next one worth a try.
        if (error != std::errc::address_family_not_supported &&
            error != std::errc::address_not_available)
            break;
    }
    if (error == std::errc::address_in_use)
        throw Failure{Failure::Kind::portInUse, endpoint.port, {}};
    throw Failure{Failure::Kind::other, 0,
                  "Cannot listen on " + host + " port " + std::to_string(endpoint.port) + ": " +
                      error.message()};
}

bool isLoopbackHost(std::string_view host) {
    return host == "127.0.0.1" || host == "localhost" || host == "::1";
}

} // namespace

// Kept alive by whatever runs within it, so that callbacks may destroy the server.
class HTTPServer::Implementation final : public std::enable_shared_from_this<Implementation>,
                                         private HTTPConnection::Owner {
  public:
    Implementation();

    void start(const std::string& host, double port, StateCallback onState, Handler handler);
    void stop();
    [[nodiscard]] std::optional<std::uint16_t> port() const { return m_port; }

  private:
    using Connections = std::unordered_map<const HTTPConnection*, std::shared_ptr<HTTPConnection>>;

    SocketPoller& poller() override { return *m_poller; }
    std::span<char> readBuffer() override { return m_readBuffer; }
    void handle(HTTPRequest request, std::shared_ptr<HTTPConnection> connection) override;
    void settleSoon(std::shared_ptr<HTTPConnection> connection) override;
    void drains(HTTPConnection& connection) override;
    void ended(HTTPConnection& connection) override;

    void started(std::optional<Failure> failure, const StateCallback& onState);
    void stopListening();
    void acceptSome();
    void pauseAccepting();
    void resumeAccepting();
    void settleAll();
    void endOverdueDraining();
    void later(std::function<void()> work);

    // Destroyed before what their callbacks use.
    std::vector<char> m_readBuffer = std::vector<char>(readBufferSize);
    std::unique_ptr<SocketPoller> m_poller;
    Descriptor m_listener;
    std::optional<std::uint16_t> m_port;
    std::shared_ptr<const Handler> m_handler;
    Connections m_open;
    Connections m_draining;
    std::vector<std::shared_ptr<HTTPConnection>> m_unsettled;
    std::uint64_t m_generation = 0; // Of starts and stops.
    bool m_isLocalOnly = false;
    QTimer m_acceptRetryTimer; // Runs while accepting pauses.
    QTimer m_drainTimer;
    QObject m_context; // Of work for later turns of the loop.
};

HTTPServer::Implementation::Implementation() {
    m_acceptRetryTimer.setSingleShot(true);
    m_acceptRetryTimer.setInterval(acceptRetryTime);
    QObject::connect(&m_acceptRetryTimer, &QTimer::timeout, &m_context,
                     [this] { resumeAccepting(); });
    m_drainTimer.setSingleShot(true);
    QObject::connect(&m_drainTimer, &QTimer::timeout, &m_context, [this] { endOverdueDraining(); });
}

void HTTPServer::Implementation::later(std::function<void()> work) {
    QMetaObject::invokeMethod(
        &m_context,
        [this, task = std::move(work)] {
            const auto self = shared_from_this();
            task();
        },
        Qt::QueuedConnection);
}

void HTTPServer::Implementation::start(const std::string& host, double port, StateCallback onState,
                                       Handler handler) {
    stop();
    stopListening(); // A close handler may have started it again.
    const auto generation = ++m_generation;
    m_handler = std::make_shared<const Handler>(std::move(handler));
    m_isLocalOnly = isLoopbackHost(host);
    std::optional<Failure> failure;
    try {
        if (!m_poller)
            m_poller = std::make_unique<SocketPoller>();
        m_listener = listener(host, endpoint(host, port));
        m_port = tcp::localAddress(m_listener).port();
    } catch (const Failure& reason) {
        failure = reason;
    } catch (const std::system_error& error) {
        failure = Failure{Failure::Kind::other, 0, "Cannot listen: " + error.code().message()};
    }
    later([this, generation, failure, callback = std::move(onState)] {
        if (generation == m_generation)
            started(failure, callback);
    });
}

void HTTPServer::Implementation::started(std::optional<Failure> failure,
                                         const StateCallback& onState) {
    if (!failure) {
        try {
            m_poller->add(m_listener.number(), SocketPoller::readable,
                          [this](std::uint32_t /*readiness*/) { acceptSome(); });
        } catch (const std::system_error& error) {
            stopListening();
            failure = Failure{Failure::Kind::other, 0, "Cannot listen: " + error.code().message()};
        }
    }
    onState(std::move(failure));
}

void HTTPServer::Implementation::stop() {
    ++m_generation;
    stopListening();
    m_handler.reset();
    // Close handlers run here and may do anything but accept a connection.
    while (!m_open.empty()) {
        const auto connection = m_open.begin()->second;
        connection->close();
    }
    while (!m_draining.empty()) {
        const auto connection = m_draining.begin()->second;
        connection->endDraining();
    }
}

void HTTPServer::Implementation::stopListening() {
    if (m_listener.isValid()) {
        m_poller->remove(m_listener.number());
        m_listener.reset();
    }
    m_port.reset();
    m_acceptRetryTimer.stop();
}

void HTTPServer::Implementation::acceptSome() {
    for (int i = 0; i < acceptsPerTurn; ++i) {
        std::error_code error;
        auto accepted = tcp::accept(m_listener, error);
        if (!accepted) {
            if (error == std::errc::operation_would_block)
                return;
            if (error == std::errc::connection_aborted || error == std::errc::interrupted)
                continue;
            // Out of descriptors or memory, mostly. The connection stays in the system's queue, so
            // that the listener would be reported without end.
            pauseAccepting();
            return;
        }
        const bool isLocal = accepted->peer.isLoopback();
        if (m_isLocalOnly && !isLocal)
            continue;
        auto connection = std::make_shared<HTTPConnection>(
            static_cast<HTTPConnection::Owner&>(*this), std::move(accepted->socket), isLocal);
        try {
            connection->begin();
        } catch (const std::system_error&) {
            pauseAccepting();
            return;
        }
        m_open.emplace(connection.get(), std::move(connection));
    }
}

void HTTPServer::Implementation::pauseAccepting() {
    m_poller->setInterest(m_listener.number(), 0);
    m_acceptRetryTimer.start();
}

void HTTPServer::Implementation::resumeAccepting() {
    m_poller->setInterest(m_listener.number(), SocketPoller::readable);
}

void HTTPServer::Implementation::handle(HTTPRequest request,
                                        std::shared_ptr<HTTPConnection> connection) {
    const auto self = shared_from_this();
    const auto handler = m_handler; // A newer start replaces it.
    (*handler)(std::move(request), std::move(connection));
}

void HTTPServer::Implementation::settleSoon(std::shared_ptr<HTTPConnection> connection) {
    m_unsettled.push_back(std::move(connection));
    if (m_unsettled.size() == 1)
        later([this] { settleAll(); });
}

void HTTPServer::Implementation::settleAll() {
    const auto connections = std::exchange(m_unsettled, {});
    for (const auto& connection : connections)
        connection->settle();
}

void HTTPServer::Implementation::drains(HTTPConnection& connection) {
    m_draining.insert(m_open.extract(&connection));
    if (!m_drainTimer.isActive())
        m_drainTimer.start(HTTPConnection::drainTime);
}

void HTTPServer::Implementation::ended(HTTPConnection& connection) {
    if (m_open.erase(&connection) == 0) {
        m_draining.erase(&connection);
        if (m_draining.empty())
            m_drainTimer.stop();
    }
    if (m_acceptRetryTimer.isActive()) {
        m_acceptRetryTimer.stop(); // There is a descriptor again.
        resumeAccepting();
    }
}

void HTTPServer::Implementation::endOverdueDraining() {
    const auto now = std::chrono::steady_clock::now();
    auto next = std::chrono::steady_clock::time_point::max();
    std::vector<std::shared_ptr<HTTPConnection>> overdue;
    for (const auto& [identity, connection] : m_draining)
        if (connection->drainDeadline() <= now)
            overdue.push_back(connection);
        else
            next = std::min(next, connection->drainDeadline());
    for (const auto& connection : overdue)
        connection->endDraining();
    if (!m_draining.empty())
        m_drainTimer.start(std::chrono::ceil<std::chrono::milliseconds>(next - now));
}

HTTPServer::HTTPServer() : m_implementation(std::make_shared<Implementation>()) {}

HTTPServer::~HTTPServer() {
    stop();
}

void HTTPServer::start(const std::string& host, double port, StateCallback onState,
                       Handler handler) {
    const auto implementation = m_implementation;
    implementation->start(host, port, std::move(onState), std::move(handler));
}

void HTTPServer::stop() {
    const auto implementation = m_implementation;
    implementation->stop();
}

std::optional<std::uint16_t> HTTPServer::port() const {
    return m_implementation->port();
}
