#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "Require.h"
#include "core/Base64Url.h"
#include "crypto/Hash.h"
#include "relayd/Frames.h"
#include "relayd/Limits.h"
#include "support/HubPeer.h"

// A line is what somebody does: its first letter says who and what, the rest is the frame that is
// sent. "%a", "%b" and "%p" in it stand for the names of phones, "%h" for the hash of all tokens.
// Whatever computer and phones say, nobody hears anything that is not for them, nobody is admitted
// that the computer has not let in, and the relay's books balance in the end.

namespace {

using Role = Credentials::Role;

const std::string token = "token";
const std::string tokenHash = base64url::encode(hash::sha256(token));

std::string nameOf(char letter) {
    return std::string(22, letter);
}

std::string filledIn(std::string_view line) {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '%' || i + 1 == line.size())
            text += line[i];
        else if (line[++i] == 'h')
            text += tokenHash;
        else
            text += nameOf(line[i]);
    }
    return text;
}

class Relay {
  public:
    void act(std::string_view line) {
        const std::string text = filledIn(line.substr(1));
        switch (line.front()) {
        case 'M':
            return joinOrLeave(m_computer, {Role::computer, nameOf('c'), {}, token});
        case 'm':
            return say(m_computer, text);
        case 'A':
        case 'B':
            return joinOrLeave(m_phones[line.front() == 'A' ? 0 : 1],
                               phone(line.front() == 'A' ? 'a' : 'b'));
        case 'a':
        case 'b':
            return say(m_phones[line.front() == 'a' ? 0 : 1], text);
        case 'P':
            return joinOrLeave(m_pairing, {Role::pairing, nameOf('c'), nameOf('p'), token});
        case 'p':
            return say(m_pairing, text);
        case 't':
            m_now += 1000;
            return;
        case 'f':
            m_store.fails = !m_store.fails;
            return;
        default:
            return;
        }
    }

    void end() {
        m_store.fails = false;
        check();
        m_computer.reset();
        m_pairing.reset();
        for (auto& each : m_phones)
            each.reset();
        // The other computer is still there.
        require(m_metrics.computers == 1 && m_metrics.phones == 0 && m_metrics.pairing == 0);
        require(m_metrics.channels == 1);
        const auto stored = m_store.find(nameOf('c'));
        require(!stored || stored->devices.size() <= limits::devicesPerChannel);
    }

  private:
    using PeerPointer = std::unique_ptr<HubPeer>;

    static Credentials phone(char name) { return {Role::phone, nameOf('c'), nameOf(name), token}; }

    void joinOrLeave(PeerPointer& peer, const Credentials& credentials) {
        if (peer) {
            peer.reset();
            return;
        }
        auto joined = std::make_unique<HubPeer>(m_hub, credentials);
        if (joined->admission == Admission::admitted)
            peer = std::move(joined);
    }

    void say(const PeerPointer& peer, const std::string& text) {
        if (peer)
            peer->say(text);
        check();
    }

    void check() {
        require(m_other.heard().empty());
        for (const auto& each : m_phones)
            checkFrames(each, {"msg", "notify", "clear", "computer", "error"});
        checkFrames(m_pairing, {"computer", "error", "paired"});
        checkFrames(m_computer, {"peers", "msg", "pair", "pushed", "error"});
    }

    static void checkFrames(const PeerPointer& peer,
                            std::initializer_list<std::string_view> kinds) {
        if (!peer)
            return;
        for (const std::string& frame : peer->heard()) {
            if (frame == "pong")
                continue;
            const auto message = frames::parse(frame);
            require(message.has_value());
            const auto kind = frames::textOf(*message, "t");
            require(std::ranges::find(kinds, kind) != kinds.end());
        }
    }

    double m_now = 1'000'000;
    Metrics m_metrics;
    MemoryStore m_store;
    Hub m_hub{{.store = m_store,
               .metrics = m_metrics,
               .now = [this] { return m_now; },
               .log = [](std::string_view) {}}};
    HubPeer m_other{m_hub, {Role::computer, nameOf('x'), {}, token}};
    bool m_hasStarted = !m_other.heard().empty();
    PeerPointer m_computer;
    std::array<PeerPointer, 2> m_phones;
    PeerPointer m_pairing;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    Relay relay;
    while (!rest.empty()) {
        const auto end = std::min(rest.find('\n'), rest.size());
        if (end > 0)
            relay.act(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    relay.end();
    return 0;
}
