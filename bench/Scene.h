#pragma once

#include "KXImage.h"

#include <QtGui/QImage>

#include <functional>

/// The pictures that things are measured on. They are made when they are first asked for.
namespace bench {

enum Scene : unsigned {
    /// Noise in all four channels, so that no implementation gets away with what it does for opaque, transparent or
    /// equal pixels.
    layer = 1,
    canvas,
    coverage,
    /// Opaque, as from a camera: edges, smooth areas, and areas with texture down to the single pixel.
    photoLayer,
    photoCanvas,
    /// Transparent black, a twentieth of it covered by soft round strokes.
    strokes
};

RGBA32iImage flatPicture(Scene scene);
/// All of its tiles hold pixels, also where they are transparent.
RGBA32iImage tiledPicture(Scene scene);
QImage paintedPicture(Scene scene, QImage::Format format);
const OPRGBA32i *pixelsOf(Scene scene);

/// Puts the bytes of @p scene back into a flat image of the same size.
std::function<void()> restore(RGBA32iImage &flat, Scene scene);
/// Puts the bytes of @p scene into the rows of an image of the same size, flat or tiled.
void writeRows(RGBA32iImage &image, Scene scene);

} // namespace bench
