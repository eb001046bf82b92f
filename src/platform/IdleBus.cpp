#include "platform/IdleBus.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string_view>

#include <systemd/sd-bus.h>

namespace {

// What is queued on our connection is the greeting and late replies; more comes from a bus that
// floods us.
constexpr int staleMessagesPerCall = 64;

// As sd-bus counts: 0 once the deadline has passed, which its calls take for "do not wait".
std::uint64_t microsecondsUntil(idle::Deadline deadline) {
    const auto left =
        std::chrono::ceil<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
    return left.count() > 0 ? static_cast<std::uint64_t>(left.count()) : 0;
}

std::string unixEntries(std::string_view address) {
    std::string result;
    while (!address.empty()) {
        const auto entry = address.substr(0, address.find(';'));
        address.remove_prefix(std::min(entry.size() + 1, address.size()));
        if (!entry.starts_with("unix:"))
            continue;
        if (!result.empty())
            result += ';';
        result += entry;
    }
    return result;
}

// As values in D-Bus addresses are escaped.
std::string escaped(std::string_view path) {
    constexpr std::string_view plain = "-_/.\\*";
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        const bool alphanumeric = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                                  (byte >= 'a' && byte <= 'z');
        if (alphanumeric || plain.find(character) != std::string_view::npos) {
            result += character;
        } else {
            result += '%';
            result += digits[byte >> 4];
            result += digits[byte & 15];
        }
    }
    return result;
}

} // namespace

void IdleBus::Unreference::operator()(sd_bus_message* message) const {
    sd_bus_message_unref(message);
}

IdleBus::IdleBus(const std::string& address) : m_address(unixEntries(address)) {}

IdleBus::~IdleBus() {
    close();
}

std::string IdleBus::sessionAddress(const EnvironmentLookup& environment) {
    if (const auto address = environment("DBUS_SESSION_BUS_ADDRESS"); address && !address->empty())
        return *address;
    const auto runtime = environment("XDG_RUNTIME_DIR");
    if (!runtime || !runtime->starts_with('/'))
        return {};
    return "unix:path=" + escaped(*runtime + "/bus");
}

std::string IdleBus::systemAddress(const EnvironmentLookup& environment) {
    if (const auto address = environment("DBUS_SYSTEM_BUS_ADDRESS"); address && !address->empty())
        return *address;
    return "unix:path=/run/dbus/system_bus_socket";
}

IdleBus::Reply IdleBus::call(const Method& method, idle::Deadline deadline, const char* argument) {
    if (!m_bus && !open(deadline))
        return nullptr;
    int result = 1;
    for (int i = 0; i < staleMessagesPerCall && result > 0; ++i)
        result = sd_bus_process(m_bus, nullptr);
    if (result < 0) {
        // The bus went away since the last call; it may be back already.
        close();
        if (!open(deadline))
            return nullptr;
    }

    sd_bus_message* request = nullptr;
    if (sd_bus_message_new_method_call(m_bus, &request, method.service, method.path,
                                       method.interface, method.name) < 0)
        return nullptr;
    const Reply owned(request);
    if (sd_bus_message_set_auto_start(request, 0) < 0 ||
        (argument && sd_bus_message_append_basic(request, SD_BUS_TYPE_STRING, argument) < 0))
        return nullptr;
    // sd-bus takes 0 for its default of 25 s.
    const auto left = microsecondsUntil(deadline);
    if (left == 0)
        return nullptr;
    sd_bus_error error{};
    sd_bus_message* reply = nullptr;
    result = sd_bus_call(m_bus, request, left, &error, &reply);
    sd_bus_error_free(&error);
    // After an error from the service, or none in time, the connection itself still serves: a late
    // reply is dropped by the next call.
    if (result < 0 && sd_bus_is_open(m_bus) <= 0)
        close();
    return Reply(result < 0 ? nullptr : reply);
}

bool IdleBus::open(idle::Deadline deadline) {
    if (m_address.empty() || sd_bus_new(&m_bus) < 0)
        return false;
    int result = sd_bus_set_address(m_bus, m_address.c_str());
    if (result >= 0)
        result = sd_bus_set_bus_client(m_bus, 1);
    if (result >= 0)
        result = sd_bus_start(m_bus);
    // sd_bus_call would finish the handshake by itself, but without a bound.
    while (result >= 0 && sd_bus_is_ready(m_bus) == 0) {
        const auto left = microsecondsUntil(deadline);
        if (left == 0)
            result = -ETIMEDOUT;
        else if ((result = sd_bus_process(m_bus, nullptr)) == 0)
            result = sd_bus_wait(m_bus, left);
    }
    if (result >= 0)
        return true;
    close();
    return false;
}

void IdleBus::close() {
    // Not the flushing variant: it waits until the other side has read everything.
    sd_bus_close_unref(m_bus);
    m_bus = nullptr;
}
