#pragma once

/// @file
/// Convolution of a whole image with a small two-dimensional kernel of any shape, in one pass over it. Large blurs are
/// faster by their lines: @c KXIterativeConvolutionFast2D.
///
/// "Kernel" means the array of cells here, as in the names of its members. Cell (kx, ky) weighs the sample at
/// (x + w / 2 - kx, y + h / 2 - ky) for the pixel at (x, y), halves rounded down: so the kernel is turned around, its
/// first cell weighs the sample at the bottom right, and an even width reaches one pixel further to the right than to
/// the left. Cells count as they are and need not sum to 1.
///
/// The four forms differ, and applications have come to rely on that:
///
/// | form                               | samples                  | outside the image | sum                         |
/// |------------------------------------|--------------------------|-------------------|-----------------------------|
/// | `OPImageConvolution`, `KXImage`    | **those written so far** | edge repeats      | double                      |
/// | `OPImageConvolution`, `QImage`     | the picture before       | adds nothing      | double                      |
/// | `OPImageConvoluteAlpha`, `KXImage` | **those written so far** | adds nothing      | float, rounded at each cell |
/// | `OPImageConvoluteAlpha`, `QImage`  | the picture before       | adds nothing      | float, rounded at each cell |
///
/// Order    Pixels are made row by row from the top, from left to right. **A `KXImage` is its own source**: samples
///          above and to the left are results already. Where only the original is to count, convolve as a `QImage`:
///          ConvertImage there and back.
/// Sums     Begin at 0 and gain sample * cell in the order of the array. They are truncated toward zero. NaN gives 0,
///          and in an `OPImageConvolution` so does what does not fit an int; the alpha of any large sum is 255 in an
///          `OPImageConvoluteAlpha`.
/// Nothing  Happens to any image where the kernel has no width, no height or no cells, and to an image of no area.
/// Storage  `KXImage`: the flat buffer, **which all copies of the image share**. A tiled image throws std::out_of_range
///          with the text "OPImage::SetColor", and is left as it is. `QImage`: images that shared its pixels keep
///          theirs.
/// Errors   std::bad_alloc: a `QImage` may need pixels of its own.
/// Threads  The calling thread. An object may be used by any number of them at once.
/// Owner    Borrows the cells, for as long as it is used. Copies share them.
/// Cost     A multiplication per cell, channel and pixel. With the module `OPImageConvolution` is several times as fast
///          on a `QImage` as the other forms; it then holds a row of the image, in doubles, for each row of the kernel.

#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QSize>

class QImage;

/// Convolves all four channels.
///
/// @code
/// const double emboss[] = { -2, -1, 0, -1, 1, 1, 0, 1, 2 };
/// OPImageConvolution(emboss, QSize(3, 3))(picture);
/// @endcode
class KX_EXPORT OPImageConvolution {
public:
    /// @p kernel holds width * height cells, row by row.
    OPImageConvolution(const double *kernel, const QSize &size);

    /// A pixel whose sum of alpha is below 1 becomes 0 in all four channels; other sums are clamped to 0..255.
    void operator()(RGBA32iImage &image) const;

    /// Sums are clamped to 0..255, whatever the alpha is. Without samples outside, **pixels at the edge darken and
    /// fade**.
    ///
    /// Any format: samples are those of the image as QImage::Format_ARGB32, and results are written in its own format
    /// as by QImage::setPixel; a format without alpha drops it, one with premultiplied colours rounds them. **An image
    /// with a colour table takes each result for an index**, which Qt refuses with a warning where there is none.
    void operator()(QImage &image) const;

private:
    const double *m_kernel;
    QSize m_size;
};

/// Convolves alpha alone: a pixel becomes black with an alpha of the sum, from 0 where that is not above 0 to 255.
/// **The colours are lost**, in transparent pixels too.
class KX_EXPORT OPImageConvoluteAlpha {
public:
    /// As for @c OPImageConvolution.
    OPImageConvoluteAlpha(const double *kernel, const QSize &size);

    void operator()(RGBA32iImage &image) const;

    /// Makes @p image a QImage::Format_ARGB32 first.
    void operator()(QImage &image) const;

private:
    const double *m_kernel;
    QSize m_size;
};
