#include "relay/RelayConnection.h"

#include <algorithm>
#include <utility>

#include "relay/RelayURL.h"

using namespace std::chrono_literals;

namespace {

constexpr auto firstRetry = 1s;
constexpr auto longestRetry = 30s;
constexpr auto keepalivePeriod = 25s;
constexpr int goingAway = 1001; // RFC 6455 section 7.4.1

} // namespace

RelayConnection::RelayConnection(WebSocketOpener open, Scheduler& scheduler, Handlers handlers)
    : m_open(std::move(open)),
      m_scheduler(scheduler),
      m_handlers(std::move(handlers)),
      m_keepalive(scheduler.every(keepalivePeriod,
                                  [this] {
                                      if (m_isOpen)
                                          m_task->send("ping");
                                  })),
      m_retry(firstRetry) {}

void RelayConnection::connect(const RelayConfig& relay) {
    auto url = relayurl::webSocket(relay);
    if (!url) {
        stop();
        return;
    }
    m_refusal.reset();
    m_relayURL = relay.url;
    m_socketURL = std::move(*url);
    openTask();
}

void RelayConnection::openTask() {
    dropTask();
    m_task = m_open(m_socketURL,
                    {[this] { taskOpened(); },
                     [this](const std::string& text) { m_handlers.text(text); },
                     [this](const WebSocketTask::Failure& failure) { taskFailed(failure); }});
    m_task->resume();
}

void RelayConnection::stop() {
    m_refusal.reset();
    dropTask();
}

void RelayConnection::dropTask() {
    m_isOpen = false;
    m_reconnect.reset();
    if (const auto task = std::exchange(m_task, nullptr))
        task->cancel(goingAway);
}

void RelayConnection::taskOpened() {
    m_isOpen = true;
    m_refusal.reset();
    m_retry = firstRetry;
    m_handlers.log("relay: connected to " + m_relayURL);
    m_handlers.opened();
}

void RelayConnection::taskFailed(const WebSocketTask::Failure& failure) {
    const bool wasOpen = std::exchange(m_isOpen, false);
    m_refusal = failure.status;
    std::string line = wasOpen ? "relay: disconnected" : "relay: could not connect";
    if (failure.status)
        line += " (HTTP " + std::to_string(*failure.status) + ")";
    line += ", retrying in " + std::to_string(m_retry.count()) + "s";
    const auto delay =
        std::exchange(m_retry, std::min<std::chrono::seconds>(2 * m_retry, longestRetry));
    m_reconnect = m_scheduler.after(delay, [this] { openTask(); });
    m_handlers.lost();
    if (m_reconnect) // Nobody has stopped it meanwhile.
        m_handlers.log(line);
}

void RelayConnection::send(std::string_view frame) {
    if (!m_isOpen)
        return;
    if (frame.size() > maximumFrame) {
        m_handlers.log("relay: a frame of " + std::to_string(frame.size()) +
                       " bytes is too long to be sent");
        return;
    }
    m_task->send(frame);
}

std::size_t RelayConnection::unsentBytes() const {
    return m_task ? m_task->unsentBytes() : 0;
}
