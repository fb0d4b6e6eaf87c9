#include "KXIterativeConvolution.h"

#include "KXBlur.h"
#include "OPTransformImageColors.h"

#include "support/Kernels.h"

#include "AlphaInPasses.h"
#include "Convolve.h"
#include "LinePass.h"

#include <algorithm>
#include <type_traits>

namespace {

// What the module has for convolutions: for a line, for one that it premultiplies first, and for columns side by side;
// without the last one columns are lines.
kernels::Slot lineKernel { KX_SYMBOL(KXIterativeConvolutionFast1DAVX2Convolve) };
kernels::Slot premultiplyingLineKernel { KX_SYMBOL(KXIterativeConvolutionFast1DAVX2ConvolvePremultiplied) };
kernels::Slot columnsKernel { KX_SYMBOL(KXIterativeConvolutionFast1DAVX2ConvolveColumns) };

/// Runs @p passes on premultiplied pixels if @p premultiply is set. However they end, cancelled or thrown out of, the
/// pixels are unpremultiplied after them.
template <class Passes>
void premultiplied(bool premultiply, RGBA32iImage &image, const QRect &rect, Passes passes)
{
    if (!premultiply) {
        passes();
        return;
    }
    const OPTransformImageColors there(KXBlur::PremultiplyAlpha(), &image, rect);
    const OPTransformImageColors back(KXBlur::ReturnAlpha(), &image, rect); // here: the way back needs no memory
    pixels::makePrivate(image, rect); // the walks write shared tiles as they are
    there();
    try {
        passes();
    } catch (...) {
        back();
        throw;
    }
    back();
}

/// Writes the end pixels of the @p length pixels from @p pixels on @p before times before and @p after times behind
/// them.
void repeatEnds(OPRGBA32i *pixels, size_t before, int length, size_t after)
{
    std::fill_n(pixels - before, before, OPRGBA32i(pixels[0]));
    std::fill_n(pixels + length, after, OPRGBA32i(pixels[length - 1]));
}

} // namespace

template <class Image, class Direction>
KXIterativeConvolutionFast1D<Image, Direction>::KXIterativeConvolutionFast1D(
    const std::vector<short> &taps, Image &image, const QRect &rect)
    : m_taps(taps)
    , m_image(&image)
    , m_clip(lines::clipped(rect, image))
    , m_direction(image, m_clip, int(taps.size() / 2))
{
    lineKernel.Bind();
    premultiplyingLineKernel.Bind();
    columnsKernel.Bind();
}

template <class Image, class Direction>
KXIterativeConvolutionFast1D<Image, Direction>::~KXIterativeConvolutionFast1D() = default;

template <class Image, class Direction>
bool KXIterativeConvolutionFast1D<Image, Direction>::HasColumnsKernel() const
{
    const lines::Taps taps(m_taps);
    return std::is_same_v<Direction, lines::VerticalDirection> && columnsKernel && !m_image->IsTiled()
        && taps.IsCentered() && lines::columns::fits(taps.values);
}

template <class Image, class Direction>
void KXIterativeConvolutionFast1D<Image, Direction>::Convolve(
    int processors, const std::atomic<bool> &cancel, const std::function<void()> &progress, lines::AlphaInPasses *alpha)
{
    const lines::Taps taps(m_taps);
    const int length = m_direction.Length(), workerCount = workers::forConvolution(processors);
    const lines::PassShape shape { m_direction.firstLine, m_direction.lastLine, m_direction.first, length,
        int(taps.Before()), int(taps.Before()) + length + int(taps.After()), m_direction.first, length };
    if (HasColumnsKernel()) {
        const auto process = [&](int column, OPRGBA32i *pixels, int count) {
            columnsKernel(&pixels->word, m_image->Width(), count, length, taps.values, alpha ? alpha->RowCount() : 0);
            if (alpha)
                alpha->SetColumns(column, count);
        };
        lines::runColumnBlocks(*m_image, shape, workerCount, cancel, progress, process);
        return;
    }
    const KXBlur::PremultiplyAlpha premultiply;
    const bool kernelPremultiplies = premultiplyingLineKernel && lines::rows::fits(taps.values);
    lines::runPass<Direction>(*m_image, shape, workerCount, cancel, progress, [&] {
        return [&](int line, std::vector<OPRGBA32i> &source, OPRGBA32i *target) {
            const bool isConverted = alpha && alpha->IsConverted(line);
            const auto &kernel = isConverted && kernelPremultiplies ? premultiplyingLineKernel : lineKernel;
            OPRGBA32i *const pixels = source.data() + taps.Before();
            if (isConverted && !kernelPremultiplies)
                premultiply.Apply(pixels, length);
            repeatEnds(pixels, taps.Before(), length, taps.After());
            if (kernel)
                kernel(&source.data()[taps.Start()].word, &target->word, unsigned(length), taps.values);
            else
                lines::convolve(source.data() + taps.Start(), target, length, taps.values);
            if (alpha)
                alpha->SetRow(line);
        };
    });
}

template <class Image, class Direction>
void KXIterativeConvolutionFast1D<Image, Direction>::Run(
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (!m_clip.isValid())
        return;
    premultiplied(m_premultiply, *m_image, m_clip, [&] { Convolve(workers::hardware(), cancel, progress, nullptr); });
}

template <class Image>
KXIterativeConvolutionFast2D<Image>::KXIterativeConvolutionFast2D(
    const std::vector<short> &taps, Image &image, const QRect &rect)
    : m_image(&image)
    , m_clip(lines::clipped(rect, image))
    , m_horizontal(taps, image, rect)
    , m_vertical(taps, image, rect)
{
}

template <class Image>
KXIterativeConvolutionFast2D<Image>::~KXIterativeConvolutionFast2D() = default;

template <class Image>
void KXIterativeConvolutionFast2D<Image>::Run(const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (!m_clip.isValid())
        return;
    const int processors = workers::hardware(); // asking takes as long as a dozen short rows
    const auto passes = [&](lines::AlphaInPasses *alpha) {
        m_horizontal.Convolve(processors, cancel, progress, alpha);
        if (alpha)
            alpha->FinishRows();
        m_vertical.Convolve(processors, cancel, progress, alpha);
    };
    // On a single processor the walks over a flat image do nothing.
    if (!m_premultiply || !m_vertical.HasColumnsKernel() || processors < 2)
        return premultiplied(m_premultiply, *m_image, m_clip, [&] { passes(nullptr); });
    lines::AlphaInPasses alpha(*m_image, m_clip);
    try {
        passes(&alpha);
    } catch (...) {
        alpha.FinishRows();
        alpha.FinishColumns();
        throw;
    }
    alpha.FinishColumns();
}

template class KXIterativeConvolutionFast1D<RGBA32iImage, OPImageUtils::HorizontalDirection<RGBA32iImage>>;
template class KXIterativeConvolutionFast1D<RGBA32iImage, OPImageUtils::VerticalDirection<RGBA32iImage>>;
template class KXIterativeConvolutionFast2D<RGBA32iImage>;
