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

} // namespace compose
