#include "ui/Drawing.h"

#include <QFile>
#include <QSvgRenderer>

void paintDrawing(QPainter& painter, const QString& name, const QColor& color,
                  const QRectF& where) {
    QFile file(QStringLiteral(":/icons/%1.svg").arg(name));
    if (!file.open(QIODevice::ReadOnly))
        return;
    painter.setRenderHint(QPainter::Antialiasing);
    // Qt's renderer takes currentColor to be black.
    QSvgRenderer(file.readAll().replace("currentColor", color.name().toLatin1()))
        .render(&painter, where);
}
