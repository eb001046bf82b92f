#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/JSONValue.h"
#include "support/PhoneSocket.h"

/// A phone for tests and the demo. It shares no code with the daemon's side of the wire: its
/// cryptography is nettle's and its WebSocket Boost.Beast's.
///
///     PhoneDouble phone;
///     phone.pair(link, "iPhone");
///     phone.connect();
///     const auto question = phone.waitFor("notify");
///     phone.resultOf(phone.answer(*question.string("target"), {{"action", "allow"}}));
///
/// Every operation that waits throws std::runtime_error with what it waited for when that does not
/// come within its patience.
class PhoneDouble {
  public:
    struct Options {
        /// A PEM file of the certificates that a relay over TLS must be signed by.
        std::string authorities = {};
        std::chrono::milliseconds patience = std::chrono::seconds(10);
    };

    /// What a phone keeps once it is paired.
    struct Identity {
        std::string relayURL;
        std::string channel;
        std::string device; ///< its id, 22 characters
        std::string key;    ///< 32 bytes
    };

    using Predicate = std::function<bool(const JSONObject& message)>;

    PhoneDouble() : PhoneDouble(Options{}) {}
    explicit PhoneDouble(Options options) : m_options(std::move(options)) {}

    [[nodiscard]] const Identity& identity() const { return m_identity; }

    /// Takes a new id and a new key pair and gets paired. Tries again while the relay does not know
    /// the invite.
    void pair(std::string_view link, const std::string& name);
    /// Connects as a paired phone. Throws with "HTTP 401" in the text when the relay refuses.
    void connect();
    [[nodiscard]] bool isConnected() const;

    /// These return the message's id, which "re" of the daemon's result names.
    std::string hello();
    std::string answer(std::string_view target, JSONObject answer);
    std::string setMode(std::string_view mode);

    /// The first message of that "type" that fits and that no call has returned before; of those
    /// that have come, or the next to come.
    JSONObject waitFor(std::string_view type, const Predicate& fits = {});
    /// The result of the request with that id.
    JSONObject resultOf(std::string_view id);
    /// Waits until the relay has ended the connection.
    void waitForEnd();

  private:
    struct Received {
        JSONObject message;
        bool isTaken = false;
    };

    void open(const std::string& query);
    std::string send(JSONObject message);
    void sendFrame(const JSONObject& frame);
    void take(const std::string& frame);
    [[nodiscard]] std::optional<JSONObject> opened(const JSONValue& frame) const;
    void wait(std::string_view what, const std::function<bool()>& isOver);

    const Options m_options;
    Identity m_identity;

    // Below: shared with the socket's thread.
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Received> m_received;
    bool m_isPaired = false;

    std::unique_ptr<PhoneSocket> m_socket; // Last, because its thread uses the others.
};
