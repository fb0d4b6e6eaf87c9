#pragma once

#include "KXImage.h"

#include <QtGui/QImage>

#include <functional>

/// The pictures that everything is measured on: noise in all four channels, so that no implementation gets away with
/// what it does for opaque, transparent or equal pixels.
namespace bench {

/// The pictures in use: each seed is another one.
constexpr unsigned layer = 1, canvas = 2, coverage = 3;

RGBA32iImage flatPicture(unsigned seed);
RGBA32iImage tiledPicture(unsigned seed);
QImage paintedPicture(unsigned seed, QImage::Format format);
/// The bytes of all of them.
const OPRGBA32i *pixelsOf(unsigned seed);

/// Puts the bytes of @p seed back into an image of the same size.
std::function<void()> restore(RGBA32iImage &flat, unsigned seed);

} // namespace bench
