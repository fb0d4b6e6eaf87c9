#include "OPGaussianBlurProcessing.h"

#include "KXBlur.h"
#include "KXGaussianBase.h"
#include "KXIterativeConvolution.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

namespace {

constexpr char signature[] = "KXGaussianBlur 1.00000";
constexpr char source[] = "src\\filters\\OPGaussianBlurProcessing";

} // namespace

bool OPGaussianBlurProcessing::Params::Write(QDataStream &stream) const
{
    return filters::writeParams(stream, signature, sigma);
}

bool OPGaussianBlurProcessing::Params::Read(QDataStream &stream)
{
    return filters::readParams(stream, signature, sigma);
}

QDataStream &operator<<(QDataStream &stream, const OPGaussianBlurProcessing::Params &params)
{
    return filters::writeOrLog(stream, params, { source, 185 }, "Write gaussian blur data error.");
}

QDataStream &operator>>(QDataStream &stream, OPGaussianBlurProcessing::Params &params)
{
    return filters::readOrLog(stream, params, { source, 199 }, "Read gaussian blur data error.");
}

OPGaussianBlurProcessing::OPGaussianBlurProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPGaussianBlurProcessing::~OPGaussianBlurProcessing() = default;

RGBA32iImage OPGaussianBlurProcessing::run(BlurData data)
{
    const std::vector<short> kernel = KXBlur::CreateGaussianKernel(data.params.sigma);
    // The convolution replicates the edge of its own rectangle, hence the margin.
    return filters::runPasses(
        data, int(kernel.size() / 2),
        [&kernel](RGBA32iImage &image, const QRect &rect) {
            KXIterativeConvolutionFast2D<RGBA32iImage> passes(kernel, image, rect);
            passes.SetPremultiply(true);
            return passes;
        },
        [this](int lines) { SetRange(unsigned(lines)); }, m_cancel, [this] { IncrementProgress(); });
}

OPGaussianBlurProcessing::ResultEx OPGaussianBlurProcessing::runEx(BlurDataEx data)
{
    const QPoint origin = filters::growCanvas(data, data.region, data.origin, KXGaussianBase::Reach(data.params.sigma));
    return { run(std::move(data)), origin };
}
