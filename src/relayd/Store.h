#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What the relay keeps of a channel beyond a restart. Nothing in it opens a message.
struct StoredChannel {
    struct Device {
        std::string id;
        std::string admission; ///< Base64 text of the SHA-256 of its admission token

        bool operator==(const Device&) const = default;
    };

    std::string tokenHash; ///< Base64 text of the SHA-256 of the computer's token
    std::vector<Device> devices;

    bool operator==(const StoredChannel&) const = default;
};

/// Where channels are kept. A change is durable when the call returns. Every call throws
/// std::runtime_error, with words for the log, when that cannot be had.
class Store {
  public:
    Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    virtual ~Store() = default;

    [[nodiscard]] virtual std::optional<StoredChannel> find(std::string_view channel) = 0;
    /// The first token that is presented for a channel becomes its own.
    /// @return the hash that the channel has now: another one when somebody was faster
    [[nodiscard]] virtual std::string registerChannel(std::string_view channel,
                                                      std::string_view tokenHash) = 0;
    /// Adds the phone to a channel that is there, or replaces its admission.
    virtual void putDevice(std::string_view channel, const StoredChannel::Device& device) = 0;
    virtual void removeDevices(std::string_view channel, std::span<const std::string> devices) = 0;
};
