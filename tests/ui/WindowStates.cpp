#include "ui/WindowStates.h"

#include <QApplication>

#include "support/Eventually.h"
#include "support/FakeScheduler.h"
#include "ui/ColumnWindow.h"
#include "ui/LaunchNotice.h"
#include "ui/MenuPanel.h"
#include "ui/PairPanel.h"
#include "ui/PanelWindow.h"
#include "ui/UpdateWindow.h"
#include "ui/WelcomePanel.h"

namespace {

using namespace std::chrono_literals;

template <typename Facts>
struct Named {
    const char* name;
    Facts facts;
};

// The guide.
std::vector<Named<WelcomeFacts>> guideStates() {
    WelcomeFacts install;
    install.hasClaude = true;
    install.hasCodex = true;
    install.server = {ServerState::Phase::listening, {}};
    install.idleMinutes = 5;

    WelcomeFacts trust = install;
    trust.hooks.claude = 7;
    trust.hooks.codex = 6;
    trust.hooks.scriptCurrent = true;
    trust.codexTrust = Hooks::CodexTrust{.usable = 2, .total = 6};
    trust.server = {ServerState::Phase::failed, "連接埠 8787 已被佔用"};

    WelcomeFacts setUp = trust;
    setUp.codexTrust = Hooks::CodexTrust{.usable = 6, .total = 6};
    setUp.hasLegacyDaemon = true;

    WelcomeFacts pair = setUp;
    pair.server = install.server;
    pair.pairedPhones = 0;
    pair.isConnected = true;
    Invite invite{.relayURL = "https://relay.tamsell.example", .channel = "0123456789abcdefghijkl"};
    invite.secret.fill('s');
    invite.macKey.fill('k');
    pair.invite = LiveInvite{invite, pair.now + std::chrono::minutes(10)};

    WelcomeFacts connecting = pair;
    connecting.invite.reset();
    connecting.isConnected = false;

    WelcomeFacts done = pair;
    done.pairedPhones = 1;
    done.testResult = QStringLiteral("送達 1/1 台裝置");
    done.testSucceeded = true;
    done.launchAtLogin = true;

    WelcomeFacts checking = trust;
    checking.server = install.server;
    checking.codexTrust.reset();
    checking.isCheckingCodex = true;
    WelcomeFacts unknown = checking;
    unknown.isCheckingCodex = false;

    WelcomeFacts test = pair;
    test.pairedPhones = 1;
    test.testResult = QStringLiteral("送達 0/1 台裝置：這支手機沒有登記通知，請在手機上打開 "
                                     "Tamsell，允許通知之後再試一次");

    WelcomeFacts none = install;
    none.hasClaude = false;
    none.hasCodex = false;
    none.error = QStringLiteral("/home/mei/.config/autostart/tamsell.desktop: Permission denied");

    return {{"1-install-hooks", install},
            {"2-pair", pair},
            {"3-all-done", done},
            {"4-codex-trust", trust},
            {"5-set-up", setUp},
            {"6-connecting", connecting},
            {"7-no-agent", none},
            {"8-checking-trust", checking},
            {"9-no-codex-command", unknown},
            {"10-test-failed", test}};
}

// The pairing window.

std::vector<Named<PairFacts>> pairStates() {
    PairFacts code;
    code.now = std::chrono::system_clock::time_point(1'793'700'000s);
    code.locale = QLocale(QLocale::Chinese, QLocale::Taiwan);
    code.isConnected = true;
    code.relay.emplace();
    code.relay->url = "https://relay.tamsell.example";
    code.relay->devices = {
        {"a", "小葵的 iPhone", "", 1'793'700'000'000},
        {"b", "工作機 iPhone 16 Pro（公司配發，請勿安裝其他軟體）", "", 1'792'300'000'000}};
    code.online = {"a"};
    code.invite = LiveInvite{{.relayURL = "https://relay.tamsell.example",
                              .channel = "Yk3tQm8ZxVbN0aHsLr2PdQ",
                              .secret = {1, 2, 3, 5, 8, 13, 21, 34, 55, 89, 144, 233},
                              .macKey = {9, 4, 6, 4, 12, 19, 44, 76, 200, 140, 31}},
                             code.now + 581s};
    PairFacts result = code;
    result.testResult = QStringLiteral("送達 2/2 台裝置");
    PairFacts removing = code;
    removing.removing = code.relay->devices.front();
    PairFacts link = code;
    link.revealLink = true;
    link.relay->devices.clear();
    link.invite->expires = code.now + 42s;
    PairFacts connecting = link;
    connecting.invite.reset();
    connecting.isConnected = false;
    PairFacts expired = link;
    expired.invite->expires = code.now;
    PairFacts disabling = code;
    disabling.confirmReset = true;
    PairFacts form;
    form.relayURL = QStringLiteral("https://relay.tamsell.example");
    PairFacts again = form;
    again.hasRelayURL = true;
    PairFacts many = code;
    many.relay->url = "https://relay.with-a-long-name.and-more-of-it.tamsell.example/and/a/path";
    for (int i = 0; i < 5; ++i)
        many.relay->devices.push_back({"c" + std::to_string(i), "iPhone \u202e", "", 0});
    return {{"1-qr", result},
            {"2-form", form},
            {"3-link-revealed", link},
            {"4-remove-confirm", removing},
            {"5-connecting", connecting},
            {"6-form-pair-again", again},
            {"7-many-phones", many},
            {"8-expired", expired},
            {"9-disable-confirm", disabling}};
}

// The panel.

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
        item.suggestions = JSONArray{
            JSONObject{{"type", "setMode"}, {"mode", "plan"}, {"destination", "session"}}};
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

std::vector<Named<MenuFacts>> panelStates() {
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

    MenuFacts many = waiting;
    many.pending.clear();
    for (int i = 0; i < 11; ++i)
        many.pending.push_back(permission(std::to_string(i).c_str(), "/w/orchard", "Claude.app",
                                          "make test", i % 2 == 0));
    MenuFacts retry = failed;
    retry.hasLegacyDaemon = false;
    retry.server.message = "/home/mei/.tamsell/a-directory-whose-name-is-longer-than-a-line-of-the-"
                           "panel/config.json: Permission denied";
    retry.availableVersion = QStringLiteral("1.4.0");
    MenuFacts offline = healthy();
    offline.phonesOnline = 0;
    offline.mode = AwayMode::off;
    offline.updater = MenuFacts::Updater::absent;

    MenuFacts error = missing;
    error.hooks.legacy = true;
    error.error = QStringLiteral("/home/mei/.claude/settings.json 不是 JSON 物件");
    return {{"1-waiting", waiting},          {"2-unpaired-hooks-missing", missing},
            {"3-server-failed", failed},     {"4-codex-trust", trust},
            {"5-long-command", longCommand}, {"6-action-failed", error},
            {"7-many-waiting", many},        {"8-server-failed-otherwise", retry},
            {"9-nobody-online", offline}};
}

// The window of an update.

std::vector<Named<UpdateState>> updateStates() {
    using Phase = UpdateState::Phase;
    UpdateState state;
    state.currentVersion = "1.3.2";
    state.version = "1.4";
    state.notes = "新功能\n\n• 手機上可以直接看到被擋下的指令全文，長指令會捲動。\n"
                  "• tamsellctl doctor --fix 會修好 hooks 的逾時設定。\n\n"
                  "修正\n\n• 中繼斷線後重新連線時，不再重複通知。\n"
                  "• https://releases.example/notes/1.4/a-long-address-without-a-"
                  "single-space-to-break-at-0123456789abcdef\n"
                  "• 隱藏字元 \\u{202E} 會標示出來。\n• 其他小修正。";
    std::vector<Named<UpdateState>> all{{"checking", state}};
    const auto add = [&](const char* name, Phase phase) -> UpdateState& {
        state.phase = phase;
        all.push_back({name, state});
        return all.back().facts;
    };
    UpdateState& upToDate = add("up-to-date", Phase::upToDate);
    upToDate.version.clear();
    upToDate.notes.clear();
    add("available", Phase::available);
    add("available-without-notes", Phase::available).notes.clear();
    UpdateState& longVersion = add("available-long", Phase::available);
    longVersion.version = "2026.11.23-rc.10-with-a-name-that-is-as-long-as-a-version-may-be-0";
    longVersion.notes = "一行。";
    UpdateState& known = add("downloading", Phase::downloading);
    known.received = 3'250'000;
    known.total = 10'400'000;
    add("downloading-unknown", Phase::downloading).received = 812'000;
    add("verifying", Phase::verifying);
    add("done", Phase::done).file = "/home/mei/下載/專案與備份/tamsell_1.4.0_amd64.deb";
    add("failed", Phase::failed).error =
        "https://releases.example/files/a-directory-with-a-very-long-name/tamsell_1.4.0_amd64.deb "
        "的簽章不正確，檔案已刪除。請到發布頁面確認，或稍後再試一次。";
    UpdateState& offline = add("failed-check", Phase::failed);
    offline.version.clear();
    offline.error = "連不上 releases.example";
    return all;
}

// The notice of a second launch.

std::vector<Named<LaunchAnswer>> launchStates() {
    using Kind = LaunchAnswer::Kind;
    return {{"1-headless", {Kind::headless, 4711}},
            {"2-silent", {Kind::silent, 4711}},
            {"3-unknown", {Kind::silent, 0}}};
}

// A panel in the window that the program gives it, without what lies behind it.
template <typename Panel>
class Around final : public ColumnWindow {
  public:
    explicit Around(const char* name) : ColumnWindow(name, {}, new Panel, nullptr) {}

    Panel& panel() { return *static_cast<Panel*>(content()); }
    using ColumnWindow::fit;
};

template <typename Panel, typename State>
std::shared_ptr<QWidget> shown(std::shared_ptr<Around<Panel>> window, const State& state) {
    window->open();
    window->panel().setFocus();
    runDueEvents();
    window->panel().show(state);
    window->fit();
    runDueEvents();
    return window;
}

std::shared_ptr<QWidget> guideOf(const WelcomeFacts& facts) {
    return shown(std::make_shared<Around<WelcomePanel>>("welcomeWindow"), WelcomeState::of(facts));
}

std::shared_ptr<QWidget> pairingOf(const PairFacts& facts) {
    auto window = std::make_shared<Around<PairPanel>>("pair");
    window->panel().setRelayURL(facts.relayURL);
    return shown(std::move(window), PairState::of(facts));
}

std::shared_ptr<QWidget> launchNoticeOf(const LaunchAnswer& first) {
    auto window = std::make_shared<LaunchNotice>(first);
    window->open();
    runDueEvents();
    return window;
}

std::shared_ptr<QWidget> panelOf(const MenuFacts& facts) {
    struct Shown {
        FakeScheduler scheduler;
        MenuPanel panel{scheduler};
        PanelWindow window{&panel, PanelWindow::Kind::popup, PanelWindow::Compositing::available};
    };
    auto shown = std::make_shared<Shown>();
    shown->panel.show(MenuState::of(facts));
    shown->window.openAt({});
    runDueEvents();
    shown->scheduler.pass(1s);
    runDueEvents();
    return {shown, &shown->window};
}

std::shared_ptr<QWidget> updateOf(const UpdateState& state) {
    struct Shown {
        FakeScheduler scheduler;
        UpdateWindow window{scheduler};
    };
    auto shown = std::make_shared<Shown>();
    shown->window.show(state);
    shown->window.activate();
    runDueEvents();
    shown->scheduler.pass(1s);
    runDueEvents();
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (top->objectName() == QStringLiteral("updateWindow") && top->isVisible())
            return {shown, top};
    }
    return nullptr;
}

} // namespace

std::vector<WindowState> windowStates() {
    std::vector<WindowState> all;
    const auto add = [&all](const char* window, const auto& states, auto show) {
        for (const auto& state : states)
            all.push_back({window, state.name, [=] { return show(state.facts); }});
    };
    add("guide", guideStates(), guideOf);
    add("launch", launchStates(), launchNoticeOf);
    add("pair", pairStates(), pairingOf);
    add("panel", panelStates(), panelOf);
    add("update", updateStates(), updateOf);
    return all;
}
