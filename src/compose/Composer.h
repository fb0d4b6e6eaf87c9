#pragma once

#include "KXComposer.h"
#include "compose/Blender.h"
#include "compose/Planes.h"
#include "support/Arithmetic.h"
#include "support/Log.h"
#include "support/Prefetch.h"
#include "support/Workers.h"

#include <optional>

/// The composers behind the slots, as templates over how rows are blended: the library and the kernel module have the
/// same walks, tables of storages and messages.
namespace compose {

constexpr char logPath[] = "src/KXComposer";

inline bool isTiled(const RGBA32iImage &image) { return image.IsTiled(); }
inline bool isTiled(const QImage &) { return false; }
inline QRect rectOf(const RGBA32iImage &image) { return image.Rect(); }
inline QRect rectOf(const QImage &image) { return image.rect(); }

inline bool hasRightFormat(const RGBA32iImage &) { return true; }
inline bool hasRightFormat(const QImage &image)
{
    if (image.format() == QImage::Format_ARGB32)
        return true;
    support::logLine({ logPath, __LINE__ }, QStringLiteral("Wrong input qimage format %1").arg(int(image.format())));
    return false;
}

/// 0..1 to 0..256; NaN counts as 0.
inline int clampedOpacity256(double opacity)
{
    return arithmetic::opacity256(!(opacity >= 0) ? 0 : opacity < 1 ? opacity : 1);
}

/// QRect::isNull() without its overflow at the ends of the number range.
inline bool hasNoSize(const QRect &rect)
{
    return rect.right() == qint64(rect.x()) - 1 && rect.bottom() == qint64(rect.y()) - 1;
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

/// Calls @p blendRow for each row of a block, and prefetches the pixels of @p stretches some rows before their turn.
template <class BlendRow, class... Stretches>
void forEachRowOfBlock(int rows, int count, const BlendRow &blendRow, const Stretches &...stretches)
{
    constexpr int lead = 4; // rows; in a tile they are half a page
    const auto askFor = [count](const Stretch &stretch, int row) {
        if (stretch.pixels)
            memory::prefetch(stretch.pixels + row * stretch.stride, count);
    };
    for (int row = 0; row < rows; ++row) {
        if (row + lead < rows)
            (askFor(stretches, row + lead), ...);
        blendRow(row);
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
        const auto blendRow = [&](int row) {
            blender.Row(from.pixels + row * from.stride, to + row * target.Stride(),
                mask.pixels ? mask.pixels + row * mask.stride : nullptr, n);
        };
        forEachRowOfBlock(to ? rows : 0, n, blendRow, from, mask, Stretch { to, target.Stride(), n });
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
        // Full coverage by the second mask is the same as its absence.
        const auto at = [](const Stretch &s, int row) { return s.pixels ? s.pixels + row * s.stride : nullptr; };
        const auto blendRow = [&](int row) {
            blender.MaskedRow(
                at(from, row), at(coverage, row), to + row * target.Stride(), at(clipping, row), at(coverage2, row), n);
        };
        forEachRowOfBlock(
            to ? rows : 0, n, blendRow, from, coverage, clipping, coverage2, Stretch { to, target.Stride(), n });
        return n;
    };
    forEachBlock(area, block, source, second, clip, mask2, target);
}

template <class Src, class Dst, class MakeBlender>
void composePlain(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst, const QRect &dstRect,
    double opacity, const MakeBlender &makeBlender)
{
    // Both are asked, for each wrong one is logged.
    const bool sourceFits = hasRightFormat(src), destinationFits = hasRightFormat(dst);
    if (!sourceFits || !destinationFits)
        return;
    const bool allFlat = !isTiled(src) && !isTiled(dst);
    const int opacity256 = allFlat ? clampedOpacity256(opacity) : arithmetic::opacity256(opacity);
    const auto area = ClipRects(rectOf(src), srcRect, rectOf(dst), dstRect);
    if (!composes(mode, opacity256) || !area)
        return;
    const TargetPlane target(dst); // first: a QImage gets pixels of its own here, and may be the source too
    const SourcePlane source(src, sourceShift(*area), EmptyTiles::NullAndFake, windowFor(src, *area));
    const auto blender = makeBlender(mode, quint32(opacity256));
    runWalk(destinationOf(*area), allFlat ? Threads::Pool : onCaller(&dst, src),
        [&](const QRect &part) { blendPlain(part, source, nullptr, target, blender); });
}

template <class Src, class MakeBlender>
void composeMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, RGBA32iImage &dst,
    const QRect &dstRect, double opacity, const RGBA32iImage &mask, const QRect &maskRect, bool outsideVisible,
    const MakeBlender &makeBlender)
{
    if (!hasRightFormat(src))
        return;
    const bool allFlat = !isTiled(src) && !dst.IsTiled() && !mask.IsTiled();
    if (allFlat && hasNoSize(maskRect) && outsideVisible)
        return composePlain(src, srcRect, mode, dst, dstRect, opacity, makeBlender);

    const int opacity256 = clampedOpacity256(opacity);
    const auto area = ClipRects(rectOf(src), srcRect, dst.Rect(), dstRect);
    if (!composes(mode, opacity256) || !area || mask.Rect().isEmpty())
        return;
    // The whole mask rectangle moves with what clipping took off the start; its position in the mask does not change.
    const qint64 right = qint64(maskRect.right()) + 1 + area->destinationX - dstRect.x();
    const qint64 bottom = qint64(maskRect.bottom()) + 1 + area->destinationY - dstRect.y();
    const MaskPlane second(mask, shiftBetween(dstRect.topLeft(), maskRect.topLeft()), Window::Used,
        int(qBound<qint64>(0, right, mask.Width())), int(qBound<qint64>(0, bottom, mask.Height())), outsideVisible);
    const SourcePlane source(src, sourceShift(*area), EmptyTiles::NullAndFake, windowFor(src, *area));
    const TargetPlane target(dst);
    const auto blender = makeBlender(mode, quint32(opacity256));
    runWalk(destinationOf(*area), allFlat ? Threads::Pool : onCaller(&dst, src, mask),
        [&](const QRect &part) { blendMasked(part, source, second, NoClip(), NoMask(), target, blender); });
}

/// What source, clip and destination have in common.
struct ClippedArea {
    QRect destination;
    Shift source, clip;
    KXOverlap sourceOverlap; ///< of source and destination alone
};

inline std::optional<ClippedArea> clipThree(const RGBA32iImage &src, const QRect &srcRect, const RGBA32iImage &clip,
    const QRect &clipRect, const RGBA32iImage &dst, const QRect &dstRect)
{
    const auto source = ClipRects(src.Rect(), srcRect, dst.Rect(), dstRect);
    const auto clipping = ClipRects(clip.Rect(), clipRect, dst.Rect(), dstRect);
    if (!source || !clipping)
        return std::nullopt;
    const QRect common = destinationOf(*source) & destinationOf(*clipping);
    if (common.isEmpty())
        return std::nullopt;
    return ClippedArea { common, sourceShift(*source), sourceShift(*clipping), *source };
}

/// A mask of the clipping family: its rectangle, clipped to its image, starts at the destination rectangle's corner.
inline MaskPlane clippingMask(
    const RGBA32iImage &mask, const QRect &maskRect, const QRect &dstRect, bool outsideVisible)
{
    const QRect bounds = ClippedTo(mask.Rect(), maskRect);
    return MaskPlane(mask, shiftBetween(dstRect.topLeft(), maskRect.topLeft()), Window::Ignored,
        bounds.x() + bounds.width(), bounds.y() + bounds.height(), outsideVisible);
}

/// The images and rectangles of one call of the clipping family, and the workers that serve it.
template <class MakeBlender>
class ClippingComposer {
public:
    struct Mask {
        const RGBA32iImage &image;
        const QRect &rect;
        bool outsideVisible;
    };

