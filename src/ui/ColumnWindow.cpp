#include "ui/ColumnWindow.h"

#include <algorithm>

#include <QCoreApplication>
#include <QEvent>
#include <QScreen>
#include <QScrollArea>

#include "ui/FocusRing.h"
#include "ui/Parts.h"
#include "ui/Theme.h"

namespace {

constexpr int titleBar = 48; // And what else the desktop puts around a window, at most.

} // namespace

ColumnWindow::ColumnWindow(const char* name, const QString& title, QWidget* content,
                           QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                          Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint),
      m_content(content) {
    setObjectName(QLatin1String(name));
    setWindowTitle(title);
    setProperty("look", QStringLiteral("window"));
    setAttribute(Qt::WA_StyledBackground);
    auto* scroller = new QScrollArea(this);
    parts::column(this, 0)->addWidget(scroller);
    scroller->setWidget(content);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setFocusPolicy(Qt::NoFocus);
    scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller->viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
    content->installEventFilter(this);
    new FocusRing(this);
    theme::follow(*this);
}

void ColumnWindow::open() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void ColumnWindow::fit() {
    // What appears or goes deep inside makes itself felt at the top only after these.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    const int width = m_content->width();
    const QLayout& parts = *m_content->layout();
    const int height = parts.hasHeightForWidth() ? parts.totalHeightForWidth(width)
                                                 : parts.totalSizeHint().height();
    m_content->resize(width, height);
    setFixedSize(width, std::min(height, screen()->availableGeometry().height() - titleBar));
}

bool ColumnWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_content && event->type() == QEvent::LayoutRequest && isVisible())
        fit();
    return QWidget::eventFilter(watched, event);
}
