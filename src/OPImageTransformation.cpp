#include "OPImageTransformation.h"

#include "KXKernels.h"

#include "lines/LineHandlers.h"
#include "support/Kernels.h"
#include "support/Log.h"
#include "transform/Channels.h"
#include "transform/Samplers.h"

#include <atomic>
#include <climits>

namespace {

using pixels::Rows, transform::Channels;

using Sample = void(const Rows<const OPRGBA32i> &, const QTransform &, const Rows<OPRGBA32i> &, const QRect &);

void sampleNearest(
    const Rows<const OPRGBA32i> &source, const QTransform &inverse, const Rows<OPRGBA32i> &target, const QRect &area)
{
    transform::sampleEach<transform::NearestSampler>(source, inverse, target, area, transform::orderOf(source, target));
}

kernels::Slot bilinearKernel { KX_SYMBOL(SampleBilinearAVX2) };
kernels::Slot bicubicKernel { KX_SYMBOL(SampleBicubicAVX2) };

/// What tells the grades apart. A radius below @c radiusLimit is filtered, @c passes times along each axis.
struct Nearest {
    static constexpr bool filters = false;
    static Sample *sample() { return sampleNearest; }
};
struct Bilinear {
    static constexpr bool filters = true;
    static constexpr int passes = 1, radiusLimit = INT_MAX;
    static Sample *sample()
    {
        Sample *const kernel = bilinearKernel.Bind();
        return kernel ? kernel : transform::interpolate<transform::Linear, Channels>;
    }
};
struct Bicubic {
    static constexpr bool filters = true;
    static constexpr int passes = 3, radiusLimit = 300;
    static Sample *sample()
    {
        Sample *const kernel = bicubicKernel.Bind();
        return kernel ? kernel : transform::interpolate<transform::Cubic, Channels>;
    }
};

/// The radius of the filter for a scale below 1, at most the largest one of the accumulators.
///
/// Beyond that a wider window changes nothing in a line of up to 16448 pixels: the sum of a window that holds the line
/// is 2 r + 1 times the mean of its two end pixels, and K, of at most 255 for each pixel of the line, which does not
/// depend on r. As K / (2 r + 1) is less than a half, only its sign counts when the mean is truncated.
int radiusFor(double scale)
{
    const double radius = 0.5 / scale + 0.5;
    return radius < OPRGBABlurAccumulatorBase::MaximumRadius ? int(radius) : OPRGBABlurAccumulatorBase::MaximumRadius;
}

/// Filters @p image along one axis, on which it is to be reduced to @p scale.
template <class Grade, class Direction>
void filter(RGBA32iImage &image, double scale)
{
    const int radius = radiusFor(scale);
    if (radius == 0 || radius >= Grade::radiusLimit)
        return;
    const OPRGBABlurAccumulator window(radius);
    const std::atomic<bool> noCancel { false };
    for (int pass = 0; pass < Grade::passes; ++pass)
        lines::LineHandler<OPRGBABlurAccumulator, Direction>(window, image, QRect())
            .Run(workers::forConvolution(workers::hardware()), noCancel, nullptr);
}

/// Samples @p source by @p Grade, or filtered where it is to become half as large or smaller.
template <class Grade>
void sampleFiltered(const RGBA32iImage &source, const QTransform &transform, const QTransform &inverse,
    RGBA32iImage &destination, const QRect &area)
{
    Sample *sample = Grade::sample();
    if constexpr (Grade::filters) {
        const QRectF mapped = transform.mapRect(QRectF(source.Rect()));
        const double scaleX = mapped.width() * (1.0 / source.Width());
        const double scaleY = mapped.height() * (1.0 / source.Height());
        if (!(scaleX > 0.5 && scaleY > 0.5)) { // so with NaN, which no filter is for
            RGBA32iImage blurred = source; // a copy that shares the source's pixels, which are blurred with it
            if (scaleX < 1.0)
                filter<Grade, lines::HorizontalDirection>(blurred, scaleX);
            if (scaleY < 1.0)
                filter<Grade, lines::VerticalDirection>(blurred, scaleY);
            if (scaleX < 1.0 && scaleY < 1.0)
                sample = sampleNearest;
        }
    }
    sample(pixels::rowsOf(source), inverse, pixels::rowsOf(destination), area);
}

template <class Grade>
bool transformed(int line, const RGBA32iImage &source, const QTransform &transform, RGBA32iImage &destination,
    const QRect &sourceRect)
{
    bool isInvertible = true;
    const auto body = [&] {
        if (source.Rect().isEmpty())
            return;
        const QTransform inverse = transform.inverted(&isInvertible);
        if (!isInvertible || source.IsTiled() || destination.IsTiled())
            return;
        const QRect area =
            ClippedTo(destination.Rect(), transform.mapRect(sourceRect.isEmpty() ? source.Rect() : sourceRect));
        if (!area.isEmpty())
            sampleFiltered<Grade>(source, transform, inverse, destination, area);
    };
    return support::guarded({ "src/OPImageTransformation", line }, body, support::OnException::Swallow) && isInvertible;
}

} // namespace

template <class From, class To>
bool NearestNeighbourTransformImage(
    const From &source, const QTransform &transform, To &destination, const QRect &sourceRect)
{
    return transformed<Nearest>(__LINE__, source, transform, destination, sourceRect);
}

template <class From, class To>
bool BilinearTransformImage(const From &source, const QTransform &transform, To &destination, const QRect &sourceRect)
{
    return transformed<Bilinear>(__LINE__, source, transform, destination, sourceRect);
}

template <class From, class To>
bool BicubicTransformImage(const From &source, const QTransform &transform, To &destination, const QRect &sourceRect)
{
    return transformed<Bicubic>(__LINE__, source, transform, destination, sourceRect);
}

template KX_EXPORT bool NearestNeighbourTransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);
template KX_EXPORT bool BilinearTransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);
template KX_EXPORT bool BicubicTransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);
