#include <QLayout>

#include "support/Eventually.h"
#include "support/FakeScheduler.h"
#include "ui/MenuPanel.h"
#include "ui/PanelWindow.h"
#include "ui/Shots.h"
#include "ui/Theme.h"

// Pictures of the panel in each of its states, in both themes, into the directory given.

namespace {

struct Shot {
    const char* name;
    MenuFacts facts;
};

MenuFacts healthy() {
    MenuFacts facts;
    facts.pairedPhones = 2;
    facts.isConnected = true;
    facts.phonesOnline = 2;
    facts.server = {ServerState::Phase::listening, {}};
    facts.hooks.claude = 7;
    facts.hooks.scriptCurrent = true;
    facts.idleMinutes = 5;
    facts.launchAtLogin = true;
    facts.updater = MenuFacts::Updater::ready;
    return facts;
}

std::shared_ptr<const PendingItem> permission(const char* id, const char* cwd, const char* client,
                                              const char* command, bool offersAlways) {
    PendingItem item;
    item.id = id;
    item.cwd = cwd;
    item.client = client;
    item.tool = "Bash";
    item.input = JSONObject{{"command", command}};
    if (offersAlways)
        item.suggestions = JSONArray{JSONObject{}};
    return std::make_shared<const PendingItem>(item);
}

std::shared_ptr<const PendingItem> stop(const char* id, const char* cwd, const char* client,
                                        const char* message) {
    PendingItem item;
    item.id = id;
    item.kind = PendingItem::Kind::stop;
    item.cwd = cwd;
    item.client = client;
    item.lastMessage = message;
    return std::make_shared<const PendingItem>(item);
}

Session session(const char* cwd, const char* client, double lastAt) {
    Session made;
    made.id = cwd;
    made.cwd = cwd;
    made.client = client;
    made.lastAt = lastAt;
    return made;
}

std::vector<Shot> shots() {
    MenuFacts waiting = healthy();
    waiting.isAway = true;
    waiting.pending = {
        permission("1", "/w/orchard", "Claude.app", "git push origin release/2.4", true),
        stop("2", "/w/tidal-notes", "terminal",
             "The planner now reads its limit from the config. 14 tests pass.")};
    waiting.sessions = {session("/w/orchard", "Claude.app", 3),
                        session("/w/tidal-notes", "terminal", 2),
                        session("/w/kiosk-firmware", "Codex", 1)};

    MenuFacts missing = healthy();
    missing.pairedPhones.reset();
    missing.isConnected = false;
    missing.phonesOnline = 0;
    missing.hooks.claude = 0;
    missing.hasCodex = true;
    missing.hooks.codex = 0;
    missing.launchAtLogin = false;

    MenuFacts failed = healthy();
    failed.isConnected = false;
    failed.hooks.claude = 0;
    failed.server = {ServerState::Phase::failed, "連接埠 8787 已被佔用"};
    failed.hasLegacyDaemon = true;

    MenuFacts trust = healthy();
    trust.hasCodex = true;
    trust.hooks.codex = 6;
    trust.codexTrust = Hooks::CodexTrust();
    trust.codexTrust->usable = 2;
    trust.codexTrust->total = 6;
    trust.availableVersion = QStringLiteral("1.4.0");
    trust.sessions = {session("/w/orchard", "Codex", 1)};

    MenuFacts longCommand = healthy();
    longCommand.mode = AwayMode::on;
    longCommand.pending = {
        permission("1", "/w/orchard-platform-infrastructure-and-deployment", "Claude.app",
                   "set -e\ncd services/api\nfor f in migrations/*.sql; do\n  psql "
                   "\"$DATABASE_URL\" -f \"$f\"\ndone\ndocker build --build-arg REV=\"$(git "
                   "rev-parse --short HEAD)\" -t orchard/api:2.4 -f deploy/Dockerfile .\ndocker "
                   "push registry.example.net/orchard/api:2.4\nkubectl -n staging set image "
                   "deploy/api api=registry.example.net/orchard/api:2.4\nkubectl -n staging "
                   "rollout status deploy/api --timeout=120s\necho done",
                   true),
        permission("2", "/w/orchard", "terminal", "echo safe \u202e; )tnerruc(~ fr- mr", false)};
    longCommand.sessions = {session("/w/orchard", "Claude.app", 1)};

    MenuFacts error = missing;
    error.hooks.legacy = true;
    error.error = QStringLiteral("/home/mei/.claude/settings.json 不是 JSON 物件");
    return {{"1-waiting", waiting},          {"2-unpaired-hooks-missing", missing},
            {"3-server-failed", failed},     {"4-codex-trust", trust},
            {"5-long-command", longCommand}, {"6-action-failed", error}};
}

} // namespace

int main(int argc, char** argv) {
    return takeShots(argc, argv, "panel", shots, [](const Shot& shot) {
        FakeScheduler scheduler;
        MenuPanel panel(scheduler);
        PanelWindow window(&panel, PanelWindow::Kind::popup, PanelWindow::Compositing::available);
        panel.show(MenuState::of(shot.facts));
        window.openAt({});
        runDueEvents();
        scheduler.pass(std::chrono::seconds(1));
        runDueEvents();
        return window.grab();
    });
}
