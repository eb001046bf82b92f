#include "platform/IdleSourceKinds.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <ext-idle-notify-v1-client-protocol.h>
#include <wayland-client.h>

#include "core/Descriptor.h"
#include "platform/IdleSocket.h"

using namespace std::chrono_literals;

namespace {

// After so long without input the compositor tells. Short, because what is shorter counts as 0;
// not shorter, because each pause in the typing makes two messages.
constexpr std::chrono::milliseconds toldAfter = 1s;

// One group of input devices.
struct Seat {
    std::uint32_t globalName = 0;
    wl_seat* seat = nullptr;
    ext_idle_notification_v1* notification = nullptr;
    const idle::SteadyClock* now = nullptr;
    std::optional<std::chrono::steady_clock::time_point> idleSince;

    Seat() = default;
    Seat(const Seat&) = delete;
    Seat& operator=(const Seat&) = delete;
    ~Seat() {
        if (notification)
            ext_idle_notification_v1_destroy(notification);
        if (seat)
            wl_seat_destroy(seat);
    }
};

// One connection to a compositor and what was bound on it.
class Connection {
  public:
    explicit Connection(const idle::SteadyClock& now) : m_now(now) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    ~Connection() {
        m_seats.clear();
        if (m_notifier)
            ext_idle_notifier_v1_destroy(m_notifier);
        if (m_registry)
            wl_registry_destroy(m_registry);
        if (m_display)
            wl_display_disconnect(m_display);
    }

    // @returns false when there is no compositor, or none that tells of idleness
    [[nodiscard]] bool open(const std::filesystem::path& socket, idle::Deadline deadline) {
        Descriptor descriptor = idlesocket::connectTo(socket);
        if (!descriptor.isValid())
            return false;
        // Closes the descriptor, even when it fails.
        m_display = wl_display_connect_to_fd(descriptor.release());
        if (!m_display)
            return false;
        m_registry = wl_display_get_registry(m_display);
        static constexpr wl_registry_listener listener{
            .global =
                [](void* self, wl_registry* registry, std::uint32_t name, const char* interface,
                   std::uint32_t) {
                    static_cast<Connection*>(self)->bind(registry, name, interface);
                },
            .global_remove =
                [](void* self, wl_registry*, std::uint32_t name) {
                    static_cast<Connection*>(self)->unbind(name);
                }};
        wl_registry_add_listener(m_registry, &listener, this);
        return hearAllGlobals(deadline) && m_notifier && watchSeats();
    }

    // Takes what has arrived, without waiting.
    // @returns false when the connection is gone
    [[nodiscard]] bool update(idle::Deadline deadline) {
        constexpr idle::Deadline atOnce{};
        bool more = true;
        while (more && std::chrono::steady_clock::now() < deadline)
            if (!dispatch(atOnce, more))
                return false;
        return watchSeats();
    }

    // Nothing when there are no input devices.
    [[nodiscard]] std::optional<std::chrono::milliseconds> idleFor() const {
        std::optional<std::chrono::milliseconds> result;
        for (const auto& seat : m_seats) {
            const auto value =
                seat->idleSince
                    ? std::chrono::floor<std::chrono::milliseconds>(m_now() - *seat->idleSince)
                    : 0ms;
            result = std::min(result.value_or(value), value);
        }
        return result;
    }

  private:
    void bind(wl_registry* registry, std::uint32_t name, const char* interface) {
        if (!m_notifier && std::strcmp(interface, ext_idle_notifier_v1_interface.name) == 0) {
            m_notifier = static_cast<ext_idle_notifier_v1*>(
                wl_registry_bind(registry, name, &ext_idle_notifier_v1_interface, 1));
        } else if (std::strcmp(interface, wl_seat_interface.name) == 0) {
            auto seat = std::make_unique<Seat>();
            seat->globalName = name;
            seat->now = &m_now;
            seat->seat =
                static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
            m_seats.push_back(std::move(seat));
        }
    }

