#pragma once

#include <cmath>
#include <vector>

namespace lines {

/// The weights of a Gaussian at -radius..radius, not normalised. The factor 1 / pi cancels in the normalisation, but
/// not its roundings: it is part of the result. The squares are exact: radius is below 2^22.
inline std::vector<double> gaussian(unsigned radius, double sigma)
{
    const double doubleSquare = (sigma + sigma) * sigma;
    const double exponent = -1.0 / doubleSquare, factor = 0.3183098861837907 / doubleSquare;
    std::vector<double> weights(2 * size_t(radius) + 1);
    for (size_t i = 0; i <= radius; ++i)
        weights[radius - i] = weights[radius + i] = std::exp(double(i * i) * exponent) * factor;
    return weights;
}

/// The sum of symmetric weights in the order that the results depend on: from the middle outward, one weight at a time.
inline double sumFromMiddle(const std::vector<double> &weights)
{
    const size_t radius = weights.size() / 2;
    double sum = weights[radius];
    for (size_t i = 1; i <= radius; ++i) {
        sum += weights[radius - i];
        sum += weights[radius + i];
    }
    return sum;
}

} // namespace lines
