#include <array>

#include <QImage>
#include <QPainter>
#include <QPixmap>

#include "ui/Theme.h"
#include "ui/TrayIcon.h"

#include "ui/Shots.h"

// Pictures of the tray icon on a bar of each theme: every size, once and twice as many pixels, with
// nothing and with one, two and three characters; and the pixels of each size enlarged.

namespace {

struct Shot {
    const char* name;
};

constexpr std::array sizes{16, 22, 24, 32, 44, 48, 64};
constexpr std::array waiting{0, 1, 2, 12, 100};
constexpr int cell = 80;

// A bar in each theme.
QColor barColor() {
    return trayGround(QString()) == TrayGround::dark ? QColor(0x17, 0x18, 0x1B)
                                                     : QColor(0xEB, 0xEC, 0xEE);
}

void drawBars(QPainter& painter, double ratio) {
    for (const int size : sizes) {
        for (const int count : waiting) {
            const QIcon icon =
                trayIcon(static_cast<std::size_t>(count), trayGround(QString::fromLatin1("KDE")));
            const QPixmap picture = icon.pixmap(QSize(size, size), ratio);
            painter.drawPixmap((cell - size) / 2, (cell - size) / 2, picture);
            painter.translate(cell, 0);
        }
        painter.translate(-cell * static_cast<int>(waiting.size()), cell);
    }
}

void drawEnlarged(QPainter& painter) {
    constexpr int pixel = 11;
    constexpr int column = 24 * pixel + 16;
    for (const int size : {16, 22, 24, 32}) {
        const int scale = size == 32 ? 8 : pixel;
        for (const int count : waiting) {
            const QIcon icon =
                trayIcon(static_cast<std::size_t>(count), trayGround(QString::fromLatin1("KDE")));
            const QImage picture = icon.pixmap(QSize(size, size), 1.0).toImage();
            painter.drawImage(QRect(0, 0, size * scale, size * scale), picture);
            painter.setPen(QColor(128, 128, 128, 60));
            for (int i = 0; i <= size; ++i) {
                painter.drawLine(i * scale, 0, i * scale, size * scale);
                painter.drawLine(0, i * scale, size * scale, i * scale);
            }
            painter.translate(column, 0);
        }
        painter.translate(-column * static_cast<int>(waiting.size()), size * scale + 16);
    }
}

QPixmap draw(const Shot& /*shot*/) {
    constexpr int width = cell * static_cast<int>(waiting.size());
    QImage sheet(3 * width + 1424, 1140, QImage::Format_RGB32);
    sheet.fill(barColor());
    QPainter painter(&sheet);
    drawBars(painter, 1);
    painter.resetTransform();
    painter.translate(width, 0);
    painter.scale(2, 2);
    drawBars(painter, 2);
    painter.resetTransform();
    painter.translate(3 * width, 8);
    drawEnlarged(painter);
    return QPixmap::fromImage(sheet);
}

} // namespace

int main(int argc, char** argv) {
    return takeShots(
        argc, argv, "tray", [] { return std::array{Shot{"sheet"}}; }, draw);
}
