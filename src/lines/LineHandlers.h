#pragma once

#include "KXKernels.h"

#include "support/Arithmetic.h"
#include "support/Kernels.h"

#include "LinePass.h"
#include "WindowSlide.h"

#include <algorithm>
#include <type_traits>
#include <vector>

/// The line passes of the filters, one object per pass. They read the pixels around their rectangle as neighbours, as
/// far as the image has them; beyond its edge the outermost pixel repeats. They borrow the image, and the accumulator.
namespace lines {

/// Bound when a handler of the kind is made.
inline kernels::Slot windowKernel { KX_SYMBOL(LineHandlerAVX2) };
inline kernels::Slot lineKernel { KX_SYMBOL(LineHandlerConvolutionAVX2) };
inline kernels::Slot sharpenColumnsKernel { KX_SYMBOL(SharpenColumnsAVX2) };
inline kernels::Slot alphaWindowsKernel { KX_SYMBOL(SlideAlphaColumnsAVX2) };

/// How the module does columns side by side, in place, for one class of kernels or accumulators: @c Find returns
/// whether it does so for this object. Most have nothing but what is done on lines.
template <class Kernel>
struct SideBySide {
    static constexpr bool exists = false;
};

template <>
struct SideBySide<OPSimpleSharpenKernel1D> {
    static constexpr bool exists = true;
    static bool Find(const OPSimpleSharpenKernel1D &kernel)
    {
        return sharpenColumnsKernel.Bind() && sharpening::fits(kernel.Amount());
    }
    static void Run(const OPSimpleSharpenKernel1D &kernel, const ColumnPixels &pixels)
    {
        sharpenColumnsKernel(pixels, kernel.Amount());
    }
};

/// Windows of alpha.
template <class Accumulator>
struct WindowsSideBySide {
    static constexpr bool exists = true;
    static bool Find(const Accumulator &window)
    {
        return alphaWindowsKernel.Bind() && alphawindows::fits(window.GetRadius());
    }
    static void Run(const Accumulator &window, const ColumnPixels &pixels)
    {
        constexpr unsigned complement = std::is_same_v<OPAlphaBlurAccumulatorWithInvert, Accumulator> ? 255 : 0;
        unsigned color = 0;
        if constexpr (std::is_same_v<OPAlphaBlurAccumulatorWithRGBColorize, Accumulator>)
            color = window.Color().word;
        alphaWindowsKernel(pixels, window.GetRadius(), complement, color);
    }
};

template <>
struct SideBySide<OPAlphaBlurAccumulator> : WindowsSideBySide<OPAlphaBlurAccumulator> {
};
template <>
struct SideBySide<OPAlphaBlurAccumulatorWithInvert> : WindowsSideBySide<OPAlphaBlurAccumulatorWithInvert> {
};
template <>
struct SideBySide<OPAlphaBlurAccumulatorWithRGBColorize> : WindowsSideBySide<OPAlphaBlurAccumulatorWithRGBColorize> {
};

/// What both handlers have: the rectangle's lines and their reach.
template <class Direction>
class LineHandlerBase {
public:
    /// How many lines a run walks, and so how often it calls progress.
    int LineCount() const { return m_clip.isValid() ? m_lines.LineCount() : 0; }

protected:
    LineHandlerBase(RGBA32iImage &image, const QRect &rect, int radius)
        : m_image(image)
        , m_clip(clipped(rect, image))
        , m_lines(image, m_clip, radius)
    {
    }

    PassShape Shape() const
    {
        return { m_lines.firstLine, m_lines.lastLine, m_lines.readFirst, m_lines.ReadLength(), 0, m_lines.ReadLength(),
            m_lines.first, m_lines.Length() };
    }

    /// Has the module do all columns side by side where it does so for this @p kernel; false where it does not.
    template <class Kernel>
    bool RunSideBySide(const Kernel &kernel, const PassShape &shape, int count, const std::atomic<bool> &cancel,
        const Progress &progress) const
    {
        if constexpr (SideBySide<Kernel>::exists && std::is_same_v<Direction, VerticalDirection>) {
            if (m_image.IsTiled() || !SideBySide<Kernel>::Find(kernel))
                return false;
            const int above = shape.first - shape.readFirst, below = shape.readLength - shape.length - above;
            runColumnBlocks(m_image, shape, count, cancel, progress, [&](int, OPRGBA32i *first, int columns) {
                SideBySide<Kernel>::Run(kernel, { first, m_image.Width(), columns, shape.length, above, below });
            });
            return true;
        }
        return false;
    }

    RGBA32iImage &m_image;
    QRect m_clip;
    Direction m_lines;
};

/// Slides an accumulator along each line. @p Accumulator is the class of the object itself, not a base of it.
template <class Accumulator, class Direction>
class LineHandler : public LineHandlerBase<Direction> {
public:
    LineHandler(const Accumulator &accumulator, RGBA32iImage &image, const QRect &rect)
        : LineHandlerBase<Direction>(image, rect, accumulator.GetRadius())
        , m_accumulator(accumulator)
        , m_kernel(windowKernel.Bind())
    {
    }

    void Run(const std::atomic<bool> &cancel, const Progress &progress) const
    {
        Run(workers::forLines(workers::hardware()), cancel, progress);
    }

