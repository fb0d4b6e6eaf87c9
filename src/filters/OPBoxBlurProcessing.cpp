#include "OPBoxBlurProcessing.h"

#include "lines/LineHandlers.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

namespace {

using Window = OPRGBABlurAccumulatorPremul;
using lines::HorizontalDirection, lines::LineHandler, lines::VerticalDirection;

constexpr filters::ParamsStream stream("KXBoxBlur 1.00000", "box blur",
    { "src\\filters\\OPBoxBlurProcessing", 196, 182 }, &OPBoxBlurProcessing::Params::radius);

} // namespace

KX_FILTER_STREAM(OPBoxBlurProcessing, stream)

OPBoxBlurProcessing::OPBoxBlurProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPBoxBlurProcessing::~OPBoxBlurProcessing() = default;

RGBA32iImage OPBoxBlurProcessing::run(BlurData data)
{
    const Window window(data.params.radius);
    // A window reads real neighbours by itself: nothing around the selection needs to be blurred.
    const filters::Reach reach { 0, window.GetRadius() + 1 };
    return filters::runPasses({ *this, m_cancel }, data, reach, [&window](RGBA32iImage &image, const QRect &rect) {
        return filters::InTurn(LineHandler<Window, HorizontalDirection>(window, image, rect),
            LineHandler<Window, VerticalDirection>(window, image, rect));
    });
}

OPBoxBlurProcessing::ResultEx OPBoxBlurProcessing::runEx(BlurDataEx data)
{
    const QPoint origin = filters::growLayer(data, data, Window(data.params.radius).GetRadius());
    return { run(std::move(data)), origin };
}
