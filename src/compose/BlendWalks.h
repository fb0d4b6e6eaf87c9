#pragma once

#include "KXComposer.h"
#include "compose/Layers.h"
#include "support/Arithmetic.h"
#include "support/Log.h"
#include "support/Prefetch.h"
#include "support/Workers.h"

#include <algorithm>
#include <climits>
#include <type_traits>

/// The walks of a composition over the blocks in which all planes are contiguous, and who does them; as templates over
/// how rows are blended.
namespace compose {

constexpr char logPath[] = "src/KXComposer";

/// 0..1 to 0..256; NaN counts as 0.
inline int clampedOpacity256(double opacity)
{
    return arithmetic::opacity256(!(opacity >= 0) ? 0 : opacity < 1 ? opacity : 1);
}

/// Whether anything can be composed at all.
inline bool composes(KXCompositionMode mode, int opacity)
{
    return mode != KXCompositionMode::Destination && opacity != 0;
}

inline QRect destinationOf(const KXOverlap &area)
{
    return QRect(area.destinationX, area.destinationY, area.width, area.height);
}

inline Shift sourceShift(const KXOverlap &area)
{
    return { qint64(area.sourceX) - area.destinationX, qint64(area.sourceY) - area.destinationY };
}

/// Whether the flat window of @p image lies in what is composed of it.
inline Window windowFor(const RGBA32iImage &image, const KXOverlap &area)
{
    if (!image.IsTiled() || !image.HasFlatWindow())
        return Window::Ignored;
    const QRect window = image.FlatWindowRect();
    const Shift move = shiftBetween(image.FlatWindowOrigin(), image.FlatWindowOffset());
    const auto meets = [](qint64 start, int length, qint64 first, qint64 last) {
        return start <= last && first < start + length;
    };
    return meets(area.sourceX + move.x, area.width, window.left(), window.right())
            && meets(area.sourceY + move.y, area.height, window.top(), window.bottom())
        ? Window::Used
        : Window::Ignored;
}
inline Window windowFor(const QImage &, const KXOverlap &) { return Window::Ignored; }

/// Who walks: the calling thread, in blocks of rows or row by row, or the pool, row by row.
enum class Threads { Caller, CallerByRows, Pool };

/// The calling thread, in blocks; row by row only where the destination is itself @p read, as a source or a mask: then
/// the order of the rows matters.
template <class... Image>
Threads blocksOrRows(const void *destination, const Image &...read)
{
    return ((&read == destination) || ...) ? Threads::CallerByRows : Threads::Caller;
}

/// Runs @p walk over @p area: at once or row by row, on the calling thread or on a worker for each processor. What it
/// throws is logged on the thread that threw it.
template <class Walk>
void runWalk(const QRect &area, Threads threads, Walk walk)
{
    const auto guardedWalk = [&walk](const QRect &part) {
        support::guarded({ logPath, __LINE__ }, [&] { walk(part); });
    };
    const auto walkRow = [&](int row) { guardedWalk(QRect(area.x(), area.y() + row, area.width(), 1)); };
    switch (threads) {
    case Threads::Caller:
        guardedWalk(area);
        break;
    case Threads::CallerByRows:
        for (int row = 0; row < area.height(); ++row)
            walkRow(row);
        break;
    case Threads::Pool:
        workers::forEachRow(workers::hardware(), area.height(), walkRow);
        break;
    }
}

/// Calls @p blendRow(row, count) for each row of a block, and prefetches where the rows of @p stretches start, some
/// rows before their turn; further on, long rows prefetch on their own. Rows that follow one another without a gap, in
/// all of them, are one long row.
template <class BlendRow, class... Stretches>
void forEachRowOfBlock(int rows, int count, const BlendRow &blendRow, const Stretches &...stretches)
{
    if (((!stretches.pixels || stretches.stride == count) && ...)) {
        blendRow(0, rows * count);
        return;
    }
    constexpr int lead = 4; // rows; in a tile they are half a page
    constexpr int start = 512; // pixels, half a page; long rows ask for what comes after them
    const auto askFor = [pixels = std::min(count, start)](const Stretch &stretch, int row) {
        if (stretch.pixels)
            memory::prefetch(stretch.pixels + row * stretch.stride, pixels);
    };
    for (int row = 0; row < rows; ++row) {
        if (row + lead < rows)
            (askFor(stretches, row + lead), ...);
        blendRow(row, count);
    }
}

/// Blends what the source holds and nothing hides. Of a tiled destination only the tiles that are blended onto are made
/// private, unless the source has a flat window and there is no mask: then all below the area are.
template <class Planes, class Blender>
void blendLayers(const QRect &area, const Planes &planes, const Blender &blender)
{
    const bool takesAllTiles = !Planes::isMasked && planes.source.HasWindow();
    const auto block = [&](int x, int y, int limit, int rows) {
        const Stretch source = planes.source.At(x, y), clip = planes.clip.At(x, y), mask = planes.mask.At(x, y),
                      secondMask = planes.secondMask.At(x, y);
        const int n = std::min(
            { limit, source.length, clip.length, mask.length, secondMask.length, planes.destination.LengthAt(x) });
        const bool shows = source.pixels && !hides(planes.clip, clip) && !hides(planes.mask, mask)
            && !hides(planes.secondMask, secondMask);
        OPRGBA32i *const to = shows || takesAllTiles ? planes.destination.Writable(x, y) : nullptr;
        if (!shows || !to)
            return n;
        const Stretch destination { to, planes.destination.Stride(), n };
        const auto blendRow = [&](int row, int count) {
            const LayerRows layers { source.Row(row), to + row * destination.stride, clip.Row(row), mask.Row(row),
                secondMask.Row(row) };
            if constexpr (Planes::isMasked)
                blender.MaskedRow(layers, count);
            else
                blender.Row(layers, count);
        };
        forEachRowOfBlock(rows, n, blendRow, source, destination, clip, mask, secondMask);
        return n;
    };
    forEachBlock(area, block, planes.source, planes.destination, planes.clip, planes.mask, planes.secondMask);
}

} // namespace compose
