#include <cstdio>
#include <filesystem>

#include <QApplication>
#include <QPalette>

#include "support/Eventually.h"
#include "ui/FocusRing.h"
#include "ui/PairPanel.h"
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

QPalette paletteOf(bool isDark) {
    return isDark ? QPalette(QColor(0x30, 0x30, 0x30)) : QPalette(QColor(0xF0, 0xF0, 0xF0));
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", "2");
    const QApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: pair-shots DIRECTORY\n");
        return 2;
    }
    const std::filesystem::path directory = argv[1];
    std::filesystem::create_directories(directory);
    for (const bool isDark : {false, true}) {
        QApplication::setPalette(paletteOf(isDark));
        for (const auto& [name, facts] : shots()) {
            PairPanel panel;
            panel.setProperty("look", QStringLiteral("window"));
            panel.setAttribute(Qt::WA_StyledBackground);
            (new FocusRing(&panel))->hide();
            theme::apply(panel);
            panel.setRelayURL(facts.relayURL);
            panel.show();
            panel.activateWindow();
            runDueEvents();
            panel.show(PairState::of(facts));
            runDueEvents();
            panel.resize(panel.sizeHint());
            runDueEvents();
            const auto path =
                directory / (std::string("pair-") + name + (isDark ? "-dark.png" : "-light.png"));
            if (!panel.grab().save(QString::fromStdString(path.string())))
                return 1;
        }
    }
    return 0;
}
