#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace bench {

/// Takes the part of a desktop's tray on a session bus: the watcher that icons register with and
/// the host that shows them, in one (freedesktop.org, "StatusNotifierItem"). It answers only while
/// one of its functions runs.
class StatusNotifierHost {
  public:
    /// @param bus the address of the session bus
    /// @throws std::system_error when it cannot be used
    explicit StatusNotifierHost(const std::string& bus);
    ~StatusNotifierHost();
    StatusNotifierHost(const StatusNotifierHost&) = delete;
    StatusNotifierHost& operator=(const StatusNotifierHost&) = delete;

    struct Item {
        std::string owner; ///< its unique name on the bus
        std::chrono::steady_clock::time_point registered;
    };

    /// Waits for the next icon, and then asks it for all that a host shows of it.
    /// @throws std::runtime_error when none comes within 30 seconds
    Item awaitItem();
    /// What a click on the icon does.
    /// @throws std::system_error when it does not answer
    void activate(const Item& item);

  private:
    class Bus;
    std::unique_ptr<Bus> m_bus;
};

} // namespace bench
