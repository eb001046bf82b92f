#pragma once

#include <memory>
#include <string>

#include "core/Locations.h"
#include "platform/IdleSource.h"

struct sd_bus;
struct sd_bus_message;

/// A connection to a message bus that is opened at the first call, and whose every step, the
/// handshake included, ends at the caller's deadline. What goes wrong closes it; the next call
/// opens it again.
class IdleBus {
  public:
    struct Method {
        const char* service;
        const char* path;
        const char* interface;
        const char* name;
    };

    struct Unreference {
        void operator()(sd_bus_message* message) const;
    };
    using Reply = std::unique_ptr<sd_bus_message, Unreference>;

    /// @param address a list as D-Bus writes it; only its "unix:" entries are used,
    ///        because the others wait for resolvers or start programs
    explicit IdleBus(const std::string& address);
    ~IdleBus();
    IdleBus(const IdleBus&) = delete;
    IdleBus& operator=(const IdleBus&) = delete;

    /// The bus of the user's session: DBUS_SESSION_BUS_ADDRESS, or else "bus" in XDG_RUNTIME_DIR;
    /// empty where there is neither.
    [[nodiscard]] static std::string sessionAddress(const EnvironmentLookup& environment);
    /// DBUS_SYSTEM_BUS_ADDRESS, or else the usual place.
    [[nodiscard]] static std::string systemAddress(const EnvironmentLookup& environment);

    /// Never starts a service that is not running.
    /// @param argument the one string the method takes, or null for a method without arguments
    /// @returns null when there is no reply by the deadline, or an error
    [[nodiscard]] Reply call(const Method& method, idle::Deadline deadline,
                             const char* argument = nullptr);

  private:
    [[nodiscard]] bool open(idle::Deadline deadline);
    void close();

    std::string m_address;
    sd_bus* m_bus = nullptr;
};
