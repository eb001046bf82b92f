#include "daemon/LiveConfig.h"

#include <system_error>
#include <utility>

LiveConfig::LiveConfig(const Locations& locations, LogSink log)
    : m_locations(locations), m_log(std::move(log)) {
    const auto before = ConfigFile::stamp(m_locations.configFile);
    const ConfigFile found = Config::read(m_locations);
    m_config = Config::settle(found, m_locations, nullptr, m_log);
    // A first start has nothing better to lose.
    m_isFallback =
        found.state != ConfigFile::State::object && found.state != ConfigFile::State::absent;
    // A token that was missing has been saved; that is no change from outside. Otherwise what was
    // there before the reading counts, so that no later change is missed.
    const bool saved = m_config.token() != found.members.optionalString("token");
    m_stamp = saved ? ConfigFile::stamp(m_locations.configFile) : before;
}

bool LiveConfig::reload() {
    const auto stamp = ConfigFile::stamp(m_locations.configFile);
    if (stamp == m_stamp) {
        m_unsettled.reset();
        return false;
    }
    const ConfigFile found = Config::read(m_locations);
    if (mustWait(found, stamp))
        return false;
    m_unsettled.reset();
    // Settings that were themselves a way out are not worth keeping in the place of better ones.
    const bool isWorthKeeping = !m_isFallback || m_config.relay();
    m_config = Config::settle(found, m_locations, isWorthKeeping ? &m_config : nullptr, m_log);
    m_isFallback = found.state != ConfigFile::State::object;
    const bool saved = m_config.token() != found.members.optionalString("token");
    m_stamp = saved ? ConfigFile::stamp(m_locations.configFile) : stamp;
    if (!m_unsaved.empty()) {
        for (const Change& change : std::exchange(m_unsaved, {}))
            change(m_config);
        save();
    }
    return true;
}

bool LiveConfig::mustWait(const ConfigFile& found, const std::optional<ConfigFile::Stamp>& stamp) {
    if (found.state == ConfigFile::State::object)
        return false;
    const auto now = std::chrono::steady_clock::now();
    const bool isNew =
        !m_unsettled || m_unsettled->stamp != stamp || m_unsettled->state != found.state;
    if (isNew)
        m_unsettled = Unsettled{stamp, now, found.state};
    if (found.state == ConfigFile::State::unreadable) {
        if (isNew)
            m_log("tamsell: cannot read config.json, trying again: " + found.error.message());
        return true;
    }
    return now - m_unsettled->since < settlingTime;
}

void LiveConfig::update(const Change& change) {
    // What somebody wrote into the file a moment ago is not to be written over.
    reload();
    change(m_config);
    if (m_unsettled) {
        m_unsaved.push_back(change);
        m_log("tamsell: cannot save config: config.json has changed and cannot be read yet");
    } else {
        save();
    }
}

void LiveConfig::save() {
    try {
        m_config.save(m_locations);
        m_stamp = ConfigFile::stamp(m_locations.configFile);
    } catch (const std::system_error& error) {
        m_log("tamsell: cannot save config: " + std::string(error.what()));
    }
}
