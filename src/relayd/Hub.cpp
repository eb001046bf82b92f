#include "relayd/Hub.h"

#include <stdexcept>
#include <utility>

#include "core/Base64Url.h"
#include "crypto/Hash.h"

namespace {

using ChannelPointer = std::shared_ptr<Channel>;

class ComputersPlace final : public Place {
  public:
    ComputersPlace(ChannelPointer channel, Metrics& metrics, Listener& listener)
        : m_channel(std::move(channel)), m_metrics(metrics), m_listener(listener) {
        ++m_metrics.computers;
        m_channel->computerJoined(m_listener);
    }
    ~ComputersPlace() override {
        --m_metrics.computers;
        m_channel->computerLeft(m_listener);
    }
    void take(std::string_view text) override { m_channel->takeFromComputer(m_listener, text); }

  private:
    const ChannelPointer m_channel;
    Metrics& m_metrics;
    Listener& m_listener;
};

class PhonesPlace final : public Place {
  public:
    PhonesPlace(ChannelPointer channel, Metrics& metrics, std::string device, Listener& listener)
        : m_channel(std::move(channel)),
          m_metrics(metrics),
          m_device(std::move(device)),
          m_listener(listener) {
        ++m_metrics.phones;
        m_channel->phoneJoined(m_device, m_listener);
    }
    ~PhonesPlace() override {
        --m_metrics.phones;
        m_channel->phoneLeft(m_device, m_listener);
    }
    void take(std::string_view text) override {
        m_channel->takeFromPhone(m_device, m_listener, text);
    }

  private:
    const ChannelPointer m_channel;
    Metrics& m_metrics;
    const std::string m_device;
    Listener& m_listener;
};

class PairingPlace final : public Place {
  public:
    PairingPlace(ChannelPointer channel, Metrics& metrics, const Credentials& credentials,
                 Listener& listener)
        : m_channel(std::move(channel)),
          m_metrics(metrics),
          m_device(credentials.device),
          m_invite(credentials.token),
          m_listener(listener) {
        ++m_metrics.pairing;
        m_channel->pairingJoined(m_device, m_listener);
    }
    ~PairingPlace() override {
        --m_metrics.pairing;
        m_channel->pairingLeft(m_device, m_listener);
    }
    void take(std::string_view text) override {
        if (m_hasAsked && text != "ping")
            m_listener.close(CloseCode::policyViolation);
        else if (m_channel->takeFromPairing(m_device, m_listener, m_invite, text))
            m_hasAsked = true;
    }

  private:
    const ChannelPointer m_channel;
    Metrics& m_metrics;
    const std::string m_device;
    const std::string m_invite;
    Listener& m_listener;
    bool m_hasAsked = false;
};

bool isRight(const Channel& channel, const Credentials& credentials) {
    switch (credentials.role) {
    case Credentials::Role::computer:
        return channel.isComputersToken(credentials.token);
    case Credentials::Role::phone:
        return !credentials.token.empty() &&
               channel.isDevicesToken(credentials.device, credentials.token);
    case Credentials::Role::pairing:
        return channel.isLiveInvite(credentials.token);
    }
    return false;
}

} // namespace

ChannelPointer Hub::find(const std::string& name) {
    if (const auto known = m_channels.find(name); known != m_channels.end())
        if (auto channel = known->second.lock())
            return channel;
    auto stored = m_environment.store.find(name);
    if (!stored)
        return nullptr;
    ChannelPointer channel(
        std::make_unique<Channel>(name, std::move(*stored), m_environment).release(),
        [this](Channel* last) {
            const std::unique_ptr<Channel> owned(last);
            m_channels.erase(owned->name());
        });
    m_channels[name] = channel;
    return channel;
}

Admission Hub::admit(const Credentials& credentials, const std::function<bool()>& mayRegister) {
    try {
        if (const ChannelPointer channel = find(credentials.channel))
            return isRight(*channel, credentials) ? Admission::admitted : Admission::unauthorized;
        if (credentials.role != Credentials::Role::computer)
            return Admission::unauthorized;
        if (!mayRegister())
            return Admission::tooManyRequests;
        const std::string hash = base64url::encode(hash::sha256(credentials.token));
        if (m_environment.store.registerChannel(credentials.channel, hash) != hash)
            return Admission::unauthorized;
        ++m_environment.metrics.channelsRegistered;
        return Admission::admitted;
    } catch (const std::runtime_error& failure) {
        ++m_environment.metrics.storeFailures;
        m_environment.log(failure.what());
        return Admission::unavailable;
    }
}

std::unique_ptr<Place> Hub::join(const Credentials& credentials, Listener& listener) {
    try {
        const ChannelPointer channel = find(credentials.channel);
        if (!channel || !isRight(*channel, credentials))
            return nullptr;
        Metrics& metrics = m_environment.metrics;
        switch (credentials.role) {
        case Credentials::Role::computer:
            return std::make_unique<ComputersPlace>(channel, metrics, listener);
        case Credentials::Role::phone:
            return std::make_unique<PhonesPlace>(channel, metrics, credentials.device, listener);
        case Credentials::Role::pairing:
            return std::make_unique<PairingPlace>(channel, metrics, credentials, listener);
        }
    } catch (const std::runtime_error& failure) {
        ++m_environment.metrics.storeFailures;
        m_environment.log(failure.what());
    }
    return nullptr;
}

bool Hub::hasComputer(std::string_view name) const {
    const auto known = m_channels.find(name);
    const auto channel = known == m_channels.end() ? nullptr : known->second.lock();
    return channel && channel->hasComputer();
}

bool Hub::mayPost(const Credentials& credentials, Moment now) {
    const auto known = m_channels.find(credentials.channel);
    const auto channel = known == m_channels.end() ? nullptr : known->second.lock();
    return channel && channel->mayPost(credentials.device, now);
}
