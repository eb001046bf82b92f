#pragma once

#include <chrono>
#include <filesystem>
#include <functional>

#include <QDBusConnection>
#include <QObject>
#include <QUrl>

/// The desktop's file manager (the interface org.freedesktop.FileManager1 of the session bus).
class FileManager {
  public:
    using OpenFolder = std::function<void(const QUrl& folder)>;

    /// That of the session; folders are opened with what the desktop has for them.
    FileManager();
    /// @param bus where the file manager is asked
    /// @param openFolder what serves when it does not answer within `patience`
    FileManager(QDBusConnection bus, OpenFolder openFolder,
                std::chrono::milliseconds patience = defaultPatience);

    /// Opens the file's folder with the file selected, or at least the folder. Returns at once;
    /// what has not been answered when this object ends is not followed up.
    /// @param file absolute
    void showInFolder(const std::filesystem::path& file);

  private:
    /// Starting a file manager takes its time on a busy desktop.
    static constexpr std::chrono::milliseconds defaultPatience{10'000};

    QDBusConnection m_bus;
    OpenFolder m_openFolder;
    std::chrono::milliseconds m_patience;
    QObject m_calls; ///< what waits for an answer
};
