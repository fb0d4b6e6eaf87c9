#include "Gallery.h"

#include "Document.h"
#include "Pictures.h"

#include <KXBlend.h>
#include <KXComposer.h>

#include <QtCore/QElapsedTimer>
#include <QtGui/QPainter>

#include <algorithm>
#include <cmath>

namespace tour {

namespace {

const QSize cell(240, 160);

QImage lowerLayer(const QImage &photo)
{
    // Cut first: a photo of one column, scaled as a whole to the width of a cell, would be millions of rows high.
    const QSize kept = cell.scaled(photo.size(), Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    const QPoint corner((photo.width() - kept.width()) / 2, (photo.height() - kept.height()) / 2);
    QImage layer = photo.copy(QRect(corner, kept))
                       .scaled(cell, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                       .convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < layer.height(); ++y) {
        QRgb *line = reinterpret_cast<QRgb *>(layer.scanLine(y));
        for (int x = 0; x < layer.width(); ++x) {
            const int visible = std::clamp((layer.width() - 24 - x) * 255 / 80, 0, 255);
            line[x] = (line[x] & 0x00FFFFFF) | QRgb(qAlpha(line[x]) * visible / 255) << 24;
        }
    }
    return layer;
}

QImage upperLayer()
{
    QImage layer(cell, QImage::Format_ARGB32);
    const double cx = cell.width() * 0.64, cy = cell.height() * 0.5, radius = cell.height() * 0.46;
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

Gallery composeGallery(const QImage &photo)
{
    Gallery gallery { lowerLayer(photo), upperLayer(), {}, 0 };
    const QRect all(QPoint(0, 0), cell);
    RGBA32iImage mask(cell.width(), cell.height(), false);
    ComposeSource(gallery.above, all, mask, all);

    QElapsedTimer timer;
    timer.start();
    for (const KXCompositionMode mode : KXCompositionModes()) {
        const bool masked = mode == KXCompositionMode::FillUnmasked;
        QImage picture = gallery.below.copy();
        if (masked) {
            RGBA32iImage layer(cell.width(), cell.height(), false);
            ComposeSource(picture, all, layer, all);
            ComposeMaskOn(gallery.above, all, mode, layer, all, fullOpacity, mask, all, true, false);
            ComposeSource(layer, all, picture, all);
        } else {
            Compose(gallery.above, all, mode, picture, all, fullOpacity, false);
        }
        gallery.entries << Gallery::Entry { int(mode), KXCompositionModeName(mode), masked, picture };
    }
    gallery.milliseconds = double(timer.nsecsElapsed()) / 1e6;
    return gallery;
}

QImage contactSheet(const Gallery &gallery)
{
    const int columns = 7, gap = 6, rows = (gallery.entries.size() + columns - 1) / columns;
    QImage sheet(gap + columns * (cell.width() + gap), gap + rows * (cell.height() + gap), QImage::Format_RGB32);
    sheet.fill(QColor(24, 26, 32));
    QPainter painter(&sheet);
    for (int i = 0; i < gallery.entries.size(); ++i)
        painter.drawImage(gap + i % columns * (cell.width() + gap), gap + i / columns * (cell.height() + gap),
            onCheckerboard(gallery.entries[i].picture));
    return sheet;
}

} // namespace tour
