#pragma once

#include "KXImage.h"

#include <QtGui/QImage>

#include <algorithm>
#include <climits>
#include <cmath>
#include <exception>

/// Both inpainting engines as their headers describe them, pixel by pixel through QImage::pixel and KXImage::GetColor:
/// what the library's are compared with, and what they are measured against.
namespace catalogue {

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

class PlainInpaintIterative {
public:
    PlainInpaintIterative(RGBA32iImage &picture, const RGBA32iImage &marked, const QRect &inImage, const QRect &inMask)
        : image(&picture)
        , mask(marked)
        , frontier(marked.Width(), marked.Height(), false)
        , maskRect(inMask)
        , workRect(inMask)
        , offset(inImage.topLeft() - inMask.topLeft())
        , active(!inMask.isEmpty())
    {
        const QRect r = inMask & marked.Rect();
        const auto a = [&](int x, int y) { return r.contains(x, y) ? int(marked.GetColor(x, y).a) : 0; };
        for (int y = r.top(); y <= r.bottom(); ++y)
            for (int x = r.left(); x <= r.right(); ++x) {
                const int left = a(x - 1, y - 1) + a(x - 1, y) + a(x - 1, y + 1);
                const int right = a(x + 1, y - 1) + a(x + 1, y) + a(x + 1, y + 1);
                const int above = a(x - 1, y - 1) + a(x, y - 1) + a(x + 1, y - 1);
                const int below = a(x - 1, y + 1) + a(x, y + 1) + a(x + 1, y + 1);
                const int gx = 3 * (right - left), gy = 3 * (above - below);
                const unsigned magnitude = unsigned(std::min(std::sqrt(double(gy * gy + gx * gx)), 255.0));
                frontier.SetColor(x, y, OPRGBA32i(magnitude << 24));
            }
    }

    /// One sweep in @p stage. What is thrown ends it.
    bool run(int stage)
    {
        if (!active)
            return false;
        bool changed = false;
        int minX = INT_MAX, maxX = INT_MIN, minY = INT_MAX, maxY = INT_MIN;
        const QRect r = workRect & frontier.Rect();
        try {
            for (int y = r.top(); y <= r.bottom(); ++y)
                for (int x = r.left(); x <= r.right(); ++x) {
                    if (frontier.GetColor(x, y).a == 0)
                        continue;
                    visit(x, y, stage, changed);
                    minX = std::min(minX, x), maxX = std::max(maxX, x);
                    minY = std::min(minY, y), maxY = std::max(maxY, y);
                }
        } catch (const std::exception &) {
        }
        workRect = minX <= maxX && minY <= maxY ? QRect(QPoint(minX, minY), QPoint(maxX, maxY)) : QRect();
        active = changed;
        return active;
    }

    RGBA32iImage *image;
    RGBA32iImage mask, frontier;
    QRect maskRect, workRect;
    QPoint offset;
    bool active;

private:
    bool isKnown(int x, int y) const { return maskRect.contains(x, y) && mask.GetColor(x, y).a < 255; }

    void visit(int x, int y, int stage, bool &changed)
    {
        if (isKnown(x, y)) {
            frontier.SetColor(x, y, 0);
            changed = true;
            return;
        }
        if (!(stage == 1 ? fillFromBlock(x + offset.x(), y + offset.y()) : average(x + offset.x(), y + offset.y())))
            return;
        changed = true;
        mask.SetColor(x, y, 0);
        frontier.SetColor(x, y, 0);
        for (int yy = y - 1; yy <= y + 1; ++yy)
            for (int xx = x - 1; xx <= x + 1; ++xx)
                if (yy >= maskRect.top() && yy <= maskRect.bottom() && xx >= maskRect.left() && xx < maskRect.right()
                    && (xx != x || yy != y) && !isKnown(xx, yy))
                    frontier.SetColor(xx, yy, 0xFF000000);
    }

    bool average(int x, int y)
    {
        int a = 0, r = 5, g = 5, b = 5;
        for (int yy = y - 1; yy <= y + 1; ++yy)
            for (int xx = x - 1; xx <= x + 1; ++xx)
                if (xx != x || yy != y) {
                    const OPRGBA32i p = image->GetColor(xx, yy);
                    a += p.a, r += p.r, g += p.g, b += p.b;
                }
        image->SetColor(x, y, qRgba(r >> 3, g >> 3, b >> 3, a >> 3));
        return true;
    }

    bool fillFromBlock(int x, int y)
    {
        using Places = QPoint[8];
        static const Places tries[] = {
            { { -1, -1 }, { 0, -1 }, { 1, -1 }, { -1, 0 }, { 1, 0 }, { -1, -2 }, { 0, -2 }, { 1, -2 } },
            { { -1, 1 }, { 0, 1 }, { 1, 1 }, { -1, 0 }, { 1, 0 }, { -1, 2 }, { 0, 2 }, { 1, 2 } },
            { { -1, -1 }, { -1, 0 }, { -1, 1 }, { 0, -1 }, { 0, 1 }, { -2, -1 }, { -2, 0 }, { -2, 1 } },
            { { 1, -1 }, { 1, 0 }, { 1, 1 }, { 0, -1 }, { 0, 1 }, { 2, -1 }, { 2, 0 }, { 2, 1 } },
            { { -2, 0 }, { -1, 0 }, { -2, -1 }, { -1, -1 }, { 0, -1 }, { -2, -2 }, { -1, -2 }, { 0, -2 } },
            { { 1, 0 }, { 2, 0 }, { 0, -1 }, { 1, -1 }, { 2, -1 }, { 0, -2 }, { 1, -2 }, { 2, -2 } },
            { { 1, 0 }, { 2, 0 }, { 0, 1 }, { 1, 1 }, { 2, 1 }, { 0, 2 }, { 1, 2 }, { 2, 2 } },
            { { -2, 0 }, { -1, 0 }, { -2, 1 }, { -1, 1 }, { 0, 1 }, { -2, 2 }, { -1, 2 }, { 0, 2 } },
        };
        for (const Places &places : tries) {
            bool known = true;
            for (const QPoint &at : places)
                known = known && isKnown(x + at.x(), y + (&places == &tries[1] && at == QPoint(0, 2) ? -2 : at.y()));
            if (!known)
                continue;
            int a = 0, r = 0, g = 0, b = 0;
            for (const QPoint &at : places) {
                const OPRGBA32i p = image->GetColor(x + at.x(), y + at.y());
                a += p.a, r += p.r, g += p.g, b += p.b;
            }
            image->SetColor(x, y, qRgba(r >> 3, g >> 3, b >> 3, a >> 3));
            return true;
        }
        return false;
    }
};

} // namespace catalogue
