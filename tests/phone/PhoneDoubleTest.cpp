#include "support/PhoneDouble.h"

#include <gmock/gmock.h>

#include "core/DaemonError.h"
#include "platform/QtScheduler.h"
#include "platform/QtWebSocketTask.h"
#include "relay/RelayClient.h"
#include "support/Eventually.h"
#include "support/RelayDouble.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// The daemon's own relay client, a relay and a phone, over either transport.
class PhoneDoubleTest : public testing::TestWithParam<RelayDouble::Transport> {
  protected:
    PhoneDoubleTest() {
        m_client.log = [this](const LogMessage& message) { m_log.emplace_back(message.text); };
        m_client.handlers = RelayClient::Handlers{
            .snapshot =
                [] {
                    return JSONValue(JSONObject{{"pending", JSONArray{}}});
                },
            .answer =
                [this](const std::string& target, const JSONObject& answer) {
                    if (target != "waiting")
                        throw DaemonError("nothing waits");
                    m_answers.push_back(answer);
                },
            .mode = [this](const std::string& mode) { m_modes.push_back(mode); },
            .paired =
                [this](const PairedDevice& device) {
                    m_settings.devices.push_back(device);
                    m_client.update(m_settings);
                }};
        m_settings = Config::freshRelayConfig(m_relay.url());
        m_client.update(m_settings);
        EXPECT_TRUE(eventually([this] { return m_client.connected(); }));
    }

    /// Of a new invite that the relay knows.
    std::string link() {
        const std::size_t before = m_relay.received("invite").size();
        const auto live = m_client.makeInvite().value();
        EXPECT_TRUE(eventually([&] { return m_relay.received("invite").size() > before; }));
        return live.invite.link();
    }

    [[nodiscard]] PhoneDouble::Options options() const {
        return {.authorities = m_relay.authority().string(), .turn = [] {
                    QTimer wakeUp; // For frames that reach the phone outside of the loop.
                    wakeUp.start(std::chrono::milliseconds(1));
                    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
                }};
    }

    RelayDouble m_relay{{.transport = GetParam(), .port = 0, .identity = {}}};
    QtScheduler m_scheduler;
    RelayClient m_client{
        {.openWebSocket = QtWebSocketTask::opener(m_scheduler,
                                                  [this] {
                                                      QtWebSocketTask::Options task;
                                                      if (GetParam() == RelayDouble::Transport::tls)
                                                          task.authorities = m_relay.authority();
                                                      return task;
                                                  }()),
         .scheduler = m_scheduler}};
    RelayConfig m_settings;
    std::vector<std::string> m_log;
    std::vector<JSONObject> m_answers;
    std::vector<std::string> m_modes;
};

TEST_P(PhoneDoubleTest, PairsAnswersAndComesBack) {
    const std::string once = link();
    PhoneDouble phone(options());
    phone.pair(once, "書房 iPad");
    ASSERT_EQ(m_settings.devices.size(), 1U);
    EXPECT_EQ(m_settings.devices[0].id, phone.identity().device);
    EXPECT_EQ(m_settings.devices[0].name, "書房 iPad");
    PhoneDouble second(options());
    EXPECT_THROW(second.pair(once), std::runtime_error) << "a link pairs one phone";

    phone.connect();
    EXPECT_TRUE(phone.waitFor("state").find("state"));
    const std::string allowed = phone.answer("waiting", {{"action", "allow"}});
    EXPECT_EQ(phone.resultOf(allowed).find("ok")->boolean(), true);
    EXPECT_THAT(m_answers, ElementsAre(JSONObject{{"action", "allow"}}));
    const JSONObject late = phone.resultOf(phone.answer("gone", {{"action", "allow"}}));
    EXPECT_EQ(late.optionalString("error"), "nothing waits");
    phone.resultOf(phone.setMode("off"));
    EXPECT_THAT(m_modes, ElementsAre("off"));
    m_client.broadcast("notify", {{"type", "notify"}, {"target", "waiting"}});
    EXPECT_EQ(phone.waitFor("notify").optionalString("target"), "waiting");
    m_client.clear({"waiting"});
    phone.waitFor("clear");

    phone.disconnect();
    EXPECT_TRUE(eventually([this] { return m_client.online().empty(); }));
    PhoneDouble again(phone.identity(), options());
    again.connect();
    again.waitFor("state");
    again.hello();
    again.waitFor("state");
    EXPECT_EQ(again.unopened(), 0U);
}

TEST_P(PhoneDoubleTest, IsRefusedWhatItShouldNotDo) {
    PhoneDouble phone(options());
    phone.pair(link());
    PhoneDouble::Identity other = phone.identity();
    other.key.front() = static_cast<char>(other.key.front() ^ 1);
    PhoneDouble stranger(other, options());
    try {
        stranger.connect();
        ADD_FAILURE() << "another key is let in";
    } catch (const std::runtime_error& refusal) {
        EXPECT_THAT(refusal.what(), HasSubstr("HTTP 401"));
    }

    phone.connect();
    phone.waitFor("state");
    phone.resultOf(phone.setMode("on"));
    m_log.clear();
    phone.resend();
    phone.sendPlaintext("{\"type\":\"mode\",\"mode\":\"off\",\"ts\":1}");
    phone.send({{"type", "mode"}, {"mode", "off"}, {"ts", 1}});
    phone.send({{"type", "mode"}, {"mode", "off"}}, {.direction = "m2p"});
    phone.send({{"type", "mode"}, {"mode", "off"}}, {.nonceSize = 11});
    phone.send({{"type", "mode"}, {"mode", "off"}}, {.channel = "another"});
    phone.sendFrame("not JSON");
    phone.resultOf(phone.setMode("auto"));
    EXPECT_THAT(m_modes, ElementsAre("on", "auto"));
    EXPECT_THAT(m_log, ElementsAre(HasSubstr("(replayed)"), HasSubstr("(badFrame)"),
                                   HasSubstr("(stale)"), HasSubstr("authentication"),
                                   HasSubstr("nonce"), HasSubstr("authentication")));
}

TEST_P(PhoneDoubleTest, ARequestWithAWrongProofPairsNobody) {
    PhoneDouble phone(options());
    JSONObject request = phone.startPairing(link());
    request.set("proof", "A" + *request.string("proof"));
    phone.sendFrame(json::compact(request).value());
    EXPECT_TRUE(eventually([this] { return !m_log.empty() && m_log.back().ends_with("proof"); }));
    EXPECT_TRUE(m_settings.devices.empty());
}

INSTANTIATE_TEST_SUITE_P(Transports, PhoneDoubleTest,
                         testing::Values(RelayDouble::Transport::plain,
                                         RelayDouble::Transport::tls),
                         [](const auto& transport) {
                             return transport.param == RelayDouble::Transport::tls ? "TLS"
                                                                                   : "Plain";
                         });

} // namespace
