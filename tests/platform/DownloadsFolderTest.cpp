#include "platform/DownloadsFolder.h"

#include <system_error>

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

namespace {

TEST(DownloadsFolder, IsTheOneThatTheUserHasChosen) {
    const TemporaryDirectory home;
    std::optional<std::string> config;
    const auto folder = [&] {
        const auto path = downloadsFolder([&](const char*) { return config; }, home.path());
        EXPECT_TRUE(std::filesystem::is_directory(path)) << path;
        return path.lexically_relative(home.path()).string();
    };
    const std::string absolute = (home / "abs").string();
    EXPECT_EQ(folder(), "Downloads");
    const struct {
        std::string text;
        const char* folder;
    } cases[] = {
        {"# comment\n  XDG_DOWNLOAD_DIR = \"$HOME/下載\" # x\nXDG_DESKTOP_DIR=\"$HOME/Desk\"\n",
         "下載"},
        {"XDG_DOWNLOAD_DIR=\"$HOME/one\"\nXDG_DOWNLOAD_DIR=\"$HOME/two words\"", "two words"},
        {"XDG_DOWNLOAD_DIR=\"" + absolute + "\"\r\n", "abs"},
        {"XDG_DOWNLOAD_DIR=\"$HOME/a \\\"b\\\" \\$c\"\n", "a \"b\" $c"},
        {"XDG_DOWNLOAD_DIR=\"$HOME/\"\n", "."},
        {"XDG_DOWNLOAD_DIR=\"$HOME\"\n", "."},
        // Not in one of the two forms.
        {"XDG_DOWNLOAD_DIR=\"relative\"\n", "Downloads"},
        {"XDG_DOWNLOAD_DIR=\"$HOMEWORK/x\"\n", "Downloads"},
        {"XDG_DOWNLOAD_DIR=$HOME/x\n", "Downloads"},
        {"XDG_DOWNLOAD_DIR=\"$HOME/x\n", "Downloads"},
        {"#XDG_DOWNLOAD_DIR=\"$HOME/x\"\n", "Downloads"},
        {"XDG_DOWNLOAD_DIR", "Downloads"},
    };
    for (const auto& [text, expected] : cases) {
        home.put(".config/user-dirs.dirs", text);
        EXPECT_EQ(folder(), expected) << text;
    }
    home.put("other/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/chosen\"\n");
    config = (home / "other").string();
    EXPECT_EQ(folder(), "chosen");
    config = "other";
    EXPECT_EQ(folder(), "Downloads") << "a relative path is ignored";

    home.put("blocked", "a file");
    home.put(".config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/blocked\"\n");
    EXPECT_THROW((void)folder(), std::system_error);
}

} // namespace
