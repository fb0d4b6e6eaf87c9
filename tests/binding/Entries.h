#pragma once

#include "KXComposer.h"

/// Calls the composition entry behind the @p number -th slot, 1 to 18, on images of one pixel, and says whether the pixel
/// of the destination is the source's afterwards, as the default forms leave it.
inline bool callEntry(int number)
{
    constexpr unsigned red = 0xFFFF0000u;
    const QRect r(0, 0, 1, 1);
    const auto mode = KXCompositionMode::Source;
    QImage image(r.size(), QImage::Format_ARGB32), onto = image;
    image.fill(red);
    onto.fill(0u);
    RGBA32iImage source(1, 1, false), flat(1, 1, false), tiled(1, 1, true), clip(1, 1, false), mask(1, 1, false);
    for (RGBA32iImage *const each : { &source, &clip, &mask })
        each->Fill(red);
    switch (number) {
    case 1:
        Compose(source, r, mode, flat, r, 1.0, false);
        break;
    case 2:
        Compose(image, r, mode, flat, r, 1.0, false);
        break;
    case 3:
        Compose(source, r, mode, onto, r, 1.0, false);
        break;
    case 4:
        Compose(image, r, mode, onto, r, 1.0, false);
        break;
    case 5:
        ComposeSource(source, r, flat, r);
        break;
    case 6:
        ComposeSource(image, r, flat, r);
        break;
    case 7:
        ComposeSource(source, r, onto, r);
        break;
    case 8:
        ComposeSource(image, r, onto, r);
        break;
    case 9:
        ComposeMaskOn(source, r, mode, flat, r, 1.0, mask, r, false, false);
        break;
    case 10:
        ComposeMaskOn(image, r, mode, flat, r, 1.0, mask, r, false, false);
        break;
    case 11:
        ComposeAlphaDarken(image, r, tiled, r, 1.0, 1.0, 1.0);
        break;
    case 12: // colours stay: only the alpha can become the source's
        onto.fill(0x01FF0000u);
        ComposeDualBrush(image, r, onto, r, KXCompositionMode::DualColorDodge);
        break;
    case 13:
        ComposeClippingMaskOn(source, r, mode, flat, r, clip, r, mask, r, false, 1.0, false);
        break;
    case 14:
        ComposeClippingMaskAndMaskOn(source, r, mode, flat, r, 1.0, clip, r, clip, r, false, mask, r, false, false);
        break;
    case 15:
        ComposeWithTransformation(source, r, mode, flat, r, nullptr, 1.0, false);
        break;
    case 16:
        ComposeWithTransformationMaskOn(source, r, mode, flat, r, 1.0, mask, r, false, nullptr, false);
        break;
    case 17:
        ComposeWithTransformationClippingMaskOn(source, r, mode, flat, r, clip, r, mask, r, false, nullptr, 1.0, false);
        break;
    case 18:
        ComposeWithTransformationClippingMaskAndMaskOn(
            source, r, mode, flat, r, 1.0, clip, r, clip, r, false, mask, r, false, nullptr, false);
        break;
    }
    return flat.Bits()[0] == red || onto.pixel(0, 0) == red || tiled.TileData(0)[0] == red;
}
