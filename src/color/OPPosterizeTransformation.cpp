#include "OPPosterizeTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

namespace {

KXChannelTables posterizeTables(int levels)
{
    Q_ASSERT_X(levels != 1, "OPPosterizeTransformation", "a single level");
    const double levelsPerValue = color::perByte / (1.0 / levels);
    return color::sameTables([=](int i) {
        if (levels < 2)
            return i;
        const int level = i == 255 ? levels - 1 : arithmetic::truncate(i * levelsPerValue);
        return arithmetic::wrappingMultiply(level, 255) / (levels - 1);
    });
}

} // namespace

std::function<void(const OPPosterizeTransformation &, unsigned char *, bool)>
    OPPosterizeTransformation::m_PosterizeAVX2;

OPPosterizeTransformation::OPPosterizeTransformation(int levels)
    : KXTableTransformation(posterizeTables(levels))
{
    m_HasKernel = kernels::bind(m_PosterizeAVX2, KX_SYMBOL(PosterizeTransformationAVX2));
}

void OPPosterizeTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_PosterizeAVX2, *this, pixels, flag);
}
