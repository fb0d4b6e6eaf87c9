#include "OPGaussianBlurProcessing.h"

#include "KXBlur.h"
#include "KXGaussianBase.h"

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
    const double sigma = data.params.sigma;
    // The reach of the Gaussian, also where its taps are zeros and fewer.
    return filters::runConvolution(
        { *this, m_cancel }, data, KXGaussianBase::Reach(sigma), KXBlur::CreateGaussianKernel(sigma));
}

OPGaussianBlurProcessing::ResultEx OPGaussianBlurProcessing::runEx(BlurDataEx data)
{
    const QPoint origin = filters::growLayer(data, data, KXGaussianBase::Reach(data.params.sigma));
    return { run(std::move(data)), origin };
}
