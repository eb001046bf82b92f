#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "core/Locations.h"
#include "platform/Scheduler.h"
#include "platform/WebSocketTask.h"

/// A WebSocket connection on Qt's event loop.
///
/// A text that is no UTF-8 ends the connection with code 1007; for Qt that is also one whose frames
/// part a character (RFC 6455 section 5.4 allows it), so the peer must not do that.
///
/// Over "wss" the peer must show a certificate for the URL's host from an authority of the system's
/// store or of `Options::authorities`; nothing turns this off. A redirect is a refusal. Proxies are
/// not used: the desktop's, and those that environment variables name, are for browsing, and which
/// variables a daemon sees depends on how it was started.
class QtWebSocketTask final : public WebSocketTask {
  public:
    struct Options {
        /// From `resume` to the end of the handshake. A peer that says nothing, or refuses
        /// without closing the connection, would keep it for ever.
        std::chrono::milliseconds connectDeadline = std::chrono::seconds(15);
        /// Between the pings of RFC 6455 section 5.5.2. They keep the connection in the tables of
        /// routers on the way, which forget after as little as 30 seconds.
        std::chrono::milliseconds pingPeriod = std::chrono::seconds(25);
        /// How long after a ping has gone out no frame at all may arrive.
        std::chrono::milliseconds silence = std::chrono::seconds(60);
        /// In bytes. A larger message ends the connection with code 1009. Nothing that a relay or
        /// a phone has to say comes near it.
        std::size_t maximumMessage = std::size_t{1} << 20;
        /// In bytes. A peer that leaves more of what it is sent, the answers to its pings included,
        /// ends the connection: it could fill the memory otherwise. The longest message that is
        /// sent at once is half of it.
        std::size_t maximumUnsent = std::size_t{32} << 20;
        /// In bytes. The same for messages that arrive faster than they are handled.
        std::size_t maximumUnheard = std::size_t{32} << 20;
        /// A PEM file of certificates that count as authorities beside the system's, for those who
        /// run a relay of their own. It is read at each `resume`; one that cannot be read or holds
        /// no certificate is a failure.
        std::optional<std::filesystem::path> authorities;

        /// TAMSELL_RELAY_CA names the file of authorities; an empty one counts as not set.
        [[nodiscard]] static Options from(const EnvironmentLookup& environment);
    };

    /// @param scheduler outlives the task
    QtWebSocketTask(std::string url, Handlers handlers, Scheduler& scheduler, Options options);
    /// An open connection is closed with code 1001.
    ~QtWebSocketTask() override;

    /// @param scheduler outlives the opener and its tasks
    [[nodiscard]] static WebSocketOpener opener(Scheduler& scheduler, Options options);

    void resume() override;
    void send(std::string_view text) override;
    [[nodiscard]] std::size_t unsentBytes() const override;
    /// What the system does not take at once of what is unsent, the closing frame behind it
    /// included, is dropped.
    void cancel(int closeCode) override;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
