#include "daemon/LiveConfig.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include "support/TemporaryDirectory.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr const char* good = R"({"stopWait": 7, "token": "t"})";

class LiveConfigTest : public testing::Test {
  protected:
    LiveConfigTest() {
        m_home.put("config.json", good);
        m_config.emplace(m_locations,
                         [this](const LogMessage& message) { m_log.emplace_back(message.text); });
    }

    // Until the file counts as final; it is looked at as often as the daemon does.
    [[nodiscard]] bool reloadsInTheEnd() {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (std::chrono::steady_clock::now() < deadline) {
            if (m_config->reload())
                return true;
            std::this_thread::sleep_for(20ms);
        }
        return false;
    }

    [[nodiscard]] std::string content(const char* name) const { return contentOf(m_home / name); }
    [[nodiscard]] static double stopWait(const std::string& text) {
        const auto value = JSONValue::parse(text);
        const JSONValue* member = value ? (*value)["stopWait"] : nullptr;
        return member ? member->number().value_or(0) : 0;
    }

    TemporaryDirectory m_home;
    Locations m_locations = Locations::from(
        [this](const char* name) {
            return name == std::string_view("TAMSELL_HOME") ? std::optional(m_home.path().string())
                                                            : std::nullopt;
        },
        m_home.path());
    std::vector<std::string> m_log;
    std::optional<LiveConfig> m_config;
};

/// While one lives, no file can be opened.
class NoDescriptors {
  public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit none{0, m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }

  private:
    rlimit m_before{};
};

} // namespace

TEST_F(LiveConfigTest, WhatCannotBeReadForAMomentIsNeitherLostNorWrittenOver) {
    EXPECT_FALSE(m_config->reload()) << "nothing has changed";
    m_home.put("config.json", R"({"stopWait": 8, "token": "t"})");
    {
        const NoDescriptors none;
        EXPECT_FALSE(m_config->reload());
        m_config->update([](Config& config) { config.raw.set("mode", "on"); });
    }
    EXPECT_EQ(m_config->value().mode(), AwayMode::on);
    EXPECT_EQ(m_config->value().number("stopWait"), 7);
    EXPECT_EQ(stopWait(content("config.json")), 8);
    EXPECT_THAT(m_log, ElementsAre(HasSubstr("trying again"), HasSubstr("cannot save config")));

    EXPECT_TRUE(m_config->reload());
    EXPECT_EQ(m_config->value().number("stopWait"), 8);
    EXPECT_EQ(m_config->value().mode(), AwayMode::on) << "the change is made again";
    EXPECT_THAT(content("config.json"), HasSubstr(R"("mode": "on")"));
    EXPECT_FALSE(m_config->reload()) << "its own save is no change from outside";
}

TEST_F(LiveConfigTest, AFileThatIsJustBeingWrittenIsWaitedFor) {
    for (const char* half : {"", R"({"stopWait": )"}) {
        m_home.put("config.json", half);
        EXPECT_FALSE(m_config->reload());
        EXPECT_EQ(content("config.json"), half);
    }
    std::filesystem::remove(m_home / "config.json");
    EXPECT_FALSE(m_config->reload());
    m_home.put("config.json", R"({"stopWait": 9, "token": "t"})");
    EXPECT_TRUE(m_config->reload());
    EXPECT_EQ(m_config->value().number("stopWait"), 9);
    EXPECT_EQ(m_config->value().token(), "t");
    EXPECT_THAT(m_log, ElementsAre());
}

TEST_F(LiveConfigTest, ADamagedFileIsKeptAndSoAreTheLastGoodSettings) {
    for (const char* damage : {"{broken", "{broken again"}) {
        m_home.put("config.json", damage);
        EXPECT_TRUE(reloadsInTheEnd());
        EXPECT_EQ(m_config->value().number("stopWait"), 60);
        EXPECT_NE(m_config->value().token(), "t");
        EXPECT_EQ(content("config.json.damaged"), damage);
        EXPECT_EQ(stopWait(content("config.json.last-good")), 7)
            << "not replaced by the defaults of the first damage";
        EXPECT_FALSE(m_config->reload());
    }
    m_home.put("config.json", content("config.json.last-good"));
    EXPECT_TRUE(m_config->reload());
    EXPECT_EQ(m_config->value().number("stopWait"), 7);
}
