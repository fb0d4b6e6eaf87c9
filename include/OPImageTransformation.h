#pragma once

/// @file
/// Images resampled through a QTransform: in three grades of quality, and in a plain form that visits every pixel of
/// the destination. For a new size alone, with a filter made for it, see KXResizeImage.h.
///
/// @code
/// /// All of @p photo, turned clockwise, in an image as large as that needs.
/// RGBA32iImage turned(const RGBA32iImage &photo, double angleDegrees)
/// {
///     const QTransform turn = QTransform().rotate(angleDegrees); // about the photo's top left corner
///     const QRect area = turn.mapRect(photo.Rect()); // where it comes to lie: mostly not at (0, 0)
///     RGBA32iImage result(area.width(), area.height(), false); // transparent where the photo does not reach
///     BicubicTransformImage(photo, turn * QTransform::fromTranslate(-area.x(), -area.y()), result, QRect());
///     return result;
/// }
/// @endcode
///
/// What holds for all of them:
///
/// Shape    @c transform maps the source to the destination; each function inverts it. A rectangle is one in the
///          source, and an empty one stands for all of it. The centre of the pixel (x, y) lies at x + 0.5, y + 0.5:
///          what is sampled is where the inverse has the centre of a destination pixel.
/// Left     **Pixels of the destination that the source does not reach stay as they were.** Mostly it is to be
///          transparent before. Under a perspective, what lies behind the horizon is sampled where the inverse has it,
///          with a divisor of 1e-6 at least, and so mostly lies outside.
/// Units    Four channels by themselves, straight: **alpha is interpolated like a colour, and colour without regard to
///          alpha**, so that the colour under transparent pixels shows at edges.
/// Storage  Flat images, but where a form says otherwise. A tiled image has no pixels here: nothing is written, and the
///          result is that of an image that nothing falls on.
/// Overlap  The destination may be the source, or share its pixels. It is then written pixel by pixel, row after row,
///          and what was written is sampled where a later pixel needs it.
/// Result   False if the transform cannot be inverted, and nothing is touched. True also where nothing was to be done.
///          Transforms with infinite or NaN elements count as invertible where Qt says so; what has no position is not
///          written.
/// Threads  The calling thread, but for the box filter of @c BilinearTransformImage and @c BicubicTransformImage. Any
///          number of calls may run at once, on different images.
/// Owner    Borrows the images for the call.
/// Cost     Positions in double precision. Same bytes with and without the kernel module.

#include "KXGlobal.h"
#include "KXImage.h"

class OPColorTransformBase;
class QImage;
class QPoint;
class QPointF;
class QRect;
class QTransform;

/// @name The three grades
///
/// They walk the rectangle that @p transform makes of @p sourceRect, as QTransform::mapRect rounds it, in the
/// destination. **A pixel in there is written whenever its position lies in the source**, also where that is outside
/// @p sourceRect: the rectangle only narrows what is walked.
///
/// Images   One pair: `<RGBA32iImage, RGBA32iImage>`.
/// Edges    Where a position lies within half a pixel of the left or upper edge, there is no sample on its other side,
///          and the bilinear and the bicubic grade **extrapolate** from the first two pixels; at the right and the
///          lower edge the last pixel repeats. This is intended.
/// Errors   A std::exception, std::bad_alloc too, ends a function with false; it is logged as
///          "[src/OPImageTransformation:line] Unexpected exception text". Anything else is logged and thrown on.
/// @{

/// Takes the pixel under each position. Does not look at scale: reduced images are aliased.
template <class From, class To>
bool NearestNeighbourTransformImage(
    const From &source, const QTransform &transform, To &destination, const QRect &sourceRect);

/// Interpolates between two by two pixels: along rows, rounded to bytes, then down.
///
/// Where the transform makes the source half as large or smaller in one direction at least, a box filter takes away
/// what would be aliased, and **the pixels of @p source are left blurred, although it is const, for every image that
/// shares them**. `RGBA32iImage own; source.CopyTo(own, false);` before the call makes a source that may be.
///
/// Scale    That of the rectangle around the whole source, along x and along y: by rotation it is larger than the scale
///          of the pixels. Above 0.5 in both directions nothing is filtered.
/// Filter   Otherwise one pass along each axis with a scale below 1, rows first, with the mean of 2 r + 1 pixels,
///          truncated, where r is 0.5 / scale + 0.5, truncated, and at most OPRGBABlurAccumulatorBase::MaximumRadius.
///          Pixels at the edge repeat.
/// Sampler  Where both scales are below 1 the filtered picture is sampled by its nearest pixels; where one is, by this
///          grade.
/// Threads  The passes run on the global pool, on as many workers as there are processors, and are waited for.
template <class From, class To>
bool BilinearTransformImage(const From &source, const QTransform &transform, To &destination, const QRect &sourceRect);