    ClippingComposer(const RGBA32iImage &src, const QRect &srcRect, KXCompositionMode mode, RGBA32iImage &dst,
        const QRect &dstRect, const RGBA32iImage &clip, const QRect &clipRect, double opacity,
        const MakeBlender &makeBlender)
        : m_src(src)
        , m_dst(dst)
        , m_clip(clip)
        , m_srcRect(srcRect)
        , m_dstRect(dstRect)
        , m_clipRect(clipRect)
        , m_mode(mode)
        , m_opacity(opacity)
        , m_makeBlender(makeBlender)
    {
    }

    void WithoutMask() const
    {
        const Threads threads = m_src.IsTiled() && m_clip.IsTiled() ? Threads::Caller : Threads::Pool;
        Run(threads, Window::Ignored,
            [](const QRect &part, const SourcePlane &source, const SourcePlane &clip, const TargetPlane &target,
                const auto &blender) { blendPlain(part, source, &clip, target, blender); });
    }

    void WithMask(const Mask &mask) const
    {
        const MaskPlane second = clippingMask(mask.image, mask.rect, m_dstRect, mask.outsideVisible);
        Run(Threads::Pool, Window::Used,
            [&](const QRect &part, const SourcePlane &source, const SourcePlane &clip, const TargetPlane &target,
                const auto &blender) { blendMasked(part, source, second, clip, NoMask(), target, blender); });
    }

