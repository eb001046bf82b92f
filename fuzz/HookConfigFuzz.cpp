#include <cstdint>
#include <string>
#include <string_view>

#include "core/Config.h"
#include "core/ConfigFile.h"
#include "hook/HookConfig.h"

// The daemon and the hook read host and port with different code, and a file that only one of them
// understands would part them: whatever the bytes are, both must come to the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const Config daemons = Config::over(ConfigFile::parse(std::string(bytes)).members);
    const hook::HookConfig hooks = hook::HookConfig::parse(bytes);
    if (hooks.host != daemons.host() || hooks.port != daemons.number("port"))
        __builtin_trap();
    return 0;
}
