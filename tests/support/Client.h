#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/Descriptor.h"
#include "core/JSONValue.h"
#include "support/Until.h"

/// A response in its parts.
struct Response {
    std::string statusLine;
    std::string body;

    /// The body's value; null when it is no JSON.
    [[nodiscard]] JSONValue json() const { return JSONValue::parse(body).value_or(JSONValue()); }
};

/// One connection to the daemon over which a test says and hears exact bytes. Every call waits at
/// most for its time.
class Client {
  public:
    /// @param receiveBuffer the size of the system's buffer, 0 for its usual one
    explicit Client(std::uint16_t port, int receiveBuffer = 0);

    /// False when the peer closed before it had everything.
    bool send(std::string_view bytes);
    void finishSending();
    /// Whether something arrived, or the end did, that was not taken yet.
    [[nodiscard]] bool hasSomething(std::chrono::milliseconds time = std::chrono::milliseconds(0));
    /// What comes until the peer ends; nothing when it does not.
    [[nodiscard]] std::optional<std::string> everything();
    [[nodiscard]] Response response();
    /// What comes next until `mark`, with it; nothing when that does not come.
    [[nodiscard]] std::optional<std::string> through(std::string_view mark);
    /// The value of the next record of an event stream; null when none comes.
    [[nodiscard]] JSONValue record();
    /// How many bytes have come.
    [[nodiscard]] std::size_t received() const { return m_received; }

  private:
    bool receive();

    Descriptor m_socket;
    std::string m_buffer; // What was not taken yet.
    std::size_t m_received = 0;
    bool m_hasEnded = false;
};

/// The bytes of one request. The length of a body is said when there is one.
[[nodiscard]] std::string requestText(std::string_view method, std::string_view target,
                                      std::string_view headers = {}, std::string_view body = {});
