#include "ui/WelcomeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/Texts.h"

namespace {

using namespace std::chrono_literals;
using Step = WelcomeState::Step;

/// "1c 2- 3 4o": each block's number, whether it is done (d) or current (c), and open (o) as well.
std::string blocks(const WelcomeFacts& facts) {
    std::string text;
    for (const auto& block : WelcomeState::of(facts).blocks) {
        text += std::to_string(block.number);
        text += block.isDone ? "d" : "";
        text += block.isCurrent ? "c" : "";
        text += block.isOpen && !block.isCurrent ? "o" : "";
        text += ' ';
    }
    return text;
}

WelcomeFacts withBoth() {
    WelcomeFacts facts;
    facts.hasClaude = true;
    facts.hasCodex = true;
    facts.server = {ServerState::Phase::listening, {}};
    facts.hooks.claude = 7;
    facts.hooks.codex = 6;
    facts.hooks.scriptCurrent = true;
    facts.codexTrust = Hooks::CodexTrust{.usable = 6, .total = 6};
    return facts;
}

TEST(WelcomeState, OpensTheFirstStepThatIsNotDone) {
    WelcomeFacts facts;
    facts.hasClaude = true;
    EXPECT_EQ(blocks(facts), "1c 2 3 4o ");
    facts = withBoth();
    EXPECT_EQ(blocks(facts), "1d 2d 3c 4 5o ");
    facts.codexTrust = Hooks::CodexTrust{.usable = 5, .total = 5};
    EXPECT_EQ(blocks(facts), "1d 2c 3 4 5o ");
    facts.codexTrust.reset();
    facts.pairedPhones = 1;
    EXPECT_EQ(blocks(facts), "1d 2c 3d 4 5o ") << "the test is not open yet";
    facts.codexTrust = Hooks::CodexTrust{.usable = 6, .total = 7};
    EXPECT_EQ(blocks(facts), "1d 2d 3d 4c 5o ");
    facts.testSucceeded = true;
    EXPECT_EQ(blocks(facts), "1d 2d 3d 4do 5c ") << "its result stays in sight";
    EXPECT_EQ(utf8(WelcomeState::of(facts).finishButton), "稍後再說");
    facts.launchAtLogin = true;
    EXPECT_EQ(blocks(facts), "1d 2d 3d 4do 5do ");
    EXPECT_EQ(utf8(WelcomeState::of(facts).finishButton), "完成");
    EXPECT_TRUE(WelcomeState::of(facts).isComplete);
}

TEST(WelcomeState, NamesTheAgentsThatAreThere) {
    WelcomeFacts facts = withBoth();
    EXPECT_EQ(utf8(WelcomeState::of(facts).hooks.text),
              "Tamsell 透過 Claude Code 和 Codex 的 hooks 知道它們在做什麼。會寫入 "
              "~/.claude/settings.json 和 ~/.codex/hooks.json，原檔先備份成 "
              ".tamsell-backup，你自己的 hooks 不受影響。");
    facts.hasClaude = false;
    EXPECT_THAT(utf8(WelcomeState::of(facts).hooks.text),
                testing::HasSubstr("透過 Codex 的 hooks 知道它們在做什麼。會寫入 "
                                   "~/.codex/hooks.json，"));
    facts.hasCodex = false;
    const WelcomeState state = WelcomeState::of(facts);
    EXPECT_FALSE(state.hooks.enablesButton);
    EXPECT_EQ(utf8(state.problem->title), "這台 Mac 上沒找到 Claude Code 或 Codex");
    EXPECT_EQ(state.problem->action, WelcomeState::Problem::Action::none);
}

TEST(WelcomeState, SaysWhatStopsEverything) {
    using Action = WelcomeState::Problem::Action;
    WelcomeFacts facts = withBoth();
    EXPECT_FALSE(WelcomeState::of(facts).problem);
    facts.server = {ServerState::Phase::failed, "連接埠 8787 已被佔用"};
    auto problem = WelcomeState::of(facts).problem.value();
    EXPECT_EQ(utf8(problem.title), "Tamsell 沒辦法開始接收：連接埠 8787 已被佔用");
    EXPECT_EQ(utf8(problem.button), "重試");
    EXPECT_EQ(problem.action, Action::retry);
    facts.hasLegacyDaemon = true;
    problem = WelcomeState::of(facts).problem.value();
    EXPECT_EQ(utf8(problem.button), "停用舊版並接手");
    EXPECT_EQ(problem.action, Action::takeOver);
    EXPECT_FALSE(WelcomeState::of(facts).pair.enablesSetUp);
}

TEST(WelcomeState, SaysHowTheCheckAndTheCodeAre) {
    WelcomeFacts facts = withBoth();
    EXPECT_EQ(utf8(WelcomeState::of(facts).codex.result), "目前 6/6");
    facts.codexTrust.reset();
    EXPECT_EQ(utf8(WelcomeState::of(facts).codex.result), "找不到 codex 指令，沒辦法自動檢查");
    facts.isCheckingCodex = true;
    EXPECT_EQ(utf8(WelcomeState::of(facts).codex.result), "");
    EXPECT_EQ(utf8(WelcomeState::of(facts).codex.button), "檢查中…");
    EXPECT_FALSE(WelcomeState::of(facts).codex.enablesButton);

    EXPECT_FALSE(WelcomeState::of(facts).pair.isSetUp);
    facts.pairedPhones = 0;
    facts.invite = LiveInvite{{.relayURL = "https://relay.example", .channel = "c"}, facts.now};
    EXPECT_FALSE(WelcomeState::of(facts).pair.link);
    facts.invite->expires += 1ms;
    EXPECT_TRUE(WelcomeState::of(facts).pair.link);
    EXPECT_EQ(utf8(WelcomeState::of(facts).pair.waiting), "正在連到中繼…");
}

} // namespace
