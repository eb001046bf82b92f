#include "platform/IdleSourceKinds.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include <systemd/sd-bus.h>

#include "platform/IdleBus.h"

using namespace std::chrono_literals;

namespace {

constexpr const char* service = "org.freedesktop.login1";

// Sessions beyond these are not asked about: every one costs a round trip.
constexpr std::size_t mostSessions = 16;
constexpr auto remoteAskedEvery = 10s;

// What of a session's properties matters here.
struct Session {
    std::string type;
    std::string sessionClass;
    std::string state;
    bool isRemote = false;
    bool isIdle = false;
    std::uint64_t idleSince = 0;

    [[nodiscard]] bool isOfPerson() const {
        return sessionClass.starts_with("user") && state != "closing";
    }
    [[nodiscard]] bool isGraphical() const {
        return type == "x11" || type == "wayland" || type == "mir";
    }
    [[nodiscard]] bool tellsIdleness() const { return idleSince > 0 && (isIdle || !isGraphical()); }
};

// @returns false when the message has another shape
bool readText(sd_bus_message* message, std::string& text) {
    const char* value = nullptr;
    if (sd_bus_message_read(message, "v", "s", &value) < 0)
        return false;
    text = value;
    return true;
}

bool readFlag(sd_bus_message* message, bool& flag) {
    int value = 0;
    if (sd_bus_message_read(message, "v", "b", &value) < 0)
        return false;
    flag = value != 0;
    return true;
}

bool readProperty(sd_bus_message* message, Session& session) {
    const char* name = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &name) < 0)
        return false;
    const std::string_view property = name;
    if (property == "Type")
        return readText(message, session.type);
    if (property == "Class")
        return readText(message, session.sessionClass);
    if (property == "State")
        return readText(message, session.state);
    if (property == "Remote")
        return readFlag(message, session.isRemote);
    if (property == "IdleHint")
        return readFlag(message, session.isIdle);
    if (property == "IdleSinceHint")
        return sd_bus_message_read(message, "v", "t", &session.idleSince) >= 0;
    return sd_bus_message_skip(message, "v") >= 0;
}

std::optional<Session> readSession(sd_bus_message* message) {
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0)
        return std::nullopt;
    Session session;
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0)
        if (!readProperty(message, session) || sd_bus_message_exit_container(message) < 0)
            return std::nullopt;
    if (entered < 0)
        return std::nullopt;
    return session;
}

// The object paths of the user's sessions; nothing when the message has another shape.
std::optional<std::vector<std::string>> readPaths(sd_bus_message* message, std::uint32_t userId) {
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "(susso)") < 0)
        return std::nullopt;
    std::vector<std::string> result;
    std::uint32_t user = 0;
    const char* path = nullptr;
    int read = 0;
    while ((read = sd_bus_message_read(message, "(susso)", nullptr, &user, nullptr, nullptr,
                                       &path)) > 0)
        if (user == userId && result.size() < mostSessions)
            result.emplace_back(path);
    if (read < 0)
        return std::nullopt;
    return result;
}

} // namespace

idle::LoginSessions::LoginSessions(std::shared_ptr<IdleBus> systemBus, std::uint32_t userId,
                                   WallClock wall, SteadyClock now)
    : m_bus(std::move(systemBus)),
      m_userId(userId),
      m_wall(std::move(wall)),
      m_now(std::move(now)) {}

std::optional<std::chrono::milliseconds> idle::LoginSessions::read() {
    if (!refresh() || !m_newest)
        return std::nullopt;
    return std::chrono::floor<std::chrono::milliseconds>(m_wall() - *m_newest);
}

bool idle::LoginSessions::hasRemote() {
    if (!m_refreshNotBefore || m_now() >= *m_refreshNotBefore)
        (void)refresh();
    return m_hasRemote;
}

bool idle::LoginSessions::refresh() {
    m_newest.reset();
    m_refreshNotBefore = m_now() + leftAloneFor;

    const auto deadline = std::chrono::steady_clock::now() + callBound;
    const auto list = m_bus->call(
        {service, "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "ListSessions"},
        deadline);
    const auto paths = list ? readPaths(list.get(), m_userId) : std::nullopt;
    if (!paths)
        return false;
    bool hasRemote = false;
    for (const auto& path : *paths) {
        const auto reply =
            m_bus->call({service, path.c_str(), "org.freedesktop.DBus.Properties", "GetAll"},
                        deadline, "org.freedesktop.login1.Session");
        // It may have ended since it was listed.
        const auto session = reply ? readSession(reply.get()) : std::nullopt;
        if (!session || !session->isOfPerson())
            continue;
        hasRemote = hasRemote || session->isRemote;
        if (!session->tellsIdleness())
            continue;
        const std::chrono::system_clock::time_point since{
            std::chrono::microseconds(static_cast<std::int64_t>(session->idleSince))};
        m_newest = std::max(m_newest.value_or(since), since);
    }
    m_hasRemote = hasRemote;
    m_refreshNotBefore = m_now() + remoteAskedEvery;
    return true;
}
