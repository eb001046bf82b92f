
#include "support/Eventually.h"
#include "ui/FocusRing.h"
#include "ui/PairPanel.h"
#include "ui/Shots.h"
#include "ui/Theme.h"

// Pictures of the pairing window in each of its states, in both themes, into the directory given.

namespace {

using namespace std::chrono_literals;

struct Shot {
    const char* name;
    PairFacts facts;
};

std::vector<Shot> shots() {
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
            {"7-many-phones", many}};
}

} // namespace

int main(int argc, char** argv) {
    return takeShots(argc, argv, "pair", shots, [](const Shot& shot) {
        PairPanel panel;
        panel.setProperty("look", QStringLiteral("window"));
        panel.setAttribute(Qt::WA_StyledBackground);
        new FocusRing(&panel);
        theme::apply(panel);
        panel.setRelayURL(shot.facts.relayURL);
        panel.show();
        panel.activateWindow();
        runDueEvents();
        panel.show(PairState::of(shot.facts));
        runDueEvents();
        panel.resize(panel.sizeHint());
        runDueEvents();
        return panel.grab();
    });
}
