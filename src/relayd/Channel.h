#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/JSONValue.h"
#include "relayd/Budget.h"
#include "relayd/Listener.h"
#include "relayd/Metrics.h"
#include "relayd/Store.h"

/// One computer, its phones, and what passes between them. It routes texts that it cannot open.
///
/// The listeners belong to others, and have left before they go.
class Channel {
  public:
    struct Environment {
        Store& store;
        Metrics& metrics;
        std::function<double()> now; ///< milliseconds since 1970
        std::function<void(std::string_view text)> log;
    };

    Channel(std::string name, StoredChannel stored, const Environment& environment);
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    [[nodiscard]] const std::string& name() const { return m_name; }
    [[nodiscard]] bool hasComputer() const { return m_computer != nullptr; }

    // Who is admitted. All in a time that does not depend on how much of a token is right.
    [[nodiscard]] bool isComputersToken(std::string_view token) const;
    [[nodiscard]] bool isDevicesToken(std::string_view device, std::string_view token) const;
    [[nodiscard]] bool isLiveInvite(std::string_view token) const;

    /// A newer computer replaces the older one.
    void computerJoined(Listener& computer);
    void computerLeft(const Listener& computer);
    void takeFromComputer(const Listener& computer, std::string_view text);

    /// The oldest of too many listeners of one phone is closed.
    void phoneJoined(const std::string& device, Listener& phone);
    void phoneLeft(const std::string& device, const Listener& phone);
    void takeFromPhone(const std::string& device, Listener& phone, std::string_view text);
    /// Spends one of the messages that the phone may post.
    [[nodiscard]] bool mayPost(const std::string& device, Moment now);

    void pairingJoined(const std::string& device, Listener& phone);
    void pairingLeft(const std::string& device, const Listener& phone);
    /// @param invite the token that the phone was admitted with
    /// @return whether the phone may not ask again
    bool takeFromPairing(const std::string& device, Listener& phone, std::string_view invite,
                         std::string_view text);

  private:
    using Listeners = std::multimap<std::string, Listener*, std::less<>>;

    void sync(const JSONObject& message);
    void invite(const JSONObject& message);
    void addDevice(const JSONObject& message);
    void remove(const std::vector<std::string>& devices);
    /// Whether any was there.
    bool disconnect(const std::string& device);
    /// Whether anybody heard it.
    bool toPhone(std::string_view kind, const JSONObject& message);
    void fanOut(std::string_view kind, const JSONObject& message);
    void tellComputer(const Frame& frame);
    void tellPhones(const Frame& frame);
    void tellPeers();
    void refuse(Listener& listener, std::string_view reason);
    void dropExpiredInvites();

    const std::string m_name;
    const Environment& m_environment;
    const std::string m_tokenHash;
    std::map<std::string, std::string, std::less<>> m_admissions; // By phone.
    std::set<std::string, std::less<>> m_undeleted; // Phones that the store has still to remove.
    std::map<std::string, Budget> m_posts;          // By phone.
    std::map<std::string, double, std::less<>> m_invites; // By hash; when each expires.
    Listener* m_computer = nullptr;
    Listeners m_phones;
    Listeners m_pairing;
};
