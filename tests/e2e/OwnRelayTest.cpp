#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Config.h"
#include "core/JSONMember.h"
#include "support/PhoneDouble.h"
#include "support/RunningDaemon.h"
#include "support/RunningRelay.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

/// The real daemon, the real relay and two phones.
class OwnRelay : public testing::Test {
  protected:
    OwnRelay() {
        Config settings;
        settings.raw = {{"mode", "on"}, {"permissionWait", 600}};
        settings.setRelay(Config::freshRelayConfig(m_relay.url()));
        m_daemon.emplace(settings.raw, RunningDaemon::Port::inTheSettings);
        for (PhoneDouble& phone : m_phones) {
            EXPECT_TRUE(until([&] { return isConnected(); }));
            phone.pair(*json::textOf(m_daemon->post("/pair", JSONObject{}).json(), "link"), "P");
            phone.connect();
            phone.waitFor("state");
        }
    }

    [[nodiscard]] bool isConnected() const {
        return json::isTrue(json::member(m_daemon->state(), "relay"), "connected");
    }

    /// The agent's question, on both phones.
    std::string ask() {
        m_hook = m_daemon->runHook("claude", permissionRequest("secret-session"));
        std::string target = *m_phones[0].waitFor("notify").string("target");
        EXPECT_EQ(*m_phones[1].waitFor("notify").string("target"), target);
        return target;
    }

    RunningRelay m_relay;
    std::optional<RunningDaemon> m_daemon;
    PhoneDouble m_phones[2];
    std::unique_ptr<Process> m_hook;
};

TEST_F(OwnRelay, AnswersGetThroughOverARestartAndNothingIsReadOnTheWay) {
    // It is killed with a question on its way; everybody comes back by itself.
    const std::string target = ask();
    m_relay.kill();
    for (PhoneDouble& phone : m_phones)
        phone.waitForEnd();
    m_relay.restart();
    ASSERT_TRUE(until([&] { return isConnected(); }));
    for (PhoneDouble& phone : m_phones) {
        phone.connect();
        phone.hello();
        const JSONObject state = *phone.waitFor("state").find("state")->object();
        EXPECT_EQ(*json::textOf(state.find("pending")->array()->at(0), "id"), target);
    }
    EXPECT_EQ(*m_phones[1].resultOf(m_phones[1].answer(target, {{"action", "allow"}})).find("ok"),
              JSONValue(true));
    EXPECT_EQ(m_hook->exitCode(), 0);
    EXPECT_THAT(m_hook->output(), HasSubstr(R"("behavior":"allow")"));
    for (PhoneDouble& phone : m_phones)
        EXPECT_EQ(*phone.waitFor("clear").find("targets"), JSONValue(JSONArray{target}));

    // Ended well, it says so to everybody.
    m_relay.process().signal(SIGTERM);
    EXPECT_EQ(m_relay.process().exitCode(), 0);
    m_phones[0].waitForEnd();
    const std::string kept = contentOf(m_relay.database()) + contentOf(m_relay.database() + "-wal");
    Config settings;
    settings.raw = *JSONValue::parse(contentOf(m_daemon->home() / "config.json"))->object();
    EXPECT_THAT(kept, HasSubstr(settings.relay()->channel));
    for (const std::string& secret :
         {settings.relay()->auth, settings.relay()->privateKey, settings.relay()->devices[0].key,
          std::string("secret-session")}) {
        EXPECT_THAT(kept, Not(HasSubstr(secret)));
        EXPECT_THAT(m_relay.process().output(), Not(HasSubstr(secret)));
    }
}

TEST_F(OwnRelay, ARemovedPhoneIsOutAndStaysOut) {
    EXPECT_EQ(
        m_daemon->post("/devices/remove", JSONObject{{"id", m_phones[0].identity().device}}).body,
        R"({"ok":true})");
    m_phones[0].waitForEnd();
    const auto connects = [&] { m_phones[0].connect(); };
    EXPECT_THAT(connects, testing::ThrowsMessage<std::runtime_error>(HasSubstr("HTTP 401")));
    m_relay.kill();
    m_relay.restart();
    EXPECT_THAT(connects, testing::ThrowsMessage<std::runtime_error>(HasSubstr("HTTP 401")));
    m_phones[1].waitForEnd();
    m_phones[1].connect();
}

} // namespace
