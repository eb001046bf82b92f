#include "ctl/Context.h"

#include <sys/stat.h>
#include <unistd.h>

#include "core/ConfigFile.h"

namespace ctl {

Config Context::config() const {
    return Config::over(ConfigFile::read(locations.configFile).members);
}

uid_t Context::owner() const {
    struct stat status {};
    return ::stat(locations.configFile.c_str(), &status) == 0 ? status.st_uid : ::getuid();
}

} // namespace ctl
