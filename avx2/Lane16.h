#pragma once

#include "Lane8.h"
#include "Vectors.h"

/// The number type for all channels of four pixels at once: functions of Lane1 over sixteen 16-bit lanes, for formulas
/// that stay below 65536.
namespace compose {

struct Mask16 {
    __m256i v; ///< all ones or all zeros in each lane
};

struct Lane16 {
    __m256i v;

    Lane16(__m256i lanes)
        : v(lanes)
    {
    }
    explicit Lane16(quint32 value)
        : v(_mm256_set1_epi16(short(value)))
    {
    }
};

inline Lane16 operator+(Lane16 x, Lane16 y) { return _mm256_add_epi16(x.v, y.v); }
inline Lane16 operator-(Lane16 x, Lane16 y) { return _mm256_sub_epi16(x.v, y.v); }
inline Lane16 operator<<(Lane16 x, int n) { return _mm256_slli_epi16(x.v, n); }
inline Lane16 operator>>(Lane16 x, int n) { return _mm256_srli_epi16(x.v, n); }
inline Mask16 operator<(Lane16 x, Lane16 y) { return { _mm256_cmpgt_epi16(y.v, x.v) }; } // values below 2^15
inline Lane16 min(Lane16 x, Lane16 y) { return _mm256_min_epu16(x.v, y.v); }
inline Lane16 max(Lane16 x, Lane16 y) { return _mm256_max_epu16(x.v, y.v); }
inline Lane16 select(Mask16 m, Lane16 yes, Lane16 no) { return _mm256_blendv_epi8(no.v, yes.v, m.v); }
inline Lane16 mul(Lane16 x, Lane16 y) { return _mm256_mullo_epi16(x.v, y.v); }

inline Lane16 div255(Lane16 n) { return vectors::div255(n.v); }

/// blendOnOpaque for eight pixels, of which @p c covers the source. Channels are not taken apart: alpha is mixed along
/// with them, and put back.
template <class Mode, class Coverage>
void blendOnOpaque16(const OPRGBA32i *src, OPRGBA32i *dst, const Coverage &c)
{
    const __m256i s = loadWords8(src), d = loadWords8(dst), zero = _mm256_setzero_si256();
    const __m256i sa = Mode::alphaOnOpaque(Lane8(s) >> 24, c).v;
    const auto mixed = [](Lane16 source, Lane16 dest, Lane16 alpha) {
        return mixedOnOpaque(Mode::mix(source, dest), dest, alpha).v;
    };
    // The alphas of the first two and of the last two pixels of each half, for each of their channels.
    const __m256i firstTwo = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5, //
        0, 1, 0, 1, 0, 1, 0, 1, 4, 5, 4, 5, 4, 5, 4, 5);
    const __m256i lastTwo = _mm256_add_epi8(firstTwo, _mm256_set1_epi8(8));
    const __m256i low =
        mixed(_mm256_unpacklo_epi8(s, zero), _mm256_unpacklo_epi8(d, zero), _mm256_shuffle_epi8(sa, firstTwo));
    const __m256i high =
        mixed(_mm256_unpackhi_epi8(s, zero), _mm256_unpackhi_epi8(d, zero), _mm256_shuffle_epi8(sa, lastTwo));
    const __m256i opaque = _mm256_set1_epi32(int(0xFF000000));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst), _mm256_or_si256(_mm256_packus_epi16(low, high), opaque));
}

} // namespace compose
