#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "platform/Scheduler.h"
#include "relay/EncodedMessage.h"

/// Which phones are to get the daemon's state, and when it goes out.
///
/// Changes are gathered for 100 ms and told once. The state goes out at most that often, more
/// rarely when it is long, and not while the relay does not take what it was sent; a phone is then
/// owed it. It is encoded once for all phones that get it at the same time.
class OwedState {
  public:
    /// What it needs from the client whose part it is.
    struct Client {
        /// The state as a message for all of these phones; nothing when it cannot be sent at all.
        std::function<std::optional<EncodedMessage>(const std::set<std::string>& phones)> encode;
        std::function<void(const EncodedMessage& state, const std::string& phone)> send;
        /// What the relay has not taken yet, in bytes; nothing while nothing can be sent.
        std::function<std::optional<std::size_t>()> unsentBytes;
    };

    OwedState(Scheduler& scheduler, Client client);

    /// The state has changed: once 100 ms have passed, `oweAll` says who is to know, and it goes
    /// out.
    void schedule(std::function<void()> oweAll);
    /// It has changed, and nobody is there to be told.
    void changed() { m_message.reset(); }
    void owe(const std::string& phone) { m_phones.insert(phone); }
    /// Now, when the last time is long enough ago; else as soon as it is and the relay has taken
    /// what it was sent.
    void send();
    /// Phones that are gone are owed nothing.
    void keepOnly(const std::set<std::string>& online);
    void forget();

  private:
    Scheduler& m_scheduler;
    Client m_client;
    std::set<std::string> m_phones;
    std::optional<EncodedMessage> m_message; // Once one of them has got it.
    std::unique_ptr<Scheduler::Timer> m_gathering;
    std::unique_ptr<Scheduler::Timer> m_pause;
};
