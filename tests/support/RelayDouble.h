#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/JSONValue.h"
#include "support/Certificates.h"

/// A relay that can be told to misbehave. It carries frames between one computer and its phones in
/// a thread of its own; all members may be called from any other one.
///
/// A computer connects to `/ws/CHANNEL?role=mac&auth=TOKEN`; the first token that a channel sees is
/// its token. A newer computer replaces an older one, which is closed with code 4001. A phone
/// connects to `/ws/CHANNEL?role=phone&device=ID&auth=TOKEN`, where the text of an "addDevice"
/// message's "auth" is the base64url of the SHA-256 of TOKEN; or, to pair, to
/// `/ws/CHANNEL?role=pair&device=ID&invite=TOKEN`, where an announced invite is the hash of TOKEN.
/// Then its one "pair" message goes to the computer, and it hears {"t":"paired"} once the computer
/// adds that device. A refused handshake has status 401, or 404 for an unknown channel.
class RelayDouble {
  public:
    enum class Transport { plain, tls };
    struct Options {
        Transport transport = Transport::plain;
        /// What to show over TLS instead of a certificate for 127.0.0.1 by the own authority.
        std::optional<TLSIdentity> identity;
    };

    /// Listens on loopback, on a free port, from here on.
    RelayDouble();
    explicit RelayDouble(const Options& options);
    ~RelayDouble();

    /// "http://127.0.0.1:PORT", or the same with "https" over TLS.
    [[nodiscard]] std::string url() const;
    /// The PEM file of the authority to trust; empty without TLS or with an identity from outside.
    [[nodiscard]] std::filesystem::path authority() const;

    // How it misbehaves.

    /// Ends all connections without a closing frame and closes the port. What it knows of
    /// channels stays.
    void stop();
    /// Listens again on the same port.
    void start();
    /// Answers every handshake with this HTTP status; nothing for its own judgement.
    void refuse(std::optional<unsigned> status);
    /// Stops reading what computers send, or reads on.
    void stall(bool isStalled);
    /// Ends the computers' TCP connections without a closing frame.
    void vanish();
    /// Closes the computers' connections with this code.
    void closeWith(std::uint16_t code);
    /// Sends this text to the computers as it is.
    void inject(const std::string& text);
    /// Decides what is sent in place of each frame to a computer: nothing to drop it, two to
    /// double it, an earlier one to replay or reorder. Called in the relay's thread; what `inject`
    /// sends passes it by.
    using Filter = std::function<std::vector<std::string>(const std::string& frame)>;
    void setFilter(Filter filter);
    /// A filter that drops frames of this kind.
    [[nodiscard]] static Filter drop(std::string kind);

    // What it has seen, in order.

    /// Every text frame from a computer, "ping" included.
    [[nodiscard]] std::vector<std::string> received() const;
    /// Those that are JSON objects of this kind ("t").
    [[nodiscard]] std::vector<JSONObject> received(std::string_view kind) const;
    /// Every text frame that went to a computer.
    [[nodiscard]] std::vector<std::string> sent() const;
    /// Computers' handshakes, refused ones included.
    [[nodiscard]] int attempts() const;
    /// Computers' handshakes that were let in.
    [[nodiscard]] int connections() const;
    /// Computers that are connected now.
    [[nodiscard]] int open() const;
    /// The code of the last closing frame from a computer; 0 when its connection ended without one.
    [[nodiscard]] std::optional<std::uint16_t> closeCode() const;

    /// Waits until the condition holds, asking again after each event. For threads that have no
    /// event loop to run meanwhile. False when it did not within the time.
    [[nodiscard]] bool waitUntil(const std::function<bool()>& condition,
                                 std::chrono::milliseconds time = std::chrono::seconds(10)) const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
