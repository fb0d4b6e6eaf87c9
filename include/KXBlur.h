#pragma once

/// @file
/// Fixed-point kernels for short convolutions, and the pair of transformations that stands around a convolution of
/// straight pixels.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>
#include <vector>

/// Kernels are an odd number of entries in Q14, 16384 being 1.0, symmetric about the middle one. Their sum is near 16384
/// but is not corrected to it; the rounding of a convolution hides the difference for most values.
namespace KXBlur {

/// A Gaussian that reaches @c KXGaussianBase::Reach(sigma) entries to either side of the middle.
///
/// A sigma of NaN, or of 0 or infinity or so near to them that its square is, gives a kernel of zeros, and so does a sigma
/// from 13108 on, where each weight rounds to 0: a convolution with it clears the image. Above 1398101 it throws as
/// @c Reach does, until three times sigma no longer fits an int; from there on, and for negative values, it reaches 1.
/// Also throws std::bad_alloc.
KX_EXPORT std::vector<short> CreateGaussianKernel(double sigma);

/// Three entries. An amount of 255 is the mean of three, 0 the identity; each entry is truncated to 16 bits.
KX_EXPORT std::vector<short> CreateSimpleBoxKernel(int amount);

/// Three entries. An amount of 0 is the identity; each entry is truncated to 16 bits, which fits amounts up to 127.
KX_EXPORT std::vector<short> CreateSimpleSharpenKernel(int amount);

/// Weights colour by alpha: c becomes (c * a + 127) / 255.
///
/// Its kernel is "PremultiplyAlphaAVX2", looked up by the first object that is made, from whatever thread.
class KX_EXPORT PremultiplyAlpha : public BaseTransformation {
public:
    PremultiplyAlpha();
    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;
    /// @p count pixels, by the kernel where there is one.
    void Apply(OPRGBA32i *pixels, int count) const;

    static std::function<void(unsigned char *, bool)> m_PremultiplyAlphaAVX2;
};

/// The way back: c becomes (c * 255 + a / 2) / a; where alpha is 0 all four bytes become 0.
///
/// **Not clamped**: the result is stored in a byte, so that a colour above its alpha wraps. Convolved pixels may have such
/// colours, by rounding.
class KX_EXPORT ReturnAlpha : public BaseTransformation {
public:
    ReturnAlpha();
    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;
    /// @p count pixels, by the kernel where there is one.
    void Apply(OPRGBA32i *pixels, int count) const;

    static std::function<void(unsigned char *, bool)> m_ReturnAlphaAVX2;
};

} // namespace KXBlur
