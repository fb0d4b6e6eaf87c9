#include "OPColorizeTransformation.h"

#include "Hsl.h"
#include "Tables.h"
#include "support/Kernels.h"

namespace {

OPHueSaturationTransformation tonedBy(OPRGBA32i color)
{
    const color::Hsl hsl = color::hslOf(color);
    return { hsl.h, hsl.s * 100 / 255, 0, true };
}

KXChannelTables tonesOf(const OPHueSaturationTransformation &toned)
{
    KXChannelTables tones;
    for (unsigned grey = 0; grey < 256; ++grey) {
        OPRGBA32i pixel(0xFF000000u | grey << 16 | grey << 8 | grey);
        toned(pixel);
        tones.r[grey] = pixel.r, tones.g[grey] = pixel.g, tones.b[grey] = pixel.b;
    }
    return tones;
}

} // namespace

std::function<void(const OPColorizeTransformation &, const OPHueSaturationTransformation &, unsigned char *, bool)>
    OPColorizeTransformation::m_ColorizeTransformationAVX2;

OPColorizeTransformation::OPColorizeTransformation(const OPRGBA32i &color, int amount)
    : m_HueSaturation(tonedBy(color))
    , m_Amount(color::byteFadeOfPercent(amount))
    , m_Tones(tonesOf(m_HueSaturation))
{
    m_HasKernel = kernels::bind(m_ColorizeTransformationAVX2, KX_SYMBOL(ColorizeTransformationAVX2));
}

void OPColorizeTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ColorizeTransformationAVX2, *this, m_HueSaturation, pixels, flag);
}

void OPColorizeTransformation::operator()(OPRGBA32i &pixel) const
{
    const OPRGBA32i tone = m_Tones(color::desaturated(pixel));
    const auto faded = [this](int from, int to) {
        return static_cast<unsigned char>(color::faded(from, to, m_Amount, color::wholeByteFade));
    };
    pixel = OPRGBA32i(faded(pixel.b, tone.b), faded(pixel.g, tone.g), faded(pixel.r, tone.r), pixel.a);
}
