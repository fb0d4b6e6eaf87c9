#include "OPGaussianBlurProcessing.h"

#include "KXBlur.h"
#include "KXGaussianBase.h"
#include "KXIterativeConvolution.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

namespace {

constexpr filters::ParamsStream stream("KXGaussianBlur 1.00000", "gaussian blur",
    { "src\\filters\\OPGaussianBlurProcessing", 199, 185 }, &OPGaussianBlurProcessing::Params::sigma);

} // namespace

KX_FILTER_STREAM(OPGaussianBlurProcessing, stream)

OPGaussianBlurProcessing::OPGaussianBlurProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPGaussianBlurProcessing::~OPGaussianBlurProcessing() = default;

RGBA32iImage OPGaussianBlurProcessing::run(BlurData data)
{
    const std::vector<short> kernel = KXBlur::CreateGaussianKernel(data.params.sigma);
    // The convolution replicates the edge of its own rectangle, so that this one is the selection and all that reaches
    // into it; nothing around that is read. A kernel of zeros may be shorter than the Gaussian reaches.
    const filters::Reach reach { KXGaussianBase::Reach(data.params.sigma), 0 };
    return filters::runPasses({ *this, m_cancel }, data, reach, [&kernel](RGBA32iImage &image, const QRect &rect) {
        KXIterativeConvolutionFast2D<RGBA32iImage> passes(kernel, image, rect);
        passes.SetPremultiply(true);
        return passes;
    });
}

OPGaussianBlurProcessing::ResultEx OPGaussianBlurProcessing::runEx(BlurDataEx data)
{
    const QPoint origin = filters::growLayer(data, data, KXGaussianBase::Reach(data.params.sigma));
    return { run(std::move(data)), origin };
}
