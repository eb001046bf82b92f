#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "core/DaemonError.h"
#include "core/JSONValue.h"
#include "ctl/Context.h"
#include "ctl/EventStream.h"
#include "platform/LocalConnection.h"

namespace ctl {

/// The daemon cannot be spoken to.
class Unreachable final : public DaemonError {
  public:
    enum class Reason {
        notRunning,
        notAnswering,   ///< it is there, and stays silent
        anotherUser,    ///< a program of another user has its port
        anotherProgram, ///< what answers is not the daemon
        noAddress,      ///< the settings name no address of this computer
        token           ///< it has another access token than the settings
    };

    Unreachable(Reason reason, const std::string& message)
        : DaemonError(message), m_reason(reason) {}

    [[nodiscard]] Reason reason() const { return m_reason; }

  private:
    Reason m_reason;
};

/// The daemon's routes, for the one who has the access token.
///
/// Nothing is said to a listener of another user. Every call waits up to five seconds for the
/// connection and five for the reply, and throws `Unreachable`, which says what is wrong, when
/// there is no daemon to speak to.
class DaemonClient {
  public:
    /// Reads where the daemon is, and the token, from the settings as they are now.
    explicit DaemonClient(const Context& context);
    /// With these settings instead.
    DaemonClient(const Config& config, uid_t owner);

    struct Reply {
        int status = 0;
        JSONValue body; ///< null when it is no JSON
        std::chrono::microseconds took{0};
    };

    /// What answers without a token. @throws Unreachable also when another program does
    [[nodiscard]] Reply health() const;
    /// GET, with the token. @throws DaemonError with the daemon's words unless it says 200
    [[nodiscard]] JSONValue get(std::string_view target) const;
    /// POST, with the token. @throws DaemonError with the daemon's words unless it says 200
    JSONValue post(std::string_view target, const JSONObject& body) const;
    /// @throws DaemonError with the daemon's words unless it says 200
    [[nodiscard]] EventStream events() const;

    /// "127.0.0.1:8787": where the settings say that it is.
    [[nodiscard]] std::string address() const;

  private:
    enum class Token { sent, keptBack };

    [[nodiscard]] LocalConnection connect() const;
    [[nodiscard]] std::string head(const LocalConnection& connection, std::string_view method,
                                   std::string_view target, std::size_t length, Token token) const;
    [[nodiscard]] Reply exchange(std::string_view method, std::string_view target,
                                 std::string_view body, Token token) const;
    [[nodiscard]] JSONValue checked(const Reply& reply) const;
    [[nodiscard]] Unreachable silence() const;

    std::string m_host;
    double m_port;
    std::string m_token;
    uid_t m_owner;
};

} // namespace ctl