    void WithTwoMasks(const Mask &first, const Mask &other) const
    {
        const MaskPlane second = clippingMask(first.image, first.rect, m_dstRect, first.outsideVisible);
        const MaskPlane mask2 = clippingMask(other.image, other.rect, m_dstRect, other.outsideVisible);
        Run(Threads::Pool, Window::Used,
            [&](const QRect &part, const SourcePlane &source, const SourcePlane &clip, const TargetPlane &target,
                const auto &blender) { blendMasked(part, source, second, clip, mask2, target, blender); });
    }

private:
    template <class Walk>
    void Run(Threads threads, Window window, Walk walk) const
    {
        const int opacity256 = clampedOpacity256(m_opacity);
        const auto area = clipThree(m_src, m_srcRect, m_clip, m_clipRect, m_dst, m_dstRect);
        if (!composes(m_mode, opacity256) || !area)
            return;
        const SourcePlane source(m_src, area->source, EmptyTiles::NullAndFake,
            window == Window::Used ? windowFor(m_src, area->sourceOverlap) : Window::Ignored);
        const SourcePlane clip(m_clip, area->clip, EmptyTiles::Null, Window::Ignored);
        const TargetPlane target(m_dst);
        const auto blender = m_makeBlender(m_mode, quint32(opacity256));
        runWalk(area->destination, threads, [&](const QRect &part) { walk(part, source, clip, target, blender); });
    }

