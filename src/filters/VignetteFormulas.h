#pragma once

#include <cmath>

/// The arithmetic of the vignette's stages, for double and for the number type of the kernel module.
///
/// The order of operations, and of the arguments of smaller and larger, is part of each formula: it decides the bytes.
namespace vignette {

inline double root(double x) { return std::sqrt(x); }
inline double magnitude(double x) { return std::abs(x); }
/// The second one where the comparison fails, so also where one of the two is NaN.
inline double smaller(double x, double y) { return x < y ? x : y; }
inline double larger(double x, double y) { return x > y ? x : y; }

/// The squares of the semi-axes of an ellipse around the origin.
struct Squares {
    Squares(double a, double b)
        : aa(a * a)
        , bb(b * b)
        , product(bb * aa)
    {
    }

    double aa, bb, product;
};

/// How far the ray from the origin to a point on neither axis goes on beyond the ellipse; the point's coordinates are
/// given as squares.
template <class V>
V beyond(const Squares &squares, V xx, V yy)
{
    const V aa(squares.aa), bb(squares.bb);
    const V q = V(squares.product) / (yy * aa / xx + bb); // the square of x where the ray meets the ellipse
    return root(yy + xx) - root(magnitude(V(1.0) - q / aa) * bb + q);
}

/// The share of itself that a pixel keeps.
struct Linear {
    template <class V>
    static V kept(V distance, V slope)
    {
        return larger(distance * slope + V(1.0), V(0.0));
    }
};
struct Parabolic {
    template <class V>
    static V kept(V distance, V slope)
    {
        return larger(distance * slope * distance + V(1.0), V(0.0));
    }
};

/// A channel that keeps that share, to be truncated.
template <class V>
V mixed(V color, V channel, V kept)
{
    return smaller(color * (V(1.0) - kept) + channel * kept + V(0.5), V(255.5));
}

} // namespace vignette
