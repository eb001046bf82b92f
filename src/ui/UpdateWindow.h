#pragma once

#include <memory>

#include "platform/Scheduler.h"
#include "update/UpdateDialog.h"

/// The window of an update, titled 「軟體更新」: draws an `UpdateView`.
///
/// Everything is plain text. Closing the window, Escape and 「稍後」 put it away. 「下載」 does
/// nothing for 600 ms after it appears, and a key that is held down presses nothing, so that a
/// click or key meant for something else starts no download. A button that goes leaves the focus to
/// the window, never to another button.
class UpdateWindow final : public UpdateDialog {
  public:
    /// @param scheduler outlives the window
    explicit UpdateWindow(Scheduler& scheduler);
    ~UpdateWindow() override;

    void setHandlers(Handlers handlers) override;
    void show(const UpdateState& state) override;
    void activate() override;
    void close() override;

  private:
    class Window;
    std::unique_ptr<Window> m_window;
};
