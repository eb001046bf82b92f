#include "ui/ProgressBar.h"

#include <chrono>
#include <cmath>

#include <QPainter>
#include <QStyle>
#include <QTimerEvent>

#include "ui/Theme.h"

namespace {

constexpr theme::Length barHeight(3);
constexpr double turn = 1400; // milliseconds
constexpr double pieceShare = 0.3;
constexpr std::chrono::milliseconds frame{33};

} // namespace

ProgressBar::ProgressBar(QWidget* parent) : QProgressBar(parent) {
    setTextVisible(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize ProgressBar::sizeHint() const {
    return {100, barHeight};
}

void ProgressBar::paintEvent(QPaintEvent*) {
    const theme::Colors& colors = theme::current();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QRectF track(rect());
    const double radius = track.height() / 2;
    painter.setBrush(colors.fill);
    painter.drawRoundedRect(track, radius, radius);
    QRectF done = track;
    if (isBusy()) {
        // From before the beginning to behind the end.
        const double place =
            m_since.isValid() ? std::fmod(static_cast<double>(m_since.elapsed()) / turn, 1.0) : 0.5;
        done.setWidth(track.width() * pieceShare);
        done.moveLeft((track.width() + done.width()) * place - done.width());
    } else {
        done.setWidth(track.width() * (value() - minimum()) / (maximum() - minimum()));
        if (layoutDirection() == Qt::RightToLeft)
            done.moveRight(track.right());
    }
    painter.setBrush(colors.accent);
    painter.drawRoundedRect(done & track, radius, radius);
}

void ProgressBar::timerEvent(QTimerEvent* event) {
    if (event->timerId() == m_frames.timerId() && isBusy())
        update();
}

void ProgressBar::showEvent(QShowEvent* event) {
    QProgressBar::showEvent(event);
    if (style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) > 0) {
        m_since.start();
        m_frames.start(static_cast<int>(frame.count()), this);
    }
}

void ProgressBar::hideEvent(QHideEvent* event) {
    QProgressBar::hideEvent(event);
    m_frames.stop();
    m_since.invalidate();
}
