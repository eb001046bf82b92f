#pragma once

#include <QColor>
#include <QPainter>
#include <QRectF>
#include <QString>

/// Paints resources/icons/NAME.svg, antialiased: what has no colour of its own there in the one
/// given. Nothing when there is no such drawing.
void paintDrawing(QPainter& painter, const QString& name, const QColor& color, const QRectF& where);
