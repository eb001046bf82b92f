#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <QTimer>

#include "http/HTTPConnection.h"

/// The web page's open event streams (text/event-stream, HTML Living Standard 9.2).
class EventStreams {
  public:
    /// Begins a stream on the connection, with `firstRecord` as its first record, and keeps it
    /// until the peer goes away. While it is open a comment every 20 seconds keeps it alive.
    void add(const std::shared_ptr<HTTPConnection>& connection,
             std::shared_ptr<const std::string> firstRecord);
    /// Sends one record to every stream; all share its text.
    void broadcast(const std::shared_ptr<const std::string>& record);

    [[nodiscard]] bool empty() const { return m_streams.empty(); }

    /// What stands around a record's text, which is one line.
    static constexpr std::string_view recordStart = "data: ";
    static constexpr std::string_view recordEnd = "\n\n";

  private:
    struct Stream {
        std::shared_ptr<HTTPConnection> connection;
        std::unique_ptr<QTimer> ping;
    };

    std::unordered_map<HTTPConnection*, Stream> m_streams;
    // Close handlers run after the streams are gone when the server outlives them.
    std::shared_ptr<EventStreams*> m_self = std::make_shared<EventStreams*>(this);
};
