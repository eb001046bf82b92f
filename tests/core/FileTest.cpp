#include "core/File.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace {

std::error_code errorOfReading(const fs::path& path, std::size_t limit) {
    try {
        (void)file::read(path, limit);
        return {};
    } catch (const std::system_error& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr(path.string()));
        return error.code();
    }
}

TEST(File, IsReadWholeOrRefused) {
    const TemporaryDirectory directory;
    std::string bytes(300'000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 31);
    const fs::path large = directory.put("large", bytes);
    EXPECT_EQ(file::read(large, bytes.size()), bytes);
    EXPECT_EQ(errorOfReading(large, bytes.size() - 1), std::errc::file_too_large);
    EXPECT_EQ(file::read(directory.put("empty", ""), 0), "");
    // Files of the kernel say that they have no bytes.
    EXPECT_THAT(file::read("/proc/self/status", 1 << 20), testing::HasSubstr("Pid:"));
    EXPECT_EQ(errorOfReading("/proc/self/status", 10), std::errc::file_too_large);

    const fs::path pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0644), 0);
    EXPECT_EQ(errorOfReading(pipe, 10), std::errc::invalid_argument);
    EXPECT_EQ(errorOfReading(directory.path(), 10), std::errc::is_a_directory);
    EXPECT_EQ(errorOfReading(directory / "missing", 10), std::errc::no_such_file_or_directory);
}

} // namespace
