#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

/// The files of the phone page, read once: it is small, and one that is replaced while it is served
/// would come in two versions.
class StaticFiles {
  public:
    struct File {
        std::string content;
        std::string type; ///< for "Content-Type"
        std::string tag;  ///< for "ETag", with its quotes
        /// Whether the name changes with the content, so that it may be kept for ever.
        bool isImmutable = false;
    };

    StaticFiles() = default;
    /// All regular files below the folder but those whose name, or a folder's on the way, begins
    /// with a dot.
    /// @throws std::runtime_error with the path when one cannot be read, or they are more than
    ///         32 MiB together
    explicit StaticFiles(const std::filesystem::path& folder);

    /// @param path of a request, without its query: "/" is "/index.html". Null when there is none
    [[nodiscard]] const File* find(std::string_view path) const;

  private:
    std::map<std::string, File, std::less<>> m_files; // By path, from "/" on.
};