/// Interpolates between four by four pixels by the cubic through the two in the middle, along rows and then down, which
/// may overshoot; as @c BilinearTransformImage otherwise, but for the filter: **three passes along an axis, and none
/// where r is 300 or more**.
template <class From, class To>
bool BicubicTransformImage(const From &source, const QTransform &transform, To &destination, const QRect &sourceRect);

/// @}

extern template KX_EXPORT bool NearestNeighbourTransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);
extern template KX_EXPORT bool BilinearTransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);
extern template KX_EXPORT bool BicubicTransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);

/// Copies the pixel under the position of each pixel of the destination, where that lies in @p sourceRect. A position
/// counts from -1e-10 on: there it still is column or row 0.
///
/// Images   | source         | destination    |                                                            |
///          |----------------|----------------|------------------------------------------------------------|
///          | `RGBA32iImage` | `RGBA32iImage` | both flat                                                  |
///          | `RGBA32iImage` | `QImage`       | source flat or tiled                                       |
///          | `CMYKAImage`   | `CMYKAImage`   | both flat                                                  |
///          | `CMYKAImage`   | `QImage`       | source flat or tiled; QImage::Format_ARGB32, or false      |
/// Rect     @p sourceRect lies in the source. Of a flat image, a debug build asserts that, and what is outside is not
///          read. Of a tiled one, a position in a tile that does not exist is reported to the debug log, one line for
///          each pixel, and negative ones are left out.
/// Tiles    Fake tiles are read like others; at null tiles the destination stays as it was. A flat window is not seen.
/// QImage   32 bits a pixel, whatever the format says; one of another depth is left as it is. An image that shares its
///          pixels is detached first.
/// CMYK     To a QImage a channel is (1 - (ink * (1 - black) + black)) * 65535, rounded, without its low byte, where
///          ink and black are bytes times 256 / 65535. These are not the colours that @c ConvertImage makes.
/// Errors   What is thrown is logged as "[src/KXImage:line] Unexpected exception text" and thrown on.
template <class From, class To>
bool TransformImage(const From &source, const QTransform &transform, To &destination, const QRect &sourceRect);

extern template KX_EXPORT bool TransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);
extern template KX_EXPORT bool TransformImage<RGBA32iImage, QImage>(
    const RGBA32iImage &, const QTransform &, QImage &, const QRect &);
extern template KX_EXPORT bool TransformImage<CMYKAImage, CMYKAImage>(
    const CMYKAImage &, const QTransform &, CMYKAImage &, const QRect &);
extern template KX_EXPORT bool TransformImage<CMYKAImage, QImage>(
    const CMYKAImage &, const QTransform &, QImage &, const QRect &);

/// As @c TransformImage between two flat images, all of the source. @p offset is subtracted from each position: the
/// source is a part, which begins there, of a larger picture that @p transform is for.
KX_EXPORT bool TransformImageWithOffset(
    const RGBA32iImage &source, const QTransform &transform, RGBA32iImage &destination, const QPoint &offset);

/// Clears @p destination and draws @p source into it by QPainter, with its default hints: the nearest pixels, laid over
/// transparency. The pixel (u, v) comes to lie at scale * (position + (u, v)) - position. Always true.
///
/// Storage  A flat source; a tiled one, and one of no area, draws nothing. @p destination of any format that QPainter
///          draws on; in any other it is only cleared, and Qt says so in the log. Nothing is drawn either where
///          @p position or @p scale is infinite or NaN.
/// Errors   std::bad_alloc, where there is no memory for pixels of its own; a shared @p destination then stays.
template <class From, class To>
bool ScaleImage(const From &source, const QPointF &position, double scale, To &destination);

/// The same, and then @p colorTransform for each pixel of @p destination, on the calling thread. A destination that has
/// not 32 bits a pixel is not given to it.
template <class From, class To>
bool ScaleImage(const From &source, const QPointF &position, double scale, To &destination,
    const OPColorTransformBase &colorTransform);

extern template KX_EXPORT bool ScaleImage<RGBA32iImage, QImage>(
    const RGBA32iImage &, const QPointF &, double, QImage &);
extern template KX_EXPORT bool ScaleImage<RGBA32iImage, QImage>(
    const RGBA32iImage &, const QPointF &, double, QImage &, const OPColorTransformBase &);
