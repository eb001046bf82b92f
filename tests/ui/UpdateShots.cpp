#include <QWidget>

#include "platform/QtScheduler.h"
#include "ui/UpdateWindow.h"

#include "support/Eventually.h"
#include "ui/Shots.h"

// Pictures of the window of an update in each of its phases, in both themes, into the directory
// given.

namespace {

struct Shot {
    const char* name;
    UpdateState state;
};

std::vector<Shot> shots() {
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
    std::vector<Shot> all{{"checking", state}};
    const auto add = [&](const char* name, Phase phase) -> UpdateState& {
        state.phase = phase;
        all.push_back({name, state});
        return all.back().state;
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

} // namespace

int main(int argc, char** argv) {
    return takeShots(argc, argv, "update", shots, [](const Shot& shot) {
        QtScheduler scheduler;
        UpdateWindow window(scheduler);
        window.show(shot.state);
        // What is disabled while it is new is not what people look at.
        QWidget* const widget = QApplication::topLevelWidgets().constFirst();
        auto* const download = widget->findChild<QWidget*>(QStringLiteral("updateDownloadButton"));
        const bool isReady =
            eventually([&] { return !download->isVisible() || download->isEnabled(); });
        runDueEvents();
        return isReady ? widget->grab() : QPixmap();
    });
}
