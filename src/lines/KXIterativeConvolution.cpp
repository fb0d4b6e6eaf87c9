#include "KXIterativeConvolution.h"

#include "KXBlur.h"
#include "OPTransformImageColors.h"

#include "support/Kernels.h"

#include "Convolve.h"
#include "LinePass.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace {

using LineKernel = std::function<void(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &kernel)>;
using ColumnsKernel = std::function<lines::columns::Convolve>;

/// What the module has for convolutions: for a line, and for columns side by side; without the latter, columns are lines.
struct ConvolutionKernels {
    LineKernel line;
    ColumnsKernel columns;
    bool wantsWalks = false; ///< it runs walks over flat images, and has nothing for columns
};

/// Looked up once, when the first pass is made.
const ConvolutionKernels &convolutionKernels()
{
    static const ConvolutionKernels bound = [] {
        ConvolutionKernels slots;
        kernels::bind(slots.line, "KXIterativeConvolutionFast1DAVX2Convolve");
        kernels::bind(slots.columns, "KXIterativeConvolutionFast1DAVX2ConvolveColumns");
        slots.wantsWalks = !slots.columns && kernels::find(AVX2LIB::Instance(), "VectorProcess");
        return slots;
    }();
    return bound;
}

/// Runs @p passes on premultiplied pixels if @p premultiply is set. However they end, cancelled or thrown out of, the
/// pixels become straight again.
template <class Passes>
void premultiplied(bool premultiply, RGBA32iImage &image, const QRect &rect, Passes passes)
{
    if (!premultiply) {
        passes();
        return;
    }
    const auto straighten = [&] { OPTransformImageColors<KXBlur::ReturnAlpha>(KXBlur::ReturnAlpha(), &image, rect)(); };
    lines::makePrivate(image, rect); // the walks write shared tiles as they are
    OPTransformImageColors<KXBlur::PremultiplyAlpha>(KXBlur::PremultiplyAlpha(), &image, rect)();
    try {
        passes();
    } catch (...) {
        straighten();
        throw;
    }
    straighten();
}

/// What is done to lines beside their convolution: nothing.
struct OnlyConvolve {
    /// To line @p line, as it was read.
    void before(int, OPRGBA32i *) const { }
    /// To @p count pixels from the @p first on of @p lines lines side by side, as they will be written.
    void after(OPRGBA32i *, int, int, int) const { }
    /// After a line was finished.
    void done(int) const { }
};

/// Repeats the end pixels of the @p length pixels in the middle of @p line @p radius times on either side.
void pad(OPRGBA32i *line, unsigned radius, unsigned length)
{
    std::fill_n(line, radius, OPRGBA32i(line[radius]));
    std::fill_n(line + radius + length, radius, OPRGBA32i(line[radius + length - 1]));
}

} // namespace

template <class Image, class Direction>
KXIterativeConvolutionFast1D<Image, Direction>::KXIterativeConvolutionFast1D(
    const std::vector<short> &kernel, Image &image, const QRect &rect)
    : m_kernel(kernel)
    , m_radius(unsigned(kernel.size() / 2))
    , m_image(&image)
    , m_clip(lines::clipped(rect, image))
    , m_direction(image, m_clip, int(m_radius))
    , m_paddedLength((unsigned(m_direction.Length()) + 2 * m_radius + 3) & ~3u)
{
    convolutionKernels();
}

template <class Image, class Direction>
KXIterativeConvolutionFast1D<Image, Direction>::~KXIterativeConvolutionFast1D() = default;

template <class Image, class Direction>
template <class Steps>
void KXIterativeConvolutionFast1D<Image, Direction>::Convolve(
    const std::atomic<bool> &cancel, const std::function<void()> &progress, const Steps &steps)
{
    const int length = m_direction.Length(), workerCount = workers::forConvolution(workers::hardware());
    const lines::PassShape shape { m_direction.firstLine, m_direction.lastLine, m_direction.first, length,
        int(m_radius), int(m_paddedLength), m_direction.first, length };
    const ConvolutionKernels &fast = convolutionKernels();
    const lines::Taps taps(m_kernel);
    if constexpr (std::is_same_v<Direction, lines::VerticalDirection>) {
        const bool centered = 2 * taps.offset + taps.entries.size() == m_kernel.size(); // as many zeros before as after
        if (fast.columns && !m_image->IsTiled() && m_direction.LineCount() >= lines::columns::minimum && centered
            && lines::columns::fits(taps.entries)) {
            const auto process = [&](const OPRGBA32i *source, int columns, int first, int count, OPRGBA32i *target) {
                fast.columns(
                    &source->word, m_image->Width(), columns, length, first, count, &target->word, taps.entries);
                steps.after(target, first, count, lines::columns::width);
            };
            lines::runColumnBlocks(
                *m_image, shape, workerCount, cancel, progress, process, [&](int x) { steps.done(x); });
            return;
        }
    }
    lines::runPass<Direction>(*m_image, shape, workerCount, cancel, progress, [&] {
        return [&](int line, std::vector<OPRGBA32i> &source, OPRGBA32i *target) {
            steps.before(line, source.data() + m_radius);
            pad(source.data(), m_radius, unsigned(length));
            if (fast.line)
                fast.line(&source[taps.offset].word, &target->word, unsigned(length), taps.entries);
            else
                lines::convolve(source.data(), target, length, taps);
            steps.after(target, 0, length, 1);
            steps.done(line);
        };
    });
}

