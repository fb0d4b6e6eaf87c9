#include "OPBrightnessContrastTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

namespace {

/// A contrast of 259 divides by zero; what comes out converts to the smallest integer, or is NaN, which does too.
KXChannelTables brightnessContrastTables(double b, double c)
{
    const double f = 1.0156862745098039 / (259 - c) * c + 259 / (259 - c); // 259 / 255 in the first place
    return color::sameTables(
        [=](int i) { return arithmetic::clamp8(arithmetic::truncate((i + b - 128) * f + 128 + b)); });
}

} // namespace

std::function<void(const OPBrightnessContrastTransformation &, unsigned char *, bool)>
    OPBrightnessContrastTransformation::m_BrightnessContrastAVX2;

OPBrightnessContrastTransformation::OPBrightnessContrastTransformation(int brightness, int contrast)
    : KXTableTransformation(brightnessContrastTables(brightness, contrast))
{
    m_HasKernel = kernels::bind(m_BrightnessContrastAVX2, KX_SYMBOL(BrightnessContrastTransformationAVX2));
}

void OPBrightnessContrastTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_BrightnessContrastAVX2, *this, pixels, flag);
}
