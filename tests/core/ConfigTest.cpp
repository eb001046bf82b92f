#include <gmock/gmock.h>
#include <sys/stat.h>

#include "core/Base64Url.h"
#include "core/Config.h"
#include "core/ConfigFile.h"
#include "support/FakeEnvironment.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

const char* const tokenForm = "[0-9a-f]+";

class ConfigTest : public testing::Test {
  protected:
    TemporaryDirectory m_home;
    Locations m_locations = Locations::from(fakeEnvironment(), m_home.path());
    std::vector<std::string> m_log;

    Config load(const Config* inForce = nullptr) {
        return Config::load(m_locations, inForce, [this](const LogMessage& message) {
            m_log.emplace_back(message.text);
        });
    }
    void put(std::string_view bytes) const { m_home.put(".tamsell/config.json", bytes); }
    [[nodiscard]] JSONValue onDisk() const {
        return JSONValue::parse(contentOf(m_locations.configFile)).value_or(JSONValue());
    }
    [[nodiscard]] fs::path beside(const char* suffix) const {
        return m_locations.configFile.string() + suffix;
    }
    static mode_t modeOf(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }
};

Config configOf(std::string_view text) {
    return Config::over(ConfigFile::parse(std::string(text)).members);
}

TEST_F(ConfigTest, AFreshInstallationGetsDefaultsAndATokenThatStays) {
    const Config first = load();
    EXPECT_EQ(first.token().size(), 32U);
    EXPECT_THAT(first.token(), MatchesRegex(tokenForm));
    EXPECT_EQ(
        contentOf(m_locations.configFile),
        "{\n  \"host\": \"127.0.0.1\",\n  \"idleMinutes\": 5,\n  \"mode\": \"auto\",\n"
        "  \"permissionWait\": 120,\n  \"port\": 8787,\n  \"stopWait\": 60,\n  \"token\": \"" +
            first.token() + "\"\n}\n");
    EXPECT_EQ(modeOf(m_locations.configFile), 0600U);
    EXPECT_EQ(load(), first);
    EXPECT_THAT(namesIn(m_locations.dataDirectory), ElementsAre("config.json"));
    EXPECT_THAT(m_log, IsEmpty());
}

TEST_F(ConfigTest, AFileIsLaidOverTheDefaultsAndWrittenOnlyForItsToken) {
    put(R"({"port": 9000})");
    const Config config = load();
    EXPECT_EQ(config.number("port"), 9000);
    EXPECT_EQ(config.number("permissionWait"), 120);
    EXPECT_EQ(onDisk(), JSONValue(config.raw));
    EXPECT_EQ(config.raw.size(), 7U);

    put(R"({"token": "", "port": 1})");
    EXPECT_EQ(load().token().size(), 32U);
    put(R"({"token": 5, "port": 1})");
    EXPECT_THAT(load().token(), MatchesRegex(tokenForm));
    const char* const mine = R"({"token":"mine"})";
    put(mine);
    EXPECT_EQ(load().token(), "mine");
    EXPECT_EQ(contentOf(m_locations.configFile), mine);
    EXPECT_THAT(m_log, IsEmpty());
}

TEST_F(ConfigTest, WrongTypesAreReadAsFallbacksAndKept) {
    put(R"({"token":"t","port":"9000","host":7,"mode":"AUTO","idleMinutes":null,"relay":[],
            "welcomeDone":"yes","mine":{"big":12345678901234567890}})");
    const Config config = load();
    EXPECT_EQ(config.number("port"), 8787);
    EXPECT_EQ(config.number("idleMinutes"), 5);
    EXPECT_EQ(config.host(), "127.0.0.1");
    EXPECT_EQ(config.mode(), AwayMode::automatic);
    EXPECT_EQ(config.relayURL(), std::nullopt);
    EXPECT_EQ(config.relay(), std::nullopt);
    const JSONValue before = onDisk();
    config.save(m_locations);
    const JSONValue after = onDisk();
    for (const auto& [key, value] : *before.object())
        EXPECT_THAT(after[key], testing::Pointee(value)) << key;
    EXPECT_THAT(contentOf(m_locations.configFile), HasSubstr("12345678901234567890"));
}

