#include "OPSharpenProcessing.h"

#include "lines/LineHandlers.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

namespace {

constexpr filters::ParamsStream stream("KXSharpen 1.00000", "sharpen",
    { "src\\filters\\OPSharpenProcessing", 168, 154 }, &OPSharpenProcessing::Params::amount);

} // namespace

KX_FILTER_STREAM(OPSharpenProcessing, stream)

OPSharpenProcessing::OPSharpenProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPSharpenProcessing::~OPSharpenProcessing() = default;

RGBA32iImage OPSharpenProcessing::run(SharpenData data)
{
    const OPSimpleSharpenKernel1D sharpen(data.params.amount);
    // The columns read a row above and below the selection, which the rows have to have sharpened.
    const filters::Reach reach { 1, 1 };
    return filters::runPasses({ *this, m_cancel }, data, reach, [&sharpen](RGBA32iImage &image, const QRect &rect) {
        return lines::LineHandlerConvolution2D<OPSimpleSharpenKernel1D>(sharpen, image, rect);
    });
}
