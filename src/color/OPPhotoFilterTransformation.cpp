#include "OPPhotoFilterTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

namespace {

OPLevelsTransformation levelsUpTo(OPRGBA32i color)
{
    int input[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    int output[4][2] = { { 0, 255 }, { 0, color.r }, { 0, color.g }, { 0, color.b } };
    double gammas[4] = { 1.0, 1.0, 1.0, 1.0 };
    return { input, output, gammas, 100 };
}

} // namespace

std::function<void(const OPPhotoFilterTransformation &, const OPLevelsTransformation &, unsigned char *, bool)>
    OPPhotoFilterTransformation::m_PhotoFilterAVX2;

OPPhotoFilterTransformation::OPPhotoFilterTransformation(const OPRGBA32i &color, int amount)
    : m_Levels(levelsUpTo(color))
    , m_Amount(arithmetic::wrappingMultiply(amount, 255) / 100)
{
    m_Tables = color::fadedTables(m_Levels.Tables(), m_Amount, 255);
    m_HasKernel = kernels::bind(m_PhotoFilterAVX2, KX_SYMBOL(PhotoFilterTransformationAVX2));
}

void OPPhotoFilterTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_PhotoFilterAVX2, *this, m_Levels, pixels, flag);
}
