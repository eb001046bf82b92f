#include "hooks/LegacyDaemon.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

#include "core/DaemonError.h"
#include "core/Localized.h"
#include "platform/ChildProcess.h"

namespace fs = std::filesystem;

LegacyDaemon::LegacyDaemon(fs::path home, fs::path launchctl, std::chrono::milliseconds patience,
                           uid_t user)
    : m_home(std::move(home)),
      m_launchctl(std::move(launchctl)),
      m_patience(patience),
      m_user(user) {}

bool LegacyDaemon::legacyAgentInstalled() const {
    return std::ranges::any_of(labels, [this](std::string_view label) {
        std::error_code error;
        return fs::exists(launchAgentFile(label), error);
    });
}

void LegacyDaemon::takeOver() const {
    for (const std::string_view label : labels) {
        std::error_code error;
        if (fs::exists(launchAgentFile(label), error))
            disableAgent(label);
    }
}

void LegacyDaemon::disableAgent(std::string_view label) const {
    bootOut(label);
    const fs::path aside = disabledCopy(label);
    std::error_code ignored;
    fs::remove_all(aside, ignored);
    if (fs::exists(fs::symlink_status(aside, ignored)))
        throw std::system_error(std::make_error_code(std::errc::file_exists), aside.string());
    fs::rename(launchAgentFile(label), aside);
}

fs::path LegacyDaemon::launchAgentFile(std::string_view label) const {
    return m_home / "Library/LaunchAgents" / (std::string(label) + ".plist");
}

fs::path LegacyDaemon::disabledCopy(std::string_view label) const {
    return launchAgentFile(label).string() + ".disabled";
}

void LegacyDaemon::bootOut(std::string_view label) const {
    const std::string target = "gui/" + std::to_string(m_user) + "/" + std::string(label);
    ChildProcess process({.arguments = {m_launchctl.string(), "bootout", target},
                          .input = {},
                          .output = ChildProcess::Output::discarded});
    const auto until = ChildProcess::Clock::now() + m_patience;
    // A signal to this process ends a wait early.
    while (!process.wait(until)) {
        if (ChildProcess::Clock::now() >= until)
            throw DaemonError(
                localized("%@ 沒有回應，舊版 daemon 可能還在執行", {m_launchctl.string()}));
    }
}
