#include "core/Config.h"

#include <cassert>
#include <system_error>

#include <sys/stat.h>

#include "core/AtomicFile.h"
#include "core/Base64Url.h"
#include "core/ConfigFile.h"
#include "core/File.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "crypto/Random.h"

namespace fs = std::filesystem;

namespace {

constexpr mode_t ownerOnly = 0600;

std::string stringOr(const JSONValue* value, std::string_view fallback) {
    const std::string* text = value ? value->string() : nullptr;
    return text ? *text : std::string(fallback);
}

std::string freshToken() {
    constexpr char digits[] = "0123456789abcdef";
    std::string token;
    for (const std::uint8_t byte : securerandom::bytes<16>()) {
        token += digits[byte >> 4];
        token += digits[byte & 15];
    }
    return token;
}

void importLegacy(const Locations& locations) {
    std::error_code error;
    if (locations.dataDirectoryIsChosen || fs::exists(locations.configFile, error) || error ||
        !fs::exists(locations.legacyConfig, error))
        return;
    fs::create_directories(locations.dataDirectory, error);
    try {
        atomicfile::write(locations.configFile,
                          file::read(locations.legacyConfig, ConfigFile::maximumSize), ownerOnly);
    } catch (const std::system_error&) {
        // Nothing was written; the defaults serve.
    }
}

// The file holds the access token and the relay's secrets, whoever made it.
void tighten(const fs::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
        (status.st_mode & 07777 & ~ownerOnly) != 0)
        ::chmod(file.c_str(), ownerOnly);
}

// Puts aside what the save that follows would destroy.
// @throws std::system_error when it cannot be kept
std::string keepAside(const Locations& locations, const ConfigFile& file, const Config* inForce) {
    const auto beside = [&](const char* suffix) {
        return fs::path(locations.configFile.string() + suffix);
    };
    // All of it may be gone, not only the file.
    fs::create_directories(locations.dataDirectory);
    std::string kept;
    if (file.state == ConfigFile::State::damaged && !file.error) {
        atomicfile::write(beside(".damaged"), file.bytes, ownerOnly);
        kept = "; its content is kept as config.json.damaged";
    } else if (file.state != ConfigFile::State::absent) {
        // What a link names, so that the link stays.
        fs::rename(fs::canonical(locations.configFile), beside(".damaged"));
        kept = "; it is kept as config.json.damaged";
    }
    if (inForce) {
        atomicfile::write(beside(".last-good"), json::pretty(inForce->raw) + "\n", ownerOnly);
        kept += "; the settings until now are kept as config.json.last-good";
    }
    return kept;
}

std::string_view trouble(const ConfigFile& file) {
    switch (file.state) {
    case ConfigFile::State::damaged:
        return file.error ? "config.json is no file of settings"
                          : "config.json is not a JSON object";
    case ConfigFile::State::unreadable:
        return "config.json cannot be read";
    case ConfigFile::State::absent:
        return "config.json is gone";
    case ConfigFile::State::object:
        break;
    }
    return {};
}

std::optional<PairedDevice> deviceFrom(const JSONValue& value) {
    const JSONValue* id = value["id"];
    const JSONValue* key = value["key"];
    if (!id || !id->string() || !key || !key->string())
        return std::nullopt;
    const JSONValue* addedAt = value["addedAt"];
    return PairedDevice{*id->string(), stringOr(value["name"], "iPhone"), *key->string(),
                        addedAt ? addedAt->number().value_or(0) : 0};
}

} // namespace

std::string_view rawValue(AwayMode mode) {
    switch (mode) {
    case AwayMode::off:
        return "off";
    case AwayMode::on:
        return "on";
    case AwayMode::automatic:
        break;
    }
    return "auto";
}

std::optional<AwayMode> awayModeFrom(std::string_view raw) {
    for (const AwayMode mode : allAwayModes) {
        if (raw == rawValue(mode))
            return mode;
    }
    return std::nullopt;
}

std::string label(AwayMode mode) {
    switch (mode) {
    case AwayMode::off:
        return localized("關閉");
    case AwayMode::on:
        return localized("開啟");
    case AwayMode::automatic:
        break;
    }
    return localized("自動");
}

std::optional<X25519PrivateKey> RelayConfig::agreementKey() const {
    auto bytes = base64url::decode(privateKey);
    if (!bytes)
        return std::nullopt;
    auto key = X25519PrivateKey::from(*bytes);
    scrub(*bytes);
    return key;
}

const JSONObject& Config::defaults() {
    static const JSONObject table{{"host", "127.0.0.1"}, {"port", 8787},          {"mode", "auto"},
                                  {"idleMinutes", 5},    {"permissionWait", 120}, {"stopWait", 60}};
    return table;
}

