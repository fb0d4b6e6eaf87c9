#pragma once

#include "KXImage.h"

#include <QtGui/QImage>

#include <cmath>

/// Both inpainting engines as they are told, pixel by pixel through QImage::pixel and KXImage::GetColor: what the
/// library's are compared with, and what they are measured against.
namespace kit {

class PlainInpaint {
public:
    explicit PlainInpaint(QImage &picture)
        : image(&picture)
        , mask(picture.convertToFormat(QImage::Format_ARGB32, Qt::NoOpaqueDetection))
        , frontier(mask.size(), QImage::Format_ARGB32)
    {
        for (int y = 0; y < mask.height(); ++y)
            for (int x = 0; x < mask.width(); ++x)
                mask.setPixel(x, y, qAlpha(mask.pixel(x, y)) < 255 ? 0xFFFF0000 : 0);
        for (int y = 0; y < mask.height(); ++y)
            for (int x = 0; x < mask.width(); ++x) {
                const auto a = [&](int dx, int dy) {
                    return qAlpha(
                        mask.pixel(qBound(0, x + dx, mask.width() - 1), qBound(0, y + dy, mask.height() - 1)));
                };
                const int gx = 2 * (a(1, 0) - a(-1, 0)) - a(-1, -1) - a(-1, 1) + a(1, -1) + a(1, 1);
                const int gy = 2 * (a(0, -1) - a(0, 1)) - a(-1, 1) - a(1, 1) + a(1, -1) + a(-1, -1);
                const int magnitude = qBound(0, int(std::sqrt(double(gy * gy + gx * gx))), 255);
                frontier.setPixel(x, y, uint(magnitude) << 24 | 0x00FF00);
            }
        rect = bounds(QRect());
    }

    void run()
    {
        while (pass()) { }
    }

    QImage *image;
    QImage mask, frontier;
    QRect rect;

private:
    bool isKnown(int x, int y) const { return mask.rect().contains(x, y) && qAlpha(mask.pixel(x, y)) < 255; }

    QRect bounds(QRect r) const
    {
        if (r.isEmpty())
            r = frontier.rect();
        int minX = frontier.width(), minY = frontier.height(), maxX = -1, maxY = -1;
        for (int y = r.top(); y <= r.bottom(); ++y)
            for (int x = r.left(); x <= r.right(); ++x)
                if (qAlpha(frontier.pixel(x - r.left(), y)) != 0) {
                    minX = std::min(minX, x), maxX = std::max(maxX, x);
                    minY = std::min(minY, y), maxY = std::max(maxY, y);
                }
        return QRect(QPoint(minX, minY), QPoint(maxX, maxY)) & r;
    }

    /// Fills from the pixels of the block whose top left corner is (left, top).
    bool fillFrom(int left, int top, int x, int y)
    {
        int sums[4] = { 4, 4, 4, 4 };
        for (int yy = top; yy < top + 3; ++yy)
            for (int xx = left; xx < left + 3; ++xx)
                if (xx != x || yy != y) {
                    if (!isKnown(xx, yy))
                        return false;
                    const QRgb p = image->pixel(xx, yy);
                    sums[0] += qRed(p), sums[1] += qGreen(p), sums[2] += qBlue(p), sums[3] += qAlpha(p);
                }
        image->setPixel(x, y, qRgba(sums[0] >> 3, sums[1] >> 3, sums[2] >> 3, sums[3] >> 3));
        return true;
    }

    bool fill(int x, int y)
    {
        return fillFrom(x - 1, y - 1, x, y) || fillFrom(x - 1, y - 2, x, y) || fillFrom(x - 1, y, x, y)
            || fillFrom(x - 2, y - 1, x, y) || fillFrom(x, y - 1, x, y) || fillFrom(x - 2, y - 2, x, y)
            || fillFrom(x, y - 2, x, y) || fillFrom(x, y, x, y) || fillFrom(x - 2, y, x, y);
    }

    bool pass()
    {
        const QRect rectBefore = rect;
        const QImage snapshot = frontier, maskBefore = mask;
        QImage nextMask = mask;
        rect = bounds(rect);
        bool changed = false;
        for (int y = rect.top(); y <= rect.bottom(); ++y)
            for (int x = rect.left(); x <= rect.right(); ++x) {
                if (qAlpha(snapshot.pixel(rect.left(), y)) != 255)
                    continue;
                if (isKnown(x, y)) {
                    frontier.setPixel(x, y, 0);
                    changed = true;
                } else if (fill(x, y)) {
                    changed = true;
                    nextMask.setPixel(x, y, 0);
                    frontier.setPixel(x, y, 0);
                    for (int yy = std::max(y - 1, 0); yy <= std::min(y + 1, mask.height() - 1); ++yy)
                        for (int xx = std::max(x - 1, 0); xx <= std::min(x + 1, mask.width() - 1); ++xx)
                            if ((xx != x || yy != y) && !isKnown(xx, yy))
                                frontier.setPixel(xx, yy, 0xFF000000);
                }
            }
        mask = nextMask;
        return changed && (mask != maskBefore || frontier != snapshot || rect != rectBefore);
    }
};

} // namespace kit
