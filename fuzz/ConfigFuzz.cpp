#include <cmath>
#include <cstdint>
#include <string>

#include "Require.h"
#include "core/Config.h"
#include "core/ConfigFile.h"
#include "core/Text.h"

// Whatever lies at the place of the configuration, every reader answers, and what is written back
// reads as the same settings.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const ConfigFile file = ConfigFile::parse(bytes);
    require(file.bytes == bytes);
    Config config = Config::over(file.members);
    for (const auto& [key, value] : file.members)
        require(config.raw.find(key) && *config.raw.find(key) == value);

    for (const char* key : {"port", "idleMinutes", "permissionWait", "stopWait"})
        require(std::isfinite(config.number(key)));
    (void)config.host();
    (void)config.token();
    require(awayModeFrom(rawValue(config.mode())) == config.mode());
    require(!Config::freshRelayConfig(config.relayURL().value_or("")).url.ends_with('/'));

    if (const auto relay = config.relay()) {
        (void)relay->agreementKey();
        config.setRelay(relay);
        require(config.relay() == relay);
        config.upsertDevice({"id", "name", "key", 1});
        require(config.relay()->devices.back() == (PairedDevice{"id", "name", "key", 1}));
        config.removeDevice("id");
        const auto without = config.relay();
        require(without.has_value());
        for (const PairedDevice& device : without->devices)
            require(device.id != "id");
    }
    const ConfigFile again = ConfigFile::parse(json::pretty(config.raw) + "\n");
    require(again.state == ConfigFile::State::object && again.members == config.raw);
    return 0;
}
