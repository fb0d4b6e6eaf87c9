#include "OPDiffuseGlowProcessing.h"

#include "KXKernels.h"
#include "OPTransformImageColors.h"

#include "lines/LineHandlers.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

#include <memory>
#include <tuple>

namespace {

using Params = OPDiffuseGlowProcessing::Params;

constexpr filters::ParamsStream stream("KXDiffuseGlow 1.00000", "diffuse glow",
    { "src\\filters\\OPDiffuseGlowProcessing", 297, 283 }, &Params::amount, &Params::radius, &Params::threshold,
    &Params::color, &Params::mode);

} // namespace

KX_FILTER_STREAM(OPDiffuseGlowProcessing, stream)

bool OPDiffuseGlowProcessing::Params::operator==(const Params &other) const
{
    const auto fields = [](const Params &p) { return std::tie(p.amount, p.radius, p.threshold, p.color, p.mode); };
    return fields(*this) == fields(other);
}

OPDiffuseGlowProcessing::OPDiffuseGlowProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPDiffuseGlowProcessing::~OPDiffuseGlowProcessing() = default;

RGBA32iImage OPDiffuseGlowProcessing::run(DiffuseGlowData data)
{
    const Params &params = data.params;
    const OPGaussianAlpha1D kernel(double(params.radius));
    filters::Work glow = filters::Work::Copy(data, { kernel.Left(), kernel.Left() });
    const auto threshold = [&glow](auto stage) {
        return filters::AdjustmentWalk(
            OPImageWalk::Iterative, std::make_shared<decltype(stage)>(stage), glow.image, glow.rect);
    };
    auto bright = threshold(OPColorizeThreshold(params.threshold, OPRGBA32i(params.color.rgba())));
    auto harden = threshold(OPAlphaThreshold(params.threshold));
    lines::LineHandlerConvolution2D<OPGaussianAlpha1D> blur(kernel, glow.image, glow.rect);

    const QRect part = data.selectionRect.isEmpty() ? glow.rect : glow.PartOf(filters::selectedRect(data));
    const auto alpha = params.mode == 0 ? filters::OpacityBlend::Kept : filters::OpacityBlend::Blended;
    QReadWriteLock lock;
    filters::OpacityBlend blend(data, glow.image, part, params.amount, alpha, lock);
    filters::FilterRun(*this, m_cancel).Do(bright, blur, harden, blur, blend);
    return data.image;
}