TEST(ConfigRelay, NeedsAllFourTextsAndDropsDevicesThatAreNone) {
    const char* const whole = R"({"relay":{"url":"u","channel":"c","auth":"a","privateKey":"p")";
    EXPECT_EQ(configOf(std::string(whole) + "}}").relay(), (RelayConfig{"u", "c", "a", "p", {}}));
    EXPECT_EQ(configOf(std::string(whole) + R"(,"devices":{"id":"x"}}})").relay()->devices.size(),
              0U);
    const Config devices = configOf(std::string(whole) + R"(,"devices":[
        {"id":"1","key":"k"}, 5, {}, {"id":"2"}, {"key":"k"}, {"id":3,"key":"k"}, null,
        {"id":"4","key":"k","name":"Phone","addedAt":1700000000000,"extra":1},
        {"id":"5","key":"k","name":6,"addedAt":"then"}]}})");
    EXPECT_THAT(devices.relay()->devices, ElementsAre(PairedDevice{"1", "iPhone", "k", 0},
                                                      PairedDevice{"4", "Phone", "k", 1.7e12},
                                                      PairedDevice{"5", "iPhone", "k", 0}));
    for (const char* missing : {"url", "channel", "auth", "privateKey"}) {
        Config config = configOf(std::string(whole) + "}}");
        config.raw.find("relay")->object()->set(missing, 1);
        EXPECT_EQ(config.relay(), std::nullopt) << missing;
        EXPECT_EQ(config.relayURL().has_value(), std::string_view(missing) != "url") << missing;
    }
}

TEST(ConfigRelay, DevicesAreReplacedAtTheEndAndRemoved) {
    Config config;
    config.upsertDevice({"1", "a", "k", 1});
    config.removeDevice("1");
    EXPECT_EQ(config, Config()) << "without settings nothing is stored";

    config.setRelay(RelayConfig{"u", "c", "a", "p", {{"1", "a", "k", 1}, {"2", "b", "k", 2}}});
    config.upsertDevice({"1", "new", "l", 3});
    EXPECT_THAT(config.relay()->devices,
                ElementsAre(PairedDevice{"2", "b", "k", 2}, PairedDevice{"1", "new", "l", 3}));
    config.removeDevice("2");
    EXPECT_THAT(config.relay()->devices, ElementsAre(PairedDevice{"1", "new", "l", 3}));
    config.setRelay(std::nullopt);
    EXPECT_EQ(config, Config());
}

TEST(ConfigRelay, FreshSettingsAreRandomAndUsable) {
    const RelayConfig fresh = Config::freshRelayConfig(" \u3000https://r.example/x///\n");
    EXPECT_EQ(fresh.url, "https://r.example/x");
    EXPECT_EQ(base64url::decode(fresh.channel)->size(), 16U);
    EXPECT_EQ(base64url::decode(fresh.auth)->size(), 32U);
    EXPECT_TRUE(fresh.agreementKey());
    const RelayConfig other = Config::freshRelayConfig("");
    EXPECT_EQ(other.url, "");
    EXPECT_NE(other.channel, fresh.channel);
    EXPECT_NE(other.auth, fresh.auth);
    EXPECT_NE(other.privateKey, fresh.privateKey);
    for (const char* bad :
         {"", "AAAA", "not base64!", "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"})
        EXPECT_FALSE((RelayConfig{"", "", "", bad, {}}).agreementKey()) << bad;
}

TEST_F(ConfigTest, ADamagedFileIsKeptBesideTheDefaults) {
    const Config inForce = configOf(R"({"token":"t","port":9000,"mine":[1]})");
    for (const std::string bytes :
         {"{\"port\": 90", "", "[1]", "5", "\xef\xbb\xbf{\"token\":\"t\"}"}) {
        for (const char* suffix : {".damaged", ".last-good"})
            fs::remove(beside(suffix));
        m_log.clear();
        put(bytes);
        const Config config = load(&inForce);
        EXPECT_EQ(config.number("port"), 8787) << bytes;
        EXPECT_THAT(config.token(), Not("t"));
        EXPECT_EQ(onDisk(), JSONValue(config.raw));
        EXPECT_EQ(contentOf(beside(".damaged")), bytes);
        EXPECT_EQ(contentOf(beside(".last-good")), json::pretty(inForce.raw) + "\n");
        for (const char* suffix : {"", ".damaged", ".last-good"})
            EXPECT_EQ(modeOf(beside(suffix)), 0600U) << suffix;
        EXPECT_THAT(m_log, ElementsAre(HasSubstr("config.json.damaged")));
    }
}

