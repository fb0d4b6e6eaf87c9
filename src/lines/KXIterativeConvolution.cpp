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

// What the module has for convolutions: for a line, for one that is weighted by alpha, and for columns side by side;
// without the last one columns are lines.
kernels::Slot lineKernel { KX_SYMBOL(KXIterativeConvolutionFast1DAVX2Convolve) };
kernels::Slot weightedLineKernel { KX_SYMBOL(KXIterativeConvolutionFast1DAVX2ConvolveWeighted) };
kernels::Slot columnsKernel { KX_SYMBOL(KXIterativeConvolutionFast1DAVX2ConvolveColumns) };

/// Runs @p passes on premultiplied pixels if @p premultiply is set. However they end, cancelled or thrown out of, the
/// pixels become straight again.
template <class Passes>
void premultiplied(bool premultiply, RGBA32iImage &image, const QRect &rect, Passes passes)
{
    if (!premultiply) {
        passes();
        return;
    }
    const OPTransformImageColors weight(KXBlur::PremultiplyAlpha(), &image, rect);
    const OPTransformImageColors straighten(KXBlur::ReturnAlpha(), &image, rect); // here: the way back needs no memory
    pixels::makePrivate(image, rect); // the walks write shared tiles as they are
    weight();
    try {
        passes();
    } catch (...) {
        straighten();
        throw;
    }
    straighten();
}

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
    lineKernel.Bind();
    weightedLineKernel.Bind();
    columnsKernel.Bind();
}

template <class Image, class Direction>
KXIterativeConvolutionFast1D<Image, Direction>::~KXIterativeConvolutionFast1D() = default;

/// What a pass does about alpha: a pass over rows premultiplies each before it convolves it, a pass over columns makes
/// them straight afterwards.
template <class Image, class Direction>
struct KXIterativeConvolutionFast1D<Image, Direction>::Weighting {
    int rows = 0; ///< how many rows of the rectangle, from the first on, this is done to
    std::vector<char> *done = nullptr; ///< set for each line done; not bool, as threads set neighbours
};

template <class Image, class Direction>
bool KXIterativeConvolutionFast1D<Image, Direction>::HasColumnsKernel() const
{
    const lines::Taps taps(m_kernel);
    const bool isCentered = 2 * taps.offset + taps.entries.size() == m_kernel.size(); // as many zeros before as after
    return std::is_same_v<Direction, lines::VerticalDirection> && columnsKernel && !m_image->IsTiled() && isCentered
        && lines::columns::fits(taps.entries);
}

template <class Image, class Direction>
void KXIterativeConvolutionFast1D<Image, Direction>::Convolve(
    const std::atomic<bool> &cancel, const std::function<void()> &progress, const Weighting &weighting)
{
    const int length = m_direction.Length(), workerCount = workers::forConvolution(workers::hardware());
    const lines::PassShape shape { m_direction.firstLine, m_direction.lastLine, m_direction.first, length,
        int(m_radius), int(m_paddedLength), m_direction.first, length };
    const lines::Taps taps(m_kernel);
    const auto done = [&](int line) {
        if (weighting.done)
            (*weighting.done)[size_t(line - shape.firstLine)] = 1;
    };
    if (HasColumnsKernel()) {
        const auto process = [&](OPRGBA32i *pixels, int columns) {
            columnsKernel(&pixels->word, m_image->Width(), columns, length, taps.entries, weighting.rows);
        };
        lines::runColumnBlocks(*m_image, shape, workerCount, cancel, progress, process, done);
        return;
    }
    const KXBlur::PremultiplyAlpha premultiply;
    const bool weightsItself = weightedLineKernel && lines::rows::fits(taps.entries);
    lines::runPass<Direction>(*m_image, shape, workerCount, cancel, progress, [&] {
        return [&](int line, std::vector<OPRGBA32i> &source, OPRGBA32i *target) {
            const bool isWeighted = line - shape.firstLine < weighting.rows;
            const auto &kernel = isWeighted && weightsItself ? weightedLineKernel : lineKernel;
            if (isWeighted && !weightsItself)
                premultiply.Apply(source.data() + m_radius, length);
            pad(source.data(), m_radius, unsigned(length));
            if (kernel)
                kernel(&source[taps.offset].word, &target->word, unsigned(length), taps.entries);
            else
                lines::convolve(source.data(), target, length, taps);
            done(line);
        };
    });
}

template <class Image, class Direction>
void KXIterativeConvolutionFast1D<Image, Direction>::Run(
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (!m_clip.isValid())
        return;
    premultiplied(m_premultiply, *m_image, m_clip, [&] { Convolve(cancel, progress, Weighting()); });
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
    // On a single processor the walks over a flat image do nothing.
    if (m_premultiply && m_vertical.HasColumnsKernel() && workers::hardware() > 1)
        RunWeighted(cancel, progress);
    else
        premultiplied(m_premultiply, *m_image, m_clip, [&] {
            m_horizontal.Run(cancel, progress);
            m_vertical.Run(cancel, progress);
        });
}

/// Both passes over a flat image with the weighting inside: the first one premultiplies each row as it takes it up, the
/// second one makes its columns straight as it leaves them. That saves two walks over the image, which would cost more
/// than a short kernel does.
///
/// The bytes are those of two plain walks around the passes. So the last row of the rectangle is left out, as plain
/// walks do, and lines that a cancel or an exception kept the passes from are weighted and made straight all the same.
template <class Image>
void KXIterativeConvolutionFast2D<Image>::RunWeighted(
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    const int width = m_clip.width(), walkedRows = m_clip.height() - 1;
    std::vector<char> rowDone(size_t(walkedRows) + 1), columnDone(static_cast<size_t>(width));
    const auto pixelsAt = [&](int row) {
        return m_image->Bits() + size_t(m_clip.y() + row) * size_t(m_image->Width()) + m_clip.x();
    };
    const KXBlur::PremultiplyAlpha premultiply; // both here: the way back needs no memory
    const KXBlur::ReturnAlpha straighten;
    const auto premultiplyRest = [&] {
        for (int row = 0; row < walkedRows; ++row)
            if (!std::exchange(rowDone[size_t(row)], 1))
                premultiply.Apply(pixelsAt(row), width);
    };
    const auto straightenRest = [&] {
        const auto end = columnDone.end();
        for (auto first = std::find(columnDone.begin(), end, 0); first != end; first = std::find(first, end, 0)) {
            const auto last = std::find(first, end, 1);
            for (int row = 0; row < walkedRows; ++row)
                straighten.Apply(pixelsAt(row) + (first - columnDone.begin()), int(last - first));
            first = last;
        }
    };
    try {
        m_horizontal.Convolve(cancel, progress, { walkedRows, &rowDone });
        premultiplyRest();
        m_vertical.Convolve(cancel, progress, { walkedRows, &columnDone });
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