    void unbind(std::uint32_t name) {
        std::erase_if(m_seats, [&](const auto& seat) { return seat->globalName == name; });
    }

    // Asks for notifications of the seats that have none yet.
    [[nodiscard]] bool watchSeats() {
        static constexpr ext_idle_notification_v1_listener listener{
            .idled =
                [](void* data, ext_idle_notification_v1*) {
                    auto& seat = *static_cast<Seat*>(data);
                    seat.idleSince = (*seat.now)() - toldAfter;
                },
            .resumed =
                [](void* data, ext_idle_notification_v1*) {
                    static_cast<Seat*>(data)->idleSince.reset();
                }};
        for (const auto& seat : m_seats) {
            if (seat->notification)
                continue;
            seat->notification = ext_idle_notifier_v1_get_idle_notification(
                m_notifier, static_cast<std::uint32_t>(toldAfter.count()), seat->seat);
            ext_idle_notification_v1_add_listener(seat->notification, &listener, seat.get());
        }
        return wl_display_flush(m_display) >= 0;
    }

    // Waits for the reply to a request that comes behind all globals.
    [[nodiscard]] bool hearAllGlobals(idle::Deadline deadline) {
        bool done = false;
        static constexpr wl_callback_listener listener{
            .done = [](void* flag, wl_callback*, std::uint32_t) {
                *static_cast<bool*>(flag) = true;
            }};
        wl_callback* callback = wl_display_sync(m_display);
        wl_callback_add_listener(callback, &listener, &done);
        bool more = true;
        while (!done && more && dispatch(deadline, more)) {
        }
        wl_callback_destroy(callback);
        return done;
    }

    // Reads once, waiting until the deadline for something to come, and handles it.
    // @param more set to whether something came
    // @returns false when the connection is gone
    [[nodiscard]] bool dispatch(idle::Deadline deadline, bool& more) {
        while (wl_display_prepare_read(m_display) != 0)
            if (wl_display_dispatch_pending(m_display) < 0)
                return false;
        more = wl_display_flush(m_display) >= 0 &&
               idlesocket::waitReadable(wl_display_get_fd(m_display), deadline);
        if (!more) {
            wl_display_cancel_read(m_display);
            return wl_display_get_error(m_display) == 0;
        }
        return wl_display_read_events(m_display) >= 0 &&
               wl_display_dispatch_pending(m_display) >= 0;
    }

    const idle::SteadyClock& m_now;
    wl_display* m_display = nullptr;
    wl_registry* m_registry = nullptr;
    ext_idle_notifier_v1* m_notifier = nullptr;
    std::vector<std::unique_ptr<Seat>> m_seats;
};

class WaylandIdleSource final : public IdleSource {
  public:
    WaylandIdleSource(std::filesystem::path socket, idle::SteadyClock now)
        : m_socket(std::move(socket)), m_now(std::move(now)) {}

    [[nodiscard]] std::string_view name() const override { return "Wayland ext-idle-notify-v1"; }

    [[nodiscard]] std::optional<std::chrono::milliseconds> read() override {
        const auto deadline = std::chrono::steady_clock::now() + idle::callBound;
        // A connection that went away while nobody read is made anew at once.
        if (m_connection && !m_connection->update(deadline))
            m_connection.reset();
        if (!m_connection) {
            auto connection = std::make_unique<Connection>(m_now);
            if (!connection->open(m_socket, deadline))
                return std::nullopt;
            m_connection = std::move(connection);
        }
        const auto result = m_connection->idleFor();
        if (!result)
            m_connection.reset();
        return result;
    }

  private:
    std::filesystem::path m_socket;
    idle::SteadyClock m_now;
    std::unique_ptr<Connection> m_connection;
};

} // namespace

std::unique_ptr<IdleSource> idle::waylandIdleSource(std::filesystem::path socket, SteadyClock now) {
    return std::make_unique<WaylandIdleSource>(std::move(socket), std::move(now));
}
