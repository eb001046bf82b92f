#include "relayd/Channel.h"

#include <stdexcept>
#include <utility>

#include "core/Base64Url.h"
#include "crypto/ConstantTime.h"
#include "crypto/Hash.h"
#include "relayd/Frames.h"
#include "relayd/Limits.h"
#include "relayd/Target.h"

namespace {

std::string hashOf(std::string_view token) {
    return base64url::encode(hash::sha256(token));
}

bool isHashOf(std::string_view hash, std::string_view token) {
    return constantTimeEqual(hash, hashOf(token));
}

// Whether it was there.
template <typename Listeners>
bool forget(Listeners& listeners, const std::string& device, const Listener& listener) {
    const auto [first, last] = listeners.equal_range(device);
    const auto found =
        std::find_if(first, last, [&](const auto& each) { return each.second == &listener; });
    if (found == last)
        return false;
    listeners.erase(found);
    return true;
}

} // namespace

Channel::Channel(std::string name, StoredChannel stored, const Environment& environment)
    : m_name(std::move(name)), m_environment(environment), m_tokenHash(stored.tokenHash) {
    for (StoredChannel::Device& device : stored.devices)
        m_admissions.emplace(std::move(device.id), std::move(device.admission));
    ++m_environment.metrics.channels;
}

Channel::~Channel() {
    --m_environment.metrics.channels;
}

bool Channel::isComputersToken(std::string_view token) const {
    return isHashOf(m_tokenHash, token);
}

bool Channel::isDevicesToken(std::string_view device, std::string_view token) const {
    const auto found = m_admissions.find(device);
    return found != m_admissions.end() && isHashOf(found->second, token);
}

bool Channel::isLiveInvite(std::string_view token) const {
    // What is looked up is a hash: how long that takes says nothing about the token.
    const auto found = m_invites.find(hashOf(token));
    return found != m_invites.end() && found->second > m_environment.now();
}

void Channel::computerJoined(Listener& computer) {
    Listener* const older = std::exchange(m_computer, &computer);
    if (older)
        older->close(CloseCode::replaced);
    else
        tellPhones(frames::computerPresence(true));
    tellPeers();
}

void Channel::computerLeft(const Listener& computer) {
    if (m_computer != &computer)
        return;
    m_computer = nullptr;
    tellPhones(frames::computerPresence(false));
}

void Channel::takeFromComputer(const Listener& computer, std::string_view text) {
    if (m_computer != &computer)
        return; // It has been replaced, and what it knows may be old.
    ++m_environment.metrics.framesFromComputers;
    if (text == "ping") {
        tellComputer(frames::pong());
        return;
    }
    const auto message = frames::parse(text);
    if (!message)
        return;
    const std::string_view kind = frames::textOf(*message, "t");
    if (kind == "sync")
        sync(*message);
    else if (kind == "invite")
        invite(*message);
    else if (kind == "addDevice")
        addDevice(*message);
    else if (kind == "removeDevice")
        remove({std::string(frames::textOf(*message, "device"))});
    else if (kind == "msg")
        toPhone(kind, *message);
    else if (kind == "notify" || kind == "clear")
        fanOut(kind, *message);
}

void Channel::sync(const JSONObject& message) {
    const JSONArray* const devices = frames::listOf(message, "devices");
    if (!devices)
        return refuse(*m_computer, "sync without a list of devices");
    std::set<std::string_view> listed;
    for (const JSONValue& device : *devices)
        if (device.string())
            listed.insert(*device.string());
    std::vector<std::string> dropped;
    for (const auto& [device, admission] : m_admissions)
        if (!listed.contains(device))
            dropped.push_back(device);
    for (const std::string& device : m_undeleted)
        if (!listed.contains(device))
            dropped.push_back(device);
    remove(dropped);
}

void Channel::invite(const JSONObject& message) {
    const std::string_view hash = frames::textOf(message, "hash");
    const JSONValue* const expires = message.find("expires");
    if (!isHash(hash) || !expires || !expires->number())
        return refuse(*m_computer, "invite without a hash or the time it expires");
    dropExpiredInvites();
    if (!m_invites.contains(hash) && m_invites.size() >= limits::invitesPerChannel)
        return refuse(*m_computer, "too many invites");
    m_invites.insert_or_assign(std::string(hash), *expires->number());
}

void Channel::dropExpiredInvites() {
    const double now = m_environment.now();
    std::erase_if(m_invites, [now](const auto& invite) { return invite.second <= now; });
}

void Channel::addDevice(const JSONObject& message) {
    const StoredChannel::Device device{.id = std::string(frames::textOf(message, "device")),
                                       .admission = std::string(frames::textOf(message, "auth"))};
    if (!isName(device.id) || !isHash(device.admission))
        return refuse(*m_computer, "addDevice without a device or the hash of its token");
    if (!m_admissions.contains(device.id) && m_admissions.size() >= limits::devicesPerChannel)
        return refuse(*m_computer, "too many devices");
    try {
        m_environment.store.putDevice(m_name, device);
    } catch (const std::runtime_error& failure) {
        ++m_environment.metrics.storeFailures;
        m_environment.log(failure.what());
        return refuse(*m_computer, "the device could not be stored");
    }
    ++m_environment.metrics.devicesAdded;
    m_undeleted.erase(device.id);
    // Who is here by a token that is none any more has to go.
    if (const auto known = m_admissions.find(device.id);
        known != m_admissions.end() && known->second != device.admission && disconnect(device.id))
        tellPeers();
    m_admissions.insert_or_assign(device.id, device.admission);
    if (const auto used = m_invites.find(frames::textOf(message, "invite"));
        used != m_invites.end())
        m_invites.erase(used);
    const auto [first, last] = m_pairing.equal_range(device.id);
    for (auto at = first; at != last; ++at)
        at->second->send(frames::paired());
}

