#include "OPPhotoFilterTransformation.h"

#include "OutputLevels.h"
#include "Tables.h"
#include "support/Kernels.h"

std::function<void(const OPPhotoFilterTransformation &, const OPLevelsTransformation &, unsigned char *, bool)>
    OPPhotoFilterTransformation::m_PhotoFilterAVX2;

OPPhotoFilterTransformation::OPPhotoFilterTransformation(const OPRGBA32i &color, int amount)
    : m_Levels(color::levelsOfOutput({ 0, color.r }, { 0, color.g }, { 0, color.b }))
{
    m_Tables = color::fadedTables(m_Levels.Tables(), color::byteFadeOfPercent(amount), color::wholeByteFade);
    m_HasKernel = kernels::bind(m_PhotoFilterAVX2, KX_SYMBOL(PhotoFilterTransformationAVX2));
}

void OPPhotoFilterTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_PhotoFilterAVX2, *this, m_Levels, pixels, flag);
}