TEST_F(ConfigTest, AFileThatIsGoneOrUnreadableLeavesTheSettingsInForceBeside) {
    const Config inForce = configOf(R"({"token":"t","mine":1})");
    const Config afterLoss = load(&inForce);
    EXPECT_THAT(namesIn(m_locations.dataDirectory),
                ElementsAre("config.json", "config.json.last-good"));
    EXPECT_THAT(m_log, ElementsAre(HasSubstr("gone")));

    // A directory cannot be read as a file, and it may hold something.
    fs::remove(m_locations.configFile);
    m_home.put(".tamsell/config.json/kept", "x");
    const Config afterDirectory = load(&afterLoss);
    EXPECT_EQ(onDisk(), JSONValue(afterDirectory.raw));
    EXPECT_EQ(contentOf(beside(".damaged") / "kept"), "x");
    EXPECT_EQ(contentOf(beside(".last-good")), json::pretty(afterLoss.raw) + "\n");

    // A pipe does not stop the program either.
    fs::remove(m_locations.configFile);
    fs::remove_all(beside(".damaged"));
    ASSERT_EQ(::mkfifo(m_locations.configFile.c_str(), 0600), 0);
    const Config afterPipe = load();
    EXPECT_EQ(onDisk(), JSONValue(afterPipe.raw));
    EXPECT_TRUE(fs::is_fifo(beside(".damaged")));
}

TEST_F(ConfigTest, AFileTooLargeForSettingsIsMovedAside) {
    const std::uintmax_t size = ConfigFile::maximumSize + 1;
    put(R"({"token":"t"})");
    fs::resize_file(m_locations.configFile, size);
    const Config config = load();
    EXPECT_EQ(onDisk(), JSONValue(config.raw));
    EXPECT_EQ(fs::file_size(beside(".damaged")), size);
    EXPECT_THAT(m_log, ElementsAre(HasSubstr("no file of settings")));
}

TEST_F(ConfigTest, WhatCannotBeKeptIsNotWrittenOver) {
    put("{damaged");
    fs::create_directories(beside(".damaged") / "inside");
    const Config config = load();
    EXPECT_EQ(config.token().size(), 32U);
    EXPECT_EQ(contentOf(m_locations.configFile), "{damaged");
    EXPECT_THAT(m_log, ElementsAre(HasSubstr("leaving it alone")));
}

TEST_F(ConfigTest, TheOlderProgramsFileIsImportedOnceUnlessADirectoryWasChosen) {
    const char* const legacy = R"({"token":"old","port":1234})";
    m_home.put(".zel/config.json", legacy);
    const Locations chosen = Locations::from(
        fakeEnvironment({{"TAMSELL_HOME", (m_home / "chosen").string()}}), m_home.path());
    EXPECT_THAT(Config::load(chosen).token(), Not("old"));

    EXPECT_EQ(load().token(), "old");
    EXPECT_EQ(contentOf(m_locations.configFile), legacy) << "copied as it is";
    EXPECT_EQ(modeOf(m_locations.configFile), 0600U);
    EXPECT_EQ(contentOf(m_locations.legacyConfig), legacy) << "and left in place";
    put(R"({"token":"new"})");
    EXPECT_EQ(load().token(), "new");

    // What cannot be copied is no reason not to start.
    fs::remove_all(m_locations.dataDirectory);
    fs::remove(m_locations.legacyConfig);
    m_home.put(".zel/config.json/directory", "");
    EXPECT_EQ(load().token().size(), 32U);
}

TEST_F(ConfigTest, AFailingSaveLeavesEverythingAsItWas) {
    put(R"({"token":"t"})");
    Config config = load();
    config.raw.set("long", std::string(20'000, 'x'));
    {
        const FileSizeLimit full(4096);
        EXPECT_THROW(config.save(m_locations), std::system_error);
    }
    EXPECT_EQ(contentOf(m_locations.configFile), R"({"token":"t"})");
    EXPECT_THAT(namesIn(m_locations.dataDirectory), ElementsAre("config.json"));

    m_home.put("file", "");
    const Locations blocked = Locations::from(
        fakeEnvironment({{"TAMSELL_HOME", (m_home / "file").string()}}), m_home.path());
    EXPECT_THROW(config.save(blocked), std::system_error);
    EXPECT_EQ(Config::load(blocked).token().size(), 32U) << "loading does not fail";
    EXPECT_TRUE(fs::is_regular_file(m_home / "file"));
}

} // namespace
