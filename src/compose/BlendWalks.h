#pragma once

#include "KXComposer.h"
#include "pixels/Planes.h"
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

using namespace pixels;

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
Threads onCaller(const void *destination, const Image &...read)
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

/// Calls @p blendRow(row, count) for each row of a block, and prefetches the pixels of @p stretches some rows before
/// their turn. Rows that follow one another without a gap, in all of them, are one long row, which prefetches by itself.
template <class BlendRow, class... Stretches>
void forEachRowOfBlock(int rows, int count, const BlendRow &blendRow, const Stretches &...stretches)
{
    if (((!stretches.pixels || stretches.stride == count) && ...)) {
        blendRow(0, rows * count);
        return;
    }
    constexpr int lead = 4; // rows; in a tile they are half a page
    const auto askFor = [count](const Stretch &stretch, int row) {
        if (stretch.pixels)
            memory::prefetch(stretch.pixels + row * stretch.stride, count);
    };
    for (int row = 0; row < rows; ++row) {
        if (row + lead < rows)
            (askFor(stretches, row + lead), ...);
        blendRow(row, count);
    }
}

/// Blends what @p source holds, in the mode's plain form. @p clip, if there is one, is a mask that covers the whole
/// area; where it holds nothing, nothing shows. If the source has a flat window, the destination's tiles are made
/// private even where the source turns out to hold nothing.
template <class Blender>
void blendPlain(const QRect &area, const SourcePlane &source, const SourcePlane *clip, const TargetPlane &target,
    const Blender &blender)
{
    const auto block = [&](int x, int y, int limit, int rows) {
        const Stretch from = source.At(x, y);
        int n = std::min({ limit, from.length, target.LengthAt(x) });
        Stretch mask { nullptr, 0, n };
        if (clip) {
            mask = clip->At(x, y);
            n = std::min(n, mask.length);
        }
        OPRGBA32i *to = source.HasWindow() ? target.Writable(x, y) : nullptr;
        if (!from.pixels || (clip && !mask.pixels))
            return n;
        if (!to)
            to = target.Writable(x, y);
        if (!to)
            return n;
        const auto blendRow = [&](int row, int count) {
            blender.Row({ from.Row(row), to + row * target.Stride(), mask.Row(row), nullptr, nullptr }, count);
        };
        forEachRowOfBlock(rows, n, blendRow, from, mask, Stretch { to, target.Stride(), n });
        return n;
    };
    if (clip)
        forEachBlock(area, block, source, target, *clip);
    else
        forEachBlock(area, block, source, target);
}

/// Stands for a mask that is not there.
struct NoMask {
    int RowsAt(int) const { return INT_MAX; }
    bool OutsideVisible() const { return true; }
    Stretch At(int, int) const { return { nullptr, 0, INT_MAX }; }
};

/// Stands for a clip that is not there.
struct NoClip : NoMask { };

/// Blends in the mode's masked form. @p second and @p mask2 are masks; @p clip limits the source, and hides it where it
/// holds nothing itself.
template <class Clip, class Mask2, class Blender>
void blendMasked(const QRect &area, const SourcePlane &source, const MaskPlane &second, const Clip &clip,
    const Mask2 &mask2, const TargetPlane &target, const Blender &blender)
{
    constexpr bool hasClip = !std::is_same_v<Clip, NoClip>;
    const auto block = [&](int x, int y, int limit, int rows) {
        const Stretch from = source.At(x, y), coverage = second.At(x, y), clipping = clip.At(x, y),
                      coverage2 = mask2.At(x, y);
        const int n =
            std::min({ limit, from.length, coverage.length, clipping.length, coverage2.length, target.LengthAt(x) });
        if (!from.pixels || (!coverage.pixels && !second.OutsideVisible()) || (hasClip && !clipping.pixels)
            || (!coverage2.pixels && !mask2.OutsideVisible()))
            return n;
        OPRGBA32i *const to = target.Writable(x, y);
        if (!to)
            return n;
        // Full coverage by the second mask is the same as its absence.
        const auto blendRow = [&](int row, int count) {
            blender.MaskedRow(
                { from.Row(row), to + row * target.Stride(), clipping.Row(row), coverage.Row(row), coverage2.Row(row) },
                count);
        };
        forEachRowOfBlock(rows, n, blendRow, from, coverage, clipping, coverage2, Stretch { to, target.Stride(), n });
        return n;
    };
    forEachBlock(area, block, source, second, clip, mask2, target);
}

} // namespace compose
