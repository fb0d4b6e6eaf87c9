#include "OPHueSaturationTransformation.h"

#include "Hsl.h"
#include "support/Arithmetic.h"
#include "support/Kernels.h"

std::function<void(const OPHueSaturationTransformation &, unsigned char *, bool)>
    OPHueSaturationTransformation::m_HueSaturationAVX2;

OPHueSaturationTransformation::OPHueSaturationTransformation()
    : OPHueSaturationTransformation(0, 0, 0, false)
{
}

OPHueSaturationTransformation::OPHueSaturationTransformation(int hue, int saturation, int lightness, bool colorize)
    : m_Hue(hue)
    , m_Saturation(saturation)
    , m_Lightness(lightness)
    , m_Colorize(colorize)
{
    m_HasKernel = kernels::bind(m_HueSaturationAVX2, KX_SYMBOL(HueSaturationTransformationAVX2));
}

void OPHueSaturationTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_HueSaturationAVX2, *this, pixels, flag);
}

void OPHueSaturationTransformation::operator()(OPRGBA32i &pixel) const
{
    using namespace arithmetic;
    color::Hsl hsl = color::hslOf(pixel);
    hsl.h = m_Colorize ? m_Hue : wrappingAdd(hsl.h, m_Hue);
    hsl.s = clamp8(wrappingAdd(hsl.s, m_Saturation));
    hsl.l = clamp8(wrappingAdd(hsl.l, m_Lightness));
    pixel = color::pixelOf(hsl, pixel.a);
}
