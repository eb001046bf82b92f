#include <QLayout>

#include "support/Eventually.h"
#include "ui/Shots.h"
#include "ui/Theme.h"
#include "ui/WelcomePanel.h"

// Pictures of the setup guide in each of its states, in both themes, into the directory given.

namespace {

struct Shot {
    const char* name;
    WelcomeFacts facts;
};

std::vector<Shot> shots() {
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

    WelcomeFacts none = install;
    none.hasClaude = false;
    none.hasCodex = false;
    none.error = QStringLiteral("/home/mei/.config/autostart/tamsell.desktop: Permission denied");

    return {{"1-install-hooks", install}, {"2-pair", pair},    {"3-all-done", done},
            {"4-codex-trust", trust},     {"5-set-up", setUp}, {"6-connecting", connecting},
            {"7-no-agent", none}};
}

} // namespace

int main(int argc, char** argv) {
    return takeShots(argc, argv, "guide", shots, [](const Shot& shot) {
        WelcomePanel panel;
        panel.setProperty("look", QStringLiteral("window"));
        panel.setAttribute(Qt::WA_StyledBackground);
        theme::apply(panel);
        panel.show(WelcomeState::of(shot.facts));
        panel.show();
        panel.setFocus();
        runDueEvents();
        panel.resize(panel.width(), panel.layout()->totalHeightForWidth(panel.width()));
        runDueEvents();
        return panel.grab();
    });
}