template <class Image, class Direction>
void KXIterativeConvolutionFast1D<Image, Direction>::Run(
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (!m_clip.isValid())
        return;
    premultiplied(m_premultiply, *m_image, m_clip, [&] { Convolve(cancel, progress, OnlyConvolve()); });
}

template <class Image>
KXIterativeConvolutionFast2D<Image>::KXIterativeConvolutionFast2D(
    const std::vector<short> &kernel, Image &image, const QRect &rect)
    : m_image(&image)
    , m_clip(lines::clipped(rect, image))
    , m_horizontal(kernel, image, rect)
    , m_vertical(kernel, image, rect)
{
}

template <class Image>
KXIterativeConvolutionFast2D<Image>::~KXIterativeConvolutionFast2D() = default;

template <class Image>
void KXIterativeConvolutionFast2D<Image>::Run(const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (!m_clip.isValid())
        return;
    // On a single processor the walks over a flat image do nothing; tiled images are walked tile by tile. A module that
    // was made for walks around the passes gets them.
    if (m_premultiply && !m_image->IsTiled() && workers::hardware() > 1 && !convolutionKernels().wantsWalks)
        RunPremultiplied(cancel, progress);
    else
        premultiplied(m_premultiply, *m_image, m_clip, [&] {
            m_horizontal.Run(cancel, progress);
            m_vertical.Run(cancel, progress);
        });
}

/// A flat image, premultiplied row by row as the first pass takes them in hand and made straight as the second leaves its
/// columns. So the image is not walked twice more, on one worker fewer. The bytes are those of two plain walks around the
/// passes, which leave the last row of the rectangle out, and also walk what a cancel keeps the passes from.
template <class Image>
void KXIterativeConvolutionFast2D<Image>::RunPremultiplied(
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    const KXBlur::PremultiplyAlpha premultiply;
    const KXBlur::ReturnAlpha straighten;
    const int left = m_clip.x(), width = m_clip.width(), top = m_clip.y(), walkedRows = m_clip.height() - 1;
    std::vector<char> rowDone(size_t(walkedRows) + 1), columnDone(static_cast<size_t>(width)); // not bool: threads
    const auto pixelsAt = [&](int row) {
        return m_image->Bits() + size_t(top + row) * size_t(m_image->Width()) + left;
    };
    const auto premultiplyRest = [&] {
        for (int row = 0; row < walkedRows; ++row)
            if (!std::exchange(rowDone[size_t(row)], 1))
                premultiply.Apply(pixelsAt(row), width);
    };
    const auto straightenRest = [&] {
        if (std::find(columnDone.begin(), columnDone.end(), 0) == columnDone.end())
            return;
        for (int row = 0; row < walkedRows; ++row)
            for (int x = 0; x < width; ++x)
                if (!columnDone[size_t(x)])
                    straighten(pixelsAt(row)[x]);
    };
    struct Premultiply : OnlyConvolve {
        void before(int y, OPRGBA32i *pixels) const
        {
            if (y - top < walkedRows)
                premultiply.Apply(pixels, width);
        }
        void done(int y) const { rowDone[size_t(y - top)] = 1; }

        const KXBlur::PremultiplyAlpha &premultiply;
        int top, width, walkedRows;
        std::vector<char> &rowDone;
    };
    struct Straighten : OnlyConvolve {
        void after(OPRGBA32i *pixels, int first, int count, int columns) const
        {
            straighten.Apply(pixels, std::min(count, walkedRows - first) * columns);
        }
        void done(int x) const { columnDone[size_t(x - left)] = 1; }

        const KXBlur::ReturnAlpha &straighten;
        int left, walkedRows;
        std::vector<char> &columnDone;
    };
    try {
        m_horizontal.Convolve(cancel, progress, Premultiply { {}, premultiply, top, width, walkedRows, rowDone });
        premultiplyRest();
        m_vertical.Convolve(cancel, progress, Straighten { {}, straighten, left, walkedRows, columnDone });
    } catch (...) {
        premultiplyRest();
        straightenRest();
        throw;
    }
    straightenRest();
}

template class KXIterativeConvolutionFast1D<RGBA32iImage, OPImageUtils::HorizontalDirection<RGBA32iImage>>;
template class KXIterativeConvolutionFast1D<RGBA32iImage, OPImageUtils::VerticalDirection<RGBA32iImage>>;
template class KXIterativeConvolutionFast2D<RGBA32iImage>;
