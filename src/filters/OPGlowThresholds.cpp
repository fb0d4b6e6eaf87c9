#include "OPGlowThresholds.h"

#include "OPThresholdRGB32.h"

#include "support/Kernels.h"

std::function<void(const OPAlphaThreshold &, unsigned char *, bool)> OPAlphaThreshold::m_AlphaThresholdAVX2;
std::function<void(const OPColorizeThreshold &, unsigned char *, bool)> OPColorizeThreshold::m_ColorizeThresholdAVX2;

OPAlphaThreshold::OPAlphaThreshold(int threshold)
    : m_threshold(threshold)
{
    m_HasKernel = kernels::bind(m_AlphaThresholdAVX2, KX_SYMBOL(AlphaThresholdAVX2));
}

void OPAlphaThreshold::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_AlphaThresholdAVX2, *this, pixels, flag);
}

void OPAlphaThreshold::operator()(OPRGBA32i &pixel) const { pixel.a = pixel.a < m_threshold ? 0 : 255; }

OPColorizeThreshold::OPColorizeThreshold(int threshold, const OPRGBA32i &color)
    : m_threshold(threshold)
    , m_color(color)
{
    m_HasKernel = kernels::bind(m_ColorizeThresholdAVX2, KX_SYMBOL(ColorizeThresholdAVX2));
}

void OPColorizeThreshold::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ColorizeThresholdAVX2, *this, pixels, flag);
}

void OPColorizeThreshold::operator()(OPRGBA32i &pixel) const
{
    const bool isDark = OPThresholdRGB32::Luminance(pixel) < m_threshold;
    pixel.word = (m_color.word & 0x00FFFFFFu) | (isDark ? 0u : 0xFF000000u);
}
