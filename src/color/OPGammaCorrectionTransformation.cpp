#include "OPGammaCorrectionTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

namespace {

KXChannelTables gammaTables(double gamma)
{
    const double exponent = 1.0 / color::limitedGamma(gamma, 5.0);
    return color::sameTables([=](int i) { return color::power(i, exponent); });
}

} // namespace

std::function<void(const OPGammaCorrectionTransformation &, unsigned char *, bool)>
    OPGammaCorrectionTransformation::m_GammaCorrectionAVX2;

OPGammaCorrectionTransformation::OPGammaCorrectionTransformation(double gamma)
    : KXTableTransformation(gammaTables(gamma))
{
    m_HasKernel = kernels::bind(m_GammaCorrectionAVX2, KX_SYMBOL(GammaCorrectionTransformationAVX2));
}

void OPGammaCorrectionTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_GammaCorrectionAVX2, *this, pixels, flag);
}
