#pragma once

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "relayd/Hub.h"

/// A store that forgets, and can fail.
class MemoryStore final : public Store {
  public:
    std::optional<StoredChannel> find(std::string_view channel) override {
        check();
        const auto found = channels.find(std::string(channel));
        return found == channels.end() ? std::nullopt : std::optional(found->second);
    }
    std::string registerChannel(std::string_view channel, std::string_view hash) override {
        check();
        return channels
            .try_emplace(std::string(channel),
                         StoredChannel{.tokenHash = std::string(hash), .devices = {}})
            .first->second.tokenHash;
    }
    void putDevice(std::string_view channel, const StoredChannel::Device& device) override {
        check();
        channels.at(std::string(channel)).devices.push_back(device);
    }
    void removeDevices(std::string_view channel, std::span<const std::string> devices) override {
        check();
        for (const std::string& id : devices)
            std::erase_if(channels.at(std::string(channel)).devices,
                          [&](const auto& device) { return device.id == id; });
    }

    std::map<std::string, StoredChannel> channels;
    bool fails = false;

  private:
    void check() const {
        if (fails)
            throw std::runtime_error("disk full");
    }
};

/// Somebody who is connected to a hub, or tried to be. It outlives neither hub nor store.
class HubPeer final : public Listener {
  public:
    HubPeer(Hub& hub, const Credentials& credentials)
        : admission(hub.admit(credentials, [] { return true; })) {
        if (admission == Admission::admitted)
            m_place = hub.join(credentials, *this);
    }

    void send(Frame frame) override { m_heard.push_back(*frame); }
    void close(CloseCode code) override { closed = code; }

    void say(std::string_view text) { m_place->take(text); }
    void leave() { m_place.reset(); }
    /// All frames since this was last asked.
    std::vector<std::string> heard() { return std::exchange(m_heard, {}); }

    const Admission admission;
    std::optional<CloseCode> closed;

  private:
    std::vector<std::string> m_heard;
    std::unique_ptr<Place> m_place;
};
