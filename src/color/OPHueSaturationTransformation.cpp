#include "OPHueSaturationTransformation.h"

#include "Hsl.h"
#include "support/Arithmetic.h"

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
