#pragma once

/// @file
/// Filling what has the colour of a seed: the paint bucket and the magic wand.

#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtGui/QImage>

/// Fills the region around a seed, or selects all pixels of its colour. Every operation is static.
///
/// @code
/// /// Paints the region around @p seed. Returns where that was.
/// QRect paint(RGBA32iImage &picture, const QPoint &seed, OPRGBA32i tolerance, OPRGBA32i color)
/// {
///     RGBA32iImage own; // gets the marks
///     picture.CopyTo(own, false);
///     QRect bounds;
///     OPFloodFillHelper::FloodFill(own, picture, seed, tolerance, color, &bounds);
///     return bounds;
/// }
/// @endcode
/// A tolerance is a pixel that holds how far each channel may be from the seed's:
/// @code
/// const OPRGBA32i tolerance(0x00181818u); // 24 in blue, green and red; alpha is to be equal
/// const QRect painted = paint(picture, QPoint(40, 30), tolerance, OPRGBA32i(0xFF3366CCu));
/// @endcode
/// Onto a transparent image instead of the picture the same gives the region as a picture of its own: to compose, or to
/// select with.
///
/// Region    The pixels that match the seed and are joined to it by their edges; corners do not join. Each pixel is
///           compared with the seed's colour, never with its neighbour, so that a region does not creep along a
///           gradient.
/// Tolerance How far each channel may be from the seed's, both ends included: blue, green, red and alpha have one each.
///           **A seed of alpha 0 matches all that has an alpha of 0, whatever the colour and the tolerance**, and
///           nothing else. In the form without tolerance a pixel matches that equals the seed in all four channels.
/// Marker    The forms with tolerance overwrite what they have filled in their working picture with a colour that does
///           not match, the *marker*. **It stays**, as each form says. Blue, green and red are asked in turn, each
///           whether its 0 is beyond the tolerance, and if not, whether its 255 is. The first that is decides: 0 gives
///           opaque black, 255 the same with 255 in that channel. Where none is, alpha is asked: black with an alpha of
///           1 if the tolerance begins above that, and otherwise opaque black if it ends below 255.
/// All       Where no such colour is left the tolerance is taken to hold all colours, and all pixels are filled, joined
///           to the seed or not. As no marker has an alpha of 0 that happens too where only this alpha is beyond the
///           tolerance; **pixels of alpha 0 are filled then**.
/// Bounds    Where @p bounds is not null it gets the smallest rectangle around the region and the seed. Where all
///           pixels are filled it is that of the whole picture.
/// Errors    A seed outside of the picture: false, nothing is changed, and the log has one line,
///           "[src/OPFloodFillHelper:line] FloodFill seed point is out of range." without tolerance; with it " %1"
///           stands in place of the full stop, just so. The KXImages here are flat: a tiled one, also with a flat
///           window, and one of no area have no pixel at all, so every seed is outside. Where there is no memory
///           std::bad_alloc is thrown; what was filled until then stays.
/// Owner     Everything is borrowed for the call. The colours may lie in the pictures.
/// Threads   The calling thread. Calls on different pictures may run at once; two on one source, or on copies of it,
///           see each other's marks.
/// Cost      Each row that the region touches is read once and what is filled written once. Besides that eight bytes
///           for every started 64 pixels of a row, and 16 for a run of pixels that is still to be followed, of which
///           there are at most three for each run of the region.
class KX_EXPORT OPFloodFillHelper {
public:
    /// Paints the region of pixels that equal the seed, in the buffer that all copies of @p image share. Where the seed
    /// has @p color already nothing is written, and @p bounds becomes a null QRect.
    static bool FloodFill(RGBA32iImage &image, const QPoint &seed, const OPRGBA32i &color, QRect *bounds);

    /// **Leaves the marker in the region of @p image and not @p color**: the working picture is a copy of @p image, and
    /// a copy shares its pixels. This is intended; it shows where the region is without a second picture. To paint,
    /// take the form with two images, as above. Only where all pixels are filled they get @p color. A tolerance of 0 in
    /// all channels is the form without tolerance, which paints, with its text in the log.
    static bool FloodFill(
        RGBA32iImage &image, const QPoint &seed, const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds);

    /// Paints the region of a QImage, and leaves no marker.
    ///
    /// Formats All of 32 bits a pixel; for others: false, nothing is touched, and a line in the log. The seed's colour
    ///         is that of QImage::pixel, but **pixels are compared as they lie in memory**, as if they were
    ///         Format_ARGB32, and are painted with the bytes of @p color. So in another format the seed may not match
    ///         itself; the region is then **the one around the pixel below it**, if that matches, or else empty. Take
    ///         Format_ARGB32. Where all pixels are filled it is done by QImage::fill, which forces alpha in formats
    ///         without it.
    /// Zero    A tolerance of 0 is no special case here: a seed of alpha 0 matches all that is transparent.
    /// Shares  An image that shares its pixels gets its own before.
    /// Errors  A seed outside, as any is of a null image: the log has "FloodFill seed point is out of range (x, y)".
    static bool FloodFill(
        QImage &image, const QPoint &seed, const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds);

    /// Paints the region of @p source in @p destination, at the same places. **The marker stays in the region of
    /// @p source, though that is const**, and so in all its copies: pass a @c CopyTo of it to keep it. Where all pixels
    /// are filled it is those of @p destination, however large and also tiled; @p source is not written then, and
    /// @p bounds gets its rectangle.
    ///
    /// Size    @p destination may be larger than @p source. Where the region leaves it, and where it is tiled, a
    ///         std::out_of_range is thrown with the text "OPImage::SetColor"; what was filled until then is painted and
    ///         marked, @p bounds is not written. The order is by columns: each from its topmost pixel down, at first
    ///         the seed's.
    /// Shares  A @p destination that shares the pixels of @p source, or is it, ends with the marker.
    static bool FloodFill(const RGBA32iImage &source, RGBA32iImage &destination, const QPoint &seed,
        const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds);

    /// Makes @p destination a selection of all pixels of @p source that match the seed with the tolerance, joined or
    /// not: @p color where they are, and 0 elsewhere. @p source keeps its pixels. No tolerance is taken to hold all
    /// colours.
    ///
    /// Replaced @p destination becomes what @c KXImage::CopyTo makes of @p source, whatever it was before; it may be
    ///          @p source.
    /// Errors   A seed outside, or a tiled source: false, with the text "Seed point is out of range %1" in the log, and
    ///          **@p destination is a copy of @p source then**. Where there is no memory for the copy std::bad_alloc
    ///          leaves, and @p destination stays.
    static bool ColorRangeFill(const RGBA32iImage &source, RGBA32iImage &destination, const QPoint &seed,
        const OPRGBA32i &tolerance, const OPRGBA32i &color, QRect *bounds);
};
