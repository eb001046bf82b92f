#include "relayd/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "relayd/Budget.h"
#include "relayd/Target.h"
#include "support/FakeEnvironment.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::ThrowsMessage;

RelayOptions optionsOf(std::vector<std::string> arguments,
                       std::map<std::string, std::string> variables = {}) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    return RelayOptions::from(pointers, fakeEnvironment(std::move(variables)));
}

TEST(RelayOptions, TheCommandLineComesBeforeTheEnvironmentAndThatBeforeTheFile) {
    const TemporaryDirectory directory;
    const auto file = directory.put("relay.json", R"({"listen":"127.0.0.1:1","database":"file",
        "trust-proxy":["10.0.0.0/8","::1"],"max-connections":7})");
    const RelayOptions options =
        optionsOf({"--config", file, "--listen=[::1]:3"},
                  {{"TAMSELL_RELAY_LISTEN", "0.0.0.0:2"}, {"TAMSELL_RELAY_DATABASE", "variable"}});
    EXPECT_EQ(options.host, "::1");
    EXPECT_EQ(options.port, 3);
    EXPECT_EQ(options.database, "variable");
    EXPECT_EQ(options.proxies.size(), 2U);
    EXPECT_EQ(options.maximumConnections, 7U);
    EXPECT_EQ(optionsOf({}, {{"TAMSELL_RELAY_TRUST_PROXY", "192.0.2.1,::1"}}).proxies.size(), 2U);
}

TEST(RelayOptions, SaysWhatIsWrong) {
    const TemporaryDirectory directory;
    const auto unknown = directory.put("unknown.json", R"({"lisen":"x"})");
    const std::vector<std::pair<std::vector<std::string>, const char*>> cases{
        {{"--port", "1"}, "unknown option --port"},
        {{"serve"}, "unknown option serve"},
        {{"--listen"}, "listen: without a value"},
        {{"--listen", "localhost:80"}, "\"localhost:80\" is not ADDRESS:PORT"},
        {{"--listen", "127.0.0.1:65536"}, "\"65536\" is no such number"},
        {{"--trust-proxy", "10.0.0.0/33"}, "10.0.0.0/33"},
        {{"--max-connections", "-1"}, "\"-1\""},
        {{"--config", directory / "none"}, "none"},
        {{"--config", unknown}, "\"lisen\" is no option"},
    };
    for (const auto& each : cases) {
        const auto parse = [&] { (void)optionsOf(each.first); };
        EXPECT_THAT(parse, ThrowsMessage<std::runtime_error>(HasSubstr(each.second)));
    }
}

TEST(ClientAddress, BelievesNamedProxiesAlone) {
    const std::vector<AddressBlock> proxies{AddressBlock::parse("10.0.0.0/8").value(),
                                            AddressBlock::parse("2001:db8::/64").value()};
    struct {
        const char* peer;
        const char* forwarded;
        const char* client;
    } const cases[] = {
        {"192.0.2.1", "198.51.100.7", "192.0.2.x"},
        {"10.1.2.3", "198.51.100.7", "198.51.100.x"},
        {"10.1.2.3", "203.0.113.9, 198.51.100.7, 10.9.9.9", "198.51.100.x"},
        {"10.1.2.3", "203.0.113.9, spoofed", "10.1.2.x"},
        {"10.1.2.3", "", "10.1.2.x"},
        {"2001:db8::1", "[2001:db8:1::5]:443", "2001:db8:1::x"},
        {"::ffff:10.0.0.1", "198.51.100.7:99", "198.51.100.x"},
    };
    for (const auto& [peer, forwarded, client] : cases)
        EXPECT_EQ(clientAddress(IPAddress::parse(peer).value(), forwarded, proxies).shortened(),
                  client)
            << peer << " " << forwarded;
    const auto subscriber = [](const char* text) {
        return IPAddress::parse(text).value().subscriber();
    };
    EXPECT_EQ(subscriber("2001:db8::1"), subscriber("2001:db8::ffff:2"));
    EXPECT_NE(subscriber("2001:db8::1"), subscriber("2001:db8:0:1::1"));
    EXPECT_NE(subscriber("192.0.2.1"), subscriber("192.0.2.2"));
}

TEST(Target, AdmitsNothingButNamesAndTokens) {
    const std::string name(22, 'c');
    const std::string device(22, 'd');
    const auto computer = webSocketCredentials("/ws/" + name + "?x=y&auth=T-_9&role=mac");
    ASSERT_TRUE(computer);
    EXPECT_EQ(computer->token, "T-_9");
    const auto pairing =
        webSocketCredentials("/ws/" + name + "?role=pair&device=" + device + "&invite=I&auth=A");
    ASSERT_TRUE(pairing);
    EXPECT_EQ(pairing->token, "I");
    for (const std::string& target :
         {"/ws/" + name, "/ws/" + name + "?role=mac", "/ws/" + name + "?role=mac&auth=",
          "/ws/" + name + "x?role=mac&auth=T", "/ws/" + name + "?role=cat&auth=T",
          "/ws/" + name + "?role=mac&auth=T%41", "/ws/" + name + "?role=phone&auth=T",
          "/ws/" + name + "?role=mac&auth=" + std::string(129, 'T'),
          "/ws/..%2f?role=mac&auth=T" + name, std::string("/ws/")})
        EXPECT_FALSE(webSocketCredentials(target)) << target;

    const std::string messages = "/api/" + name + "/" + device + "/messages";
    const auto phone = messagesCredentials(messages, "bEARER T");
    ASSERT_TRUE(phone);
    EXPECT_EQ(phone->channel + phone->device + phone->token, name + device + "T");
    for (const char* header : {"", "T", "Basic T", "Bearer ", "Bearer a b"})
        EXPECT_EQ(messagesCredentials(messages, header).value().token, "") << header;
    EXPECT_FALSE(messagesCredentials(messages + "/", "Bearer T"));
    EXPECT_FALSE(messagesCredentials("/api/" + name + device + "//messages", "Bearer T"));
}

TEST(Budget, ComesBackWithTime) {
    const Moment start{};
    Budget budget(2, 0.5, start);
    EXPECT_TRUE(budget.spend(start));
    EXPECT_TRUE(budget.spend(start));
    EXPECT_FALSE(budget.spend(start + 1s));
    EXPECT_TRUE(budget.spend(start + 2s));
    EXPECT_EQ(budget.owe(start + 2s), 2000ms);
    EXPECT_EQ(budget.owe(start + 2s), 4000ms);
    EXPECT_EQ(budget.owe(start + 1h), 0ms);

    AddressBudgets addresses(1, 10s, 3);
    for (const char* address : {"a", "b", "c", "d"})
        EXPECT_TRUE(addresses.spend(address, start));
    EXPECT_FALSE(addresses.spend("d", start));
    EXPECT_TRUE(addresses.isEmpty("d", start + 9s));
    EXPECT_TRUE(addresses.spend("d", start + 10s));
    EXPECT_FALSE(addresses.isEmpty("never seen", start));
}

} // namespace
