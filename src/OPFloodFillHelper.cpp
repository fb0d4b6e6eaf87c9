#include "OPFloodFillHelper.h"

#include "pixels/BorrowedImage.h"
#include "retouch/Region.h"
#include "support/Log.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <vector>

using retouch::Bounds;
using retouch::ColorBox;

namespace {

constexpr char sourcePath[] = "src/OPFloodFillHelper";
constexpr char outsideWithNumber[] = "FloodFill seed point is out of range %1"; // nothing takes the place of %1

/// The pixel at @p seed. Where there is none, @p text is logged.
std::optional<OPRGBA32i> seedColor(const RGBA32iImage &image, const QPoint &seed, const char *text)
{
    try {
        return image.GetColor(seed.x(), seed.y());
    } catch (const std::out_of_range &) {
        support::logLine({ sourcePath, __LINE__ }, text);
        return std::nullopt;
    }
}

/// The colour that marks a pixel as filled: outside of @p box, and never transparent. Nothing where the box holds all
/// colours; one that lacks no more than an alpha of 0 counts as such, since no marker has that.
std::optional<OPRGBA32i> visitedMarker(const ColorBox &box)
{
    constexpr OPRGBA32i black { 0xFF000000u };
    const OPRGBA32i low = box.low, high = box.high;
    if (low.b > 0)
        return black;
    if (high.b < 255)
        return OPRGBA32i { 255, 0, 0, 255 };
    if (low.g > 0)
        return black;
    if (high.g < 255)
        return OPRGBA32i { 0, 255, 0, 255 };
    if (low.r > 0)
        return black;
    if (high.r < 255)
        return OPRGBA32i { 0, 0, 255, 255 };
    if (low.a >= 2)
        return OPRGBA32i { 0, 0, 0, 1 };
    if (high.a < 255)
        return black;
    return std::nullopt;
}

/// Fills the region with @p color.
Bounds fill(const retouch::Pixels &pixels, const ColorBox &box, const QPoint &seed, OPRGBA32i color)
{
    return retouch::fillRegion(
        pixels, box, seed, [&](int x, int y, int count) { std::fill_n(pixels.Row(y) + x, count, color); });
}

/// Fills the region of @p working with @p marker, and the same places in @p destination, which may lack some of them,
/// with @p color. What is filled before the first place that @p destination lacks depends on the order: from the top of
/// each column down, and the columns beside it from the last one found.
Bounds fillByColumns(RGBA32iImage &working, RGBA32iImage &destination, const QPoint &seed, const ColorBox &box,
    OPRGBA32i color, OPRGBA32i marker)
{
    Bounds bounds(seed);
    const auto matches = [&](int x, int y) { return box.Contains(working.GetColor(x, y)); };
    std::vector<QPoint> pending { seed };
    while (!pending.empty()) {
        const int x = pending.back().x();
        int y = pending.back().y();
        pending.pop_back();
        while (y >= 0 && matches(x, y))
            --y;
        bool isLeftFound = false, isRightFound = false;
        const auto look = [&](int beside, bool &isFound) {
            const bool isMatch = matches(beside, y);
            if (isMatch && !isFound)
                pending.emplace_back(beside, y);
            isFound = isMatch;
        };
        for (++y; y < working.Height() && matches(x, y); ++y) {
            destination.SetColor(x, y, color);
            working.SetColor(x, y, marker);
            bounds.Extend(x, x, y);
            if (x > 0)
                look(x - 1, isLeftFound);
            if (x < working.Width() - 1)
                look(x + 1, isRightFound);
        }
    }
    return bounds;
}

void store(const QRect &rect, QRect *bounds)
{
    if (bounds)
        *bounds = rect;
}

} // namespace

bool OPFloodFillHelper::FloodFill(RGBA32iImage &image, const QPoint &seed, const OPRGBA32i &color, QRect *bounds)
{
    const OPRGBA32i paint = color; // which may lie in the image
    const auto found = seedColor(image, seed, "FloodFill seed point is out of range.");
    if (!found)
        return false;
    if (*found == paint)
        store(QRect(), bounds);
    else
        fill(pixels::rowsOf(image), { *found, *found }, seed, paint).Store(bounds);
    return true;
}

bool OPFloodFillHelper::FloodFill(
    RGBA32iImage &image, const QPoint &seed, const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds)
{
    if (!tolerance)
        return FloodFill(image, seed, color, bounds);
    const auto found = seedColor(image, seed, outsideWithNumber);
    if (!found)
        return false;
    const ColorBox box = ColorBox::matching(*found, tolerance);
    if (const auto marker = visitedMarker(ColorBox::around(*found, tolerance))) {
        fill(pixels::rowsOf(image), box, seed, *marker).Store(bounds); // the colour under the marker would not last
    } else {
        image.Fill(color);
        store(image.Rect(), bounds);
    }
    return true;
}

bool OPFloodFillHelper::FloodFill(
    QImage &image, const QPoint &seed, const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds)
{
    if (!image.rect().contains(seed)) {
        support::logLine({ sourcePath, __LINE__ },
            QStringLiteral("FloodFill seed point is out of range (%1, %2)").arg(seed.x()).arg(seed.y()));
        return false;
    }
    if (image.depth() != 32) {
        support::logLine({ sourcePath, __LINE__ }, "FloodFill needs an image of 32 bits a pixel");
        return false;
    }
    const OPRGBA32i paint = color, found = image.pixel(seed);
    const ColorBox box = ColorBox::matching(found, tolerance);
    const bool isAll = !visitedMarker(ColorBox::around(found, tolerance));
    const auto pixels = pixels::borrowForWriting(image);
    if (!isAll) {
        fill({ pixels.first, int(pixels.Stride()), image.width(), image.height() }, box, seed, paint).Store(bounds);
    } else {
        image.fill(uint(paint));
        store(image.rect(), bounds);
    }
    return true;
}

bool OPFloodFillHelper::FloodFill(const RGBA32iImage &source, RGBA32iImage &destination, const QPoint &seed,
    const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds)
{
    const OPRGBA32i paint = color;
    const auto found = seedColor(source, seed, outsideWithNumber);
    if (!found)
        return false;
    const ColorBox box = ColorBox::matching(*found, tolerance);
    const auto marker = visitedMarker(ColorBox::around(*found, tolerance));
    RGBA32iImage working = source; // shares the pixels of source, which are so written: intended
    if (!marker) {
        destination.Fill(paint);
        store(source.Rect(), bounds);
    } else if (!destination.IsTiled() && destination.Rect().contains(source.Rect())) {
        const retouch::Pixels marked = pixels::rowsOf(working), painted = pixels::rowsOf(destination);
        retouch::fillRegion(marked, box, seed, [&](int x, int y, int count) {
            std::fill_n(painted.Row(y) + x, count, paint);
            std::fill_n(marked.Row(y) + x, count, *marker);
        }).Store(bounds);
    } else {
        fillByColumns(working, destination, seed, box, paint, *marker).Store(bounds);
    }
    return true;
}

bool OPFloodFillHelper::ColorRangeFill(const RGBA32iImage &source, RGBA32iImage &destination, const QPoint &seed,
    const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds)
{
    const OPRGBA32i within = tolerance, paint = color; // which may lie in the old pixels of the destination
    source.CopyTo(destination, false);
    const auto found = seedColor(destination, seed, "Seed point is out of range %1");
    if (!found)
        return false;
    retouch::keepContained(pixels::rowsOf(destination), ColorBox::matching(*found, within), seed, paint).Store(bounds);
    return true;
}
