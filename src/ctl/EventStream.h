#pragma once

#include <cstddef>
#include <optional>
#include <utility>

#include "core/HTTPReply.h"
#include "core/JSONValue.h"
#include "platform/LocalConnection.h"

namespace ctl {

/// The events of the daemon's stream: the snapshot now, and after every change. The daemon says
/// something every twenty seconds at least.
class EventStream {
  public:
    /// @param reply its header has come, and perhaps more
    EventStream(LocalConnection connection, HTTPReplyReader reply)
        : m_connection(std::move(connection)), m_reply(std::move(reply)) {}

    /// Readable when more has come. A new stream may have something to take without that.
    [[nodiscard]] int descriptor() const { return m_connection.descriptor(); }
    /// The newest snapshot among what has come; nothing when none has come by the deadline.
    /// @throws Unreachable when the stream has ended
    [[nodiscard]] std::optional<JSONValue> newest(LocalConnection::Deadline deadline);

  private:
    LocalConnection m_connection;
    HTTPReplyReader m_reply;
    std::size_t m_searched = 0; // so much of the body ends no record
};

} // namespace ctl
