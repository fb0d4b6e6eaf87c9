#include "../Sheet.h"

#include <QtGui/QColor>

#include <algorithm>
#include <cmath>

namespace tour {

namespace {

/// Fades out to the right.
QImage lowerLayer(const QImage &photo)
{
    QImage layer = cellOf(photo);
    for (int y = 0; y < layer.height(); ++y) {
        QRgb *line = reinterpret_cast<QRgb *>(layer.scanLine(y));
        for (int x = 0; x < layer.width(); ++x) {
            const int visible = std::clamp((layer.width() - 24 - x) * 255 / 80, 0, 255);
            line[x] = (line[x] & 0x00FFFFFF) | QRgb(qAlpha(line[x]) * visible / 255) << 24;
        }
    }
    return layer;
}

/// A fan of colours in a soft disc.
QImage upperLayer()
{
    QImage layer(cellSize, QImage::Format_ARGB32);
    const double cx = layer.width() * 0.64, cy = layer.height() * 0.5, radius = layer.height() * 0.46;
    for (int y = 0; y < layer.height(); ++y) {
        QRgb *line = reinterpret_cast<QRgb *>(layer.scanLine(y));
        for (int x = 0; x < layer.width(); ++x) {
            const double dx = x + 0.5 - cx, dy = y + 0.5 - cy, d = std::hypot(dx, dy) / radius;
            const double hue = std::atan2(dy, dx) / 6.283185307179586 + 0.5;
            const double alpha = std::min(1.0, std::max(0.0, (1 - d) * 6));
            QColor color;
            color.setHsvF(std::min(hue, 0.999), std::min(1.0, d * 1.3), 1.0 - 0.35 * std::min(d, 1.0));
            line[x] = qRgba(color.red(), color.green(), color.blue(), int(255 * alpha));
        }
    }
    return layer;
}

} // namespace

Sheet modesSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const QImage below = lowerLayer(photo), above = upperLayer();
    Sheet sheet { "modes", "Every composition mode",
        "The same two layers, composed once in each mode. The checkerboard shows through where the result is "
        "transparent.",
        { { "The lower layer", {}, below }, { "The upper layer", {}, above } } };
    addOperations(sheet, catalogue::Kind::Mode, below, above, stop);
    return sheet;
}

} // namespace tour
