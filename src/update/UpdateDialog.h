#pragma once

#include <functional>

#include "update/UpdateState.h"

/// The window of an update session. The session tells it what to show; the person's clicks come
/// back through the handlers, never from within a call of the session.
class UpdateDialog {
  public:
    struct Handlers {
        std::function<void()> download;
        /// Cancels what is under way; once nothing is, puts the window away.
        std::function<void()> dismiss;
        /// Shows the file in the file manager, as was done when it arrived.
        std::function<void()> showFile;
        /// The window came to the front by the person's doing.
        std::function<void()> attention;
    };

    UpdateDialog() = default;
    UpdateDialog(const UpdateDialog&) = delete;
    UpdateDialog& operator=(const UpdateDialog&) = delete;
    virtual ~UpdateDialog() = default;

    /// Before anything is shown.
    virtual void setHandlers(Handlers handlers) = 0;
    /// Opens the window if it is not open, without taking the focus from elsewhere.
    virtual void show(const UpdateState& state) = 0;
    /// Brings the open window to the front.
    virtual void activate() = 0;
    virtual void close() = 0;
};
