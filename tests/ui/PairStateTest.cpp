#include "ui/PairState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/Texts.h"

namespace {

using namespace std::chrono_literals;

PairFacts paired() {
    PairFacts facts;
    facts.now = std::chrono::system_clock::time_point(1'700'000'000s);
    facts.locale = QLocale(QLocale::Chinese, QLocale::Taiwan);
    facts.relay.emplace();
    facts.relay->url = "https://relay.example";
    facts.relay->devices = {{"a", "小葵的 iPhone", "", 1'699'000'000'000},
                            {"b", "工作機", "", 1'699'000'000}};
    facts.online = {"a", "c"};
    return facts;
}

TEST(PairState, AsksForTheRelayWhileThereAreNoSettings) {
    PairFacts facts;
    for (const auto& [url, enabled] :
         std::vector<std::pair<const char*, bool>>{{"https://r.example", true},
                                                   {"http://127.0.0.1:1", true},
                                                   {"HTTPS://r.example", false},
                                                   {"ftp://r.example", false},
                                                   {" https://r.example", false},
                                                   {"", false}}) {
        facts.relayURL = QString::fromUtf8(url);
        facts.hasRelayURL = enabled;
        const PairState state = PairState::of(facts);
        ASSERT_TRUE(state.setUp);
        EXPECT_EQ(state.setUp->enablesCreation, enabled) << url;
        EXPECT_EQ(state.setUp->mentionsEarlierPairing, enabled);
    }
}

TEST(PairState, ShowsTheCodeUntilItExpires) {
    PairFacts facts = paired();
    EXPECT_FALSE(PairState::of(facts).setUp);
    EXPECT_EQ(utf8(PairState::of(facts).waiting), "正在連到中繼…");
    facts.isConnected = true;
    EXPECT_EQ(utf8(PairState::of(facts).waiting), "正在產生 QR code…");
    facts.invite = LiveInvite{{.relayURL = "https://relay.example", .channel = "c"}, facts.now};
    EXPECT_FALSE(PairState::of(facts).code) << "it ends now";
    for (const auto& [left, text] : std::vector<std::pair<std::chrono::milliseconds, std::string>>{
             {600s, "10:00"}, {599'999ms, "9:59"}, {7s, "0:07"}, {600ms, "0:00"}}) {
        facts.invite->expires = facts.now + left;
        const auto code = PairState::of(facts).code;
        ASSERT_TRUE(code);
        EXPECT_EQ(utf8(code->countdown), "只能配對一支手機，" + text + " 後失效。不要讓別人拍到。");
        EXPECT_EQ(utf8(code->link), facts.invite->invite.link());
    }
    EXPECT_EQ(utf8(countdownText(-1s)), "0:00");
}

TEST(PairState, ListsThePhonesAndAsksBeforeItTakesThemAway) {
    PairFacts facts = paired();
    const PairState state = PairState::of(facts);
    ASSERT_EQ(state.phones.size(), 2U);
    EXPECT_TRUE(state.phones[0].isOnline);
    EXPECT_FALSE(state.phones[1].isOnline);
    EXPECT_EQ(utf8(state.phones[0].added), "2023年11月3日");
    EXPECT_EQ(utf8(state.phones[1].added), "1970年1月20日") << "stored in seconds";
    EXPECT_FALSE(state.confirmation);
    facts.confirmReset = true;
    EXPECT_EQ(utf8(PairState::of(facts).confirmation->action), "停用中繼");
    facts.removing = facts.relay->devices[0];
    EXPECT_EQ(utf8(PairState::of(facts).confirmation->title), "移除「小葵的 iPhone」？");
    facts.removing->name = std::string(5'000, 'x');
    EXPECT_EQ(utf8(PairState::of(facts).confirmation->title),
              "移除「" + std::string(60, 'x') + "…」？")
        << "the question must fit the window";
}

TEST(PairState, WritesDatesAsTheUserDoes) {
    const auto text = [](const char* locale, double at = 1'699'000'000'000) {
        return utf8(dateText(at, QLocale(QString::fromLatin1(locale))));
    };
    EXPECT_EQ(text("en_US"), "Nov 3, 2023");
    EXPECT_EQ(text("en_GB"), "3 Nov 2023");
    EXPECT_EQ(text("de_DE"), "3. Nov. 2023");
    EXPECT_EQ(text("ja_JP"), "2023年11月3日");
    for (const double none : {1e300, -1e300, std::nan("")})
        EXPECT_EQ(text("en_US", none), "");
}

} // namespace
