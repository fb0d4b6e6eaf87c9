#pragma once

#include "OPImageUtils.h"
#include "compose/Blender.h"
#include "compose/Clipping.h"

/// The composers behind the slots, as templates over how rows are blended: the library and the kernel module have the
/// same walks, tables of storages and messages.
namespace compose {

inline bool isTiled(const RGBA32iImage &image) { return image.IsTiled(); }
inline bool isTiled(const QImage &) { return false; }

inline bool hasRightFormat(const RGBA32iImage &) { return true; }
inline bool hasRightFormat(const QImage &image)
{
    if (image.format() == QImage::Format_ARGB32)
        return true;
    support::logLine({ logPath, __LINE__ }, QStringLiteral("Wrong input qimage format %1").arg(int(image.format())));
    return false;
}

/// QRect::isNull() without its overflow at the ends of the number range.
inline bool hasNoSize(const QRect &rect)
{
    return rect.right() == qint64(rect.x()) - 1 && rect.bottom() == qint64(rect.y()) - 1;
}

template <class Src, class Dst, class MakeBlender>
void composePlain(const Layers<Src, Dst> &layers, const MakeBlender &makeBlender)
{
    const auto &[source, destination, mode, opacity, lockAlpha] = layers;
    // Both are asked, for each wrong one is logged.
    const bool sourceFits = hasRightFormat(source.image), destinationFits = hasRightFormat(destination.image);
    if (!sourceFits || !destinationFits)
        return;
    const bool allFlat = !isTiled(source.image) && !isTiled(destination.image);
    const int opacity256 = allFlat ? clampedOpacity256(opacity) : arithmetic::opacity256(opacity);
    const auto area = ClipRects(OPImageUtils::WholeRect(source.image), source.rect,
        OPImageUtils::WholeRect(destination.image), destination.rect);
    if (!composes(mode, opacity256) || !area)
        return;
    const TargetPlane target(
        destination.image); // first: a QImage gets pixels of its own here, and may be the source too
    const SourcePlane sourcePlane(
        source.image, sourceShift(*area), EmptyTiles::NullAndFake, windowFor(source.image, *area));
    const auto planes = layerPlanes(sourcePlane, target);
    const auto blender = makeBlender(mode, Blending { quint32(opacity256), lockAlpha });
    runWalk(destinationOf(*area), allFlat ? Threads::Pool : blocksOrRows(&destination.image, source.image),
        [&](const QRect &part) { blendLayers(part, planes, blender); });
}

template <class Src, class MakeBlender>
void composeMaskOn(const Layers<Src, RGBA32iImage> &layers, const MaskLayer &mask, const MakeBlender &makeBlender)
{
    const auto &[source, destination, mode, opacity, lockAlpha] = layers;
    if (!hasRightFormat(source.image))
        return;
    const bool allFlat = !isTiled(source.image) && !destination.image.IsTiled() && !mask.image.IsTiled();
    if (allFlat && hasNoSize(mask.rect) && mask.outsideVisible)
        return composePlain(layers, makeBlender);

    const int opacity256 = clampedOpacity256(opacity);
    const auto area =
        ClipRects(OPImageUtils::WholeRect(source.image), source.rect, destination.image.Rect(), destination.rect);
    if (!composes(mode, opacity256) || !area || mask.image.Rect().isEmpty())
        return;
    // The whole mask rectangle moves with what clipping took off the start; its position in the mask does not change.
    const qint64 right = qint64(mask.rect.right()) + 1 + area->destinationX - destination.rect.x();
    const qint64 bottom = qint64(mask.rect.bottom()) + 1 + area->destinationY - destination.rect.y();
    const MaskPlane maskPlane(mask.image, shiftBetween(destination.rect.topLeft(), mask.rect.topLeft()), Window::Used,
        int(qBound<qint64>(0, right, mask.image.Width())), int(qBound<qint64>(0, bottom, mask.image.Height())),
        mask.outsideVisible);
    const SourcePlane sourcePlane(
        source.image, sourceShift(*area), EmptyTiles::NullAndFake, windowFor(source.image, *area));
    const TargetPlane target(destination.image);
    const auto planes = layerPlanes(sourcePlane, target, NoPlane(), maskPlane);
    const auto blender = makeBlender(mode, Blending { quint32(opacity256), lockAlpha });
    runWalk(destinationOf(*area), allFlat ? Threads::Pool : blocksOrRows(&destination.image, source.image, mask.image),
        [&](const QRect &part) { blendLayers(part, planes, blender); });
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

    static constexpr auto makeBlender = [](KXCompositionMode mode, const Blending &blending) {
        return Blender<Rows>(mode, blending);
    };

    template <class Src, class Dst>
    static void Compose(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst, const QRect &dstRect,
        double opacity, bool lockAlpha)
    {
        composePlain(Layers<Src, Dst> { { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha }, makeBlender);
    }

    template <class Src, class Dst>
    static void ComposeSource(const Src &src, const QRect &srcRect, Dst &dst, const QRect &dstRect)
    {
        Compose(src, srcRect, KXCompositionMode::Source, dst, dstRect, 1.0, false);
    }

    template <class Src, class Dst>
    static void ComposeMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,
        const QRect &dstRect, double opacity, const KX &mask, const QRect &maskRect, bool outsideVisible,
        bool lockAlpha)
    {
        composeMaskOn(Layers<Src, Dst> { { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha },
            { { mask, maskRect }, outsideVisible }, makeBlender);
    }

    static void ComposeClippingMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
        const QRect &dstRect, KX &clip, const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect,
        bool outsideVisible, double opacity, bool lockAlpha)
    {
        composeClippingMaskOn({ { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha }, { clip, clipRect },
            { { clipMask, clipMaskRect }, outsideVisible }, makeBlender);
    }

    static void ComposeClippingMaskAndMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
        const QRect &dstRect, double opacity, KX &clip, const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect,
        bool outsideVisible, const KX &mask, const QRect &maskRect, bool maskOutsideVisible, bool lockAlpha)
    {
        composeClippingMaskAndMaskOn({ { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha },
            { clip, clipRect }, { { clipMask, clipMaskRect }, outsideVisible },
            { { mask, maskRect }, maskOutsideVisible }, makeBlender);
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
