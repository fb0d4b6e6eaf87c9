#pragma once

/// @file
/// Gaussian weights in double precision.
///
/// Plain values: copies are deep, and any thread may use a copy of its own.

#include "KXGlobal.h"

#include <vector>

/// The weights of a Gaussian over 2 * radius + 1 samples; they sum to 1 up to rounding. Empty until @c Init is called.
class KX_EXPORT KXGaussianBase {
public:
    static constexpr double PI = 3.141592653589793;

    /// The largest radius of weights, which are then more than eight million.
    static constexpr unsigned MaximumRadius = (1u << 22) - 1;

    /// How far a Gaussian reaches to either side: three times @p sigma, truncated, and at least 1. What does not fit an
    /// int, and NaN, gives 1, as does a negative sigma. May exceed @c MaximumRadius.
    static int Reach(double sigma);

    /// Sets the weights to a Gaussian whose sigma is a third of @p radius. A radius of 0 gives the single weight 1.
    /// Throws std::length_error above @c MaximumRadius.
    void Init(unsigned int radius);

    /// How many samples the weights reach to either side.
    unsigned int Left() const { return m_radius; }
    unsigned int Right() const { return m_radius; }

    /// Left() + 1 + Right() weights, symmetric.
    const std::vector<double> &Weights() const { return m_weights; }

protected:
    /// @c Init with a sigma of its own. The weights are w(i) = exp(i * i * (-1 / (2 s s))) * (1 / pi) / (2 s s), each
    /// multiplied by the reciprocal of their sum.
    void Init(unsigned int radius, double sigma);

private:
    unsigned int m_radius = 0;
    std::vector<double> m_weights;
};

/// A Gaussian to be used on values as they are.
///
/// @code
/// KXGaussianKernel gaussian;
/// gaussian.Init(3); // a sigma of 1
/// const int reach = int(gaussian.Left());
/// double blurred = 0.0; // around the place x
/// for (int i = -reach; i <= reach; ++i)
///     blurred += values[size_t(x + i)] * gaussian.Weights()[size_t(reach + i)];
/// @endcode
class KX_EXPORT KXGaussianKernel : public KXGaussianBase { };

/// The same weights, named for use on premultiplied pixels.
class KX_EXPORT KXGaussianKernelPremul : public KXGaussianBase { };
