#pragma once

#include <filesystem>
#include <string_view>

#include "core/Descriptor.h"

/// A download on its way: a hidden file of its folder (mode 0600) that goes with the object unless
/// it was published. Failures are std::system_error with the path.
class PartialFile {
  public:
    /// Also removes those of earlier runs that did not come to remove them.
    explicit PartialFile(std::filesystem::path folder);
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile();

    void append(std::string_view bytes);
    /// The same open file, readable.
    [[nodiscard]] Descriptor duplicate() const;
    /// Gives it a name (mode 0644, where the file system has modes) that nothing in the folder has:
    /// this one, or a numbered one. Once, and the last thing that is done with it.
    [[nodiscard]] std::filesystem::path publish(std::string_view name);

  private:
    std::filesystem::path m_folder;
    std::filesystem::path m_path; ///< empty once it is published
    Descriptor m_file;
};
