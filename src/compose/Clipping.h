#pragma once

#include "compose/BlendWalks.h"

#include <optional>

/// The composers with a clipping mask.
namespace compose {

/// What source, clip and destination have in common.
struct ClippedArea {
    QRect destination;
    Shift source, clip;
    KXOverlap sourceOverlap; ///< of source and destination alone
};

/// The composition of a clipped source onto a flat destination, with up to two masks.
using ClippedLayers = Layers<RGBA32iImage, RGBA32iImage>;
using ClipLayer = Layer<const RGBA32iImage>;

inline std::optional<ClippedArea> clipThree(const ClippedLayers &layers, const ClipLayer &clip)
{
    const auto &[source, destination, mode, opacity, lockAlpha] = layers;
    const auto own = ClipRects(source.image.Rect(), source.rect, destination.image.Rect(), destination.rect);
    const auto clipping = ClipRects(clip.image.Rect(), clip.rect, destination.image.Rect(), destination.rect);
    if (!own || !clipping)
        return std::nullopt;
    const QRect common = destinationOf(*own) & destinationOf(*clipping);
    if (common.isEmpty())
        return std::nullopt;
    return ClippedArea { common, sourceShift(*own), sourceShift(*clipping), *own };
}

/// A mask of the clipping family: its rectangle, clipped to its image, starts at the destination rectangle's corner.
inline MaskPlane clippingMask(const MaskLayer &mask, const QRect &destinationRect)
{
    const QRect bounds = mask.rect.isEmpty() ? QRect() : ClippedTo(mask.image.Rect(), mask.rect);
    return MaskPlane(mask.image, shiftBetween(destinationRect.topLeft(), mask.rect.topLeft()), Window::Ignored,
        bounds.x() + bounds.width(), bounds.y() + bounds.height(), mask.outsideVisible);
}

/// Blends a clipped source through @p masks, none to two of them.
template <class MakeBlender, class... Masks>
void composeClipped(
    const ClippedLayers &layers, const ClipLayer &clip, const MakeBlender &makeBlender, const Masks &...masks)
{
    constexpr bool isMasked = sizeof...(masks) > 0;
    const auto &[source, destination, mode, opacity, lockAlpha] = layers;
    const int opacity256 = clampedOpacity256(opacity);
    const auto area = clipThree(layers, clip);
    if (!composes(mode, opacity256) || !area)
        return;
    const SourcePlane sourcePlane(source.image, area->source, EmptyTiles::NullAndFake,
        isMasked ? windowFor(source.image, area->sourceOverlap) : Window::Ignored);
    const SourcePlane clipPlane(clip.image, area->clip, EmptyTiles::Null, Window::Ignored);
    const TargetPlane target(destination.image);
    const auto planes = layerPlanes(sourcePlane, target, clipPlane, clippingMask(masks, destination.rect)...);
    const bool isTiled = source.image.IsTiled() && clip.image.IsTiled();
    const auto blender = makeBlender(mode, Blending { quint32(opacity256), lockAlpha });
    runWalk(area->destination, isTiled && !isMasked ? Threads::Caller : Threads::Pool,
        [&](const QRect &part) { blendLayers(part, planes, blender); });
}

template <class MakeBlender>
void composeClippingMaskOn(
    const ClippedLayers &layers, const ClipLayer &clip, const MaskLayer &clipMask, const MakeBlender &makeBlender)
{
    const bool isMaskRect = !clipMask.rect.isEmpty();
    const RGBA32iImage &source = layers.source.image, &destination = layers.destination.image;
    if (destination.IsTiled()) {
        support::logLine({ logPath, __LINE__ },
            QStringLiteral("ClippingMask composer is missing srcTileMode %1 dstTileMode %2 clipMaskTileMode %3 "
                           "isMaskRect %4 cmMaskTileMode %5")
                .arg(source.IsTiled())
                .arg(destination.IsTiled())
                .arg(clip.image.IsTiled())
                .arg(isMaskRect)
                .arg(clipMask.image.IsTiled()));
        return;
    }
    // The one exception: where all three are tiled the clip mask is ignored.
    if (!isMaskRect || (source.IsTiled() && clip.image.IsTiled() && clipMask.image.IsTiled()))
        composeClipped(layers, clip, makeBlender);
    else
        composeClipped(layers, clip, makeBlender, clipMask);
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
void composeClippingMaskAndMaskOn(const ClippedLayers &layers, const ClipLayer &clip, const MaskLayer &clipMask,
    const MaskLayer &mask, const MakeBlender &makeBlender)
{
    const bool isMaskRect = !clipMask.rect.isEmpty();
    const RGBA32iImage &source = layers.source.image, &destination = layers.destination.image;
    switch (destination.IsTiled() ? TwoMasks::Missing
                                  : twoMasksAction(source, mask.image, clip.image, isMaskRect, clipMask.image)) {
    case TwoMasks::Missing:
        support::logLine({ logPath, __LINE__ },
            QStringLiteral("ClippingMask(Mask) composer is missing srcTileMode %1 dstTileMode %2 maskTileMode %3 "
                           "clipMaskTileMode %4 isMaskRect %5 cmMaskTileMode %6")
                .arg(source.IsTiled())
                .arg(destination.IsTiled())
                .arg(mask.image.IsTiled())
                .arg(clip.image.IsTiled())
                .arg(isMaskRect)
                .arg(clipMask.image.IsTiled()));
        break;
    case TwoMasks::Nothing:
        break;
    case TwoMasks::MaskOnly:
        composeClipped(layers, clip, makeBlender, mask);
        break;
    case TwoMasks::Both:
        composeClipped(layers, clip, makeBlender, mask, clipMask);
        break;
    case TwoMasks::Exchanged:
        composeClipped(layers, clip, makeBlender, clipMask, mask);
        break;
    }
}

} // namespace compose
