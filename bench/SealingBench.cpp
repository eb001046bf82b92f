#include <array>
#include <optional>
#include <stdexcept>
#include <string>

#include "Events.h"
#include "ProcessorCost.h"
#include "RawCipher.h"
#include "Report.h"
#include "Sections.h"
#include "Statistics.h"
#include "core/Base64Url.h"
#include "relay/Box.h"

namespace bench {

namespace {

constexpr int rounds = 25;
constexpr int timesPerRound = 2000;
constexpr std::array<std::uint8_t, 32> keyBytes{1, 2, 3};
constexpr std::array<std::uint8_t, aesgcm::nonceSize> nonce{4, 5, 6};
const std::string associatedData = "tamsell2|AAAAAAAAAAAAAAAAAAAAAA|BBBBBBBBBBBBBBBBBBBBBB|m2p";

// Events of tools, up to that size.
JSONObject messageOf(std::size_t size) {
    JSONArray events;
    const auto encodedSize = [&] {
        return EncodedMessage({{"type", "state"}, {"state", events}}).size();
    };
    while (encodedSize() + events::usualSize < size)
        events.push_back(JSONValue::parse(events::toolUse("7c1f0b52-3d8e-4a67")).value());
    if (encodedSize() < size)
        events.emplace_back(std::string(size - encodedSize(), '.'));
    return {{"type", "state"}, {"state", std::move(events)}};
}

Box boxTo(Box::Direction direction) {
    Box box;
    box.channel = "AAAAAAAAAAAAAAAAAAAAAA";
    box.device = "BBBBBBBBBBBBBBBBBBBBBB";
    box.key = aesgcm::Key(keyBytes);
    box.sendDirection = direction;
    return box;
}

class Sealing {
  public:
    explicit Sealing(std::size_t size)
        : m_message(messageOf(size)),
          m_plaintext(EncodedMessage(m_message).stamped("AAAAAAAAAAAAAAAA", 1.7e12)),
          m_sealed(aesgcm::seal(m_key, nonce, associatedData, m_plaintext)),
          m_text(base64url::encode(m_sealed)),
          m_sealedMessage(m_computer.seal(m_message)) {
        for (RawCipher* raw : {&m_fresh, &m_reused}) {
            if (!std::ranges::equal(raw->seal(nonce, associatedData, m_plaintext), m_sealed) ||
                raw->open(nonce, associatedData, m_sealed) != m_plaintext)
                throw std::runtime_error("the raw cipher seals something else");
        }
        if (aesgcm::open(m_key, nonce, associatedData, m_sealed) != m_plaintext ||
            m_phone.open(m_sealedMessage.n, m_sealedMessage.c).size() != m_message.size() + 2)
            throw std::runtime_error("what was sealed does not open");
    }

    void measure(const std::string& size, std::optional<double> budget = std::nullopt) {
        const auto seal = [&](auto& raw) {
            return [&] { m_sum += raw.seal(nonce, associatedData, m_plaintext).back(); };
        };
        const auto open = [&](auto& raw) {
            return [&] { m_sum += raw.open(nonce, associatedData, m_sealed).size(); };
        };
        for (int i = 0; i < rounds; ++i) {
            add(m_freshSeal, seal(m_fresh));
            add(m_ourSeal,
                [&] { m_sum += aesgcm::seal(m_key, nonce, associatedData, m_plaintext).back(); });
            add(m_reusedSeal, seal(m_reused));
            add(m_freshOpen, open(m_fresh));
            add(m_ourOpen,
                [&] { m_sum += aesgcm::open(m_key, nonce, associatedData, m_sealed).size(); });
            add(m_reusedOpen, open(m_reused));
            add(m_boxSeal, [&] { m_sum += m_computer.seal(m_message).c.size(); });
            add(m_boxOpen, [&] {
                m_phone.seen = {};
                m_sum += m_phone.open(m_sealedMessage.n, m_sealedMessage.c).size();
            });
            add(m_encode, [&] { m_sum += base64url::encode(m_sealed).size(); });
            add(m_decode, [&] { m_sum += base64url::decode(m_text)->size(); });
        }
        if (m_sum == 0)
            throw std::runtime_error("nothing was sealed");
        report("sealing " + size + ", vs OpenSSL's bare calls", m_ourSeal, m_reusedSeal, budget);
        report("  the same, vs a context of its own for each", m_ourSeal, m_freshSeal);
        report("opening " + size + ", vs OpenSSL's bare calls", m_ourOpen, m_reusedOpen, budget);
        report("  the same, vs a context of its own for each", m_ourOpen, m_freshOpen);
        report("  a message sealed, with its JSON and base64", m_boxSeal, m_reusedSeal);
        report("    of that, base64", m_encode, m_reusedSeal);
        report("  a message opened, with its base64 and JSON", m_boxOpen, m_reusedOpen);
        report("    of that, base64", m_decode, m_reusedOpen);
    }

  private:
    using Costs = std::vector<double>;

    template <typename Work>
    static void add(Costs& costs, Work work) {
        costs.push_back(ownCost(timesPerRound, work));
    }
    static void report(const std::string& name, const Costs& measured, const Costs& reference,
                       std::optional<double> limit = std::nullopt) {
        print({name, median(measured), median(reference), "us", limit});
    }

    JSONObject m_message;
    std::string m_plaintext;
    aesgcm::Key m_key{keyBytes};
    std::vector<std::uint8_t> m_sealed;
    std::string m_text;
    Box m_computer = boxTo(Box::Direction::macToPhone);
    Box m_phone = boxTo(Box::Direction::phoneToMac);
    Box::Sealed m_sealedMessage;
    RawCipher m_fresh{RawCipher::Context::fresh, keyBytes};
    RawCipher m_reused{RawCipher::Context::reused, keyBytes};
    std::size_t m_sum = 0; // Keeps the compiler from leaving any of it out.
    Costs m_freshSeal, m_reusedSeal, m_ourSeal, m_boxSeal, m_encode;
    Costs m_freshOpen, m_reusedOpen, m_ourOpen, m_boxOpen, m_decode;
};

} // namespace

void measureSealing() {
    Sealing(1 << 10).measure("1 KB");
    Sealing(16 << 10).measure("16 KB", 1.3);
}

} // namespace bench
