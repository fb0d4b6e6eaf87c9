#include "OPLevelsTransformation.h"

#include "Tables.h"
#include "support/Kernels.h"

#include <algorithm>

namespace {

using arithmetic::truncate;

constexpr double largestGamma = 9.99;

/// The exponent of the master.
double exponentOfMaster(double gamma) { return 1.0 / color::limitedGamma(gamma, largestGamma); }

/// The exponent of a channel, a whole number: 1 for a gamma from 1 to below 2, 0 above, and below the smallest integer,
/// to which infinity truncates.
int exponentOfChannel(double gamma) { return truncate(1.0 / truncate(color::limitedGamma(gamma, largestGamma))); }

/// What one step makes of the value @p i. Levels that no dialog offers may wrap.
int mapped(int i, double exponent, const int (&input)[2], const int (&output)[2])
{
    using namespace arithmetic;
    const int p = color::power(i, exponent);
    if (p < input[0])
        return output[0];
    if (p > input[1])
        return output[1];
    const auto [low, high] = std::minmax(output[0], output[1]);
    if (input[0] == input[1])
        return high;
    const int product = wrappingMultiply(wrappingSubtract(p, input[0]), wrappingSubtract(output[1], output[0]));
    const int quotient = wrappingDivide(product, wrappingSubtract(input[1], input[0]));
    return std::clamp(wrappingAdd(quotient, output[0]), low, high);
}

KXChannelTables levelsTables(const int (*input)[2], const int (*output)[2], const double *gammas, int amount)
{
    const double masterExponent = exponentOfMaster(gammas[0]);
    const auto master = color::tableOf([&](int i) { return mapped(i, masterExponent, input[0], output[0]); });
    const auto channel = [&](int c) {
        const int exponent = exponentOfChannel(gammas[c]);
        return color::tableOf([&](int i) { return mapped(i, exponent, input[c], output[c]); });
    };
    return color::throughMaster({ channel(1), channel(2), channel(3) }, master, amount);
}

} // namespace

std::function<void(const OPLevelsTransformation &, unsigned char *, bool)> OPLevelsTransformation::m_LevelsAVX2;

OPLevelsTransformation::OPLevelsTransformation()
{
    m_HasKernel = kernels::bind(m_LevelsAVX2, KX_SYMBOL(LevelsTransformationAVX2));
}

OPLevelsTransformation::OPLevelsTransformation(
    int (*const inputLevels)[2], int (*const outputLevels)[2], double *const gammas, int amount)
    : KXTableTransformation(levelsTables(inputLevels, outputLevels, gammas, amount))
{
    m_HasKernel = kernels::bind(m_LevelsAVX2, KX_SYMBOL(LevelsTransformationAVX2));
}

void OPLevelsTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_LevelsAVX2, *this, pixels, flag);
}