    /// On @p count workers, see @c workers::forEachItem.
    void Run(int count, const std::atomic<bool> &cancel, const Progress &progress) const
    {
        if (!this->m_clip.isValid())
            return;
        const PassShape shape = this->Shape();
        if (this->RunSideBySide(m_accumulator, shape, count, cancel, progress))
            return;
        const auto &record = this->m_lines;
        runPass<Direction>(this->m_image, shape, count, cancel, progress, [&] {
            return [&, window = m_accumulator, radius = m_accumulator.GetRadius(),
                       zeros = std::vector<OPRGBA32i>(writesAlphaOnly ? size_t(shape.length) : 0)](
                       int, std::vector<OPRGBA32i> &source, OPRGBA32i *target) mutable {
                OPRGBA32i *const out = writesAlphaOnly ? zeros.data() : target;
                if (m_kernel)
                    m_kernel(&window, source.data(), out, record.readFirst, record.readLast, record.first, record.last,
                        radius);
                else
                    slideWindow(window, source.data(), shape.readLength, out, shape.length,
                        shape.first - shape.readFirst, radius);
                if (writesAlphaOnly)
                    std::copy_n(out, shape.length, target);
            };
        });
    }

private:
    static constexpr bool writesColors =
        std::is_base_of_v<OPRGBABlurAccumulator,
            Accumulator> || std::is_same_v<OPAlphaBlurAccumulatorWithRGBColorize, Accumulator>;
    /// The other accumulators of alpha write no colours. These are to be 0, so they write into a line of zeros.
    static constexpr bool writesAlphaOnly = !writesColors;

    const Accumulator &m_accumulator;
    decltype(LineHandlerAVX2) *m_kernel;
};

/// The plain form of a kernel: all of a destination line of that length.
template <class Kernel>
struct PlainLine {
    void Run(Kernel &kernel, int length)
    {
        for (int i = 0; i < length; ++i)
            kernel(i);
    }
};

/// The sums of many pixels are taken side by side, a tap at a time: the order within each of them is kept.
template <>
struct PlainLine<OPGaussianAlpha1D> {
    void Run(const OPGaussianAlpha1D &kernel, int length)
    {
        constexpr int width = 64;
        const std::vector<OPRGBA32i> &source = *kernel.Source();
        const std::vector<double> &weights = kernel.Weights();
        const int offset = kernel.SourceOffset(), before = offset - kernel.Left(), last = int(source.size()) - 1;
        samples.resize(size_t(length) + weights.size() + width);
        for (int i = 0; i < length + 2 * kernel.Left(); ++i)
            samples[size_t(i)] = source[size_t(std::clamp(before + i, 0, last))].a;
        for (int first = 0; first < length; first += width) {
            double sums[width] = {};
            const double *sample = samples.data() + first;
            for (const double weight : weights) {
                for (int i = 0; i < width; ++i)
                    sums[i] += sample[i] * weight;
                ++sample;
            }
            for (int i = first; i < std::min(first + width, length); ++i) {
                OPRGBA32i &pixel = (*kernel.Destination())[size_t(i)];
                pixel = source[size_t(std::clamp(offset + i, 0, last))];
                pixel.a = static_cast<unsigned char>(arithmetic::clamp8(arithmetic::truncate(sums[i - first] + 0.5)));
            }
        }
    }

    std::vector<double> samples;
};

/// Runs a one-dimensional kernel over each line.
template <class Kernel, class Direction>
class LineHandlerConvolution : public LineHandlerBase<Direction> {
public:
    LineHandlerConvolution(const Kernel &kernel, RGBA32iImage &image, const QRect &rect)
        : LineHandlerBase<Direction>(image, rect, kernel.Left())
        , m_kernel(kernel)
        , m_lineKernel(lineKernel.Bind())
    {
    }

    void Run(const std::atomic<bool> &cancel, const Progress &progress) const
    {
        if (!this->m_clip.isValid())
            return;
        const PassShape shape = this->Shape();
        const int count = workers::forLines(workers::hardware());
        if (this->RunSideBySide(m_kernel, shape, count, cancel, progress))
            return;
        runPass<Direction>(this->m_image, shape, count, cancel, progress, [&] {
            return [&, kernel = m_kernel, destination = std::vector<OPRGBA32i>(size_t(shape.length)),
                       plain = PlainLine<Kernel>()](int, std::vector<OPRGBA32i> &source, OPRGBA32i *target) mutable {
                kernel.SetSource(&source);
                kernel.SetDestination(&destination);
                kernel.SetSourceOffset(shape.first - shape.readFirst);
                if (m_lineKernel && kernel.Type() != KernelPlain)
                    m_lineKernel(&kernel);
                else
                    plain.Run(kernel, shape.length);
                std::copy(destination.begin(), destination.end(), target);
            };
        });
    }

private:
    Kernel m_kernel;
    decltype(LineHandlerConvolutionAVX2) *m_lineKernel;
};

/// A one-dimensional kernel over rows, to their end, then over columns.
template <class Kernel>
class LineHandlerConvolution2D {
public:
    LineHandlerConvolution2D(const Kernel &kernel, RGBA32iImage &image, const QRect &rect)
        : m_clip(clipped(rect, image))
        , m_horizontal(kernel, image, m_clip)
        , m_vertical(kernel, image, m_clip)
    {
    }

    int LineCount() const { return m_clip.isValid() ? m_horizontal.LineCount() + m_vertical.LineCount() : 0; }

    void Run(const std::atomic<bool> &cancel, const Progress &progress) const
    {
        if (!m_clip.isValid())
            return;
        m_horizontal.Run(cancel, progress);
        m_vertical.Run(cancel, progress);
    }

private:
    QRect m_clip;
    LineHandlerConvolution<Kernel, HorizontalDirection> m_horizontal;
    LineHandlerConvolution<Kernel, VerticalDirection> m_vertical;
};

} // namespace lines
