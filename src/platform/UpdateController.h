#pragma once

#include <optional>
#include <string>

/// A release that an update check has found.
struct Update {
    std::string version;        ///< what is compared: "42"
    std::string displayVersion; ///< what people read: "1.2"

    bool operator==(const Update&) const = default;
};

/// Hears of update checks, and may choose their feed. Called on the main thread.
class UpdaterDelegate {
  public:
    UpdaterDelegate() = default;
    UpdaterDelegate(const UpdaterDelegate&) = delete;
    UpdaterDelegate& operator=(const UpdaterDelegate&) = delete;
    virtual ~UpdaterDelegate() = default;

    /// The feed to use in place of the controller's own; nothing leaves that one. Asked before
    /// every check, and when the controller is made. An empty one switches checks off.
    [[nodiscard]] virtual std::optional<std::string> feedURLString() const = 0;
    virtual void didFindValidUpdate(const Update& update) = 0;
    virtual void didNotFindUpdate() = 0;
    /// A check or a download has failed.
    /// @param description for people
    virtual void didAbortWithError(const std::string& description) = 0;
};

/// Decides how a found update comes before the person. Called on the main thread.
class StandardUserDriverDelegate {
  public:
    struct State {
        bool userInitiated = false; ///< the person asked for the check
    };

    StandardUserDriverDelegate() = default;
    StandardUserDriverDelegate(const StandardUserDriverDelegate&) = delete;
    StandardUserDriverDelegate& operator=(const StandardUserDriverDelegate&) = delete;
    virtual ~StandardUserDriverDelegate() = default;

    /// Whether the program shows reminders of its own. Without them the controller shows every
    /// update it finds, and the next question is not asked.
    [[nodiscard]] virtual bool supportsGentleScheduledUpdateReminders() const = 0;
    /// Whether the controller is to show an update that nobody asked for.
    [[nodiscard]] virtual bool shouldHandleShowingScheduledUpdate(const Update& update,
                                                                  bool inImmediateFocus) = 0;
    /// Comes right before the controller shows the update or leaves that to the program.
    virtual void willHandleShowingUpdate(bool handles, const Update& update, State state) = 0;
    virtual void didReceiveUserAttention(const Update& update) = 0;
    /// Nothing is under way any more. A result may still stand in the window.
    virtual void willFinishUpdateSession() = 0;
};

/// Looks for newer releases, by itself from its making on and when asked, and leads the person
/// through an update. Everything happens on the main thread and calls of the delegates may come
/// from within these functions.
class UpdateController {
  public:
    UpdateController() = default;
    UpdateController(const UpdateController&) = delete;
    UpdateController& operator=(const UpdateController&) = delete;
    virtual ~UpdateController() = default;

    [[nodiscard]] virtual bool canCheckForUpdates() const = 0;
    /// The person's own check: with a window, at once. An update that waits to be looked at is
    /// shown without another check; a session that has its window brings it to the front. Nothing
    /// happens while it cannot check.
    virtual void checkForUpdates() = 0;
    /// Nothing is shown, unless the delegate wants the update shown.
    virtual void checkForUpdatesInBackground() = 0;
};
