// The command that pairs a phone: shows an invite at the terminal until one has taken it.

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <optional>
#include <set>

#include <poll.h>
#include <unistd.h>

#include "core/Clock.h"
#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Duration.h"
#include "ctl/JobSignals.h"
#include "ctl/Output.h"
#include "ctl/PairView.h"
#include "ctl/Phone.h"
#include "ctl/Terminal.h"

namespace ctl {

namespace {

using Clock = JobSignals::Clock;

constexpr std::chrono::seconds pause{1};
// What is left of an invite when another is asked for: within its last five seconds the daemon
// makes one. It is asked for once in so long, whatever the clocks say.
constexpr double renewal = 4000; // milliseconds
constexpr std::chrono::seconds renewalPause{5};

struct Invite {
    std::string link;
    double expires = 0; // milliseconds since 1970

    [[nodiscard]] double left() const { return expires - wallclock::milliseconds(); }
};

Invite askForInvite(const DaemonClient& daemon) {
    JSONValue value;
    try {
        value = daemon.post("/pair", {});
    } catch (const Unreachable&) {
        throw;
    } catch (const DaemonError& error) {
        if (error.message() != "relay not set up")
            throw;
        throw DaemonError(
            localized("還沒設定中繼，不能配對手機；先用 tamsellctl relay set URL 設定"));
    }
    const std::string* link = json::textOf(value, "link");
    if (!link || link->empty())
        throw DaemonError(localized("沒有拿到配對連結"));
    return {.link = *link, .expires = json::numberOf(value, "expires")};
}

class Pairing {
  public:
    explicit Pairing(const DaemonClient& daemon) : m_daemon(daemon) {
        for (const Phone& phone : phones())
            m_known.insert(phone.id);
        renew();
        if (::isatty(STDIN_FILENO) == 1)
            m_terminal.emplace(); // Keys would be shown in the middle of the code.
        draw();
    }

    // The phone that has paired.
    Phone run() {
        for (;;) {
            if (const auto phone = newPhone()) {
                output::write(m_view.erase());
                return *phone;
            }
            if (m_invite.left() < renewal && Clock::now() >= m_renewedAt + renewalPause) {
                renew();
                draw();
            } else if (Terminal::size() != m_view.size()) {
                draw();
            } else {
                output::write(m_view.tick(countdownText(m_invite.left())));
            }
            wait();
        }
    }

  private:
    [[nodiscard]] std::vector<Phone> phones() const { return phonesIn(m_daemon.get("/devices")); }

    [[nodiscard]] std::optional<Phone> newPhone() const {
        for (Phone& phone : phones()) {
            if (!m_known.contains(phone.id))
                return std::move(phone);
        }
        return std::nullopt;
    }

    void renew() {
        m_renewedAt = Clock::now();
        m_invite = askForInvite(m_daemon);
    }

    void draw() {
        output::write(m_view.draw(m_invite.link, countdownText(m_invite.left()), Terminal::size()));
    }

    // For the next second, or until the terminal has changed.
    void wait() {
        const auto until = Clock::now() + pause;
        std::array<pollfd, 1> nothing{pollfd{.fd = -1, .events = 0, .revents = 0}};
        switch (m_signals.wait(nothing, until)) {
        case SIGTSTP:
            if (m_terminal)
                m_terminal->giveBack();
            m_signals.stop();
            begin();
            break;
        case SIGCONT:
            begin();
            break;
        default:
            break;
        }
        if (m_terminal)
            m_terminal->discardInput();
    }

    // Something else was written below meanwhile.
    void begin() {
        if (m_terminal)
            m_terminal->take();
        m_view = PairView();
        draw();
    }

    const DaemonClient& m_daemon;
    JobSignals m_signals;
    std::optional<Terminal> m_terminal;
    PairView m_view;
    std::set<std::string> m_known; // ids
    Invite m_invite;
    Clock::time_point m_renewedAt;
};

// A terminal that can be drawn on.
bool isShown(const Context& context) {
    return ::isatty(STDOUT_FILENO) == 1 && context.environment("TERM").value_or("dumb") != "dumb";
}

} // namespace

int pair(const Context& context, const Arguments& arguments) {
    const DaemonClient daemon(context);
    if (arguments.json || !isShown(context)) {
        const Invite invite = askForInvite(daemon);
        if (arguments.json)
            output::writeJSON(JSONObject{{"link", invite.link}, {"expires", invite.expires}});
        else
            output::write(text::visible(invite.link) + "\n");
        return 0;
    }
    const Phone phone = Pairing(daemon).run();
    output::write(localized("已配對：%@", {text::visible(phone.name)}) + "\n");
    return 0;
}

} // namespace ctl
