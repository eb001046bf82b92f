#include "ui/UpdateView.h"

#include <gmock/gmock.h>

#include "ui/Texts.h"

namespace {

using Action = UpdateView::Action;
using Phase = UpdateState::Phase;

std::string buttonsOf(const UpdateView& view) {
    std::string labels;
    for (const Action action : view.actions)
        labels += (action == view.primary ? "[" + utf8(UpdateView::labelOf(action)) + "]"
                                          : utf8(UpdateView::labelOf(action))) +
                  " ";
    return labels;
}

TEST(UpdateView, ShowsWhatAPhaseHas) {
    const UpdateState all{.currentVersion = "1.3 <b>%1",
                          .version = "1.4 %2",
                          .notes = "<i>notes</i>",
                          .received = 512,
                          .total = 2048,
                          .file = "/d/f",
                          .error = "壞了"};
    const struct {
        Phase phase;
        std::string heading;
        std::string buttons;
        bool hasNotes;
        bool hasProgress;
    } cases[] = {
        {Phase::checking, "正在檢查更新…", "取消 ", false, true},
        {Phase::upToDate, "已經是最新版本", "[關閉] ", false, false},
        {Phase::available, "有新版本 1.4 %2", "稍後 [下載] ", true, false},
        {Phase::downloading, "正在下載 1.4 %2", "取消 ", true, true},
        {Phase::verifying, "正在驗證 1.4 %2 的簽章", "取消 ", true, true},
        {Phase::done, "已下載 1.4 %2", "關閉 [在資料夾中顯示] ", false, false},
        {Phase::failed, "無法更新到 1.4 %2", "[關閉] ", false, false},
    };
    for (const auto& expected : cases) {
        UpdateState state = all;
        state.phase = expected.phase;
        const UpdateView view = UpdateView::of(state, QLocale::c());
        EXPECT_EQ(utf8(view.heading), expected.heading);
        EXPECT_EQ(buttonsOf(view), expected.buttons) << expected.heading;
        EXPECT_EQ(utf8(view.caption), "目前版本 1.3 <b>%1");
        EXPECT_EQ(utf8(view.notes), expected.hasNotes ? "<i>notes</i>" : "") << expected.heading;
        EXPECT_EQ(view.progress.has_value(), expected.hasProgress) << expected.heading;
        EXPECT_EQ(utf8(view.error), expected.phase == Phase::failed ? "壞了" : "");
        EXPECT_EQ(utf8(view.file), expected.phase == Phase::done ? "/d/f" : "");
        EXPECT_EQ(view.message.isEmpty(), expected.phase != Phase::done);
    }
    UpdateState noVersion;
    noVersion.phase = Phase::failed;
    EXPECT_EQ(utf8(UpdateView::of(noVersion, QLocale::c()).heading), "無法檢查更新");
}

TEST(UpdateView, CountsTheBytes) {
    const struct {
        std::uint64_t received;
        std::optional<std::uint64_t> total;
        std::optional<double> fraction;
        std::string text;
    } cases[] = {
        {0, std::nullopt, std::nullopt, "已下載 0 bytes"},
        {1536, 0, std::nullopt, "已下載 1.5 kB"},
        {1 << 20, 4 << 20, 0.25, "已下載 1.0 MB，共 4.0 MB"},
        {5 << 20, 4 << 20, 1.0, "已下載 5.0 MB，共 4.0 MB"},
        {1, ~std::uint64_t{0} >> 1, 0.0, "已下載 1 bytes，共 8.0 EB"},
    };
    for (const auto& [received, total, fraction, text] : cases) {
        UpdateState state;
        state.phase = Phase::downloading;
        state.received = received;
        state.total = total;
        const auto progress = UpdateView::of(state, QLocale::c()).progress;
        ASSERT_EQ(progress->fraction.has_value(), fraction.has_value()) << text;
        EXPECT_NEAR(progress->fraction.value_or(0), fraction.value_or(0), 1e-9) << text;
        EXPECT_EQ(utf8(progress->text), text);
    }
}

} // namespace
