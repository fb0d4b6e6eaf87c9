#pragma once

#include "KXKernels.h"
#include "KXShadow.h"
#include "OPTransformImageColors.h"

#include "lines/LineHandlers.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

#include <memory>

/// What both shadows are made of.
namespace filters {

/// The parameter stream of a shadow.
constexpr auto shadowStream(const char *signature, const char *name, const StreamSource &source)
{
    using P = KXShadowParams;
    return ParamsStream(signature, name, source, &P::angle, &P::color, &P::opacity, &P::distance, &P::spread,
        &P::blurRadius, &P::noise);
}

/// How much larger than the layer its blurred shape is on each side; below 0 it is smaller. A layer of no area stays
/// so.
int shadowMargin(const KXFilterData &data, const KXShadowParams &params);

/// The layer as it is seen through its mask, in a new flat image with such a margin.
RGBA32iImage shadowShape(const KXFilterData &data, int margin);

/// A copy of @p image in a new flat image with such a margin.
RGBA32iImage withMargin(const RGBA32iImage &image, int margin);

/// Blurs the alpha of @p shape, along its columns by @p columns, or applies @p unblurred where there is no margin; then
/// runs the other passes.
template <class Columns, class... Passes>
void runShadow(const FilterRun &run, RGBA32iImage &shape, int margin, const Columns &columns,
    std::shared_ptr<BaseTransformation> unblurred, Passes... passes)
{
    if (margin == 0)
        return run.Do(AdjustmentWalk(OPImageWalk::Iterative, std::move(unblurred), shape, shape.Rect()), passes...);
    const OPAlphaBlurAccumulator rows(columns.GetRadius());
    run.Do(lines::LineHandler<OPAlphaBlurAccumulator, lines::HorizontalDirection>(rows, shape, shape.Rect()),
        lines::LineHandler<Columns, lines::VerticalDirection>(columns, shape, shape.Rect()), passes...);
}

} // namespace filters