void Channel::remove(const std::vector<std::string>& devices) {
    if (devices.empty())
        return;
    try {
        m_environment.store.removeDevices(m_name, devices);
        for (const std::string& device : devices)
            m_undeleted.erase(device);
    } catch (const std::runtime_error& failure) {
        // They are not admitted from now on; the computer's next "sync" removes them for good, and
        // it comes before anything else when somebody is admitted by what the store still has.
        m_undeleted.insert(devices.begin(), devices.end());
        ++m_environment.metrics.storeFailures;
        m_environment.log(failure.what());
        refuse(*m_computer, "the device could not be removed from the disk");
    }
    bool wasOnline = false;
    for (const std::string& device : devices) {
        m_admissions.erase(device);
        m_posts.erase(device);
        wasOnline = disconnect(device) || wasOnline;
    }
    if (wasOnline)
        tellPeers();
}

bool Channel::disconnect(const std::string& device) {
    const auto [first, last] = m_phones.equal_range(device);
    const bool wasOnline = first != last;
    for (auto at = first; at != last; ++at)
        at->second->close(CloseCode::removed);
    m_phones.erase(first, last);
    return wasOnline;
}

bool Channel::toPhone(std::string_view kind, const JSONObject& message) {
    const auto sealed = frames::Sealed::of(message);
    const std::string_view device = frames::textOf(message, "to");
    const auto [first, last] = m_phones.equal_range(device);
    if (!sealed || first == last)
        return false;
    const Frame frame = frames::toPhone(kind, *sealed);
    for (auto at = first; at != last; ++at) {
        ++m_environment.metrics.framesToPhones;
        at->second->send(frame);
    }
    return true;
}

void Channel::fanOut(std::string_view kind, const JSONObject& message) {
    const JSONArray* const items = frames::listOf(message, "items");
    if (!items)
        return refuse(*m_computer, std::string(kind) + " without a list of items");
    std::size_t reached = 0;
    std::size_t devices = 0;
    for (const JSONValue& item : *items) {
        if (!item.object() || !m_admissions.contains(frames::textOf(*item.object(), "to")))
            continue;
        ++devices;
        if (toPhone(kind, *item.object()))
            ++reached;
    }
    if (kind == "notify")
        tellComputer(frames::pushed(reached, devices));
}

void Channel::phoneJoined(const std::string& device, Listener& phone) {
    const auto [first, last] = m_phones.equal_range(device);
    const bool isNew = first == last;
    // Those of one key stand in the order in which they came.
    if (static_cast<std::size_t>(std::distance(first, last)) >= limits::listenersPerDevice) {
        first->second->close(CloseCode::replaced);
        m_phones.erase(first);
    }
    m_phones.emplace(device, &phone);
    phone.send(frames::computerPresence(hasComputer()));
    if (isNew)
        tellPeers();
}

void Channel::phoneLeft(const std::string& device, const Listener& phone) {
    if (forget(m_phones, device, phone) && !m_phones.contains(device))
        tellPeers();
}

void Channel::takeFromPhone(const std::string& device, Listener& phone, std::string_view text) {
    ++m_environment.metrics.framesFromPhones;
    if (text == "ping") {
        phone.send(frames::pong());
        return;
    }
    if (!m_admissions.contains(device))
        return; // Removed, and not gone yet.
    const auto message = frames::parse(text);
    if (!message || frames::textOf(*message, "t") != "msg")
        return;
    const auto sealed = frames::Sealed::of(*message);
    if (!sealed)
        return refuse(phone, "msg without n and c");
    if (!hasComputer())
        return refuse(phone, "the computer is not connected");
    tellComputer(frames::fromPhone(device, *sealed));
}

bool Channel::mayPost(const std::string& device, Moment now) {
    const Budget whole(limits::phoneMessages, limits::phoneMessagesPerSecond, now);
    return m_posts.try_emplace(device, whole).first->second.spend(now);
}

void Channel::pairingJoined(const std::string& device, Listener& phone) {
    m_pairing.emplace(device, &phone);
    phone.send(frames::computerPresence(hasComputer()));
}

void Channel::pairingLeft(const std::string& device, const Listener& phone) {
    forget(m_pairing, device, phone);
}

bool Channel::takeFromPairing(const std::string& device, Listener& phone, std::string_view invite,
                              std::string_view text) {
    ++m_environment.metrics.framesFromPhones;
    if (text == "ping") {
        phone.send(frames::pong());
        return false;
    }
    const auto message = frames::parse(text);
    if (!message || frames::textOf(*message, "t") != "pair")
        return false;
    if (frames::textOf(*message, "device") != device ||
        frames::textOf(*message, "invite") != hashOf(invite)) {
        refuse(phone, "pair for another device or invite than this connection's");
        return false;
    }
    if (!hasComputer()) {
        refuse(phone, "the computer is not connected");
        return false;
    }
    tellComputer(frames::whole(*message));
    return true;
}

void Channel::tellComputer(const Frame& frame) {
    if (!m_computer)
        return;
    ++m_environment.metrics.framesToComputers;
    m_computer->send(frame);
}

void Channel::tellPhones(const Frame& frame) {
    for (const auto* listeners : {&m_phones, &m_pairing})
        for (const auto& [device, phone] : *listeners)
            phone->send(frame);
}

void Channel::tellPeers() {
    std::vector<std::string> ids;
    for (auto at = m_phones.begin(); at != m_phones.end(); at = m_phones.upper_bound(at->first))
        ids.push_back(at->first);
    tellComputer(frames::peers(ids));
}

void Channel::refuse(Listener& listener, std::string_view reason) {
    listener.send(frames::error(reason));
}
