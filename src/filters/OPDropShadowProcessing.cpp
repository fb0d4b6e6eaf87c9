#include "OPDropShadowProcessing.h"

#include "KXFillTransformation.h"

#include "Shadow.h"

namespace {

constexpr auto stream =
    filters::shadowStream("KXDropShadow 1.00000", "drop shadow", { "src\\filters\\OPDropShadowProcessing", 202, 188 });

} // namespace

KX_FILTER_STREAM(OPDropShadowProcessing, stream)

OPDropShadowProcessing::OPDropShadowProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPDropShadowProcessing::~OPDropShadowProcessing() = default;

OPDropShadowProcessing::DropShadowResult OPDropShadowProcessing::run(
    DropShadowData data) // NOLINT: a value as in every filter, though this one only reads it
{
    const int margin = filters::shadowMargin(data, data.params);
    const OPRGBA32i color(data.params.color.rgba());
    RGBA32iImage shape = filters::shadowShape(data, margin);
    filters::runShadow({ *this, m_cancel }, shape, margin, OPAlphaBlurAccumulatorWithRGBColorize(margin, color),
        std::make_shared<OPColorize<OPRGBA32i>>(color));
    return { shape, QPoint() };
}
