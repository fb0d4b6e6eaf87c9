#include "OPColorEnhancerTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

std::function<void(const OPColorEnhancerTransformation &, const OPLevelsTransformation &, unsigned char *, bool)>
    OPColorEnhancerTransformation::m_ColorEnhancerAVX2;

OPColorEnhancerTransformation::OPColorEnhancerTransformation()
{
    m_HasKernel = kernels::bind(m_ColorEnhancerAVX2, KX_SYMBOL(ColorEnhancerTransformationAVX2));
}

void OPColorEnhancerTransformation::SetLevels(const OPLevelsTransformation &levels)
{
    m_Levels = levels;
    BuildTables();
}

void OPColorEnhancerTransformation::SetAmountData(int amount)
{
    m_Amount = amount;
    BuildTables();
}

void OPColorEnhancerTransformation::BuildTables() { m_Tables = color::fadedTables(m_Levels.Tables(), m_Amount, 100); }

void OPColorEnhancerTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ColorEnhancerAVX2, *this, m_Levels, pixels, flag);
}
