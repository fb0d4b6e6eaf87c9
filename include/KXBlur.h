#pragma once

/// @file
/// Fixed-point taps for short convolutions, and the pair of transformations that stands around a convolution of
/// straight pixels: premultiplying them, and unpremultiplying what comes out.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>
#include <vector>

/// A convolution's taps are an odd number of Q14 values, 16384 being 1.0, symmetric about the middle one. Each is
/// rounded by itself, so their sum is near 16384 and need not be exactly that; the rounding of a convolution hides the
/// difference for most values.
namespace KXBlur {

/// The taps of a Gaussian that reaches @c KXGaussianBase::Reach(sigma) pixels to either side of the middle.
///
/// Odd values of sigma give these:
/// - NaN, 0, infinity, and what is so near to the latter two that its square is one of them: three zeros. A convolution
///   with zeros clears the image.
/// - A sigma below a third, also below 0: three taps.
/// - From 13108 on: zeros, as each weight rounds to 0.
/// - Above 1398101: three zeros, whatever the reach, so that no millions of them are made.
/// - From 715827883 on, where three times sigma does not fit an int, the reach is 1: three taps of 5461.
///
/// Throws nothing but std::bad_alloc.
KX_EXPORT std::vector<short> CreateGaussianKernel(double sigma);

/// Three taps. An amount of 255 is the mean of three, 0 the identity; each tap is truncated to 16 bits.
KX_EXPORT std::vector<short> CreateSimpleBoxKernel(int amount);

/// Three taps. An amount of 0 is the identity; each tap is truncated to 16 bits, which fits amounts up to 127.
KX_EXPORT std::vector<short> CreateSimpleSharpenKernel(int amount);

/// Premultiplies: each colour c becomes (c * a + 127) / 255.
///
/// Its kernel is "PremultiplyAlphaAVX2", looked up by each constructor while there is none, on any thread.
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

/// Unpremultiplies: each colour c becomes (c * 255 + a / 2) / a; where alpha is 0 all four bytes become 0.
///
/// **Not clamped**: the result is stored in a byte, so that a colour above its alpha wraps. Convolved pixels may have
/// such colours, by rounding. Its kernel is "ReturnAlphaAVX2", looked up in the same way.
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
