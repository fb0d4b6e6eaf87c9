#pragma once

#include "OPColorTransformBase.h"
#include "pixels/BorrowedImage.h"

/// What the raw-memory forms of OPColorTransformBase get of images.
namespace color {

/// Null of a tiled image. Its flat window, if it has one, does not stand for its pixels.
inline void *flatPixels(RGBA32iImage &image) { return image.IsTiled() ? nullptr : image.Bits(); }

/// The count that goes with them. **These are pixels, although the raw-memory forms count bytes**: so of a flat image
/// the first quarter of its pixels is changed. That is intended.
inline unsigned int pixelCount(const RGBA32iImage &image) { return unsigned(image.Width()) * unsigned(image.Height()); }

/// Gives each row of @p image to @p transform, all of it. An image that shares its pixels is detached first; one of
/// other than 32 bits a pixel stays as it is.
inline void applyToRows(const OPColorTransformBase &transform, QImage &image)
{
    if (image.depth() != 32)
        return;
    const auto rows = pixels::borrowForWriting(image);
    for (int y = 0; y < image.height(); ++y)
        transform(rows.Row(y), unsigned(image.width()) * unsigned(sizeof(OPRGBA32i)));
}

} // namespace color
