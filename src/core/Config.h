#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ConfigFile.h"
#include "core/JSONValue.h"
#include "core/Locations.h"
#include "core/Log.h"
#include "crypto/X25519.h"

enum class AwayMode { off, automatic, on };

inline constexpr std::array allAwayModes{AwayMode::off, AwayMode::automatic, AwayMode::on};

/// "off", "auto", "on": the text in the configuration and on every wire.
[[nodiscard]] std::string_view rawValue(AwayMode mode);
/// Exactly one of the three texts, or nothing.
[[nodiscard]] std::optional<AwayMode> awayModeFrom(std::string_view rawValue);
/// The localized text for the interface.
[[nodiscard]] std::string label(AwayMode mode);

/// One paired phone.
struct PairedDevice {
    std::string id; ///< chosen by the phone
    std::string name;
    std::string key;    ///< key material as pairing stored it
    double addedAt = 0; ///< milliseconds since 1970

    bool operator==(const PairedDevice&) const = default;
};

/// The relay settings. All binary members are base64url texts.
struct RelayConfig {
    std::string url;                   ///< without a "/" at the end
    std::string channel;               ///< 16 random bytes
    std::string auth;                  ///< 32 random bytes
    std::string privateKey;            ///< the 32 raw bytes of an X25519 private key
    std::vector<PairedDevice> devices; ///< in pairing order

    /// The private key, or nothing when the text is not that of one.
    [[nodiscard]] std::optional<X25519PrivateKey> agreementKey() const;

    bool operator==(const RelayConfig&) const = default;
};

/// Every persistent setting: the top-level object of config.json laid over the defaults, with
/// typed readers. Keys that this program does not know are kept, and a value of the wrong type is
/// kept and read as its fallback.
class Config {
  public:
    JSONObject raw = defaults();

    /// host, port, mode, idleMinutes, permissionWait, stopWait.
    [[nodiscard]] static const JSONObject& defaults();
    /// The defaults with the members of a file's object laid over them.
    [[nodiscard]] static Config over(const JSONObject& members);

    /// Reads the file and makes what is missing: imports the older program's file once, and draws
    /// and saves a token. Never fails: without a readable object the defaults count.
    ///
    /// It writes, so only the daemon calls it. Before anything replaces a file that could not be
    /// understood, it is kept as config.json.damaged, and the settings that were in force
    /// as config.json.last-good; both are said in one line to `log`.
    ///
    /// @param inForce the settings in force until now, when there are any
    [[nodiscard]] static Config load(const Locations& locations, const Config* inForce = nullptr,
                                     const LogSink& log = {});
    /// The two halves of `load`: what lies in the file, imported if need be, and the settings made
    /// of that.
    [[nodiscard]] static ConfigFile read(const Locations& locations);
    [[nodiscard]] static Config settle(const ConfigFile& file, const Locations& locations,
                                       const Config* inForce, const LogSink& log);
    /// Pretty, sorted, with a final line feed, mode 0600, replaced atomically.
    /// @throws std::system_error
    void save(const Locations& locations) const;

    /// The number under one of the four numeric default keys; the default for any other JSON type.
    [[nodiscard]] double number(std::string_view key) const;
    [[nodiscard]] std::string host() const;
    [[nodiscard]] AwayMode mode() const;
    /// The access token; empty when it is not a string.
    [[nodiscard]] std::string token() const;

    /// The relay's URL whenever there is one, even when the other relay settings are incomplete.
    [[nodiscard]] std::optional<std::string> relayURL() const;
    /// Nothing unless url, channel, auth and privateKey are all strings.
    [[nodiscard]] std::optional<RelayConfig> relay() const;
    /// Nothing removes the settings.
    void setRelay(const std::optional<RelayConfig>& relay);
    /// Puts the device at the end, in place of any with its id. Without relay settings nothing.
    void upsertDevice(const PairedDevice& device);
    void removeDevice(std::string_view id);

    /// New settings with fresh random secrets and no devices.
    /// @param url surrounding white space and "/" at the end are removed
    /// @throws std::runtime_error when the system gives no random bytes
    [[nodiscard]] static RelayConfig freshRelayConfig(std::string_view url);

    bool operator==(const Config&) const = default;
};

/// The relay that a new setup uses: TAMSELL_RELAY_URL of the environment, else the value chosen at
/// configure time.
[[nodiscard]] std::string defaultRelayURL(const EnvironmentLookup& environment);
