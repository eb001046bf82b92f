#include "ui/LaunchNotice.h"

#include <string>

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>

#include "ui/Button.h"
#include "ui/CommandBox.h"
#include "ui/ParagraphLabel.h"
#include "ui/Parts.h"

using namespace theme;

LaunchNotice::LaunchNotice(const LaunchAnswer& first)
    : ColumnWindow("launchNotice", tr("Tamsell 已經在執行"), new QWidget, nullptr) {
    content()->setFixedWidth(metrics::pairingWidth);
    const int padding = metrics::windowPadding;
    auto* column = parts::column(content(), metrics::panelParts);
    column->setContentsMargins(padding, padding, padding, padding);

    const bool isHeadless = first.kind == LaunchAnswer::Kind::headless;
    say(Style::headline, "",
        isHeadless ? tr("執行中的 Tamsell 沒有介面") : tr("執行中的 Tamsell 沒有回應"));
    say(Style::body, "secondary",
        isHeadless ? tr("它是行程 %1，以 --headless 啟動，照常接收 hooks。").arg(first.process)
        : first.process ? tr("它是行程 %1。").arg(first.process)
                        : tr("不知道它是哪一個行程。"));
    if (first.process) {
        say(Style::body, "secondary", tr("要用選單列圖示和視窗，先結束它，再打開 Tamsell："));
        auto* command = new CommandBox(content());
        command->setObjectName(QStringLiteral("command"));
        command->setAccessibleName(tr("結束它的指令"));
        // One that does not answer does not hear a request to end either.
        command->setCommand((isHeadless ? "kill " : "kill -9 ") + std::to_string(first.process));
        column->addWidget(command);
    }
    if (isHeadless)
        say(Style::caption, "secondary",
            tr("如果它是用 tamsellctl service install 安裝的服務，改用 "
               "tamsellctl service remove。"));

    auto* close = button::make(tr("好"), button::Look::standard, "close", content());
    close->setMinimumWidth(metrics::confirmationButtonWidth);
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    auto* row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(close);
    column->addLayout(row);
}

void LaunchNotice::say(Style style, const char* look, const QString& text) {
    auto* label = new ParagraphLabel(style, QLatin1String(look), content());
    label->setText(text);
    content()->layout()->addWidget(label);
}

void LaunchNotice::showEvent(QShowEvent* event) {
    ColumnWindow::showEvent(event);
    fit();
    setFocus(); // What is typed for another window presses nothing here.
}

void LaunchNotice::closeEvent(QCloseEvent* event) {
    ColumnWindow::closeEvent(event);
    Q_EMIT closed();
}

void LaunchNotice::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if (key == Qt::Key_Escape || key == Qt::Key_Return || key == Qt::Key_Enter)
        close();
    else
        ColumnWindow::keyPressEvent(event);
}
