#include "OPThresholdRGB32.h"

#include "support/Kernels.h"

std::function<void(const OPThresholdRGB32 &, unsigned char *, bool)> OPThresholdRGB32::m_ThresholdAVX2;

OPThresholdRGB32::OPThresholdRGB32()
    : OPThresholdRGB32(0)
{
}

OPThresholdRGB32::OPThresholdRGB32(int level)
    : m_Level(level)
{
    m_HasKernel = kernels::bind(m_ThresholdAVX2, KX_SYMBOL(ThresholdAVX2));
}

void OPThresholdRGB32::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ThresholdAVX2, *this, pixels, flag);
}

void OPThresholdRGB32::operator()(OPRGBA32i &pixel) const
{
    pixel.word = (pixel.word & 0xFF000000u) | (Luminance(pixel) < m_Level ? 0u : 0x00FFFFFFu);
}
