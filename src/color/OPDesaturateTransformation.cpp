#include "OPDesaturateTransformation.h"

#include "Hsl.h"
#include "support/Kernels.h"

std::function<void(unsigned char *, bool)> OPDesaturateTransformation::m_DesaturateAVX2;

OPDesaturateTransformation::OPDesaturateTransformation()
{
    m_HasKernel = kernels::bind(m_DesaturateAVX2, KX_SYMBOL(DesaturateTransformationAVX2));
}

void OPDesaturateTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_DesaturateAVX2, pixels, flag);
}

void OPDesaturateTransformation::operator()(OPRGBA32i &pixel) const { pixel = color::desaturated(pixel); }
