#include "OPExposureTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

namespace {

KXChannelTables exposureTables(double exposure, double offset)
{
    const double k = exposure * 0.049999750001249996 + 1.0, b = offset * 255.0;
    const double low = k == 0 ? 0.0 : -1.0 / k * b, high = k == 0 ? 255.0 : (255.0 - b) / k;
    return color::sameTables([=](int i) {
        if (!(i >= low)) // also where it is NaN
            return 0;
        return i >= high ? 255 : arithmetic::clamp8(arithmetic::truncate(i * k + b));
    });
}

} // namespace

std::function<void(const OPExposureTransformation &, unsigned char *, bool)> OPExposureTransformation::m_ExposureAVX2;

OPExposureTransformation::OPExposureTransformation(double exposure, double offset)
    : KXTableTransformation(exposureTables(exposure, offset))
{
    m_HasKernel = kernels::bind(m_ExposureAVX2, KX_SYMBOL(ExposureTransformationAVX2));
}

void OPExposureTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ExposureAVX2, *this, pixels, flag);
}
