#include "OPTintRGB32.h"

#include "OutputLevels.h"
#include "support/Arithmetic.h"
#include "support/Kernels.h"

namespace {

OPLevelsTransformation levelsBetween(OPRGBA32i dark, OPRGBA32i light, int amount)
{
    const auto share = [amount](int value) { return arithmetic::wrappingMultiply(value, amount) / 100; };
    return color::levelsOfOutput({ share(dark.r), 255 + share(light.r - 255) },
        { share(dark.g), 255 + share(light.g - 255) }, { share(dark.b), 255 + share(light.b - 255) });
}

} // namespace

std::function<void(const OPLevelsTransformation &, unsigned char *, bool)> OPTintRGB32::m_TintAVX2;

OPTintRGB32::OPTintRGB32(const OPRGBA32i &darkColor, const OPRGBA32i &lightColor, int amount)
    : m_Levels(levelsBetween(darkColor, lightColor, amount))
{
    m_HasKernel = kernels::bind(m_TintAVX2, KX_SYMBOL(TintAVX2));
}

void OPTintRGB32::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_TintAVX2, m_Levels, pixels, flag);
}

void OPTintRGB32::operator()(OPRGBA32i &pixel) const { m_Levels(pixel); }