    const RGBA32iImage &m_src;
    RGBA32iImage &m_dst;
    const RGBA32iImage &m_clip;
    const QRect &m_srcRect, &m_dstRect, &m_clipRect;
    KXCompositionMode m_mode;
    double m_opacity;
    const MakeBlender &m_makeBlender;
};

template <class MakeBlender>
void composeClippingMaskOn(const RGBA32iImage &src, const QRect &srcRect, KXCompositionMode mode, RGBA32iImage &dst,
    const QRect &dstRect, const RGBA32iImage &clip, const QRect &clipRect, const RGBA32iImage &clipMask,
    const QRect &clipMaskRect, bool outsideVisible, double opacity, const MakeBlender &makeBlender)
{
    const bool isMaskRect = !clipMaskRect.isEmpty();
    if (dst.IsTiled()) {
        support::logLine({ logPath, __LINE__ },
            QStringLiteral("ClippingMask composer is missing srcTileMode %1 dstTileMode %2 clipMaskTileMode %3 "
                           "isMaskRect %4 cmMaskTileMode %5")
                .arg(src.IsTiled())
                .arg(dst.IsTiled())
                .arg(clip.IsTiled())
                .arg(isMaskRect)
                .arg(clipMask.IsTiled()));
        return;
    }
    const ClippingComposer composer(src, srcRect, mode, dst, dstRect, clip, clipRect, opacity, makeBlender);
    // The one exception: where all three are tiled the clip mask is ignored.
    if (!isMaskRect || (src.IsTiled() && clip.IsTiled() && clipMask.IsTiled()))
        composer.WithoutMask();
    else
        composer.WithMask({ clipMask, clipMaskRect, outsideVisible });
}

/// What happens to a clipped source with two masks. That depends on how the images are stored.
enum class TwoMasks {
    Missing, ///< logs that there is no composer
    Nothing, ///< returns silently
    MaskOnly, ///< the clip mask is ignored
    Both, ///< the mask first, then the clip mask
    Exchanged ///< the clip mask first, then the mask
};

enum class Storage : char { Flat, Tiled, Any };
enum class MaskRect : char { No, Yes, Any };

struct TwoMasksRow {
    Storage source, mask, clip;
    MaskRect isMaskRect;
    Storage clipMask;
    TwoMasks action;
};

/// The combinations for a flat destination, the irregular ones included. The first row that fits decides.
inline constexpr TwoMasksRow twoMasksTable[] = {
    { Storage::Tiled, Storage::Tiled, Storage::Tiled, MaskRect::Any, Storage::Any, TwoMasks::Missing },
    { Storage::Tiled, Storage::Tiled, Storage::Flat, MaskRect::Any, Storage::Tiled, TwoMasks::Nothing },
    { Storage::Tiled, Storage::Tiled, Storage::Flat, MaskRect::Any, Storage::Flat, TwoMasks::Both },
    { Storage::Tiled, Storage::Flat, Storage::Tiled, MaskRect::Yes, Storage::Flat, TwoMasks::Both },
    { Storage::Tiled, Storage::Flat, Storage::Tiled, MaskRect::Yes, Storage::Tiled, TwoMasks::MaskOnly },
    { Storage::Tiled, Storage::Flat, Storage::Tiled, MaskRect::No, Storage::Any, TwoMasks::MaskOnly },
    { Storage::Tiled, Storage::Flat, Storage::Flat, MaskRect::Yes, Storage::Tiled, TwoMasks::Exchanged },
    { Storage::Tiled, Storage::Flat, Storage::Flat, MaskRect::Yes, Storage::Flat, TwoMasks::Both },
    { Storage::Tiled, Storage::Flat, Storage::Flat, MaskRect::No, Storage::Any, TwoMasks::MaskOnly },
    { Storage::Flat, Storage::Tiled, Storage::Tiled, MaskRect::Yes, Storage::Tiled, TwoMasks::Nothing },
    { Storage::Flat, Storage::Tiled, Storage::Tiled, MaskRect::Yes, Storage::Flat, TwoMasks::Both },
    { Storage::Flat, Storage::Tiled, Storage::Tiled, MaskRect::No, Storage::Any, TwoMasks::MaskOnly },
    { Storage::Flat, Storage::Tiled, Storage::Flat, MaskRect::Yes, Storage::Flat, TwoMasks::Both },
    { Storage::Flat, Storage::Tiled, Storage::Flat, MaskRect::Yes, Storage::Tiled, TwoMasks::MaskOnly },
    { Storage::Flat, Storage::Tiled, Storage::Flat, MaskRect::No, Storage::Any, TwoMasks::MaskOnly },
    { Storage::Flat, Storage::Flat, Storage::Tiled, MaskRect::Yes, Storage::Tiled, TwoMasks::Exchanged },
    { Storage::Flat, Storage::Flat, Storage::Tiled, MaskRect::Yes, Storage::Flat, TwoMasks::Both },
    { Storage::Flat, Storage::Flat, Storage::Tiled, MaskRect::No, Storage::Any, TwoMasks::MaskOnly },
    { Storage::Flat, Storage::Flat, Storage::Flat, MaskRect::Yes, Storage::Tiled, TwoMasks::Exchanged },
    { Storage::Flat, Storage::Flat, Storage::Flat, MaskRect::Yes, Storage::Flat, TwoMasks::Both },
    { Storage::Flat, Storage::Flat, Storage::Flat, MaskRect::No, Storage::Any, TwoMasks::MaskOnly },
};

inline TwoMasks twoMasksAction(const RGBA32iImage &source, const RGBA32iImage &mask, const RGBA32iImage &clip,
    bool isMaskRect, const RGBA32iImage &clipMask)
{
    const auto fits = [](Storage storage, const RGBA32iImage &image) {
        return storage == Storage::Any || (storage == Storage::Tiled) == image.IsTiled();
    };
    for (const TwoMasksRow &row : twoMasksTable)
        if (fits(row.source, source) && fits(row.mask, mask) && fits(row.clip, clip) && fits(row.clipMask, clipMask)
            && (row.isMaskRect == MaskRect::Any || (row.isMaskRect == MaskRect::Yes) == isMaskRect))
            return row.action;
    return TwoMasks::Missing;
}

template <class MakeBlender>
void composeClippingMaskAndMaskOn(const RGBA32iImage &src, const QRect &srcRect, KXCompositionMode mode,
    RGBA32iImage &dst, const QRect &dstRect, double opacity, const RGBA32iImage &clip, const QRect &clipRect,
    const RGBA32iImage &clipMask, const QRect &clipMaskRect, bool outsideVisible, const RGBA32iImage &mask,
    const QRect &maskRect, bool maskOutsideVisible, const MakeBlender &makeBlender)
{
    const bool isMaskRect = !clipMaskRect.isEmpty();
    const TwoMasks action = dst.IsTiled() ? TwoMasks::Missing : twoMasksAction(src, mask, clip, isMaskRect, clipMask);
    using Composer = ClippingComposer<MakeBlender>;
    const Composer composer(src, srcRect, mode, dst, dstRect, clip, clipRect, opacity, makeBlender);
    const typename Composer::Mask own { mask, maskRect, maskOutsideVisible };
    const typename Composer::Mask ofClip { clipMask, clipMaskRect, outsideVisible };
    switch (action) {
    case TwoMasks::Missing:
        support::logLine({ logPath, __LINE__ },
            QStringLiteral("ClippingMask(Mask) composer is missing srcTileMode %1 dstTileMode %2 maskTileMode %3 "
                           "clipMaskTileMode %4 isMaskRect %5 cmMaskTileMode %6")
                .arg(src.IsTiled())
                .arg(dst.IsTiled())
                .arg(mask.IsTiled())
                .arg(clip.IsTiled())
                .arg(isMaskRect)
                .arg(clipMask.IsTiled()));
        break;
    case TwoMasks::Nothing:
        break;
    case TwoMasks::MaskOnly:
        composer.WithMask(own);
        break;
    case TwoMasks::Both:
        composer.WithTwoMasks(own, ofClip);
        break;
    case TwoMasks::Exchanged:
        composer.WithTwoMasks(ofClip, own);
        break;
    }
}

/// Lays a stamp on a stroke; @p stampRow(src, dst, n) does a row.
template <class StampRow>
void composeAlphaDarken(
    const QImage &src, const QRect &srcRect, RGBA32iImage &dst, const QRect &dstRect, StampRow stampRow)
{
    const auto area = ClipRects(src.rect(), srcRect, dst.Rect(), dstRect);
    if (src.depth() < 32 || !area)
        return;
    const SourcePlane source(src, sourceShift(*area), EmptyTiles::NullAndFake, Window::Ignored);
    const TargetPlane target(dst, TargetPlane::AlwaysTiled);
    runWalk(destinationOf(*area), Threads::Caller, [&](const QRect &part) {
        const auto block = [&](int x, int y, int limit, int rows) {
            const Stretch from = source.At(x, y);
            const int n = std::min(limit, target.LengthAt(x));
            OPRGBA32i *const to = target.Writable(x, y);
            for (int row = 0; to && row < rows; ++row)
                stampRow(from.pixels + row * from.stride, to + row * target.Stride(), n);
            return n;
        };
        forEachBlock(part, block, target);
    });
}

/// Combines two brush tips with the mode's row function in @p table.
template <class Table>
void composeDualBrush(const QImage &src, const QRect &srcRect, QImage &dst, const QRect &dstRect,
    KXCompositionMode mode, const Table &table)
{
    const auto area = ClipRects(src.rect(), srcRect, dst.rect(), dstRect);
    if (src.depth() < 32 || dst.depth() < 32 || !area)
        return;
    const QImage reading = src; // shared: the destination may be this very image
    const SourcePlane source(reading, sourceShift(*area), EmptyTiles::NullAndFake, Window::Ignored);
    const TargetPlane target(dst);
    const BlendBrushRow brushRow = findMode(table, mode).row;
    for (int y = area->destinationY; y < area->destinationY + area->height; ++y)
        support::guarded({ logPath, __LINE__ }, [&] {
            brushRow(source.At(area->destinationX, y).pixels, target.Writable(area->destinationX, y), area->width);
        });
}

/// The functions behind the slots, which blend rows by @p Rows. Their signatures are those of the public functions.
template <class Rows>
struct Composers {
    using KX = RGBA32iImage;

