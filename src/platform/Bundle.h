#pragma once

#include <filesystem>
#include <optional>

/// Finds what is installed together with the program, in the build tree as well as in the installed
/// one: both have bin/, libexec/tamsell/ and share/tamsell/ beside one another.
class Bundle {
  public:
    /// @param executable the running program: something in bin/ or libexec/tamsell/
    explicit Bundle(const std::filesystem::path& executable);
    /// That of this process.
    [[nodiscard]] static Bundle ofThisProcess();

    /// A program that others run, not people: libexec/tamsell/NAME, or bin/NAME in the build tree;
    /// nothing when it is missing.
    [[nodiscard]] std::optional<std::filesystem::path> auxiliaryExecutable(const char* name) const;

    /// bin/NAME, when it exists.
    [[nodiscard]] std::optional<std::filesystem::path> program(const char* name) const;

    /// share/tamsell/NAME, whether it exists or not.
    [[nodiscard]] std::filesystem::path resource(const char* name) const;

  private:
    std::filesystem::path m_prefix;
};
