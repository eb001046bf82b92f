#pragma once

#include <deque>

#include "relayd/Budget.h"
#include "relayd/Limits.h"
#include "relayd/Listener.h"
#include "relayd/Metrics.h"

/// Frames that wait to be sent to one peer, and whether it keeps up.
class SendQueue {
  public:
    /// @param most bytes that may wait
    SendQueue(Metrics& metrics, std::size_t most) : m_metrics(metrics), m_most(most) {}
    SendQueue(const SendQueue&) = delete;
    SendQueue& operator=(const SendQueue&) = delete;
    ~SendQueue() { clear(); }

    /// False when the peer is too slow: it has left too much for too long.
    [[nodiscard]] bool push(Frame frame, Moment now) {
        const std::size_t size = frame->size();
        const bool isFull = m_bytes + size > m_most && m_bytes > 0;
        // One that reads everything is not to blame for the others.
        const bool isOneOfMany = (!m_frames.empty() || size > limits::alwaysBorne) &&
                                 m_metrics.unsentBytes + size > limits::unsentToAll;
        if (isFull || isLate(now) || isOneOfMany)
            return false;
        m_frames.push_back({std::move(frame), now});
        m_bytes += size;
        m_metrics.unsentBytes += size;
        return true;
    }

    /// Whether the peer has not taken the first in time.
    [[nodiscard]] bool isLate(Moment now) const {
        return !m_frames.empty() && now - m_frames.front().since > limits::delivery;
    }

    [[nodiscard]] bool empty() const { return m_frames.empty(); }
    [[nodiscard]] std::size_t size() const { return m_frames.size(); }
    [[nodiscard]] const Frame& front() const { return m_frames.front().frame; }

    /// The first has been sent.
    void pop() {
        const std::size_t size = m_frames.front().frame->size();
        m_metrics.bytesSent += size;
        forget(size);
        m_frames.pop_front();
    }

    void clear() {
        forget(m_bytes);
        m_frames.clear();
    }

  private:
    struct Waiting {
        Frame frame;
        Moment since;
    };

    void forget(std::size_t bytes) {
        m_bytes -= bytes;
        m_metrics.unsentBytes -= bytes;
    }

    Metrics& m_metrics;
    const std::size_t m_most;
    std::deque<Waiting> m_frames;
    std::size_t m_bytes = 0;
};
