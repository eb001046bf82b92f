#include "FakeCompositor.h"

#include <cstdio>
#include <stdexcept>

#include <ext-idle-notify-v1-server-protocol.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <wayland-server.h>

class FakeCompositor::Server {
  public:
    Server(State& state, int listener, int seats, bool tells) : m_state(state) {
        wl_display_add_socket_fd(m_display, listener);
        // The notifier after the seats on one run, before them on another, as compositors differ.
        if (tells && seats > 1)
            addNotifier();
        for (int i = 0; i < seats; ++i)
            addSeat();
        if (tells && seats <= 1)
            addNotifier();
    }

    void run() {
        for (;;) {
            wl_display_flush_clients(m_display);
            wl_event_loop_dispatch(wl_display_get_event_loop(m_display), 2);
            const auto command = m_state.command.load();
            if (command == Command::none)
                continue;
            obey(command, static_cast<std::size_t>(m_state.seat));
            wl_display_flush_clients(m_display);
            m_state.command = Command::none;
        }
    }

  private:
    struct Seat {
        wl_global* global = nullptr;
        std::vector<wl_resource*> notifications;
    };

    void obey(Command command, std::size_t index) {
        if (command == Command::addSeat)
            return addSeat();
        auto& seat = *m_seats.at(index);
        if (command == Command::removeSeat)
            wl_global_remove(seat.global);
        for (auto* notification : seat.notifications) {
            if (command == Command::idle)
                ext_idle_notification_v1_send_idled(notification);
            if (command == Command::resume)
                ext_idle_notification_v1_send_resumed(notification);
        }
    }

    void addSeat() {
        auto& seat = *m_seats.emplace_back(std::make_unique<Seat>());
        seat.global = wl_global_create(
            m_display, &wl_seat_interface, 5, &seat,
            [](wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
                auto* resource =
                    wl_resource_create(client, &wl_seat_interface, static_cast<int>(version), id);
                wl_resource_set_implementation(resource, nullptr, data, nullptr);
                wl_seat_send_capabilities(resource, WL_SEAT_CAPABILITY_KEYBOARD);
            });
    }

    void addNotifier() {
        static constexpr struct ext_idle_notifier_v1_interface implementation {
            .destroy = [](wl_client*, wl_resource* resource) { wl_resource_destroy(resource); },
            .get_idle_notification = watch
        };
        wl_global_create(m_display, &ext_idle_notifier_v1_interface, 1, this,
                         [](wl_client* client, void* data, std::uint32_t, std::uint32_t id) {
                             wl_resource_set_implementation(
                                 wl_resource_create(client, &ext_idle_notifier_v1_interface, 1, id),
                                 &implementation, data, nullptr);
                         });
    }

    static void watch(wl_client* client, wl_resource* notifier, std::uint32_t id,
                      std::uint32_t timeout, wl_resource* seatResource) {
        auto& server = *static_cast<Server*>(wl_resource_get_user_data(notifier));
        auto& seat = *static_cast<Seat*>(wl_resource_get_user_data(seatResource));
        static constexpr struct ext_idle_notification_v1_interface implementation {
            .destroy = [](wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }
        };
        auto* resource = wl_resource_create(client, &ext_idle_notification_v1_interface, 1, id);
        wl_resource_set_implementation(resource, &implementation, &server, [](wl_resource* gone) {
            auto& self = *static_cast<Server*>(wl_resource_get_user_data(gone));
            for (const auto& each : self.m_seats)
                std::erase(each->notifications, gone);
            --self.m_state.notifications;
        });
        seat.notifications.push_back(resource);
        server.m_state.timeout = timeout;
        ++server.m_state.notifications;
    }

    State& m_state;
    wl_display* m_display = wl_display_create();
    std::vector<std::unique_ptr<Seat>> m_seats;
};

FakeCompositor::FakeCompositor(Seats seats, Protocol protocol)
    : m_seats(seats), m_protocol(protocol) {
    restart();
}

void FakeCompositor::restart() {
    m_process.reset();
    m_state->notifications = 0;
    std::filesystem::remove(m_socket);
    m_process = std::make_unique<ChildProcess>([this] {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        m_socket.native().copy(address.sun_path, sizeof address.sun_path - 1);
        const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            listen(listener, 1) != 0)
            return;
        Server server(*m_state, listener, static_cast<int>(m_seats),
                      m_protocol == Protocol::present);
        std::puts("ready");
        std::fflush(stdout);
        server.run();
    });
    if (m_process->line() != "ready")
        throw std::runtime_error("the fake compositor does not start");
}

void FakeCompositor::command(Command command, int seat) {
    m_state->seat = seat;
    m_state->command = command;
    if (!waitFor([&] { return m_state->command == Command::none; }))
        throw std::runtime_error("the fake compositor does not obey");
}
