#include "platform/LoginItem.h"

#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/DaemonError.h"
#include "support/FakeEnvironment.h"
#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace {

class LoginItemTest : public testing::Test {
  protected:
    [[nodiscard]] LoginItem item(const fs::path& program) const {
        return {fakeEnvironment({{"XDG_CONFIG_HOME", (m_at / "own").string()},
                                 {"XDG_CONFIG_DIRS", "relative:" + (m_at / "system").string()},
                                 {"PATH", (m_at / "bin").string()}}),
                m_at.path(), program};
    }
    [[nodiscard]] fs::path putProgram(const std::string& name) const {
        fs::path path = m_at.put(name, "#!/bin/sh\n");
        fs::permissions(path, fs::perms(0755));
        return path;
    }

    TemporaryDirectory m_at;
    const fs::path m_program = putProgram("bin/tamsell");
};

TEST_F(LoginItemTest, CountsOnlyAnEntryThatStartsSomething) {
    const std::string path = m_program.string();
    const std::string exec = "Exec=" + path + "\n";
    const struct {
        std::string entry;
        bool isEnabled;
    } cases[] = {
        {"[Desktop Entry]\nType=Application\n" + exec, true},
        {"# x\r\n[Desktop Entry]\r\n Exec = \"" + path + "\" --a \"b c\"\r\n", true},
        {"[Desktop Entry]\nExec=tamsell %U\nTryExec=tamsell\n", true},
        {"[Desktop Entry]\nHidden=false\nX-GNOME-Autostart-enabled=true\n" + exec, true},
        {"[Desktop Entry]\n" + exec + "[Desktop Action x]\nHidden=true\nExec=none\n", true},
        {"[Desktop Entry]\nHidden=true\n" + exec, false},
        {"[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n" + exec, false},
        {"[Desktop Entry]\nTryExec=/gone\n" + exec, false},
        {"[Desktop Entry]\nExec=" + path + "-old\n", false},
        {"[Desktop Entry]\nExec=" + m_at.path().string() + "\n", false},
        {"[Desktop Entry]\nExec=\"" + path + "\n", false},
        {"[Other]\n" + exec, false},
        {"[Desktop Entry]\nExec=\n", false},
        {"", false},
    };
    const LoginItem login = item(m_program);
    EXPECT_FALSE(login.isEnabled());
    for (const auto& [entry, expected] : cases) {
        m_at.put("own/autostart/tamsell.desktop", entry);
        EXPECT_EQ(login.isEnabled(), expected) << entry;
        // Switching it on mends whatever was wrong.
        login.setEnabled(true);
        EXPECT_TRUE(login.isEnabled()) << entry;
        login.setEnabled(false);
        EXPECT_FALSE(fs::exists(login.file()));
    }
}

TEST_F(LoginItemTest, HidesTheEntryOfTheSystem) {
    const LoginItem login = item(m_program);
    m_at.put("system/autostart/tamsell.desktop", "[Desktop Entry]\nExec=tamsell\n");
    EXPECT_TRUE(login.isEnabled());
    login.setEnabled(false);
    EXPECT_FALSE(login.isEnabled());
    EXPECT_THAT(contentOf(login.file()), testing::HasSubstr("\nHidden=true\n"));
    login.setEnabled(true);
    EXPECT_TRUE(login.isEnabled());
}

TEST_F(LoginItemTest, WritesAnyPathSoThatItIsReadBack) {
    // In the two layers of escaping of a desktop entry.
    const fs::path odd = putProgram(R"(o d"d `$\%f 路徑/tamsell)");
    item(odd).setEnabled(true);
    EXPECT_TRUE(item(odd).isEnabled());
    EXPECT_THAT(contentOf(item(odd).file()),
                testing::HasSubstr("\nExec=\"" + m_at.path().string() +
                                   R"(/o d\\"d \\`\\$\\\\%%f 路徑/tamsell")" + "\n"));
    fs::rename(odd, m_at / "moved");
    EXPECT_FALSE(item(odd).isEnabled());
}

TEST_F(LoginItemTest, SaysWhyItCannot) {
    for (const char* name : {"a=b", "a\nb", "a\xff"})
        EXPECT_THROW(item(m_at / name).setEnabled(true), DaemonError);
    EXPECT_FALSE(fs::exists(m_at / "own"));
    m_at.put("own", "a file in the way");
    EXPECT_THROW(item(m_program).setEnabled(true), std::system_error);
    // Without XDG_CONFIG_HOME, or with one that is to be ignored.
    for (const char* chosen : {"", "relative"})
        EXPECT_EQ(LoginItem(fakeEnvironment({{"XDG_CONFIG_HOME", chosen}}), "/h", m_program).file(),
                  "/h/.config/autostart/tamsell.desktop");
}

} // namespace
