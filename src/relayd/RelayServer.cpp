#include "relayd/RelayServer.h"

#include <csignal>
#include <system_error>

#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include "core/Clock.h"
#include "core/Log.h"
#include "relayd/HTTPSession.h"

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

// Out of descriptors or memory; others may close meanwhile.
constexpr auto acceptAgain = std::chrono::milliseconds(100);

} // namespace

class RelayServer::Implementation {
  public:
    Implementation(const RelayOptions& options, Store& store)
        : m_options(options),
          m_page(options.page ? StaticFiles(*options.page) : StaticFiles()),
          m_hub({.store = store,
                 .metrics = m_metrics,
                 .now = [] { return wallclock::milliseconds(std::chrono::system_clock::now()); },
                 .log =
                     [](std::string_view text) {
                         logging::writeToStandardOutput("relay: " + std::string(text));
                     }}) {
        const tcp::endpoint endpoint(asio::ip::make_address(m_options.host), m_options.port);
        try {
            m_acceptor.open(endpoint.protocol());
            m_acceptor.set_option(tcp::acceptor::reuse_address(true));
            m_acceptor.bind(endpoint);
            m_acceptor.listen();
        } catch (const boost::system::system_error& failure) {
            throw std::system_error(failure.code().value(), std::generic_category(),
                                    m_options.host + ":" + std::to_string(m_options.port));
        }
        m_signals.async_wait([this](error_code error, int) {
            if (!error)
                drain();
        });
        accept();
        look();
    }

    [[nodiscard]] std::uint16_t port() const { return m_acceptor.local_endpoint().port(); }

    void run() { m_context.run(); }

    void stop() {
        asio::post(m_context, [this] { drain(); });
    }

  private:
    void accept() {
        m_acceptor.async_accept([this](error_code error, tcp::socket socket) {
            if (error == asio::error::operation_aborted || m_services.isDraining)
                return;
            if (error)
                return acceptLater();
            if (m_metrics.connections < m_options.maximumConnections)
                std::make_shared<HTTPSession>(std::move(socket), m_services)->start();
            else
                ++m_metrics.refusedUnavailable; // And closes it.
            accept();
        });
    }

    void acceptLater() {
        m_timer.expires_after(acceptAgain);
        m_timer.async_wait([this](error_code error) {
            if (!error)
                accept();
        });
    }

    void look() {
        m_lookTimer.expires_after(limits::look);
        m_lookTimer.async_wait([this](error_code) {
            forEachSession([moment = now()](Session& session) { session.look(moment); });
            look();
        });
    }

    // A session that ends leaves the set.
    template <typename Action>
    void forEachSession(Action action) {
        const auto sessions = m_services.sessions;
        for (Session* const session : sessions)
            if (m_services.sessions.contains(session))
                action(*session);
    }

    void drain() {
        if (std::exchange(m_services.isDraining, true))
            return;
        logging::writeToStandardOutput("relay: stopping");
        error_code ignored;
        m_acceptor.close(ignored);
        m_signals.cancel(ignored);
        forEachSession([](Session& session) { session.drain(); });
        m_timer.expires_after(limits::drain);
        m_timer.async_wait(
            [this](error_code) { forEachSession([](Session& session) { session.vanish(); }); });
        awaitEnd();
    }

    void awaitEnd() {
        if (m_metrics.connections == 0)
            return m_context.stop();
        m_endTimer.expires_after(acceptAgain);
        m_endTimer.async_wait([this](error_code) { awaitEnd(); });
    }

    const RelayOptions m_options;
    const StaticFiles m_page;
    Metrics m_metrics;
    Hub m_hub;
    Services m_services{.options = m_options,
                        .context = m_context,
                        .hub = m_hub,
                        .metrics = m_metrics,
                        .page = m_page};
    // Behind all that sessions refer to: those that are left end with it.
    asio::io_context m_context{1};
    tcp::acceptor m_acceptor{m_context};
    asio::signal_set m_signals{m_context, SIGTERM, SIGINT};
    asio::steady_timer m_timer{m_context};
    asio::steady_timer m_endTimer{m_context};
    asio::steady_timer m_lookTimer{m_context};
};

RelayServer::RelayServer(const RelayOptions& options, Store& store)
    : m_implementation(std::make_unique<Implementation>(options, store)) {}

RelayServer::~RelayServer() = default;

std::uint16_t RelayServer::port() const {
    return m_implementation->port();
}

void RelayServer::run() {
    m_implementation->run();
}

void RelayServer::stop() {
    m_implementation->stop();
}
