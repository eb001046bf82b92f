#include "ui/PanelWindow.h"

#include <algorithm>

#include <QEvent>
#include <QGraphicsDropShadowEffect>
#include <QGraphicsPathItem>
#include <QGraphicsScene>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QScrollBar>
#include <QVBoxLayout>

#include "ui/FocusRing.h"
#include "ui/Theme.h"

using namespace theme;

namespace {

// What stays free of the screen above and below.
constexpr int freeOfTheScreen = 16;

struct Shadow {
    int down;
    int blur;
    double light;
    double dark;
};

constexpr Shadow shadows[]{{8, 24, 0.16, 0.5}, {1, 3, 0.1, 0.4}};

Qt::WindowFlags flagsOf(PanelWindow::Kind kind) {
    if (kind == PanelWindow::Kind::window)
        return Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
               Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint;
    return Qt::Tool | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint;
}

} // namespace

PanelWindow::PanelWindow(QWidget* content, Kind kind, Compositing compositing)
    : QWidget(nullptr, flagsOf(kind)),
      m_content(content),
      m_kind(kind),
      m_compositing(kind == Kind::popup ? compositing : Compositing::missing),
      m_scroller(new QScrollArea(this)) {
    setObjectName(QStringLiteral("panelWindow"));
    setWindowTitle(QStringLiteral("Tamsell"));
    if (m_compositing == Compositing::available)
        setAttribute(Qt::WA_TranslucentBackground);
    m_scroller->setFrameShape(QFrame::NoFrame);
    m_scroller->setFocusPolicy(Qt::NoFocus);
    m_scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroller->setStyleSheet(QStringLiteral("QScrollArea, QScrollArea > QWidget > #panel "
                                             "{ background: transparent; }"));
    // Clear of the round corners.
    m_scroller->verticalScrollBar()->setStyleSheet(
        QStringLiteral("QScrollBar:vertical { margin: 12px 2px; }"));
    m_scroller->viewport()->setAutoFillBackground(false);
    m_scroller->setWidget(content);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(margin(), margin(), margin(), margin());
    layout->addWidget(m_scroller);
    content->installEventFilter(this);
    connect(m_scroller->verticalScrollBar(), &QScrollBar::valueChanged, this, &PanelWindow::moved);
    new FocusRing(this);
    theme::follow(*this);
    fit();
}

PanelWindow::~PanelWindow() {
    // It belongs to whoever made it.
    m_content->removeEventFilter(this);
    m_scroller->takeWidget();
    m_content->setParent(nullptr);
}

int PanelWindow::margin() const {
    return m_compositing == Compositing::available ? metrics::panelShadow : 0;
}

void PanelWindow::fit() {
    const int width = m_content->width();
    const int height = m_content->layout()->totalHeightForWidth(width);
    m_content->setFixedHeight(height);
    const int around = 2 * margin();
    const int most = screen()->availableGeometry().height() - freeOfTheScreen;
    setFixedSize(width + around, std::min(height + around, std::max(most, around)));
    // Also while it is open: one above its point grows upwards, and the desktop may tell late where
    // it has put the window.
    if (m_kind == Kind::popup)
        place();
    else if (isVisible())
        stayOnScreen();
}

// A window that grows beyond the lower edge moves up: its end could not be reached otherwise.
void PanelWindow::stayOnScreen() {
    const QRect room = screen()->availableGeometry();
    const int beyond = geometry().bottom() - room.bottom();
    if (beyond > 0)
        move(x(), std::max(room.top(), y() - beyond));
}

void PanelWindow::place() {
    const QRect room = screen()->availableGeometry();
    // The shadow may reach beyond the screen.
    const QRect area = room.adjusted(-margin(), -margin(), margin(), margin());
    const int left = std::clamp(m_point.x() - width() / 2, area.left(),
                                std::max(area.left(), area.right() - width() + 1));
    // Below the point when that is in the upper half of the screen, above it otherwise.
    const int top = m_point.y() < room.center().y() ? m_point.y() - margin()
                                                    : m_point.y() + margin() - height();
    move(left, std::clamp(top, area.top(), std::max(area.top(), area.bottom() - height() + 1)));
}

void PanelWindow::openAt(const QPoint& point) {
    m_point = point;
    if (!isVisible()) {
        Q_EMIT opening();
        // What has never been seen has not got its fonts yet, and would be measured without them.
        for (QWidget* part : m_content->findChildren<QWidget*>())
            part->ensurePolished();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    }
    QScreen* on = QGuiApplication::screenAt(point);
    if (on && on != screen())
        setScreen(on);
    fit();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
    m_content->setFocus();
}

void PanelWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    Q_EMIT moved();
}

void PanelWindow::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (!event->spontaneous())
        Q_EMIT closed();
}

void PanelWindow::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    if (isVisible())
        Q_EMIT moved();
}

void PanelWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isVisible()) {
        // A key that was meant for the window before this one comes here now.
        if (isActiveWindow())
            Q_EMIT moved();
        else if (m_kind == Kind::popup)
            hide();
    }
    if (event->type() == QEvent::PaletteChange) {
        m_shadow = {};
        update();
    }
}

void PanelWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && m_kind == Kind::popup)
        hide();
    else
        QWidget::keyPressEvent(event);
}

// The panel's layout asks for another height when something in it comes or goes.
bool PanelWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_content && event->type() == QEvent::LayoutRequest)
        fit();
    return QWidget::eventFilter(watched, event);
}

// At the size of one pixel a point, whatever the screen has: it has no edges that would show, and
// a blur is a number of pixels.
void PanelWindow::drawShadow() {
    m_shadow = QPixmap(size());
    m_shadow.fill(Qt::transparent);
    QPainterPath frame;
    const qreal inset = margin() + 1; // The frame itself is drawn over it.
    frame.addRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset),
                         metrics::panelRadius, metrics::panelRadius);
    QPainter painter(&m_shadow);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool isDark = &theme::current() == &theme::dark();
    for (const Shadow& shadow : shadows) {
        QGraphicsScene scene;
        scene.setSceneRect(rect());
        QGraphicsPathItem* item = scene.addPath(frame, Qt::NoPen, theme::current().window);
        auto* effect = new QGraphicsDropShadowEffect;
        effect->setBlurRadius(shadow.blur);
        effect->setOffset(0, shadow.down);
        effect->setColor(
            QColor::fromRgbF(0, 0, 0, static_cast<float>(isDark ? shadow.dark : shadow.light)));
        item->setGraphicsEffect(effect);
        scene.render(&painter, QRectF(rect()), QRectF(rect()));
    }
}

void PanelWindow::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_compositing == Compositing::missing) {
        painter.fillRect(rect(), colors.window);
        if (m_kind == Kind::popup) {
            painter.setPen(colors.divider);
            painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
        }
        return;
    }
    if (m_shadow.size() != size())
        drawShadow();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawPixmap(0, 0, m_shadow);
    painter.setPen(colors.divider);
    painter.setBrush(colors.window);
    const qreal inset = margin() + 0.5;
    painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset),
                            metrics::panelRadius, metrics::panelRadius);
}
