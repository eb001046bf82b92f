#include "ui/PairingQR.h"

#include <cmath>
#include <exception>

#include <QImage>
#include <QPainter>

#include "ui/Theme.h"

using namespace theme;

namespace {

constexpr Length rim(8);

// The plate adds to the light modules around the code, so four of them suffice within the square.
constexpr int lightModules = 4;

std::optional<qr::Code> codeOf(const QString& link) {
    try {
        return qr::encode(link.toStdString());
    } catch (const std::exception&) {
        return std::nullopt; // There is the link, too.
    }
}

} // namespace

PairingQR::PairingQR(int size, QWidget* parent) : QLabel(parent), m_size(size) {
    setAccessibleName(tr("配對用的 QR code"));
    setFixedSize(0, 0);
}

void PairingQR::setLink(const QString& link) {
    if (link == m_link)
        return;
    m_link = link;
    m_code = codeOf(link);
    const int side = m_code ? m_size + 2 * rim : 0;
    setFixedSize(side, side);
    update();
}

void PairingQR::paintEvent(QPaintEvent* /*event*/) {
    if (!m_code)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(theme::current().divider);
    painter.setBrush(Qt::white);
    constexpr qreal half = 0.5;
    painter.drawRoundedRect(QRectF(rect()).adjusted(half, half, -half, -half), metrics::boxRadius,
                            metrics::boxRadius);
    drawCode(painter);
}

void PairingQR::drawCode(QPainter& painter) const {
    const qreal ratio = painter.device()->devicePixelRatioF();
    const int side = static_cast<int>(std::floor(m_size * ratio));
    const int module = side / (m_code->size + lightModules);
    QImage image(m_code->size, m_code->size, QImage::Format_RGB32);
    for (int y = 0; y < m_code->size; ++y)
        for (int x = 0; x < m_code->size; ++x)
            image.setPixel(x, y, m_code->isDark(x, y) ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
    const int pixels = module * m_code->size;
    QImage scaled = image.scaled(pixels, pixels, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    scaled.setDevicePixelRatio(ratio);
    const int edge = static_cast<int>(static_cast<int>(rim) * ratio) + (side - pixels) / 2;
    painter.drawImage(QPointF(edge / ratio, edge / ratio), scaled);
}
