#include "ui/MenuState.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/Texts.h"

namespace {

Hooks::Status status(int claude, std::optional<int> codex, bool isCurrent = true,
                     bool isLegacy = false) {
    Hooks::Status status;
    status.claude = claude;
    status.codex = codex;
    status.scriptCurrent = isCurrent;
    status.legacy = isLegacy;
    return status;
}

Hooks::CodexTrust trust(int usable, int total) {
    Hooks::CodexTrust trust;
    trust.usable = usable;
    trust.total = total;
    return trust;
}

/// Paired, listening, connected, everything installed, nothing to do.
MenuFacts healthy() {
    MenuFacts facts;
    facts.pairedPhones = 2;
    facts.isConnected = true;
    facts.phonesOnline = 2;
    facts.server = {ServerState::Phase::listening, {}};
    facts.hooks = status(7, {});
    facts.idleMinutes = 5;
    return facts;
}

MenuState with(const std::function<void(MenuFacts&)>& change) {
    MenuFacts facts = healthy();
    change(facts);
    return MenuState::of(facts);
}

TEST(MenuState, StatusAndMarkSayTheFirstThingThatIsMissing) {
    using Mark = MenuState::Mark;
    const struct {
        std::function<void(MenuFacts&)> change;
        std::string status;
        Mark mark;
    } cases[]{
        {[](MenuFacts&) {}, "已連線，2 支手機在線", Mark::green},
        {[](MenuFacts& facts) { facts.phonesOnline = 0; }, "已連線，手機目前不在線上", Mark::green},
        {[](MenuFacts& facts) { facts.isConnected = false; }, "正在連線到中繼…", Mark::orange},
        {[](MenuFacts& facts) {
             facts.server = {ServerState::Phase::failed, "m"};
             facts.isConnected = false;
         },
         "已配對，接手之後才會連到手機", Mark::orange},
        {[](MenuFacts& facts) { facts.server.phase = ServerState::Phase::starting; },
         "已配對，接手之後才會連到手機", Mark::green},
        {[](MenuFacts& facts) { facts.pairedPhones = 0; }, "還沒有配對手機", Mark::gray},
        {[](MenuFacts& facts) { facts.pairedPhones.reset(); }, "還沒有配對手機", Mark::gray},
    };
    for (const auto& [change, status, mark] : cases) {
        const MenuState state = with(change);
        EXPECT_EQ(utf8(state.status), status);
        EXPECT_EQ(state.mark, mark) << status;
        EXPECT_EQ(utf8(state.pairButton), mark == Mark::gray ? "配對手機…" : "配對另一支手機…");
    }
}

TEST(MenuState, OffersWhatMendsTheSetup) {
    const auto failed = [](MenuFacts& facts) {
        facts.server = {ServerState::Phase::failed, "連接埠 8787 已被佔用"};
        facts.hooks = {};
    };
    const MenuState retry = with(failed);
    ASSERT_TRUE(retry.failure);
    EXPECT_EQ(utf8(retry.failure->message), "連接埠 8787 已被佔用");
    EXPECT_EQ(utf8(retry.failure->button), "重試");
    EXPECT_FALSE(retry.failure->isTakeover);
    EXPECT_TRUE(retry.warning);
    const MenuState takeover = with([&](MenuFacts& facts) {
        failed(facts);
        facts.hasLegacyDaemon = true;
    });
    EXPECT_EQ(utf8(takeover.failure->button), "停用舊版並接手");
    EXPECT_TRUE(takeover.failure->isTakeover);
    EXPECT_FALSE(takeover.warning) << "taking over installs the hooks";

    // Title and button of the warning; "" for none.
    const struct {
        Hooks::Status hooks;
        bool hasCodex;
        std::optional<Hooks::CodexTrust> trust;
        std::string title;
        std::string button;
    } cases[]{
        {status(7, {}), false, {}, "", ""},
        {status(7, {}), true, {}, "", ""},
        {status(6, {}), false, {}, "Claude Code 的 hooks 還沒裝好", "安裝 hooks"},
        {status(7, 5), true, {}, "Claude Code 和 Codex 的 hooks 還沒裝好", "安裝 hooks"},
        {status(7, 6, false), true, trust(6, 6), "Claude Code 和 Codex 的 hooks 還沒裝好",
         "安裝 hooks"},
        {status(0, {}, true, true), false, {}, "hooks 還是舊版", "換成新版 hooks"},
        {status(7, 6, true, true), true, trust(6, 6), "", ""},
        {status(7, 6), true, trust(2, 6), "Codex 還沒信任 Tamsell 的 hooks（2/6）", "重新檢查"},
        {status(7, 6), true, trust(0, 0), "Codex 還沒信任 Tamsell 的 hooks（0/0）", "重新檢查"},
    };
    for (const auto& each : cases) {
        const MenuState state = with([&](MenuFacts& facts) {
            facts.hooks = each.hooks;
            facts.hasCodex = each.hasCodex;
            facts.codexTrust = each.trust;
        });
        const auto warning = state.warning.value_or(MenuState::Warning());
        EXPECT_EQ(utf8(warning.title), each.title);
        EXPECT_EQ(utf8(warning.button), each.button);
        EXPECT_EQ(warning.text.contains(QStringLiteral("~/.codex")),
                  each.hasCodex && each.button.ends_with("hooks"));
        EXPECT_EQ(state.offersHookRemoval, each.title.empty() || each.button == "重新檢查");
    }
}

TEST(MenuState, DescribesTheMode) {
    const struct {
        AwayMode mode;
        bool isAway;
        double idleMinutes;
        std::string text;
    } cases[]{
        {AwayMode::off, true, 5, "不轉發，全部在 Mac 上處理"},
        {AwayMode::on, false, 5, "權限請求和停下來的回合一律轉發到手機"},
        {AwayMode::automatic, true, 5, "你離開了，正在轉發到手機"},
        {AwayMode::automatic, false, 2.9, "閒置 2 分鐘後轉發到手機"},
        {AwayMode::automatic, false, 1e15, "閒置 1000000000000000 分鐘後轉發到手機"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(utf8(with([&](MenuFacts& facts) {
                           facts.mode = each.mode;
                           facts.isAway = each.isAway;
                           facts.idleMinutes = each.idleMinutes;
                       }).modeDescription),
                  each.text);
}

TEST(MenuState, ShowsWaitingItemsInOrderWithTheirAnswers) {
    const auto item = [](const PendingItem& each) {
        return std::make_shared<const PendingItem>(each);
    };
    PendingItem command;
    command.id = "1";
    command.cwd = "/home/u/orchard/";
    command.client = "Claude.app";
    command.tool = "Bash";
    command.input = JSONObject{{"command", "git push"}};
    command.suggestions = JSONArray{JSONObject{}};
    PendingItem bare;
    bare.id = "2";
    bare.client = "Codex";
    bare.suggestions = JSONArray{};
    PendingItem stop;
    stop.id = "3";
    stop.kind = PendingItem::Kind::stop;
    stop.cwd = "/";
    stop.client = "terminal";
    stop.tool = "Bash";
    stop.lastMessage = "完成了";
    stop.suggestions = JSONArray{JSONObject{}};
    const auto rows = with([&](MenuFacts& facts) {
                          facts.pending = {item(command), item(bare), item(stop)};
                      }).pending;
    std::vector<std::string> texts;
    for (const PendingRowState& row : rows)
        texts.push_back(utf8(row.id + QLatin1Char('|') + row.folder + QLatin1Char('|') + row.kind +
                             QLatin1Char('|') + row.client + QLatin1Char('|') + row.detail) +
                        (row.isPermission ? "|permission" : "|stop") +
                        (row.offersAlways ? "|always" : ""));
    EXPECT_THAT(texts, testing::ElementsAre("1|orchard|Bash|Claude.app|git push|permission|always",
                                            "2||工具|Codex||permission",
                                            "3|/|停下來了|terminal|完成了|stop"));
}

TEST(MenuState, TellsWhatAlwaysMakesTheAgentRemember) {
    const auto remembered = [](const std::string& suggestions) {
        PendingItem item;
        item.suggestions = JSONValue::parse(suggestions);
        return utf8(PendingRowState::of(item).remembered);
    };
    const std::string rule = R"({"toolName":"Bash","ruleContent":"git push:*"})";
    const auto addRules = [](const std::string& rules, const char* more = "") {
        return R"([{"type":"addRules","rules":[)" + rules +
               R"(],"behavior":"allow","destination":"localSettings")" + more + "}]";
    };
    EXPECT_EQ(remembered(addRules(rule + R"(,{"toolName":"Read"})")),
              "以後不再問，直接允許：\nBash(git push:*)\nRead\n"
              "寫入這個專案的本機設定（localSettings）。");
    EXPECT_EQ(
        remembered(R"([{"type":"addDirectories","directories":["/w"],"destination":"session"},)"
                   R"({"type":"setMode","mode":"plan","destination":"userSettings"}])"),
        "以後可以使用這些資料夾：\n/w\n只在這個工作階段有效（session）。\n"
        "權限模式改成：\nplan\n寫入你的個人設定（userSettings）。");
    // It cannot pretend to be another line, or less than it is.
    EXPECT_THAT(remembered(addRules(R"({"toolName":"a\n以後\u202e"})")),
                testing::HasSubstr("\na↵以後[U+202E]\n"));
    for (const std::string& unknown :
         {addRules(rule, R"(,"also":1)"), addRules(R"({"toolName":"a","b":1})"), addRules("7")}) {
        const std::string list = json::compact(*JSONValue::parse(unknown)).value();
        EXPECT_EQ(remembered(unknown), "agent 會照這樣記住：\n" + list.substr(1, list.size() - 2));
    }
    std::string many = rule;
    for (int i = 0; i < 50; ++i)
        many += "," + rule;
    const std::string shown = remembered(addRules(many));
    EXPECT_EQ(std::ranges::count(shown, '\n'), 15);
    EXPECT_TRUE(shown.ends_with("\n還有 38 行沒有顯示")) << shown;
    EXPECT_LT(remembered(addRules(R"({"toolName":")" + std::string(9000, 'x') + "\"}")).size(),
              400U);
}

TEST(MenuState, ShowsTheFiveNewestOpenSessions) {
    const MenuState state = with([](MenuFacts& facts) {
        for (int i = 1; i <= 7; ++i) {
            Session session;
            session.id = "0123456789-" + std::to_string(i);
            session.client = "terminal";
            session.lastAt = i;
            if (i != 4)
                session.cwd = "/w/p" + std::to_string(i);
            if (i == 6)
                session.ended = true;
            facts.sessions.push_back(session);
        }
    });
    std::string names;
    for (const auto& row : state.sessions)
        names += utf8(row.name) + " ";
    EXPECT_EQ(names, "p7 p5 01234567 p3 p2 ");
}

TEST(MenuState, ShowsUpdatesWhereThereIsAnUpdater) {
    using Updater = MenuFacts::Updater;
    for (const Updater updater : {Updater::absent, Updater::busy, Updater::ready}) {
        const MenuState state = with([&](MenuFacts& facts) {
            facts.updater = updater;
            facts.availableVersion = QStringLiteral("1.4.0");
        });
        EXPECT_EQ(state.showsUpdateCheck, updater != Updater::absent);
        EXPECT_EQ(state.enablesUpdateCheck, updater == Updater::ready);
        EXPECT_EQ(utf8(state.updateButton.value()), "有新版本 1.4.0，查看…");
    }
}

} // namespace
