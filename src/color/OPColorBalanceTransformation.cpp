#include "OPColorBalanceTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

#include <cmath>

namespace {

KXChannelTables::Table balanced(const int *values)
{
    return color::tableOf([values](int i) {
        if (i == 0 || i == 255)
            return i;
        const auto f = float(i);
        const float shadows = std::exp((f - 80) * -0.00055f * (f - 80)) * 0.43f;
        const float midtones = std::exp((f - 127.5f) * -0.0004f * (f - 127.5f)) * 0.74f;
        const float highlights = std::exp((f - 176) * -0.00055f * (f - 176)) * 0.43f;
        const auto a = float(values[0]), b = float(values[1]), c = float(values[2]);
        // The weights of a value add up to less than 1, so that the sum fits for all integers.
        return arithmetic::clamp8(arithmetic::truncate(c * highlights + a * shadows + (f + b * midtones)));
    });
}

} // namespace

std::function<void(const OPColorBalanceTransformation &, unsigned char *, bool)>
    OPColorBalanceTransformation::m_ColorBalanceAVX2;

OPColorBalanceTransformation::OPColorBalanceTransformation(const int *red, const int *green, const int *blue)
    : KXTableTransformation({ balanced(red), balanced(green), balanced(blue) })
{
    m_HasKernel = kernels::bind(m_ColorBalanceAVX2, KX_SYMBOL(ColorBalanceTransformationAVX2));
}

void OPColorBalanceTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ColorBalanceAVX2, *this, pixels, flag);
}
