#include "OPDiffuseGlowProcessing.h"

#include "KXKernels.h"
#include "OPTransformImageColors.h"

#include "lines/LineHandlers.h"

#include "FilterFrame.h"
#include "GlowMask.h"
#include "ParamsStream.h"

#include <memory>

namespace {

using Params = OPDiffuseGlowProcessing::Params;

constexpr filters::ParamsStream stream("KXDiffuseGlow 1.00000", "diffuse glow",
    { "src\\filters\\OPDiffuseGlowProcessing", 297, 283 }, &Params::amount, &Params::radius, &Params::threshold,
    &Params::color, &Params::mode);

} // namespace

KX_FILTER_STREAM(OPDiffuseGlowProcessing, stream)

bool OPDiffuseGlowProcessing::Params::operator==(const Params &other) const { return stream.AreEqual(*this, other); }

OPDiffuseGlowProcessing::OPDiffuseGlowProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPDiffuseGlowProcessing::~OPDiffuseGlowProcessing() = default;

RGBA32iImage OPDiffuseGlowProcessing::run(DiffuseGlowData data)
{
    const Params &params = data.params;
    const OPGaussianAlpha1D gaussian(double(params.radius));
    const filters::WorkArea area(data, { gaussian.Left(), gaussian.Left() });
    const OPRGBA32i color(params.color.rgba());
    const filters::FilterRun run(*this, m_cancel);
    QReadWriteLock lock;
    const auto layOver = [&](filters::Picture glow) {
        const QRect part = data.selectionRect.isEmpty() ? area.read : area.read & filters::selectedRect(data);
        const auto alpha = params.mode == 0 ? filters::OpacityBlend::Kept : filters::OpacityBlend::Blended;
        return filters::OpacityBlend(data, std::move(glow), part, params.amount, alpha, lock);
    };
    if (filters::GlowMask::IsPossible(data.image, gaussian)) {
        filters::GlowMask mask(data.image, area, gaussian, params.threshold);
        auto blend = layOver(mask.InColor(color));
        run.Do(mask, blend);
        return data.image;
    }

    filters::Work glow = filters::Work::Copy(data, area);
    const auto threshold = [&glow](auto stage) {
        return filters::AdjustmentWalk(
            OPImageWalk::Iterative, std::make_shared<decltype(stage)>(stage), glow.image, glow.rect);
    };
    auto bright = threshold(OPColorizeThreshold(params.threshold, color));
    auto harden = threshold(OPAlphaThreshold(params.threshold));
    lines::LineHandlerConvolution2D<OPGaussianAlpha1D> blur(gaussian, glow.image, glow.rect);
    auto blend = layOver(glow.InLayer());
    run.Do(bright, blur, harden, blur, blend);
    return data.image;
}
