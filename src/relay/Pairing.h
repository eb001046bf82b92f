#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/Config.h"
#include "core/JSONValue.h"
#include "crypto/AESGCM.h"
#include "platform/Scheduler.h"
#include "relay/Invite.h"

/// The invites that are out, and what becomes of a phone that comes with one. They live in memory
/// alone: after a restart every earlier QR code is dead.
class Pairing {
  public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    /// A phone that has proved that it saw the invite.
    struct Paired {
        PairedDevice device;
        aesgcm::Key key;
        std::string inviteHash;
    };
    struct Refusal {
        std::string logLine; ///< empty when there is nothing to say
    };
    /// An invite's hash, and when it ends.
    struct Announcement {
        std::string hash;
        std::chrono::system_clock::time_point expires;
    };

    /// @param scheduler outlives this. It ends an invite in time even if the clock is set back.
    Pairing(Clock now, Scheduler& scheduler) : m_now(std::move(now)), m_scheduler(scheduler) {}

    /// An invite that lives for ten minutes. Nothing when the settings' URL or key is not usable.
    /// @throws std::runtime_error when the system gives no random bytes
    [[nodiscard]] std::optional<LiveInvite> makeInvite(const RelayConfig& relay);
    [[nodiscard]] bool isLive(const LiveInvite& invite) const;
    [[nodiscard]] static Announcement announcementOf(const LiveInvite& invite);
    /// All that are live; the others are forgotten.
    [[nodiscard]] std::vector<Announcement> announcements();
    void forgetInvites() { m_invites.clear(); }

    /// Judges the relay's message of a phone that wants to pair: {"device", "invite", "pub",
    /// "proof", "name"}. An invite pairs one phone; a wrong proof does not use it up.
    [[nodiscard]] std::variant<Paired, Refusal> judge(const RelayConfig& relay,
                                                      const JSONObject& request);

  private:
    void forgetExpired();

    struct Entry {
        LiveInvite live;
        std::unique_ptr<Scheduler::Timer> end;
    };

    Clock m_now;
    Scheduler& m_scheduler;
    std::map<std::string, Entry> m_invites; // By their hashes.
};
