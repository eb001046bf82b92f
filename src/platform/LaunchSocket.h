#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <QObject>
#include <sys/types.h>

#include "core/Locations.h"

/// Where the running program is asked by a second launch: a socket in the user's runtime directory
/// (freedesktop.org, "XDG Base Directory"), or in the data directory where there is none. Its name
/// carries a hash of the data directory, so that programs with different ones do not meet.
/// @param environment XDG_RUNTIME_DIR, which counts only when it is the absolute path of a
///        directory that this user can write to, and nobody else. Next comes
///        /run/user/UID, for programs that were started without the variable, on the same condition
/// @param dataDirectory need not exist yet; links and other spellings of it lead to the same name
[[nodiscard]] std::filesystem::path launchSocketPath(const EnvironmentLookup& environment,
                                                     const std::filesystem::path& dataDirectory);

/// The first launch of the program: answers later ones for as long as it lives. It holds the lock
/// of a file beside the socket (flock(2)), which the kernel takes back however the process ends, so
/// that a socket left behind is never in the way. The lock's file is never removed.
///
/// A later launch connects and sends one line, "show" and, behind a space, an activation token of
/// at most 1000 bytes, which may be empty; it is answered with one line, "shown" or "headless".
/// Only processes of the same user are answered (SO_PEERCRED, unix(7)); others, and whoever says
/// nothing, something unknown or too much, are closed without a word. Whoever has gone before the
/// answer has nothing shown. Nothing here blocks.
class FirstLaunch final : public QObject {
    Q_OBJECT

  public:
    enum class Interface {
        present,
        absent ///< headless: whoever asks is told so, and nothing is emitted
    };

    /// Nothing when another process is the first. The socket's directory must exist.
    /// @throws std::system_error with the path, also when something is in the way of lock or socket
    ///         that is not the program's own, such as a link
    [[nodiscard]] static std::unique_ptr<FirstLaunch> claim(const std::filesystem::path& socket,
                                                            Interface interface);
    ~FirstLaunch() override;

  Q_SIGNALS:
    /// A later launch wants to see the program.
    /// @param activationToken lets it come to the front; may be empty
    void asked(const QString& activationToken);

  private:
    class Implementation;
    explicit FirstLaunch(std::unique_ptr<Implementation> implementation);
    std::unique_ptr<Implementation> m_implementation;
};

/// What a second launch hears of the first.
struct LaunchAnswer {
    enum class Kind {
        shown,    ///< it shows itself
        headless, ///< it has no interface
        silent    ///< it did not answer in time, or there is another user's program
    };
    Kind kind = Kind::silent;
    /// As the kernel knows it, of a silent one too; 0 when none of this user's could be reached.
    /// Then the first may have ended meanwhile, and the lock be free.
    pid_t process = 0;
};

/// Asks the first launch to show itself. Blocks for `patience` at most, during which one that has
/// just begun is asked again; to be called before an event loop runs.
/// @param activationToken left out when it is too long or not on one line
[[nodiscard]] LaunchAnswer askFirstLaunch(const std::filesystem::path& socket,
                                          std::string_view activationToken,
                                          std::chrono::milliseconds patience);