    static auto Blending(bool lockAlpha)
    {
        return [lockAlpha](
                   KXCompositionMode mode, quint32 opacity256) { return Blender<Rows>(mode, opacity256, lockAlpha); };
    }

    template <class Src, class Dst>
    static void Compose(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst, const QRect &dstRect,
        double opacity, bool lockAlpha)
    {
        composePlain(src, srcRect, mode, dst, dstRect, opacity, Blending(lockAlpha));
    }

    template <class Src, class Dst>
    static void ComposeSource(const Src &src, const QRect &srcRect, Dst &dst, const QRect &dstRect)
    {
        composePlain(src, srcRect, KXCompositionMode::Source, dst, dstRect, 1.0, Blending(false));
    }

    template <class Src, class Dst>
    static void ComposeMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,
        const QRect &dstRect, double opacity, const KX &mask, const QRect &maskRect, bool outsideVisible,
        bool lockAlpha)
    {
        composeMaskOn(src, srcRect, mode, dst, dstRect, opacity, mask, maskRect, outsideVisible, Blending(lockAlpha));
    }

    static void ComposeClippingMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
        const QRect &dstRect, KX &clip, const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect,
        bool outsideVisible, double opacity, bool lockAlpha)
    {
        composeClippingMaskOn(src, srcRect, mode, dst, dstRect, clip, clipRect, clipMask, clipMaskRect, outsideVisible,
            opacity, Blending(lockAlpha));
    }

    static void ComposeClippingMaskAndMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
        const QRect &dstRect, double opacity, KX &clip, const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect,
        bool outsideVisible, const KX &mask, const QRect &maskRect, bool maskOutsideVisible, bool lockAlpha)
    {
        composeClippingMaskAndMaskOn(src, srcRect, mode, dst, dstRect, opacity, clip, clipRect, clipMask, clipMaskRect,
            outsideVisible, mask, maskRect, maskOutsideVisible, Blending(lockAlpha));
    }

    static void ComposeAlphaDarken(const QImage &src, const QRect &srcRect, KX &dst, const QRect &dstRect,
        double opacity, double averageOpacity, double flow)
    {
        const Stamp stamp { opacity, averageOpacity, flow };
        composeAlphaDarken(src, srcRect, dst, dstRect,
            [&stamp](const OPRGBA32i *s, OPRGBA32i *d, int n) { Rows::stampRow(s, d, n, stamp); });
    }

    static void ComposeDualBrush(
        const QImage &src, const QRect &srcRect, QImage &dst, const QRect &dstRect, KXCompositionMode mode)
    {
        composeDualBrush(src, srcRect, dst, dstRect, mode, brushTable<Rows>);
    }
};

} // namespace compose
