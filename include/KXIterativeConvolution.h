#pragma once

/// @file
/// Convolution of an image with fixed-point taps, along rows, along columns, or both.
///
/// Value per channel: the sum of sample * tap in signed 32 bits, begun at 8192, shifted right by 14, clamped to
/// 0..255. All four channels have the same taps. The edge of the *rectangle* is replicated: a caller who wants real
/// neighbours passes it enlarged by the reach of the taps.

#include "KXGlobal.h"
#include "KXImage.h"
#include "OPImageUtils.h"

#include <atomic>
#include <functional>
#include <vector>

namespace lines {
class AlphaInPasses; // internal
}

template <class Image>
class KXIterativeConvolutionFast2D;

/// One pass: convolves each line of a rectangle, in place.
///
/// Shape    Works inside the rectangle clipped to the image; an invalid one stands for the whole image. Where nothing
///          is left, nothing happens. An image has sides of up to 2^30 - 1 pixels; a debug build asserts it.
/// Storage  Rows: flat or tiled; in a tiled image all tiles of the rectangle are made private first and take over what
///          a flat window shows in their place. Columns: flat only, a tiled image is left as it is, though each column
///          is counted. **Flat buffers are shared by copies of an image**, and are written here.
/// Errors   None but std::bad_alloc, and what @p progress throws; from a pool worker only its text arrives, in a
///          QUnhandledException: catch std::exception. A worker that throws ends, and the others finish the pass. A
///          set cancel flag stops between lines; the lines finished by then stay.
/// Threads  Runs on the global pool with a worker per processor, and waits. With a single processor it runs on the
///          calling thread, and @c SetPremultiply has no effect: the walks that it asks for have no worker then.
///          Progress, where it holds a target, is called once per finished line from any of these threads.
/// Owner    Keeps its own copy of the taps; borrows the image.
/// Cost     One multiplication per tap, channel and pixel. A worker holds two lines, and 64 columns where it
///          transposes them into lines. These 64 are written together, so progress may run up to 64 columns ahead of
///          what the image shows.
template <class Image, class Direction>
class KXIterativeConvolutionFast1D {
public:
    /// @p taps are in Q14, an odd number of them: of any number the middle one is taps[taps.size() / 2]. With none at
    /// all the rectangle is cleared.
    KXIterativeConvolutionFast1D(const std::vector<short> &taps, Image &image, const QRect &rect);
    virtual ~KXIterativeConvolutionFast1D();

    void Run(const std::atomic<bool> &cancel, const std::function<void()> &progress);

    /// How many lines the pass walks, and so how often it calls progress.
    int LineCount() const { return m_clip.isValid() ? m_direction.LineCount() : 0; }

    /// Whether the rectangle is premultiplied before the pass and unpremultiplied after it. False at first.
    void SetPremultiply(bool premultiply) { m_premultiply = premultiply; }

protected:
    // Five slots of the virtual table that nothing uses; they keep its shape.
    virtual void Reserved1() { }
    virtual void Reserved2() { }
    virtual void Reserved3() { }
    virtual void Reserved4() { }
    virtual void Reserved5() { }

private:
    friend class KXIterativeConvolutionFast2D<Image>;

    /// Whether the module's kernel that takes many columns side by side serves this pass.
    bool HasColumnsKernel() const;
    /// Runs the pass where there are @p processors. With @p alpha, rows are premultiplied and columns unpremultiplied
    /// on the way.
    void Convolve(int processors, const std::atomic<bool> &cancel, const std::function<void()> &progress,
        lines::AlphaInPasses *alpha);

    std::vector<short> m_taps;
    Image *m_image;
    QRect m_clip;
    Direction m_direction;
    bool m_premultiply = false;
};

/// Both passes over one rectangle: rows to their end, then columns.
///
/// With premultiplication, colour counts by its alpha: the rectangle is premultiplied once before both passes and
/// unpremultiplied once after them, also after a cancel or an exception. These two steps do not count as progress. They
/// are two plain walks of colour transformations, which leave out **the last row of the rectangle of a flat image**:
/// that row is convolved as straight pixels. An image of one row is therefore blurred without regard to alpha. With the
/// kernel module and up to 65 symmetric taps, the passes over a flat image do both themselves instead of the walks, to
/// the same bytes.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// KXIterativeConvolutionFast2D<RGBA32iImage> blur(KXBlur::CreateGaussianKernel(2.0), image, image.Rect());
/// blur.SetPremultiply(true);
/// blur.Run(cancel, nullptr);
/// @endcode
template <class Image>
class KXIterativeConvolutionFast2D {
public:
    KXIterativeConvolutionFast2D(const std::vector<short> &taps, Image &image, const QRect &rect);
    virtual ~KXIterativeConvolutionFast2D();

    void Run(const std::atomic<bool> &cancel, const std::function<void()> &progress);

    /// How often a run calls progress: the number of rows plus that of columns.
    int LineCount() const { return m_horizontal.LineCount() + m_vertical.LineCount(); }

    void SetPremultiply(bool premultiply) { m_premultiply = premultiply; }

protected:
    virtual void Reserved1() { }
    virtual void Reserved2() { }
    virtual void Reserved3() { }
    virtual void Reserved4() { }
    virtual void Reserved5() { }

private:
    Image *m_image;
    QRect m_clip;
    KXIterativeConvolutionFast1D<Image, OPImageUtils::HorizontalDirection<Image>> m_horizontal;
    KXIterativeConvolutionFast1D<Image, OPImageUtils::VerticalDirection<Image>> m_vertical;
    bool m_premultiply = false;
};

extern template class KX_EXPORT
    KXIterativeConvolutionFast1D<RGBA32iImage, OPImageUtils::HorizontalDirection<RGBA32iImage>>;
extern template class KX_EXPORT
    KXIterativeConvolutionFast1D<RGBA32iImage, OPImageUtils::VerticalDirection<RGBA32iImage>>;
extern template class KX_EXPORT KXIterativeConvolutionFast2D<RGBA32iImage>;
