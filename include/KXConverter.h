#pragma once

/// @file
/// Conversion between pixel types.

#include "KXGlobal.h"
#include "KXImage.h"
#include "KXPixels.h"

class QImage;

/// A new flat image with the pixels of @p image in another type. These pairs exist; any other does not link.
///
/// | From             | To             | Per pixel                                                     |
/// |------------------|----------------|---------------------------------------------------------------|
/// | `RGB32iRawImage` | `RGBA32iImage` | red, green, blue; alpha 255                                   |
/// | `RGBA32iImage`   | `CMYKAImage`   | RGB to CMYK                                                   |
/// | `QImage`         | `CMYKAImage`   | RGB to CMYK                                                   |
/// | `CMYKAImage`     | `RGBA32iImage` | CMYK to RGB                                                   |
/// | `CMYKAImage`     | `QImage`       | CMYK to RGB                                                   |
/// | `RGBA32iImage`   | `HSLAImage`    | RGB to HSL                                                    |
/// | `HSLAImage`      | `RGBA32iImage` | HSL to RGB                                                    |
/// | `RGBA32iImage`   | `RGBA64iImage` | each channel c becomes c * 256: 255 is 0xFF00, not 0xFFFF     |
/// | `RGBA64iImage`   | `RGBA32iImage` | the high byte of each channel                                 |
/// | `RGBA32iImage`   | `RGBA64fImage` | each channel c becomes the half of c * 1.0073664              |
/// | `RGBA64fImage`   | `RGBA32iImage` | each channel, a half, times 0.9926875, truncated              |
/// | `RGBA32iImage`   | `QImage`       | the same bytes                                                |
/// | `QImage`         | `RGBA32iImage` | the same bytes                                                |
///
/// Units    CMYK: **black is 1 where some channel is 255, and 0 otherwise**; only with 1 do cyan, magenta and yellow
///          hold anything, so that everything without a channel at 255 comes back as black. CMYK back to RGB takes the
///          three bytes as light rather than ink: a channel is 255 - (255 - ink) * black / 255, rounded down, plus 1,
///          and at most 255; a pixel with all four bytes 0 is black.
///          HSL: hue in hundredths of a degree; from RGB it is always **a multiple of 60 degrees**. HSL back to RGB
///          takes a number of degrees for a number of turns: hues of about two degrees and more give a grey, so that an
///          image does not survive the way to HSL and back.
///          16 bit: there and back gives the same bytes. Half: a channel comes back the same or lower by 1; **half
///          values outside 0..255 are not clamped**, the low eight bits of their integer part stay; infinities and NaN
///          give 0.
///          Alpha is converted like a channel in 16 bit and half, and copied in all others. Spare bytes are 0.
/// Storage  Flat images only: a tiled image throws std::invalid_argument, and so does a raw one that has an area and no
///          bytes. The new image is flat, and has none of the profile, resolution and EXIF elements of its source. An
///          image of no area gives an empty image of that size.
/// QImage   As a source: its bytes are taken as packed 32-bit pixels in the order of OPRGBA32i, whatever its format
///          says and without regard for padding; a buffer that holds fewer leaves the other pixels 0. As a result:
///          QImage::Format_ARGB32; Qt has no image with one side of 0, so an empty one is null.
/// Errors   std::bad_alloc, std::invalid_argument; logged as "[src/KXConverter:line] Unexpected exception text" first.
/// Threads  Runs on the calling thread; any number of conversions may run at once.
/// Owner    Borrows the source for the call and shares nothing with it.
template <class From, class To>
To ConvertImage(const From &image);

extern template KX_EXPORT RGBA32iImage ConvertImage<RGB32iRawImage, RGBA32iImage>(const RGB32iRawImage &);
extern template KX_EXPORT RGBA32iImage ConvertImage<CMYKAImage, RGBA32iImage>(const CMYKAImage &);
extern template KX_EXPORT QImage ConvertImage<CMYKAImage, QImage>(const CMYKAImage &);
extern template KX_EXPORT RGBA32iImage ConvertImage<HSLAImage, RGBA32iImage>(const HSLAImage &);
extern template KX_EXPORT CMYKAImage ConvertImage<RGBA32iImage, CMYKAImage>(const RGBA32iImage &);
extern template KX_EXPORT HSLAImage ConvertImage<RGBA32iImage, HSLAImage>(const RGBA32iImage &);
extern template KX_EXPORT RGBA64fImage ConvertImage<RGBA32iImage, RGBA64fImage>(const RGBA32iImage &);
extern template KX_EXPORT RGBA64iImage ConvertImage<RGBA32iImage, RGBA64iImage>(const RGBA32iImage &);
extern template KX_EXPORT QImage ConvertImage<RGBA32iImage, QImage>(const RGBA32iImage &);
extern template KX_EXPORT RGBA32iImage ConvertImage<RGBA64fImage, RGBA32iImage>(const RGBA64fImage &);
extern template KX_EXPORT RGBA32iImage ConvertImage<RGBA64iImage, RGBA32iImage>(const RGBA64iImage &);
extern template KX_EXPORT CMYKAImage ConvertImage<QImage, CMYKAImage>(const QImage &);
extern template KX_EXPORT RGBA32iImage ConvertImage<QImage, RGBA32iImage>(const QImage &);

/// Replaces blue, green and red of every pixel by its grey value, (R * 11 + G * 16 + B * 5) >> 5; alpha stays.
class KX_EXPORT OPToGrayScaleImage {
public:
    /// In the flat buffer of @p image, which its copies share. A tiled image is left as it is.
    void operator()(RGBA32iImage &image) const;
    /// Makes @p image a QImage::Format_ARGB32 first. Images that shared its pixels keep theirs. Throws std::bad_alloc
    /// where there is no memory for pixels of its own.
    void operator()(QImage &image) const;
};
