#pragma once

#include "OPThresholdRGB32.h"

#include <immintrin.h>

#include <algorithm>

namespace vectors {

/// Which of eight pixels have a luminance, as @c OPThresholdRGB32 has it, below a level: all bits of these are set. The
/// sum is divided by 100 and compared with the level, in integers: it is below 100 times the level.
class IsDark {
public:
    explicit IsDark(int level)
        : m_weights(_mm256_set1_epi32(T::weightB | T::weightG << 8 | T::weightR << 16))
        , m_limit(_mm256_set1_epi32(std::clamp(level, 0, 256) * T::divisor))
    {
        static_assert(255 * std::max(T::weightB + T::weightG, T::weightR) < 32768, "sums of two products fit 16 bits");
    }

    __m256i operator()(__m256i words) const
    {
        const __m256i pairs = _mm256_maddubs_epi16(words, m_weights);
        return _mm256_cmpgt_epi32(m_limit, _mm256_madd_epi16(pairs, _mm256_set1_epi16(1)));
    }

private:
    using T = OPThresholdRGB32;

    __m256i m_weights, m_limit;
};

} // namespace vectors
