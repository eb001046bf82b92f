#include "ctl/AwayForNow.h"

#include <array>
#include <cstdio>

#include "core/Text.h"
#include "ctl/Presence.h"

namespace ctl {

namespace {

constexpr std::array handled{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile std::sig_atomic_t interrupted = 0;

} // namespace

AwayForNow::AwayForNow(const DaemonClient& daemon) : m_daemon(daemon) {
    const auto presence = Presence::in(daemon.get("/state"));
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    interrupted = 0;
    for (const int signal : handled) {
        ::sigaction(signal, nullptr, &m_actions.emplace_back());
        if (m_actions.back().sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
    if (!presence || presence->isAway)
        return;
    daemon.post("/mode", {{"mode", rawValue(AwayMode::on)}});
    m_before = presence->mode;
}

AwayForNow::~AwayForNow() {
    try {
        const auto presence = m_before ? Presence::in(m_daemon.get("/state")) : std::nullopt;
        if (presence && presence->mode == AwayMode::on)
            m_daemon.post("/mode", {{"mode", rawValue(*m_before)}});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tamsellctl: %s\n", text::visible(error.what()).c_str());
    }
    for (std::size_t i = 0; i < handled.size(); ++i)
        ::sigaction(handled[i], &m_actions[i], nullptr);
}

bool AwayForNow::wasInterrupted() {
    return interrupted != 0;
}

} // namespace ctl
