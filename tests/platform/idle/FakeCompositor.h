#pragma once

#include <filesystem>

#include <ext-idle-notify-v1-server-protocol.h>
#include <wayland-server.h>

#include "FakeServer.h"

/// A Wayland server with one seat that tells one client of idleness when the test says so.
class FakeCompositor : public FakeServer {
  public:
    explicit FakeCompositor(const std::filesystem::path& socket) {
        if (wl_display_add_socket(m_display, socket.c_str()) != 0)
            throw std::runtime_error("the fake compositor does not start");
        wl_global_create(m_display, &wl_seat_interface, 1, nullptr,
                         [](wl_client* client, void*, std::uint32_t, std::uint32_t id) {
                             wl_resource_create(client, &wl_seat_interface, 1, id);
                         });
        auto* const loop = wl_display_get_event_loop(m_display);
        run(wl_event_loop_get_fd(loop), [this, loop] {
            wl_event_loop_dispatch(loop, 0);
            wl_display_flush_clients(m_display);
        });
    }
    ~FakeCompositor() {
        end();
        wl_display_destroy_clients(m_display);
        wl_display_destroy(m_display);
    }

    /// Until then it does not know the protocol.
    void addNotifier() {
        const std::lock_guard lock(mutex);
        wl_global_create(m_display, &ext_idle_notifier_v1_interface, 1, this,
                         [](wl_client* client, void* self, std::uint32_t, std::uint32_t id) {
                             static constexpr struct ext_idle_notifier_v1_interface calls {
                                 destroy, watch
                             };
                             wl_resource_set_implementation(
                                 wl_resource_create(client, &ext_idle_notifier_v1_interface, 1, id),
                                 &calls, self, nullptr);
                         });
    }
    /// Each returns once the message is sent.
    void idle() { tell(ext_idle_notification_v1_send_idled); }
    void resume() { tell(ext_idle_notification_v1_send_resumed); }

  private:
    void tell(void (*message)(wl_resource*)) {
        for (bool isTold = false; !isTold; std::this_thread::yield()) {
            const std::lock_guard lock(mutex);
            if ((isTold = m_notification != nullptr))
                message(m_notification);
            wl_display_flush_clients(m_display);
        }
    }

    static void destroy(wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }

    static void watch(wl_client* client, wl_resource* notifier, std::uint32_t id, std::uint32_t,
                      wl_resource*) {
        static constexpr struct ext_idle_notification_v1_interface calls { destroy };
        auto* const made = wl_resource_create(client, &ext_idle_notification_v1_interface, 1, id);
        wl_resource_set_implementation(made, &calls, nullptr, nullptr);
        static_cast<FakeCompositor*>(wl_resource_get_user_data(notifier))->m_notification = made;
    }

    wl_display* m_display = wl_display_create();
    wl_resource* m_notification = nullptr;
};
