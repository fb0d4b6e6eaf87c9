#pragma once

#include "KXImage.h"

namespace pixels {

/// Pixels in rows that begin @c stride of them apart.
template <class Pixel>
struct Rows {
    Pixel *first;
    int stride, width, height;

    Pixel *Row(int y) const { return first + qptrdiff(y) * stride; }
};

/// Those of a flat image; null ones of a tiled one.
template <class Pixel, int TileW, int TileH>
Rows<const Pixel> rowsOf(const KXImage<Pixel, TileW, TileH> &image)
{
    return { image.IsTiled() ? nullptr : image.Bits(), image.Width(), image.Width(), image.Height() };
}

template <class Pixel, int TileW, int TileH>
Rows<Pixel> rowsOf(KXImage<Pixel, TileW, TileH> &image)
{
    return { image.IsTiled() ? nullptr : image.Bits(), image.Width(), image.Width(), image.Height() };
}

} // namespace pixels
