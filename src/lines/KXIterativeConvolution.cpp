#include "KXIterativeConvolution.h"

#include "KXBlur.h"
#include "OPTransformImageColors.h"

#include "support/Kernels.h"

#include "Convolve.h"
#include "LinePass.h"

#include <algorithm>
#include <utility>

namespace {

using ConvolutionKernel = std::function<void(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &kernel)>;

/// Looked up once, when the first pass is made.
const ConvolutionKernel &convolutionKernel()
{
    static const ConvolutionKernel bound = [] {
        ConvolutionKernel slot;
        kernels::bind(slot, "KXIterativeConvolutionFast1DAVX2Convolve");
        return slot;
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

constexpr auto leaveLine = [](int, OPRGBA32i *) {};

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
    convolutionKernel();
}

template <class Image, class Direction>
KXIterativeConvolutionFast1D<Image, Direction>::~KXIterativeConvolutionFast1D() = default;

template <class Image, class Direction>
template <class Before, class After>
void KXIterativeConvolutionFast1D<Image, Direction>::Convolve(
    const std::atomic<bool> &cancel, const std::function<void()> &progress, const Before &before, const After &after)
{
    const int length = m_direction.Length();
    const lines::PassShape shape { m_direction.firstLine, m_direction.lastLine, m_direction.first, length,
        int(m_radius), int(m_paddedLength), m_direction.first, length };
    const ConvolutionKernel &fast = convolutionKernel();
    const lines::Taps taps(m_kernel);
    lines::runPass<Direction>(*m_image, shape, workers::forConvolution(workers::hardware()), cancel, progress, [&] {
        return [&](int line, std::vector<OPRGBA32i> &source, OPRGBA32i *target) {
            before(line, source.data() + m_radius);
            pad(source.data(), m_radius, unsigned(length));
            if (fast)
                fast(&source[taps.offset].word, &target->word, unsigned(length), taps.entries);
            else
                lines::convolve(source.data(), target, length, taps);
            after(line, target);
        };
    });
}

template <class Image, class Direction>
void KXIterativeConvolutionFast1D<Image, Direction>::Run(
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (!m_clip.isValid())
        return;
    premultiplied(m_premultiply, *m_image, m_clip, [&] { Convolve(cancel, progress, leaveLine, leaveLine); });
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
    // On a single processor the walks over a flat image do nothing; tiled images are walked tile by tile.
    if (m_premultiply && !m_image->IsTiled() && workers::hardware() > 1)
        RunPremultiplied(cancel, progress);
    else
        premultiplied(m_premultiply, *m_image, m_clip, [&] {
            m_horizontal.Run(cancel, progress);
            m_vertical.Run(cancel, progress);
        });
}

/// A flat image, premultiplied row by row as the first pass takes them in hand and made straight column by column as the
/// second leaves them. So the image is not walked twice more, on one worker fewer. The bytes are those of two plain walks
/// around the passes, which leave the last row of the rectangle out, and also walk what a cancel keeps the passes from.
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
    try {
        const auto takeRow = [&](int y, OPRGBA32i *pixels) {
            if (y - top < walkedRows)
                premultiply.Apply(pixels, width);
            rowDone[size_t(y - top)] = 1;
        };
        m_horizontal.Convolve(cancel, progress, takeRow, leaveLine);
        premultiplyRest();
        const auto leaveColumn = [&](int x, OPRGBA32i *pixels) {
            straighten.Apply(pixels, walkedRows);
            columnDone[size_t(x - left)] = 1;
        };
        m_vertical.Convolve(cancel, progress, leaveLine, leaveColumn);
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
