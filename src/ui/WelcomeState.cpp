#include "ui/WelcomeState.h"

#include <algorithm>
#include <cmath>

#include <QStringList>

#include "ui/MenuState.h"

namespace {

using Step = WelcomeState::Step;

QString joined(const QStringList& two) {
    return two.size() == 2 ? WelcomeState::tr("%1 和 %2").arg(two[0], two[1]) : two.join(QString());
}

int codexEvents() {
    return static_cast<int>(Hooks::codexEvents().size());
}

bool isPaired(const WelcomeFacts& facts) {
    return facts.pairedPhones.value_or(0) > 0;
}

bool isDone(Step step, const WelcomeFacts& facts) {
    switch (step) {
    case Step::hooks:
        return areComplete(facts.hooks);
    case Step::codex:
        return facts.codexTrust && facts.codexTrust->usable == codexEvents();
    case Step::pair:
        return isPaired(facts);
    case Step::test:
        return facts.testSucceeded;
    case Step::login:
        break;
    }
    return facts.launchAtLogin;
}

QString titleOf(Step step) {
    switch (step) {
    case Step::hooks:
        return WelcomeState::tr("安裝 hooks");
    case Step::codex:
        return WelcomeState::tr("在 Codex 信任 hooks");
    case Step::pair:
        return WelcomeState::tr("配對 iPhone");
    case Step::test:
        return WelcomeState::tr("測試推播");
    case Step::login:
        break;
    }
    return WelcomeState::tr("登入時自動啟動");
}

std::optional<WelcomeState::Problem> problemOf(const WelcomeFacts& facts) {
    using Action = WelcomeState::Problem::Action;
    WelcomeState::Problem problem;
    if (facts.server.phase == ServerState::Phase::failed) {
        problem.title = WelcomeState::tr("Tamsell 沒辦法開始接收：%1")
                            .arg(QString::fromStdString(facts.server.message));
        problem.action = facts.hasLegacyDaemon ? Action::takeOver : Action::retry;
        problem.text =
            facts.hasLegacyDaemon
                ? WelcomeState::tr("舊版 Tamsell（Node）還在執行。接手會停用它並換成新版 hooks，"
                                   "手機不用重新配對。")
                : WelcomeState::tr("另一個程式佔用了這個連接埠。關掉它之後按重試，或在 "
                                   "~/.tamsell/config.json 換一個 port。");
        problem.button =
            facts.hasLegacyDaemon ? WelcomeState::tr("停用舊版並接手") : WelcomeState::tr("重試");
        return problem;
    }
    if (facts.hasClaude || facts.hasCodex)
        return std::nullopt;
    problem.title = WelcomeState::tr("這台 Mac 上沒找到 Claude Code 或 Codex");
    problem.text = WelcomeState::tr("先安裝其中一個並執行過一次，再回來安裝 hooks。");
    return problem;
}

std::vector<WelcomeState::Block> blocksOf(const WelcomeFacts& facts) {
    std::vector<WelcomeState::Block> blocks;
    bool allBeforeAreDone = true;
    for (const Step step : {Step::hooks, Step::codex, Step::pair, Step::test, Step::login}) {
        if (step == Step::codex && !facts.hasCodex)
            continue;
        WelcomeState::Block block;
        block.step = step;
        block.number = static_cast<int>(blocks.size()) + 1;
        block.title = titleOf(step);
        block.isOptional = step == Step::test || step == Step::login;
        block.isDone = isDone(step, facts);
        block.isCurrent = allBeforeAreDone && !block.isDone;
        block.isOpen =
            block.isCurrent || step == Step::login || (step == Step::test && allBeforeAreDone);
        allBeforeAreDone = allBeforeAreDone && block.isDone;
        blocks.push_back(std::move(block));
    }
    return blocks;
}

WelcomeState::HooksStep hooksStepOf(const WelcomeFacts& facts) {
    QStringList agents;
    QStringList files;
    if (facts.hasClaude) {
        agents << QStringLiteral("Claude Code");
        files << QStringLiteral("~/.claude/settings.json");
    }
    if (facts.hasCodex) {
        agents << QStringLiteral("Codex");
        files << QStringLiteral("~/.codex/hooks.json");
    }
    WelcomeState::HooksStep step;
    step.text = WelcomeState::tr("Tamsell 透過 %1 的 hooks 知道它們在做什麼。會寫入 "
                                 "%2，原檔先備份成 .tamsell-backup，你自己的 hooks 不受影響。")
                    .arg(joined(agents), joined(files));
    step.button =
        facts.hooks.legacy ? WelcomeState::tr("換成新版 hooks") : WelcomeState::tr("安裝 hooks");
    step.enablesButton = facts.hasClaude || facts.hasCodex;
    step.note = facts.hasCodex
                    ? WelcomeState::tr("已經開著的 Claude Code 和 Codex "
                                       "要重新開一次才會用到新的 hooks。")
                    : WelcomeState::tr("已經開著的 Claude Code 要重新開一次才會用到新的 hooks。");
    return step;
}

WelcomeState::CodexStep codexStepOf(const WelcomeFacts& facts) {
    WelcomeState::CodexStep step;
    step.text = WelcomeState::tr("Codex 執行新的 hooks 之前要你親自同意。打開 Codex，輸入 "
                                 "/hooks，把 Tamsell 的 %1 個 hooks 都設成信任。")
                    .arg(codexEvents());
    step.button = facts.isCheckingCodex ? WelcomeState::tr("檢查中…")
                                        : WelcomeState::tr("我信任好了，重新檢查");
    step.enablesButton = !facts.isCheckingCodex;
    if (facts.codexTrust)
        step.result = WelcomeState::tr("目前 %1/%2")
                          .arg(facts.codexTrust->usable)
                          .arg(facts.codexTrust->total);
    else if (!facts.isCheckingCodex)
        step.result = WelcomeState::tr("找不到 codex 指令，沒辦法自動檢查");
    return step;
}

WelcomeState::PairStep pairStepOf(const WelcomeFacts& facts) {
    WelcomeState::PairStep step;
    step.isSetUp = facts.pairedPhones.has_value();
    step.enablesSetUp = facts.server.phase == ServerState::Phase::listening;
    if (facts.invite && facts.invite->expires > facts.now)
        step.link = QString::fromStdString(facts.invite->invite.link());
    step.waiting =
        facts.isConnected ? WelcomeState::tr("等手機掃描…") : WelcomeState::tr("正在連到中繼…");
    return step;
}

} // namespace

WelcomeState WelcomeState::of(const WelcomeFacts& facts) {
    WelcomeState state;
    state.problem = problemOf(facts);
    state.blocks = blocksOf(facts);
    state.hooks = hooksStepOf(facts);
    state.codex = codexStepOf(facts);
    state.pair = pairStepOf(facts);
    state.test = {facts.isConnected, facts.testResult.value_or(QString()), facts.testSucceeded};
    state.login.isOn = facts.launchAtLogin;
    state.login.idleText = tr("預設是「自動」：Mac 閒置 %1 分鐘後才轉發到手機，人在電腦前就照舊。"
                              "可以在選單列切換。")
                               .arg(QString::number(std::trunc(facts.idleMinutes), 'f', 0));
    state.error = facts.error;
    state.isComplete = std::ranges::all_of(state.blocks, &Block::isDone);
    state.finishButton = state.isComplete ? tr("完成") : tr("稍後再說");
    return state;
}
