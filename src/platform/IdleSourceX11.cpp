#include "platform/IdleSourceKinds.h"

#include <cstdlib>

#include <xcb/screensaver.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include "platform/Allocated.h"
#include "platform/IdleSocket.h"
#include "platform/X11Socket.h"

namespace {

class X11IdleSource final : public IdleSource {
  public:
    explicit X11IdleSource(std::string display) : m_display(std::move(display)) {}
    ~X11IdleSource() override { disconnect(); }

    [[nodiscard]] std::string_view name() const override { return "X11 screen saver"; }

    [[nodiscard]] std::optional<std::chrono::milliseconds> read() override {
        const auto deadline = std::chrono::steady_clock::now() + idle::callBound;
        if (m_connection || connect(deadline)) {
            if (const auto result = query(deadline))
                return result;
        }
        disconnect();
        return std::nullopt;
    }

  private:
    [[nodiscard]] bool connect(idle::Deadline deadline) {
        if (!x11socket::answers(m_display, deadline).value_or(false))
            return false;
        int screen = 0;
        m_connection = xcb_connect(m_display.c_str(), &screen);
        if (xcb_connection_has_error(m_connection) != 0)
            return false;
        auto roots = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
        for (; screen > 0 && roots.rem > 1; --screen)
            xcb_screen_next(&roots);
        if (roots.rem < 1)
            return false;
        m_root = roots.data->root;
        return hasExtension(deadline);
    }

    // XCB waits without a bound for what it learns of an extension, but only when that has not
    // arrived. Replies come in order: behind the reply to a later request it has.
    [[nodiscard]] bool hasExtension(idle::Deadline deadline) {
        xcb_prefetch_extension_data(m_connection, &xcb_screensaver_id);
        const auto later = xcb_get_input_focus(m_connection);
        if (!reply(later.sequence, deadline))
            return false;
        const auto* extension = xcb_get_extension_data(m_connection, &xcb_screensaver_id);
        return extension && extension->present != 0;
    }

    [[nodiscard]] std::optional<std::chrono::milliseconds> query(idle::Deadline deadline) {
        const auto request = xcb_screensaver_query_info(m_connection, m_root);
        const auto answer = reply(request.sequence, deadline);
        if (!answer)
            return std::nullopt;
        return std::chrono::milliseconds(
            static_cast<const xcb_screensaver_query_info_reply_t*>(answer.get())
                ->ms_since_user_input);
    }

    // Null when there is none by the deadline, or an error.
    [[nodiscard]] std::unique_ptr<void, Free> reply(unsigned int sequence,
                                                    idle::Deadline deadline) {
        if (xcb_flush(m_connection) <= 0)
            return nullptr;
        for (;;) {
            void* received = nullptr;
            xcb_generic_error_t* error = nullptr;
            if (xcb_poll_for_reply(m_connection, sequence, &received, &error) != 0) {
                std::free(error);
                discardEvents();
                return std::unique_ptr<void, Free>(received);
            }
            if (xcb_connection_has_error(m_connection) != 0 ||
                !idlesocket::waitReadable(xcb_get_file_descriptor(m_connection), deadline))
                return nullptr;
        }
    }

    // Every client is told of a changed keyboard, wanted or not; XCB keeps it until it is taken.
    void discardEvents() {
        while (const std::unique_ptr<xcb_generic_event_t, Free> event{
            xcb_poll_for_queued_event(m_connection)}) {
        }
    }

    void disconnect() {
        // Also frees a connection that failed; nothing for null.
        xcb_disconnect(m_connection);
        m_connection = nullptr;
    }

    std::string m_display;
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = 0;
};

} // namespace

std::unique_ptr<IdleSource> idle::x11IdleSource(std::string display) {
    return std::make_unique<X11IdleSource>(std::move(display));
}
