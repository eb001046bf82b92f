#include "ctl/KeyGate.h"

namespace ctl {

void KeyGate::close(Clock::time_point now) {
    m_state = State::closed;
    m_since = now;
}

bool KeyGate::opens(Clock::time_point now) {
    if (m_state != State::closed || now < m_since + quietPeriod)
        return false;
    m_state = State::open;
    return true;
}

void KeyGate::type(std::string_view bytes, Clock::time_point now) {
    if (m_state != State::open || bytes.size() != 1) {
        close(now);
        return;
    }
    m_state = State::keyPressed;
    m_since = now;
    m_key = bytes.front();
}

std::optional<char> KeyGate::key(Clock::time_point now) {
    if (m_state != State::keyPressed || now < m_since + aloneFor)
        return std::nullopt;
    close(now);
    return m_key;
}

std::optional<KeyGate::Clock::time_point> KeyGate::wakeUp() const {
    switch (m_state) {
    case State::closed:
        return m_since + quietPeriod;
    case State::keyPressed:
        return m_since + aloneFor;
    case State::open:
        break;
    }
    return std::nullopt;
}

} // namespace ctl
