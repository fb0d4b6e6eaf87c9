#pragma once

/// @file
/// Resizing of a whole image, in quality.

#include "KXGlobal.h"
#include "KXImage.h"

/// What a pixel of the result is made of. A reduction widens the window by its factor; an enlargement does not narrow
/// it.
enum KXResizeType : int {
    /// The mean of the pixels whose centres lie in a window of 1, **on both of its edges too**: by a factor that is not
    /// whole, some results are the mean of one pixel more than others. An enlargement repeats pixels.
    KXResizeBox = 0,
    /// Weights with three lobes on each side, in a window of 6. Hard edges overshoot a little.
    KXResizeLanczos3 = 1
};

/// Resizes all of @p source to the size that @p destination has: along rows into a picture between the two, then along
/// columns. No position, part or transformation can be chosen.
///
/// Units    Weights are computed in single precision for each column and each row of the result, and kept as 16-bit
///          parts of 16384 that add up to exactly 1.0: **what rounding leaves of it goes to the sample in the middle of
///          the window**, before zeros at its ends are left out. A sum of bytes times parts is rounded, halves up, and
///          clamped to 0..255, once along rows and once along columns. The four channels are straight and all alike:
///          **alpha overshoots too, and the colour of transparent pixels counts.** Premultiply both ways where it must
///          not: @c KXBlur::PremultiplyAlpha before, @c KXBlur::ReturnAlpha after.
/// Edges    A window is cut where the image ends, and what remains of it is weighed to 1.0: no pixel is repeated, and
///          an image of one colour keeps it. Both passes run at any size; at the same size the result is the source.
/// Storage  The source may be flat or tiled: null tiles are transparent, fake ones are read, and a flat window shows.
///          **A tiled destination stays as it is, and the result is true**, because it has no columns that could be
///          written; make a flat one, and @c CopyRect that onto the tiles. A flat destination is written in its buffer,
///          **which all its copies share**. It may be the source, or share pixels with it.
/// Errors   False, with nothing changed, where an image has no area and for any other @p type. A std::exception,
///          std::bad_alloc among them, is logged as "[src/transform/KXResize:line] Unexpected exception text" and gives
///          false; what was finished by then stays. A source has rows of less than 2^30 pixels; a debug build asserts
///          it.
/// Threads  Runs on the global pool with a worker per processor, and waits. With a single processor it runs on the
///          calling thread. The pixels are the same.
/// Owner    Borrows both images for the call. Profile, resolution and whatever else is not pixels stay as they are.
/// Cost     For each pixel of the picture between, as wide as the destination and as high as the source, and for each
///          of the destination: a multiplication per channel and sample; there are about 6 samples (with a box 1), or
///          so many times the factor of a reduction. A worker holds only those rows of the picture between that one
///          row of the result is made of, or up to twice as many. A source with a flat window or with the destination's
///          buffer is copied first.
KX_EXPORT bool KXResizeImage(const RGBA32iImage &source, RGBA32iImage &destination, KXResizeType type);
