#include "ui/UpdateView.h"

#include <algorithm>

namespace {

using Action = UpdateView::Action;
using Phase = UpdateState::Phase;

QString bytesText(std::uint64_t bytes, const QLocale& locale) {
    return locale.formattedDataSize(static_cast<qint64>(bytes), 1,
                                    QLocale::DataSizeTraditionalFormat);
}

UpdateView::Progress progressOf(const UpdateState& state, const QLocale& locale) {
    const QString received = bytesText(state.received, locale);
    if (state.total.value_or(0) == 0)
        return {std::nullopt, UpdateView::tr("已下載 %1").arg(received)};
    // A server may send more than it has said.
    const double fraction =
        std::min(1.0, static_cast<double>(state.received) / static_cast<double>(*state.total));
    return {fraction,
            UpdateView::tr("已下載 %1，共 %2").arg(received, bytesText(*state.total, locale))};
}

void describe(UpdateView& view, const UpdateState& state, const QLocale& locale) {
    const QString version = QString::fromStdString(state.version);
    switch (state.phase) {
    case Phase::checking:
        view.heading = UpdateView::tr("正在檢查更新…");
        view.progress.emplace();
        view.actions = {Action::cancel};
        break;
    case Phase::upToDate:
        view.heading = UpdateView::tr("已經是最新版本");
        view.actions = {Action::close};
        view.primary = Action::close;
        break;
    case Phase::available:
        view.heading = UpdateView::tr("有新版本 %1").arg(version);
        view.actions = {Action::later, Action::download};
        view.primary = Action::download;
        break;
    case Phase::downloading:
        view.heading = UpdateView::tr("正在下載 %1").arg(version);
        view.progress = progressOf(state, locale);
        view.actions = {Action::cancel};
        break;
    case Phase::verifying:
        view.heading = UpdateView::tr("正在驗證 %1 的簽章").arg(version);
        view.progress.emplace();
        view.actions = {Action::cancel};
        break;
    case Phase::done:
        view.heading = UpdateView::tr("已下載 %1").arg(version);
        view.message = UpdateView::tr("簽章正確。請自行安裝這個檔案，再重新啟動 Tamsell。");
        view.file = QString::fromStdString(state.file);
        view.actions = {Action::close, Action::showFile};
        view.primary = Action::showFile;
        break;
    case Phase::failed:
        view.heading = version.isEmpty() ? UpdateView::tr("無法檢查更新")
                                         : UpdateView::tr("無法更新到 %1").arg(version);
        view.error = QString::fromStdString(state.error);
        view.actions = {Action::close};
        view.primary = Action::close;
        break;
    }
}

} // namespace

UpdateView UpdateView::of(const UpdateState& state, const QLocale& locale) {
    UpdateView view;
    describe(view, state, locale);
    if (!state.currentVersion.empty())
        view.caption = tr("目前版本 %1").arg(QString::fromStdString(state.currentVersion));
    // They stay while the window works, so that nobody who reads them loses the place.
    if (state.phase == Phase::available || state.phase == Phase::downloading ||
        state.phase == Phase::verifying)
        view.notes = QString::fromStdString(state.notes);
    return view;
}

QString UpdateView::labelOf(Action action) {
    switch (action) {
    case Action::download:
        return tr("下載");
    case Action::cancel:
        return tr("取消");
    case Action::later:
        return tr("稍後");
    case Action::showFile:
        return tr("在資料夾中顯示");
    case Action::close:
        return tr("關閉");
    }
    return {};
}
