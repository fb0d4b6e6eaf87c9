#pragma once

#include "KXComposer.h"
#include "kit/Picture.h"

/// The four forms of composing images: bare, under a clip, under a mask, and under both.
namespace kit {

enum Form { Bare, Clipped, Masked, TwoMasks };
constexpr Form forms[] = { Bare, Clipped, Masked, TwoMasks };

/// The images of one composition, of one size; the destination is the only one that is written.
struct Layers {
    Layers(QSize size, bool tiledSource, bool tiledDestination)
        : source(Picture::random(size.width(), size.height(), 1).image(tiledSource))
        , mask(Picture::random(size.width(), size.height(), 2).image(false))
        , clip(Picture::random(size.width(), size.height(), 3).image(false))
        , clipMask(Picture::random(size.width(), size.height(), 4).image(false))
        , start(Picture::random(size.width(), size.height(), 5).image(tiledDestination))
    {
    }

    RGBA32iImage source, mask, clip, clipMask, start;
};

/// How they are composed: with these parameters, and everywhere with one rectangle.
struct Call {
    Form form;
    QRect rect;
    KXCompositionMode mode;
    double opacity;
    bool lock;
};

/// What becomes of the destination, with the source's pixels adjusted on the way unless @p adjustment is null.
inline Picture composed(const Call &call, Layers &p, BaseTransformation *adjustment = nullptr)
{
    const auto [form, rect, mode, opacity, lock] = call;
    const QRect part = rect.adjusted(0, 0, -9, 0);
    RGBA32iImage dst;
    p.start.CopyTo(dst, false);
    if (adjustment && form == Bare)
        ComposeWithTransformation(p.source, rect, mode, dst, rect, adjustment, opacity, lock);
    else if (adjustment && form == Clipped)
        ComposeWithTransformationClippingMaskOn(
            p.source, rect, mode, dst, rect, p.clip, rect, p.clipMask, QRect(), true, adjustment, opacity, lock);
    else if (adjustment && form == Masked)
        ComposeWithTransformationMaskOn(p.source, rect, mode, dst, rect, opacity, p.mask, part, true, adjustment, lock);
    else if (adjustment)
        ComposeWithTransformationClippingMaskAndMaskOn(p.source, rect, mode, dst, rect, opacity, p.clip, rect,
            p.clipMask, rect, true, p.mask, rect, true, adjustment, lock);
    else if (form == Bare)
        Compose(p.source, rect, mode, dst, rect, opacity, lock);
    else if (form == Clipped)
        ComposeClippingMaskOn(p.source, rect, mode, dst, rect, p.clip, rect, p.clipMask, QRect(), true, opacity, lock);
    else if (form == Masked)
        ComposeMaskOn(p.source, rect, mode, dst, rect, opacity, p.mask, part, true, lock);
    else
        ComposeClippingMaskAndMaskOn(
            p.source, rect, mode, dst, rect, opacity, p.clip, rect, p.clipMask, rect, true, p.mask, rect, true, lock);
    return Picture::of(dst);
}

} // namespace kit
