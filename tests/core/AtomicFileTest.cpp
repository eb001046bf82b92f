#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/AtomicFile.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;

struct stat statusOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

// The error that writing ends with; zero when it does not fail.
int errorOfWriting(const fs::path& path, std::string_view bytes) {
    try {
        atomicfile::write(path, bytes);
        return 0;
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find(path.string()), std::string::npos)
            << "the message names the file";
        return error.code().value();
    }
}

TEST(AtomicFile, KeepsModeAndOwnerAndSetsThoseOfANewFile) {
    const TemporaryDirectory directory;
    atomicfile::write(directory / "fresh", "a");
    EXPECT_EQ(statusOf(directory / "fresh").st_mode & 07777, 0644U);
    atomicfile::write(directory / "secret", "a", 0600);
    EXPECT_EQ(statusOf(directory / "secret").st_mode & 07777, 0600U);

    const fs::path kept = directory.put("kept", "old");
    ::chmod(kept.c_str(), 0751);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(kept.c_str(), 12345, 23456), 0);
        ::chmod(kept.c_str(), 0751);
    }
    const auto before = statusOf(kept);
    atomicfile::write(kept, std::string("new\0bytes", 9));
    EXPECT_EQ(contentOf(kept), std::string("new\0bytes", 9));
    EXPECT_EQ(statusOf(kept).st_mode & 07777, 0751U);
    EXPECT_EQ(statusOf(kept).st_uid, before.st_uid);
    EXPECT_EQ(statusOf(kept).st_gid, before.st_gid);
    EXPECT_NE(statusOf(kept).st_ino, before.st_ino) << "replaced, not written into";
    atomicfile::write(kept, "", 0600);
    EXPECT_EQ(statusOf(kept).st_mode & 07777, 0600U) << "an explicit mode wins";
    EXPECT_THAT(namesIn(directory.path()), ElementsAre("fresh", "kept", "secret"));
}

TEST(AtomicFile, AConditionIsAskedLast) {
    const TemporaryDirectory directory;
    const fs::path file = directory.put("file", "old");
    EXPECT_FALSE(atomicfile::writeIf(file, "new", [&] {
        atomicfile::write(file, "somebody else's");
        return false;
    }));
    EXPECT_EQ(contentOf(file), "somebody else's");
    EXPECT_TRUE(atomicfile::writeIf(file, "new", [] { return true; }));
    EXPECT_EQ(contentOf(file), "new");
    EXPECT_THAT(namesIn(directory.path()), ElementsAre("file"));
}

TEST(AtomicFile, ALinkStaysALink) {
    const TemporaryDirectory directory;
    directory.put("dotfiles/real.json", "old");
    fs::create_directories(directory / "home");
    fs::create_symlink("../dotfiles/real.json", directory / "home/first");
    fs::create_symlink(directory / "home/first", directory / "home/chained");
    fs::create_symlink("../dotfiles/later.json", directory / "home/dangling");
    fs::create_symlink("loop", directory / "home/loop");

    atomicfile::write(directory / "home/chained", "through two");
    EXPECT_EQ(contentOf(directory / "dotfiles/real.json"), "through two");
    atomicfile::write(directory / "home/dangling", "made");
    EXPECT_EQ(contentOf(directory / "dotfiles/later.json"), "made");
    EXPECT_EQ(errorOfWriting(directory / "home/loop", "never"), ELOOP);
    for (const char* link : {"home/first", "home/chained", "home/dangling", "home/loop"})
        EXPECT_TRUE(fs::is_symlink(directory / link)) << link;
    EXPECT_FALSE(fs::is_symlink(directory / "dotfiles/real.json"));
}

TEST(AtomicFile, AFailureLeavesTheOldBytesAndNothingElse) {
    const TemporaryDirectory directory;
    const fs::path file = directory.put("file", "old");
    fs::create_directories(directory / "directory/inside");
    const fs::path pipe = directory / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0644), 0);
    {
        const FileSizeLimit full(4096);
        EXPECT_EQ(errorOfWriting(file, std::string(10'000, 'x')), EFBIG);
    }
    EXPECT_EQ(errorOfWriting(directory / "directory", "x"), EISDIR);
    EXPECT_EQ(errorOfWriting(pipe, "x"), EINVAL) << "a pipe, or /dev/null, is not replaced";
    EXPECT_EQ(errorOfWriting(directory / "missing/file", "x"), ENOENT);
    EXPECT_EQ(errorOfWriting(directory / "file/below", "x"), ENOTDIR);
    EXPECT_EQ(contentOf(file), "old");
    EXPECT_TRUE(fs::is_fifo(pipe));
    EXPECT_THAT(namesIn(directory.path()), ElementsAre("directory", "file", "pipe"));
}

} // namespace
