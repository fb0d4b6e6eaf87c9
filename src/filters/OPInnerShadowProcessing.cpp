#include "OPInnerShadowProcessing.h"

#include "KXFillTransformation.h"
#include "OPInvertTransformation.h"

#include "Shadow.h"

namespace {

constexpr auto stream = filters::shadowStream(
    "KXInnerShadow 1.00000", "inner shadow", { "src\\filters\\OPInnerShadowProcessing", 202, 188 });

} // namespace

KX_FILTER_STREAM(OPInnerShadowProcessing, stream)

OPInnerShadowProcessing::OPInnerShadowProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPInnerShadowProcessing::~OPInnerShadowProcessing() = default;

OPInnerShadowProcessing::InnerShadowResult OPInnerShadowProcessing::run(
    InnerShadowData data) // NOLINT: a value as in every filter, though this one only reads it
{
    const int margin = filters::shadowMargin(data, data.params);
    const auto colorize = std::make_shared<OPColorize<OPRGBA32i>>(OPRGBA32i(data.params.color.rgba()));
    InnerShadowResult result;
    result.color = filters::shadowShape(data, 0);
    result.shape = filters::withMargin(result.color, margin);
    result.origin = QPoint(-margin, -margin);
    filters::runShadow({ *this, m_cancel }, result.shape, margin, OPAlphaBlurAccumulatorWithInvert(margin),
        std::make_shared<OPInvertColorAlpha<OPRGBA32i>>(),
        filters::AdjustmentWalk(OPImageWalk::Iterative, colorize, result.color, result.color.Rect()));
    return result;
}
