#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <optional>

#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "core/ConfigFile.h"
#include "core/Decimal.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/Shown.h"
#include "platform/Endpoint.h"

namespace fs = std::filesystem;

namespace ctl {

namespace {

using Level = Finding::Level;

std::string userName(uid_t user) {
    const passwd* entry = ::getpwuid(user);
    return entry && entry->pw_name ? text::visible(entry->pw_name) : std::to_string(user);
}

// Everything that speaks for the user must be the user's own: files by which programs are run.
std::optional<Finding> foreignAccess(const std::string& subject, const fs::path& path,
                                     const struct stat& status, mode_t forbidden, Mend mend) {
    // The superuser looks after other users' homes.
    if (status.st_uid != ::getuid() && ::getuid() != 0)
        return Finding{Level::problem, subject,
                       localized("%@ 屬於 %@", {shown(path), userName(status.st_uid)}),
                       "sudo chown -R " + userName(::getuid()) + " " + inShell(path)};
    if ((status.st_mode & forbidden) != 0)
        return Finding{Level::problem, subject,
                       localized((status.st_mode & forbidden & 0022) != 0 ? "其他使用者可以改 %@"
                                                                          : "其他使用者可以讀 %@",
                                 {shown(path)}),
                       "chmod go-rwx " + inShell(path),
                       status.st_uid == ::getuid() ? mend : Mend::none};
    return std::nullopt;
}

// Beyond this the file of events is worth a word: nothing ever shortens it.
constexpr std::uintmax_t largeLog = std::uintmax_t{1} << 30;
constexpr double gibibyte = 1 << 30;

bool isFull(const fs::path& directory) {
    struct statvfs status {};
    // Some file systems do not count.
    if (::statvfs(directory.c_str(), &status) != 0 || status.f_blocks == 0)
        return false;
    return (::getuid() == 0 ? status.f_bfree : status.f_bavail) == 0;
}

Findings checkLogs(const Locations& locations) {
    const std::string subject = localized("事件紀錄");
    const fs::path& directory = locations.logsDirectory;
    const fs::path& log = locations.eventsLog;
    struct stat status {};
    Findings findings;
    if (::stat(directory.c_str(), &status) == 0) {
        const bool isDirectory = S_ISDIR(status.st_mode);
        if (!isDirectory || ::access(directory.c_str(), W_OK | X_OK) != 0)
            return {{Level::problem, subject,
                     localized("%@ 無法寫入，事件沒有留下紀錄", {shown(directory)}),
                     localized("把它移開，再重新啟動 Tamsell"),
                     isDirectory && status.st_uid == ::getuid() ? Mend::logsMode : Mend::none}};
        if (auto stranger =
                foreignAccess(localized("紀錄資料夾"), directory, status, 0077, Mend::logsMode))
            findings.push_back(std::move(*stranger));
        // The daemon cannot keep a note of it.
        if (isFull(directory))
            findings.push_back(
                {Level::problem, subject,
                 localized("%@ 所在的磁碟滿了，事件沒有留下紀錄", {shown(directory)}),
                 localized("清出空間")});
    }
    if (::stat(log.c_str(), &status) != 0)
        return findings;
    if (!S_ISREG(status.st_mode)) {
        findings.push_back({Level::problem, subject,
                            localized("%@ 不是檔案，事件沒有留下紀錄", {shown(log)}),
                            localized("把它移開")});
    } else if (static_cast<std::uintmax_t>(status.st_size) > largeLog) {
        std::array<char, 32> size{};
        std::snprintf(size.data(), size.size(), "%.1f GiB",
                      static_cast<double>(status.st_size) / gibibyte);
        findings.push_back({Level::notice, subject,
                            localized("%@ 已經有 %@", {shown(log), size.data()}),
                            localized("移走或刪除它，Tamsell 會接著寫新的一份")});
    }
    return findings;
}

// A setting whose value counts as its default.
std::optional<Finding> unusableMember(const JSONObject& members, std::string_view key,
                                      std::string_view fallback) {
    const JSONValue* value = members.find(key);
    const JSONValue* standard = Config::defaults().find(key);
    const bool isFit = !value || !standard || value->type() == standard->type();
    const bool isMode = key == "mode" && value && value->string();
    if (isMode ? awayModeFrom(*value->string()).has_value() : isFit)
        return std::nullopt;
    return Finding{Level::notice, localized("設定檔"),
                   localized("「%@」的值 %@ 無效，改用 %@",
                             {std::string(key),
                              text::visible(text::prefix(json::compact(*value).value_or("?"), 40)),
                              std::string(fallback)}),
                   localized("修正 config.json")};
}

Findings checkMembers(const JSONObject& members) {
    Findings findings;
    for (const auto& [key, standard] : Config::defaults()) {
        const std::string fallback =
            standard.string() ? *standard.string() : json::compact(standard).value();
        if (auto finding = unusableMember(members, key, fallback))
            findings.push_back(std::move(*finding));
    }
    const Config config = Config::over(members);
    const double port = std::trunc(config.number("port"));
    if (!(port >= 1 && port <= 65535)) {
        std::string digits;
        decimal::append(digits, config.number("port"));
        findings.push_back({Level::problem, localized("設定檔"),
                            localized("port 是 %@，hooks 找不到這樣的連接埠", {digits}),
                            localized("把 config.json 的 port 改成 1 到 65535，例如 8787")});
    } else if (loopbackCandidates(config.host(), port).empty()) {
        findings.push_back({Level::problem, localized("設定檔"),
                            localized("host 是 %@，hooks 只連到這台電腦自己的位址",
                                      {text::visible(config.host())}),
                            localized("把 config.json 的 host 改成 127.0.0.1")});
    }
    return findings;
}

// Settings that were kept long before the file was last written may bring back a relay or a phone
// that was removed since; that is for the person to decide.
bool isOfThisDamage(const fs::path& lastGood, const fs::path& damaged) {
    std::error_code error;
    const auto kept = fs::last_write_time(lastGood, error);
    const auto written = error ? kept : fs::last_write_time(damaged, error);
    return !error && written - kept <= std::chrono::minutes(1);
}

Finding stateFinding(const ConfigFile& file, const fs::path& path, bool hasLastGood) {
    const std::string subject = localized("設定檔");
    const std::string repair = hasLastGood
                                   ? "tamsellctl doctor --restore"
                                   : localized("修正它，或刪掉它（Tamsell 會用預設值重建）");
    switch (file.state) {
    case ConfigFile::State::absent:
        return {Level::notice, subject, localized("還沒有 %@", {shown(path)}),
                localized("啟動 Tamsell 一次")};
    case ConfigFile::State::unreadable:
        return {Level::problem, subject,
                localized("讀不到 %@：%@", {shown(path), file.error.message()}),
                "ls -l " + inShell(path),
                file.error == std::errc::permission_denied ? Mend::configMode : Mend::none};
    case ConfigFile::State::damaged:
        if (file.error)
            return {Level::problem, subject,
                    localized("%@ 不是設定檔：%@", {shown(path), file.error.message()}), repair};
        return {Level::problem, subject, localized("%@ 不是 JSON 物件", {shown(path)}), repair,
                isOfThisDamage(path.string() + ".last-good", path) ? Mend::restoreConfig
                                                                   : Mend::none};
    case ConfigFile::State::object:
        break;
    }
    return {Level::good, subject, shown(path), ""};
}

} // namespace

Findings checkDataDirectory(const Locations& locations) {
    const std::string subject = localized("資料夾");
    const fs::path& path = locations.dataDirectory;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return {{Level::notice, subject, localized("還沒有 %@", {shown(path)}),
                 localized("啟動 Tamsell 一次")}};
    if (!S_ISDIR(status.st_mode))
        return {{Level::problem, subject, localized("%@ 不是資料夾", {shown(path)}),
                 localized("把它移開，再啟動 Tamsell")}};
    auto stranger = foreignAccess(subject, path, status, 0022, Mend::dataDirectoryMode);
    Findings findings{stranger ? std::move(*stranger)
                               : Finding{Level::good, subject, shown(path), ""}};
    std::ranges::move(checkLogs(locations), std::back_inserter(findings));
    return findings;
}

Findings checkConfig(const Locations& locations) {
    const fs::path& path = locations.configFile;
    const auto beside = [&](const char* suffix) {
        std::error_code error;
        return fs::exists(path.string() + suffix, error);
    };
    const bool hasLastGood = beside(".last-good");
    const ConfigFile file = ConfigFile::read(path);
    Findings findings{stateFinding(file, path, hasLastGood)};
    struct stat status {};
    if (file.state == ConfigFile::State::object) {
        if (::stat(path.c_str(), &status) == 0) {
            if (auto stranger =
                    foreignAccess(localized("設定檔"), path, status, 0077, Mend::configMode))
                findings = {std::move(*stranger)};
        }
        for (Finding& finding : checkMembers(file.members))
            findings.push_back(std::move(finding));
    }
    if (hasLastGood)
        findings.push_back({Level::notice, localized("設定檔"),
                            localized("曾經損壞過，之前的設定留在 %@.last-good", {shown(path)}),
                            localized("用 tamsellctl doctor --restore 還原，或刪除該檔")});
    return findings;
}

} // namespace ctl
