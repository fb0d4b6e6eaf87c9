#include "text/Painting.h"

#include "pixels/BorrowedImage.h"
#include "text/LineLayout.h"

#include <QtGui/QPen>

RGBA32iImage text::paint(
    const QPainterPath &path, const QRect &area, const QColor &color, const QMap<QPainter::RenderHint, bool> &hints)
{
    RGBA32iImage image(widthOf(area), heightOf(area), false); // transparent
    if (!image.Bits())
        return image;
    QImage canvas = pixels::lend(image.Bits(), image.Width(), image.Height());
    QPainter painter(&canvas);
    for (auto hint = hints.begin(); hint != hints.end(); ++hint)
        painter.setRenderHint(hint.key(), hint.value());
    painter.setPen(QPen(color));
    painter.setBrush(color);
    painter.translate(-double(area.x()), -double(area.y()));
    painter.drawPath(path);
    return image;
}
