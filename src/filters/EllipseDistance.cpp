#include "OPVignetteProcessing.h"

#include <algorithm>
#include <cmath>
#include <limits>

// The closest point of an ellipse: David Eberly, "Distance from a Point to an Ellipse, an Ellipsoid, or a
// Hyperellipsoid", Geometric Tools, 2013. The root is found by bisection, which needs no start value and does not miss.

namespace {

struct Point {
    double x, y;
};

/// The closest point in the first quadrant, its coordinates as fractions of the semi-axes, for @p a >= @p b >= 0 and a
/// point of that quadrant.
Point closest(double a, double b, Point point)
{
    // The major semi-axis becomes 1. What lies further away than that is as good as infinitely far, and the limits keep
    // all that follows below 1e200.
    constexpr double far = 1e100, thin = 1e-50;
    const double most = std::max(point.x, point.y);
    const bool isFar = most > 0 && most / a > far;
    const Point unit = isFar ? Point { point.x / most * far, point.y / most * far }
        : a == 0             ? Point {}
                             : Point { point.x / a, point.y / a };
    const double ratio = a == 0 ? 0 : b / a;
    if (ratio < thin) // a line
        return { std::min(unit.x, 1.0), 0 };

    const double shrunk = (1 - ratio) * (1 + ratio);
    if (unit.y == 0) { // the closest point is off the axis where the curve bends more than a circle around the point
        const double x = std::min(unit.x < shrunk ? unit.x / shrunk : 1.0, 1.0);
        return { x, std::sqrt((1 - x) * (1 + x)) };
    }
    // It is (x / (p + c), y / p), with p from the sum of their squares, which is to be 1 and falls with p. The paper
    // looks for p - 1, which has few digits left where p is small.
    const double x = unit.x / ratio / ratio, y = unit.y / ratio, c = shrunk / ratio / ratio;
    double low = y, high = std::hypot(x, y), p = low;
    for (double middle = (low + high) / 2; low < middle && middle < high; middle = (low + high) / 2) {
        p = middle;
        const double u = x / (p + c), v = y / p;
        (u * u + v * v > 1 ? low : high) = p;
    }
    return { std::min(x / (p + c), 1.0), std::min(y / p, 1.0) };
}

/// The distance, and the closest point.
std::vector<double> result(const Point &from, const Point &to)
{
    const double distance = std::hypot(from.x - to.x, from.y - to.y);
    return { std::min(distance, std::numeric_limits<double>::max()), to.x, to.y };
}

} // namespace

std::vector<double> OPVignetteProcessing::DistancePointEllipse(double a, double b, double x, double y)
{
    const Point axes { std::abs(a), std::abs(b) }, point { std::abs(x), std::abs(y) };
    const Point mirrored { point.y, point.x };
    const Point swapped = axes.x < axes.y ? closest(axes.y, axes.x, mirrored) : closest(axes.x, axes.y, point);
    const Point at = axes.x < axes.y ? Point { swapped.y, swapped.x } : swapped;
    return result({ x, y }, { std::copysign(axes.x * at.x, x), std::copysign(axes.y * at.y, y) });
}

std::vector<double> OPVignetteProcessing::DistancePointEllipseSpecial(double a, double b, double x, double y)
{
    if (!(a >= b && b >= 0 && x >= 0 && y >= 0))
        return DistancePointEllipse(a, b, x, y);
    const Point at = closest(a, b, { x, y });
    return result({ x, y }, { a * at.x, b * at.y });
}
