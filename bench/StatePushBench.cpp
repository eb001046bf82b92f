#include <array>
#include <cstring>
#include <stdexcept>
#include <string>

#include "Events.h"
#include "ProcessorCost.h"
#include "RawCipher.h"
#include "Report.h"
#include "Sections.h"
#include "Statistics.h"
#include "core/Base64Url.h"
#include "core/JSONMember.h"
#include "relay/PairingKeys.h"
#include "relay/RelayClient.h"
#include "support/FakeScheduler.h"

namespace bench {

namespace {

constexpr int rounds = 101;
constexpr std::size_t stateSize = 200'000;
constexpr int manyPhones = 10;

// Takes what it is sent as a kernel would: by copying it once.
class Sink final : public WebSocketTask {
  public:
    struct Taken {
        WebSocketTask::Handlers handlers;
        std::string last;
        int frames = 0;
    };

    explicit Sink(Taken& taken) : m_taken(taken) {}
    void resume() override {}
    void send(std::string_view text) override {
        m_taken.last = text;
        ++m_taken.frames;
    }
    [[nodiscard]] std::size_t unsentBytes() const override { return 0; }
    void cancel(int) override {}

  private:
    Taken& m_taken;
};

JSONValue stateOf(std::size_t size) {
    JSONArray sessions;
    for (std::size_t i = 0; i < size / events::usualSize; ++i)
        sessions.push_back(JSONValue::parse(events::toolUse("7c1f0b52-3d8e-4a67")).value());
    return JSONObject{{"sessions", std::move(sessions)}};
}

PairedDevice device(int number) {
    const std::array<std::uint8_t, 32> key{static_cast<std::uint8_t>(number + 1)};
    return {std::string(22, static_cast<char>('a' + number)), "phone", base64url::encode(key), 1};
}

// A client to which that many phones are online.
class Pushing {
  public:
    explicit Pushing(int phones) : m_relay(Config::freshRelayConfig("https://relay.test")) {
        JSONArray online;
        for (int i = 0; i < phones; ++i) {
            m_relay.devices.push_back(device(i));
            online.emplace_back(m_relay.devices.back().id);
        }
        m_client.log = [](const LogMessage&) {};
        m_client.handlers = RelayClient::Handlers{[this] { return std::move(m_next); }, {}, {}, {}};
        m_client.update(m_relay);
        m_taken.handlers.opened();
        m_taken.handlers.text(
            json::compact(JSONObject{{"t", "peers"}, {"phones", std::move(online)}}).value());
    }

    // The microseconds of one push; making the state is not ours.
    double push(const JSONValue& state) {
        m_next = state;
        m_taken.frames = 0;
        m_client.schedulePush();
        const double before = ownMicroseconds();
        m_time.pass(std::chrono::milliseconds(100));
        const double taken = ownMicroseconds() - before;
        if (m_taken.frames != static_cast<int>(m_relay.devices.size()))
            throw std::runtime_error("not every phone got a state");
        return taken;
    }

    // What the last phone got.
    [[nodiscard]] JSONValue lastState() const {
        const JSONValue frame = JSONValue::parse(m_taken.last).value();
        const PairedDevice& to = m_relay.devices.back();
        Box phone{m_relay.channel,
                  to.id,
                  pairing::keyFromText(to.key).value(),
                  Box::Direction::phoneToMac,
                  [this] { return m_time.now(); },
                  {}};
        return *phone.open(*json::textOf(frame, "n"), *json::textOf(frame, "c")).find("state");
    }

  private:
    FakeScheduler m_time;
    Sink::Taken m_taken;
    RelayConfig m_relay;
    JSONValue m_next;
    RelayClient m_client{{[this](const std::string&, WebSocketTask::Handlers handlers) {
                              m_taken.handlers = std::move(handlers);
                              return std::make_unique<Sink>(m_taken);
                          },
                          m_time, [this] { return m_time.now(); }}};
};

} // namespace

void measureStatePush() {
    const JSONValue state = stateOf(stateSize);
    const std::array<std::uint8_t, 32> key{1};
    const std::array<std::uint8_t, aesgcm::nonceSize> nonce{2};
    RawCipher raw(RawCipher::Context::fresh, key);
    Pushing toMany(manyPhones);
    Pushing toOne(1);
    std::string text;
    std::vector<double> many;
    std::vector<double> one;
    std::vector<double> encoding;
    std::vector<double> sealing;
    std::vector<double> writing;
    std::size_t written = 0;
    for (int i = 0; i < rounds; ++i) {
        many.push_back(toMany.push(state));
        one.push_back(toOne.push(state));
        encoding.push_back(ownCost(1, [&] { text = json::compact(state).value(); }));
        std::span<const std::uint8_t> sealed;
        sealing.push_back(ownCost(1, [&] { sealed = raw.seal(nonce, "", text); }));
        writing.push_back(ownCost(1, [&] { written += base64url::encode(sealed).size(); }));
    }
    if (written == 0 || toMany.lastState() != state)
        throw std::runtime_error("a phone got another state");
    printRemark("the state has " + std::to_string(text.size()) + " bytes");
    const double least = median(encoding) + manyPhones * median(sealing);
    print({"state to 10 phones, vs one encoding and 10 seals", median(many), least, "us"});
    // Were the state encoded for each phone, this would be above 2.
    print({"  of that, each phone but the first, vs a seal and base64",
           (median(many) - median(one)) / (manyPhones - 1), median(sealing) + median(writing),
           "us"});
    print({"  to one phone, vs one encoding", median(one), median(encoding), "us"});
}

} // namespace bench
