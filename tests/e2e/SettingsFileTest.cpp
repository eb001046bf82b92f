#include <filesystem>
#include <fstream>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "e2e/RunningDaemon.h"

namespace {

class SettingsFileTest : public testing::Test {
  protected:
    [[nodiscard]] std::filesystem::path settings() const { return m_daemon.home() / "config.json"; }

    /// Writes the file like an editor. The clock of file dates is coarse, and a change is seen by
    /// its date: so once more until that is another one.
    void edit(std::string_view bytes) const {
        const auto before = std::filesystem::last_write_time(settings());
        do {
            std::ofstream(settings(), std::ios::binary) << bytes;
        } while (std::filesystem::last_write_time(settings()) == before);
    }

    void checkKept(std::string_view name, std::string_view bytes) const {
        const std::filesystem::path file = m_daemon.home() / name;
        EXPECT_EQ(contentOf(file), bytes) << name;
        struct stat status {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 0777, 0600U) << name;
    }

    RunningDaemon m_daemon{JSONObject{{"mode", "off"}, {"permissionWait", 600}}};
};

} // namespace

TEST_F(SettingsFileTest, AChangeByHandCountsFromTheNextEvent) {
    const std::string token = m_daemon.token();
    const std::string before = contentOf(settings());
    EXPECT_EQ(m_daemon.event(permissionRequest("at the desk")).statusLine, "HTTP/1.1 200 OK");
    const std::string mine =
        R"({"mode":"on","mine":[12345678901234567890],"token":")" + token + R"("})";
    edit(mine);
    Client agent(m_daemon.port());
    agent.send(requestText("POST", "/hook", {}, permissionRequest("away")));
    const JSONArray pending = m_daemon.pending(1);
    ASSERT_EQ(pending.size(), 1U);
    // "permissionWait" is gone from the file.
    EXPECT_EQ(*pending[0]["expiresAt"]->number() - *pending[0]["createdAt"]->number(), 120'000);
    EXPECT_EQ(contentOf(settings()), mine) << "reading does not write";

    // Saving keeps what is not the daemon's.
    EXPECT_EQ(m_daemon.post("/mode", JSONObject{{"mode", "off"}}).statusLine, "HTTP/1.1 200 OK");
    EXPECT_NE(contentOf(settings()).find("12345678901234567890"), std::string::npos);
    EXPECT_EQ(m_daemon.token(), token);
    EXPECT_EQ(m_daemon.event(permissionRequest("at the desk")).statusLine, "HTTP/1.1 200 OK");
}

TEST_F(SettingsFileTest, AFileThatIsNoneIsKeptWithTheLastGoodSettings) {
    for (const std::string& damage :
         {std::string(R"({"mode": "on", )"), std::string(200'000, '['), std::string("\xFF{}")}) {
        const std::string good = contentOf(settings());
        const std::string token = m_daemon.token();
        edit(damage);
        EXPECT_EQ(m_daemon.event(R"({"session_id":"next"})").statusLine, "HTTP/1.1 200 OK");
        checkKept("config.json.damaged", damage);
        const auto kept = JSONValue::parse(contentOf(m_daemon.home() / "config.json.last-good"));
        const auto before = JSONValue::parse(good);
        for (const auto& [key, value] : *before.value().object())
            EXPECT_EQ(*kept.value()[key], value) << key;
        checkKept("config.json.last-good", contentOf(m_daemon.home() / "config.json.last-good"));

        // It goes on with the defaults and another token.
        EXPECT_EQ(m_daemon.token().size(), 32U);
        EXPECT_NE(m_daemon.token(), token);
        const JSONValue state = m_daemon.state();
        ASSERT_TRUE(state["presence"]);
        EXPECT_EQ(*(*state["presence"])["mode"], JSONValue("auto"));
        EXPECT_NE(m_daemon.process().output().find("config.json is not a JSON object"),
                  std::string::npos);
    }
}
