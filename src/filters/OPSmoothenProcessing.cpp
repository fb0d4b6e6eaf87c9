#include "OPSmoothenProcessing.h"

#include "KXBlur.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

namespace {

constexpr filters::ParamsStream stream("KXSmoothen 1.00000", "smoothen",
    { "src\\filters\\OPSmoothenProcessing", 168, 154 }, &OPSmoothenProcessing::Params::amount);

} // namespace

KX_FILTER_STREAM(OPSmoothenProcessing, stream)

OPSmoothenProcessing::OPSmoothenProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPSmoothenProcessing::~OPSmoothenProcessing() = default;

RGBA32iImage OPSmoothenProcessing::run(SmoothenData data)
{
    return filters::runConvolution({ *this, m_cancel }, data, 1, KXBlur::CreateSimpleBoxKernel(data.params.amount));
}
