#pragma once

#include "Vectors.h"

#include <cmath>

/// The arithmetic of OPSimpleSharpenKernel1D on sixteen channels of 16 bits, for amounts such that
/// lines::sharpening::fits.
///
/// A channel c between l and r becomes (c * (2 * amount + 1785) - (l + r) * amount + 765) / 1785, clamped. With the
/// bend d = 2 * c - l - r, which lies within 510 of 0, that is c + q, where q is (d * amount + 765) / 1785, rounded
/// down: below zero the kernel rounds up, and both are clamped to 0.
class Sharpening {
public:
    explicit Sharpening(int amount)
    {
        const double share = amount * (32768 / 1785.0);
        const long rounded = std::lround(share);
        m_rounded = _mm256_set1_epi16(short(rounded));
        m_twice = _mm256_set1_epi16(short(2 * rounded));
        m_lacking = _mm256_set1_epi16(short(std::lround((share - double(rounded)) * 65536)));
    }

    /// The results in 16 bits, to be clamped to bytes.
    ///
    /// Let x = d * amount / 1785 = d * share / 32768. The integer next to d * rounded / 32768 leaves a fraction from
    /// -0.5 to 0.5, of which the low half of d * twice is the numerator over 65536. To that is added d * lacking /
    /// 32768, of less than 511; the sum saturates rather than to change its sign. So x is the integer and a fraction of
    /// at most 0.508 in either direction, and as 765 / 1785 is 0.43, q is the integer, or 1 less where the fraction is
    /// below -765 / 1785. Over 65536 that is -28086.9; the next value that x can have there is -28123.6, and roundings
    /// move the sum by less than 1.
    __m256i Words(__m256i c, __m256i d) const
    {
        const __m256i integer = _mm256_mulhrs_epi16(d, m_rounded);
        const __m256i fraction = _mm256_adds_epi16(_mm256_mullo_epi16(d, m_twice), _mm256_mulhrs_epi16(d, m_lacking));
        const __m256i isOneLess = _mm256_cmpgt_epi16(_mm256_set1_epi16(-28105), fraction);
        return _mm256_add_epi16(_mm256_add_epi16(c, integer), isOneLess);
    }

private:
    __m256i m_rounded, m_twice;
    __m256i m_lacking; ///< 65536ths that rounding took away; below half of them, as 1785 is odd
};
