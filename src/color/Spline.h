#pragma once

#include "support/Arithmetic.h"

#include <cstddef>
#include <vector>

/// The natural cubic spline through points: in the segment that begins at a point, with t the distance from its x, the
/// value is ((cubic * t + quadratic) * t + linear) * t + y. @p Points is a container of QPoint or QPointF with x
/// increasing. The order of the floating-point operations is part of the results.
namespace color {

/// Computes the three coefficients of each segment into @p cubic, @p quadratic and @p linear, which hold as many zeros
/// as there are points. Where x does not increase they stay zeros: that is a staircase.
template <class Points>
void buildSpline(const Points &points, double *cubic, double *quadratic, double *linear)
{
    const int n = int(points.size());
    const auto step = [&](int k) { return double(points[k + 1].x()) - double(points[k].x()); };
    const auto slope = [&](int k) { return (double(points[k + 1].y()) - double(points[k].y())) / step(k); };
    for (int k = 0; k < n - 1; ++k)
        if (!(step(k) > 0))
            return;

    // The second derivatives z at the points, from a system with three diagonals whose right side has the wrong sign,
    // which the factor -1 mends. Its outer diagonals are equal, and each of them is step(k).
    std::vector<double> z(size_t(n), 0.0), diagonal(size_t(n), 0.0);
    const auto at = [](std::vector<double> &v, int k) -> double & { return v[size_t(k)]; };
    for (int k = 1; k <= n - 2; ++k) {
        at(diagonal, k) = 2 * step(k) + 2 * step(k - 1);
        at(z, k) = (slope(k - 1) - slope(k)) * 6.0;
    }
    for (int k = 2; k <= n - 2; ++k) {
        const double m = step(k - 1) / at(diagonal, k - 1);
        at(diagonal, k) -= m * step(k - 1);
        at(z, k) -= m * at(z, k - 1);
    }
    for (int k = n - 2; k >= 1; --k) {
        const double above = k < n - 2 ? step(k) * at(z, k + 1) + at(z, k) : at(z, k);
        at(z, k) = -1.0 / at(diagonal, k) * above;
    }

    constexpr double sixth = 0.16666666666666666;
    for (int k = 0; k < n - 1; ++k) {
        cubic[k] = sixth / step(k) * (at(z, k + 1) - at(z, k));
        quadratic[k] = at(z, k) * 0.5;
        linear[k] = slope(k) - (at(z, k) + at(z, k) + at(z, k + 1)) * step(k) * sixth;
    }
}

/// The segment for @p x: the last one whose point is not to the right of it, but for the outermost, which go on beyond
/// their ends.
template <class Points>
int segmentOf(double x, const Points &points)
{
    const int last = int(points.size()) - 2;
    if (last < 0 || x <= points[0].x())
        return 0;
    if (x >= points[last].x())
        return last;
    int low = 0, high = last;
    while (high - low > 1) {
        const int middle = low + (high - low) / 2;
        (points[middle].x() <= x ? low : high) = middle;
    }
    return low;
}

/// The value at @p x with 0.5 added, truncated.
template <class Points>
int splineValue(double x, const Points &points, const double *cubic, const double *quadratic, const double *linear)
{
    const int k = segmentOf(x, points);
    const double t = x - points[k].x();
    return arithmetic::truncate(((t * cubic[k] + quadratic[k]) * t + linear[k]) * t + points[k].y() + 0.5);
}

} // namespace color
