#include "OPInvertTransformation.h"

#include "support/Kernels.h"

std::function<void(unsigned char *, bool)> OPInvertTransformation::m_InvertAVX2;
std::function<void(unsigned char *, bool)> OPInvertColor<OPRGBA32i>::m_InvertColorOPRGBA32iAVX2;
std::function<void(unsigned char *, bool)> OPInvertColorAlpha<OPRGBA32i>::m_InvertColorAlphaOPRGBA32iAVX2;

OPInvertTransformation::OPInvertTransformation()
{
    m_HasKernel = kernels::bind(m_InvertAVX2, KX_SYMBOL(InvertTransformationAVX2));
}

void OPInvertTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_InvertAVX2, pixels, flag);
}

OPInvertColor<OPRGBA32i>::OPInvertColor()
{
    m_HasKernel = kernels::bind(m_InvertColorOPRGBA32iAVX2, KX_SYMBOL(InvertColorOPRGBA32iAVX2));
}

void OPInvertColor<OPRGBA32i>::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_InvertColorOPRGBA32iAVX2, pixels, flag);
}

OPInvertColorAlpha<OPRGBA32i>::OPInvertColorAlpha()
{
    m_HasKernel = kernels::bind(m_InvertColorAlphaOPRGBA32iAVX2, KX_SYMBOL(InvertColorAlphaOPRGBA32iAVX2));
}

void OPInvertColorAlpha<OPRGBA32i>::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_InvertColorAlphaOPRGBA32iAVX2, pixels, flag);
}
