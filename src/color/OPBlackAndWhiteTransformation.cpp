#include "OPBlackAndWhiteTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

#include <algorithm>
#include <cmath>

namespace {

/// L* of the value @p i, scaled to 0..255. Is never negative: the root counts for x above 0.008856, where it gives 20.
float lightness(int i)
{
    const float x = float(i) * arithmetic::perByteSingle;
    return x > 0.008856f ? std::pow(x, 0.33333334f) * 295.8f - 40.8f : x * 2303.415f;
}

KXChannelTables::Table sharesOf(bool lightnessCurve, float weight)
{
    return color::tableOf([=](int i) {
        return arithmetic::clamp8(arithmetic::truncate((lightnessCurve ? lightness(i) : float(i)) * weight));
    });
}

/// The least factor whose products reach all shares, if none of them goes beyond. Weights with the same truncated
/// products fill an interval between two fractions whose denominators are at most 255. So it is no shorter than
/// 1 / (254 * 255), and contains a multiple of 1 / 65536. Only where single precision rounds some products up to an
/// integer may there be none. Below 16 the sum of three products of 8 bits fits 16 bits with a sign.
std::optional<int> factorOf(const KXChannelTables::Table &shares)
{
    int factor = 0;
    for (int i = 1; i < 256; ++i)
        factor = std::max(factor, (shares[size_t(i)] * 65536 + i - 1) / i);
    const auto isShare = [&, i = 0](int share) mutable { return share == std::min(i++ * factor / 65536, 255); };
    if (factor >= 16 * 65536 || !std::all_of(shares.begin(), shares.end(), isShare))
        return std::nullopt;
    return factor;
}

std::optional<OPBlackAndWhiteTransformation::Factors> factorsOf(const KXChannelTables &shares)
{
    const auto r = factorOf(shares.r), g = factorOf(shares.g), b = factorOf(shares.b);
    if (!r || !g || !b)
        return std::nullopt;
    return OPBlackAndWhiteTransformation::Factors { *r, *g, *b };
}

} // namespace

std::function<void(const OPBlackAndWhiteTransformation &, unsigned char *, bool)>
    OPBlackAndWhiteTransformation::m_BlackAndWhiteAVX2;

OPBlackAndWhiteTransformation::OPBlackAndWhiteTransformation(bool lightnessCurve, float red, float green, float blue)
    : m_Shares { sharesOf(lightnessCurve, red), sharesOf(lightnessCurve, green), sharesOf(lightnessCurve, blue) }
    , m_ShareFactors(factorsOf(m_Shares))
{
    m_HasKernel = kernels::bind(m_BlackAndWhiteAVX2, KX_SYMBOL(BlackAndWhiteTransformationAVX2));
}

void OPBlackAndWhiteTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_BlackAndWhiteAVX2, *this, pixels, flag);
}

void OPBlackAndWhiteTransformation::operator()(OPRGBA32i &pixel) const
{
    const OPRGBA32i shares = m_Shares(pixel);
    const auto grey = static_cast<unsigned char>(std::min(shares.r + shares.g + shares.b, 255));
    pixel = OPRGBA32i(grey, grey, grey, pixel.a);
}
