#include "KXFillTransformation.h"

#include "support/Kernels.h"

std::function<void(const OPRGBA32i &, unsigned char *, bool)> OPColorize<OPRGBA32i>::m_ColorizeOPRGBA32iAVX2;

OPColorize<OPRGBA32i>::OPColorize(const OPRGBA32i &color)
    : m_Color(color)
{
    m_HasKernel = kernels::bind(m_ColorizeOPRGBA32iAVX2, KX_SYMBOL(ColorizeOPRGBA32iAVX2));
}

void OPColorize<OPRGBA32i>::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ColorizeOPRGBA32iAVX2, m_Color, pixels, flag);
}
