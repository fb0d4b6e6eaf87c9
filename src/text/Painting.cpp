#include "text/Painting.h"

#include "text/LineLayout.h"

#include <QtGui/QImage>
#include <QtGui/QPen>

RGBA32iImage text::paint(
    const QPainterPath &path, const QRect &area, const QColor &color, const QMap<QPainter::RenderHint, bool> &hints)
{
    RGBA32iImage image(widthOf(area), heightOf(area), false); // transparent
    if (!image.Bits())
        return image;
    QImage canvas(reinterpret_cast<uchar *>(image.Bits()), image.Width(), image.Height(), QImage::Format_ARGB32);
    QPainter painter(&canvas);
    for (auto hint = hints.begin(); hint != hints.end(); ++hint)
        painter.setRenderHint(hint.key(), hint.value());
    painter.setPen(QPen(color));
    painter.setBrush(color);
    painter.translate(-double(area.x()), -double(area.y()));
    painter.drawPath(path);
    return image;
}
