#include "ui/MenuState.h"

#include <algorithm>
#include <cmath>

#include "core/Text.h"
#include "ui/RememberedText.h"

namespace {

constexpr std::size_t sessionRows = 5;
constexpr std::size_t idLength = 8;

QString fromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString folderOf(const std::optional<std::string>& directory) {
    return directory ? fromUtf8(text::lastPathComponent(*directory)) : QString();
}

bool isPaired(const MenuFacts& facts) {
    return facts.pairedPhones.value_or(0) > 0;
}

QString statusOf(const MenuFacts& facts) {
    if (!isPaired(facts))
        return MenuState::tr("還沒有配對手機");
    if (facts.server.phase != ServerState::Phase::listening)
        return MenuState::tr("已配對，接手之後才會連到手機");
    if (!facts.isConnected)
        return MenuState::tr("正在連線到中繼…");
    if (facts.phonesOnline == 0)
        return MenuState::tr("已連線，手機目前不在線上");
    return MenuState::tr("已連線，%1 支手機在線").arg(facts.phonesOnline);
}

MenuState::Mark markOf(const MenuFacts& facts) {
    if (!isPaired(facts))
        return MenuState::Mark::gray;
    return facts.isConnected ? MenuState::Mark::green : MenuState::Mark::orange;
}

std::optional<MenuState::Failure> failureOf(const MenuFacts& facts) {
    if (facts.server.phase != ServerState::Phase::failed)
        return std::nullopt;
    MenuState::Failure failure;
    failure.message = fromUtf8(facts.server.message);
    failure.isTakeover = facts.hasLegacyDaemon;
    if (failure.isTakeover) {
        failure.explanation =
            MenuState::tr("舊版 daemon（Node）還在執行，佔用了同一個連接埠。接手會停用它，"
                          "並把 hooks 換成新版。手機不用重新配對。");
        failure.button = MenuState::tr("停用舊版並接手");
    } else {
        failure.button = MenuState::tr("重試");
    }
    return failure;
}

MenuState::Warning hooksWarning(const MenuFacts& facts) {
    MenuState::Warning warning;
    warning.kind = MenuState::Warning::Kind::hooks;
    if (facts.hooks.legacy)
        warning.title = MenuState::tr("hooks 還是舊版");
    else if (facts.hasCodex)
        warning.title = MenuState::tr("Claude Code 和 Codex 的 hooks 還沒裝好");
    else
        warning.title = MenuState::tr("Claude Code 的 hooks 還沒裝好");
    warning.text =
        facts.hasCodex
            ? MenuState::tr("會寫入 ~/.claude/settings.json 和 ~/.codex/hooks.json，"
                            "原檔會先備份。你自己的 hooks 不受影響。")
            : MenuState::tr("會寫入 ~/.claude/settings.json，原檔會先備份。你自己的 hooks "
                            "不受影響。");
    warning.button =
        facts.hooks.legacy ? MenuState::tr("換成新版 hooks") : MenuState::tr("安裝 hooks");
    return warning;
}

MenuState::Warning trustWarning(const Hooks::CodexTrust& trust) {
    MenuState::Warning warning;
    warning.kind = MenuState::Warning::Kind::codexTrust;
    warning.title = MenuState::tr("Codex 還沒信任 Tamsell 的 hooks（%1/%2）")
                        .arg(trust.usable)
                        .arg(trust.total);
    warning.text =
        MenuState::tr("在 Codex 裡輸入 /hooks，信任 Tamsell 的 hooks。這一步必須由你確認。");
    warning.button = MenuState::tr("重新檢查");
    return warning;
}

std::optional<MenuState::Warning> warningOf(const MenuFacts& facts) {
    // The failed server offers to take over, which installs the hooks, too.
    if (facts.hasLegacyDaemon && facts.server.phase == ServerState::Phase::failed)
        return std::nullopt;
    if (!areComplete(facts.hooks))
        return hooksWarning(facts);
    const auto& trust = facts.codexTrust;
    if (trust && (trust->usable < trust->total || trust->total == 0))
        return trustWarning(*trust);
    return std::nullopt;
}

QString modeDescriptionOf(const MenuFacts& facts) {
    switch (facts.mode) {
    case AwayMode::off:
        return MenuState::tr("不轉發，全部在 Mac 上處理");
    case AwayMode::on:
        return MenuState::tr("權限請求和停下來的回合一律轉發到手機");
    case AwayMode::automatic:
        break;
    }
    if (facts.isAway)
        return MenuState::tr("你離開了，正在轉發到手機");
    return MenuState::tr("閒置 %1 分鐘後轉發到手機")
        .arg(QString::number(std::trunc(facts.idleMinutes), 'f', 0));
}

std::vector<MenuState::SessionRow> sessionsOf(const MenuFacts& facts) {
    std::vector<Session> open;
    std::ranges::copy_if(facts.sessions, std::back_inserter(open),
                         [](const Session& session) { return !session.ended.value_or(false); });
    std::ranges::sort(open, [](const Session& left, const Session& right) {
        return left.lastAt != right.lastAt ? left.lastAt > right.lastAt : left.id < right.id;
    });
    open.resize(std::min(open.size(), sessionRows));
    std::vector<MenuState::SessionRow> rows;
    for (const Session& session : open) {
        const QString folder = folderOf(session.cwd);
        rows.push_back({folder.isEmpty() ? fromUtf8(text::prefix(session.id, idLength)) : folder,
                        fromUtf8(session.client)});
    }
    return rows;
}

} // namespace

bool areComplete(const Hooks::Status& hooks) {
    return hooks.claude == static_cast<int>(Hooks::claudeEvents().size()) &&
           (!hooks.codex || *hooks.codex == static_cast<int>(Hooks::codexEvents().size())) &&
           hooks.scriptCurrent;
}

PendingRowState PendingRowState::of(const PendingItem& item) {
    PendingRowState row;
    row.id = fromUtf8(item.id);
    row.folder = folderOf(item.cwd);
    row.isPermission = item.kind == PendingItem::Kind::permission;
    if (!row.isPermission)
        row.kind = tr("停下來了");
    else
        row.kind = item.tool ? fromUtf8(*item.tool) : tr("工具");
    row.client = fromUtf8(item.client);
    row.detail = fromUtf8(item.detail());
    const JSONArray* suggestions = item.suggestions ? item.suggestions->array() : nullptr;
    row.offersAlways = row.isPermission && suggestions && !suggestions->empty();
    if (row.offersAlways)
        row.remembered = rememberedText(*suggestions);
    return row;
}

MenuState MenuState::of(const MenuFacts& facts) {
    MenuState state;
    state.status = statusOf(facts);
    state.mark = markOf(facts);
    state.failure = failureOf(facts);
    state.warning = warningOf(facts);
    state.error = facts.error;
    state.mode = facts.mode;
    state.modeDescription = modeDescriptionOf(facts);
    for (const auto& item : facts.pending)
        state.pending.push_back(PendingRowState::of(*item));
    state.sessions = sessionsOf(facts);
    state.pairButton = isPaired(facts) ? tr("配對另一支手機…") : tr("配對手機…");
    if (facts.availableVersion)
        state.updateButton = tr("有新版本 %1，查看…").arg(*facts.availableVersion);
    state.launchAtLogin = facts.launchAtLogin;
    state.showsUpdateCheck = facts.updater != MenuFacts::Updater::absent;
    state.enablesUpdateCheck = facts.updater == MenuFacts::Updater::ready;
    state.offersHookRemoval = areComplete(facts.hooks);
    return state;
}
