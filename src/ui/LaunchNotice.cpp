#include "ui/LaunchNotice.h"

#include <string>

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>

#include "ui/Button.h"
#include "ui/CommandBox.h"
#include "ui/FocusRing.h"
#include "ui/ParagraphLabel.h"
#include "ui/Parts.h"
#include "ui/Theme.h"

using namespace theme;

LaunchNotice::LaunchNotice(const LaunchAnswer& first) {
    setObjectName(QStringLiteral("launchNotice"));
    setWindowTitle(tr("Tamsell 已經在執行"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowCloseButtonHint);
    setProperty("look", QStringLiteral("window"));
    setAttribute(Qt::WA_StyledBackground);
    setFixedWidth(metrics::pairingWidth);
    auto* column = parts::column(this, metrics::panelParts);
    column->setContentsMargins(metrics::windowPadding, metrics::windowPadding,
                               metrics::windowPadding, metrics::windowPadding);
    // As high as what it says; a paragraph's height follows from its width.
    column->setSizeConstraint(QLayout::SetMinimumSize);
    const auto say = [&](Style style, const char* look, const QString& text) {
        auto* label = new ParagraphLabel(style, QLatin1String(look), this);
        label->setText(text);
        column->addWidget(label);
    };
    const bool isHeadless = first.kind == LaunchAnswer::Kind::headless;
    say(Style::headline, "",
        isHeadless ? tr("執行中的 Tamsell 沒有介面") : tr("執行中的 Tamsell 沒有回應"));
    say(Style::body, "secondary",
        isHeadless ? tr("它是行程 %1，以 --headless 啟動，照常接收 hooks。").arg(first.process)
        : first.process ? tr("它是行程 %1。").arg(first.process)
                        : tr("不知道它是哪一個行程。"));
    if (first.process) {
        say(Style::body, "secondary", tr("要用選單列圖示和視窗，先結束它，再打開 Tamsell："));
        auto* command = new CommandBox(this);
        command->setObjectName(QStringLiteral("command"));
        command->setAccessibleName(tr("結束它的指令"));
        command->setCommand("kill " + std::to_string(first.process));
        column->addWidget(command);
    }
    if (isHeadless)
        say(Style::caption, "caption",
            tr("如果它是用 tamsellctl service install 安裝的服務，改用 tamsellctl service "
               "remove。"));

    auto* close = button::make(tr("好"), button::Look::standard, "close", this);
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    auto* row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(close);
    column->addLayout(row);
    new FocusRing(this);
    theme::apply(*this);
    setFixedHeight(layout()->totalHeightForWidth(width()));
}

void LaunchNotice::open() {
    show();
    raise();
    activateWindow();
}

bool LaunchNotice::event(QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange)
        theme::apply(*this);
    return QWidget::event(event);
}

void LaunchNotice::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    Q_EMIT closed();
}

void LaunchNotice::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if (key == Qt::Key_Escape || key == Qt::Key_Return || key == Qt::Key_Enter)
        close();
    else
        QWidget::keyPressEvent(event);
}
