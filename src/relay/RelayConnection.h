#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/Config.h"
#include "core/Log.h"
#include "platform/Scheduler.h"
#include "platform/WebSocketTask.h"

/// The one WebSocket to the relay: opened again after every loss, with a back-off that doubles from
/// one second to thirty, and kept alive with a ping every 25 seconds.
///
/// What belongs to a connection that has been replaced, its callbacks and its delayed reconnect,
/// ends with it, so nothing of it arrives late.
class RelayConnection {
  public:
    /// A longer frame is not sent: the relay would drop the connection over it.
    static constexpr std::size_t maximumFrame = 16 << 20;

    struct Handlers {
        std::function<void()> opened;
        std::function<void(const std::string& text)> text;
        std::function<void()> lost;
        LogSink log;
    };

    RelayConnection(WebSocketOpener open, Scheduler& scheduler, Handlers handlers);

    /// Connects with these settings, in place of any connection there is; when their URL is not
    /// usable, there is none.
    void connect(const RelayConfig& relay);
    void stop();

    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    /// The HTTP status with which the relay refused the last try to connect.
    [[nodiscard]] std::optional<int> refusal() const { return m_refusal; }
    /// Sends a text frame. Dropped while there is no open connection, and above the limit.
    void send(std::string_view frame);
    /// What the relay has not taken yet, in bytes.
    [[nodiscard]] std::size_t unsentBytes() const;

  private:
    void openTask();
    void taskOpened();
    void taskFailed(const WebSocketTask::Failure& failure);
    void dropTask();

    WebSocketOpener m_open;
    Scheduler& m_scheduler;
    Handlers m_handlers;
    std::string m_relayURL; // For the log.
    std::string m_socketURL;
    std::unique_ptr<WebSocketTask> m_task;
    std::unique_ptr<Scheduler::Timer> m_reconnect;
    std::unique_ptr<Scheduler::Timer> m_keepalive;
    std::chrono::seconds m_retry;
    bool m_isOpen = false;
    std::optional<int> m_refusal;
};