Config Config::over(const JSONObject& members) {
    std::vector<JSONObject::Member> all(defaults().begin(), defaults().end());
    all.insert(all.end(), members.begin(), members.end());
    Config result;
    result.raw = JSONObject::fromMembers(std::move(all));
    return result;
}

ConfigFile Config::read(const Locations& locations) {
    importLegacy(locations);
    return ConfigFile::read(locations.configFile);
}

Config Config::load(const Locations& locations, const Config* inForce, const LogSink& log) {
    return settle(read(locations), locations, inForce, log);
}

Config Config::settle(const ConfigFile& file, const Locations& locations, const Config* inForce,
                      const LogSink& log) {
    tighten(locations.configFile);
    Config result = over(file.members);
    if (!result.token().empty())
        return result;

    result.raw.set("token", freshToken());
    const bool lost = file.state != ConfigFile::State::object &&
                      (file.state != ConfigFile::State::absent || inForce);
    try {
        if (lost) {
            const std::string kept = keepAside(locations, file, inForce);
            if (log)
                log("tamsell: " + std::string(trouble(file)) + ", starting from the defaults" +
                    kept);
        }
        result.save(locations);
    } catch (const std::system_error& error) {
        // What could not be kept is not written over either.
        if (lost && log)
            log("tamsell: " + std::string(trouble(file)) +
                ", running with the defaults and leaving it alone: " + error.what());
    }
    return result;
}

void Config::save(const Locations& locations) const {
    fs::create_directories(locations.dataDirectory);
    atomicfile::write(locations.configFile, json::pretty(raw) + "\n", ownerOnly);
}

double Config::number(std::string_view key) const {
    const JSONValue* value = raw.find(key);
    if (value && value->number())
        return *value->number();
    const JSONValue* fallback = defaults().find(key);
    assert(fallback && fallback->number());
    return fallback->number().value_or(0);
}

std::string Config::host() const {
    return stringOr(raw.find("host"), "127.0.0.1");
}

AwayMode Config::mode() const {
    return awayModeFrom(stringOr(raw.find("mode"), "")).value_or(AwayMode::automatic);
}

std::string Config::token() const {
    return stringOr(raw.find("token"), "");
}

std::optional<std::string> Config::relayURL() const {
    const JSONValue* relay = raw.find("relay");
    const JSONValue* url = relay ? (*relay)["url"] : nullptr;
    return url && url->string() ? std::optional(*url->string()) : std::nullopt;
}

std::optional<RelayConfig> Config::relay() const {
    const JSONValue* relay = raw.find("relay");
    if (!relay)
        return std::nullopt;
    RelayConfig result;
    const auto take = [&](std::string_view key, std::string& into) {
        const JSONValue* value = (*relay)[key];
        if (!value || !value->string())
            return false;
        into = *value->string();
        return true;
    };
    if (!take("url", result.url) || !take("channel", result.channel) ||
        !take("auth", result.auth) || !take("privateKey", result.privateKey))
        return std::nullopt;
    if (const JSONValue* devices = (*relay)["devices"]; devices && devices->array()) {
        for (const JSONValue& element : *devices->array()) {
            if (auto device = deviceFrom(element))
                result.devices.push_back(std::move(*device));
        }
    }
    return result;
}

void Config::setRelay(const std::optional<RelayConfig>& relay) {
    if (!relay) {
        raw.erase("relay");
        return;
    }
    JSONArray devices;
    for (const PairedDevice& device : relay->devices)
        devices.emplace_back(JSONObject{{"id", device.id},
                                        {"name", device.name},
                                        {"key", device.key},
                                        {"addedAt", device.addedAt}});
    raw.set("relay", JSONObject{{"url", relay->url},
                                {"channel", relay->channel},
                                {"auth", relay->auth},
                                {"privateKey", relay->privateKey},
                                {"devices", std::move(devices)}});
}

void Config::upsertDevice(const PairedDevice& device) {
    if (auto settings = relay()) {
        std::erase_if(settings->devices, [&](const auto& known) { return known.id == device.id; });
        settings->devices.push_back(device);
        setRelay(settings);
    }
}

void Config::removeDevice(std::string_view id) {
    if (auto settings = relay()) {
        std::erase_if(settings->devices, [&](const auto& known) { return known.id == id; });
        setRelay(settings);
    }
}

RelayConfig Config::freshRelayConfig(std::string_view url) {
    url = text::trimmed(url);
    while (url.ends_with('/'))
        url.remove_suffix(1);
    RelayConfig result;
    result.url = url;
    result.channel = base64url::encode(securerandom::bytes<16>());
    result.auth = base64url::encode(securerandom::bytes<32>());
    result.privateKey = base64url::encode(X25519PrivateKey::generate().bytes());
    return result;
}

std::string defaultRelayURL(const EnvironmentLookup& environment) {
    return environment("TAMSELL_RELAY_URL").value_or(TAMSELL_RELAY_URL);
}
