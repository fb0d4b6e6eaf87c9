#pragma once

#include "compose/Lane1.h"

#include <immintrin.h>

/// The number type of the blend arithmetic for eight pixels at once: the functions of Lane1 over eight 32-bit lanes.
namespace compose {

struct Mask8 {
    __m256i v; ///< all ones or all zeros in each lane
};

struct Lane8 {
    __m256i v;

    Lane8() = default;
    Lane8(__m256i lanes)
        : v(lanes)
    {
    }
    explicit Lane8(quint32 value)
        : v(_mm256_set1_epi32(int(value)))
    {
    }
};

inline Lane8 operator+(Lane8 x, Lane8 y) { return _mm256_add_epi32(x.v, y.v); }
inline Lane8 operator-(Lane8 x, Lane8 y) { return _mm256_sub_epi32(x.v, y.v); }
inline Lane8 operator&(Lane8 x, Lane8 y) { return _mm256_and_si256(x.v, y.v); }
inline Lane8 operator|(Lane8 x, Lane8 y) { return _mm256_or_si256(x.v, y.v); }
inline Lane8 operator~(Lane8 x) { return _mm256_xor_si256(x.v, _mm256_set1_epi32(-1)); }
inline Lane8 operator<<(Lane8 x, int n) { return _mm256_slli_epi32(x.v, n); }
inline Lane8 operator>>(Lane8 x, int n) { return _mm256_srli_epi32(x.v, n); }
inline Mask8 operator==(Lane8 x, Lane8 y) { return { _mm256_cmpeq_epi32(x.v, y.v) }; }
inline Mask8 operator<(Lane8 x, Lane8 y) { return { _mm256_cmpgt_epi32(y.v, x.v) }; } // values below 2^31

inline Lane8 min(Lane8 x, Lane8 y) { return _mm256_min_epu32(x.v, y.v); }
inline Lane8 max(Lane8 x, Lane8 y) { return _mm256_max_epu32(x.v, y.v); }
inline Lane8 select(Mask8 m, Lane8 yes, Lane8 no) { return _mm256_blendv_epi8(no.v, yes.v, m.v); }
/// Of vectors: of two variables of a class, ?: chooses an address, and the compiler then keeps pixels in memory.
inline Lane8 select(bool condition, Lane8 yes, Lane8 no) { return condition ? yes.v : no.v; }

/// Factors below 32768 or -1: as 16-bit halves the upper ones are both 0, or 0 and -1, so one multiply-add of pairs is
/// the signed product.
inline Lane8 mul(Lane8 x, Lane8 y) { return _mm256_madd_epi16(x.v, y.v); }
inline Lane8 operator*(Lane8 x, Lane8 y) { return mul(x, y); }
inline Lane8 mulWide(Lane8 x, Lane8 y) { return _mm256_mullo_epi32(x.v, y.v); }

/// n / 255 = (n * 0x8081) >> 23 for n below 65536: 0x8081 * 255 = 2^23 + 127, so the quotient is too large by
/// n * 127 / (255 * 2^23) < 1/255, less than what it takes to reach the next integer.
inline Lane8 div255(Lane8 n) { return _mm256_srli_epi32(_mm256_mulhi_epu16(n.v, _mm256_set1_epi32(0x8081)), 7); }

struct Float8 {
    __m256 v;

    Float8() = default;
    Float8(__m256 lanes)
        : v(lanes)
    {
    }
    explicit Float8(float value)
        : v(_mm256_set1_ps(value))
    {
    }
};

inline Float8 operator+(Float8 x, Float8 y) { return { _mm256_add_ps(x.v, y.v) }; }
inline Float8 operator-(Float8 x, Float8 y) { return { _mm256_sub_ps(x.v, y.v) }; }
inline Float8 operator*(Float8 x, Float8 y) { return { _mm256_mul_ps(x.v, y.v) }; }
inline Float8 operator/(Float8 x, Float8 y) { return { _mm256_div_ps(x.v, y.v) }; }
inline Float8 operator-(Float8 x) { return _mm256_xor_ps(x.v, _mm256_set1_ps(-0.0f)); }
inline Float8 operator&(Float8 x, Float8 y) { return _mm256_and_ps(x.v, y.v); }
inline Float8 operator>(Float8 x, Float8 y) { return _mm256_cmp_ps(x.v, y.v, _CMP_GT_OQ); } // all ones or all zeros
inline Float8 operator==(Float8 x, Float8 y) { return _mm256_cmp_ps(x.v, y.v, _CMP_EQ_OQ); }
inline Float8 abs(Float8 x) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), x.v); }
/// As std::min and std::max, x where one of the two is NaN: there the instructions give their second operand.
inline Float8 min(Float8 x, Float8 y) { return _mm256_min_ps(y.v, x.v); }
inline Float8 max(Float8 x, Float8 y) { return _mm256_max_ps(y.v, x.v); }
inline Float8 toFloat(Lane8 x) { return { _mm256_cvtepi32_ps(x.v) }; }
inline Lane8 truncateToLane(Float8 x) { return _mm256_cvttps_epi32(x.v); }
inline Float8 splat(float value, Lane8) { return { _mm256_set1_ps(value) }; }

/// The quotient in single precision truncates to floor(n / d) for integers below 2^24, which it holds exactly. Let k be
/// the next integer above n / d, so that k * d = n + r with r >= 1; rounding would have to bridge r / d to reach k.
/// Floats just below k are at most k * 2^-23 apart, and r / d = r * k / (n + r) is more than half of that, k * 2^-24,
/// as long as r * (2^24 - 1) > n. That fails only for r = 1 and n = 2^24 - 1. Then k divides 2^24, so it is a power of
/// two, and floats below it are half as far apart.
inline Lane8 divide(Lane8 n, Lane8 d) { return truncateToLane(toFloat(n) / toFloat(d)); }

/// Infinity and NaN convert to 0x80000000, which the minimum takes for a large number.
inline Lane8 quotient255(Lane8 n, Lane8 d) { return min(divide(n, d), Lane8(255)); }

/// Sums below 2^24 are exact, and so are their products. Where a product or the sum goes beyond (only for a b above
/// 255), it exceeds 255 * W, at most 16,581,375, and no rounding brings it back. The quotient is at most 1018: the
/// weights add up to less than W + 255, which is at most 2 * W.
inline Lane8 weighted(Lane8 b, Lane8 wb, Lane8 d, Lane8 wd, Lane8 s, Lane8 ws, Lane8 W)
{
    const Float8 sum = toFloat(b) * toFloat(wb) + toFloat(d) * toFloat(wd) + toFloat(s) * toFloat(ws);
    return truncateToLane(sum / toFloat(W));
}

/// The sum is 255 * 65025 at most, and so exact. Quotients beyond a byte are the store's.
inline Lane8 weighted(Lane8 s, Lane8 p, Lane8 d, Lane8 q, Lane8 W)
{
    return truncateToLane((toFloat(s) * toFloat(p) + toFloat(d) * toFloat(q)) / toFloat(W));
}

inline Lane8 weightedWrapping(Lane8 s, Lane8 p, Lane8 d, Lane8 q, Lane8 W)
{
    const Float8 sum = toFloat(s) * toFloat(p) + toFloat(d) * toFloat(q);
    const Lane8 quotient = truncateToLane(sum / toFloat(W));
    const Lane8 wrapped = _mm256_srai_epi32(_mm256_castps_si256(sum.v), 31); // all ones where the sum is negative
    return min(quotient | wrapped, Lane8(255));
}

/// Bytes of one channel as lanes, for a shuffle within each 128-bit half.
inline __m256i channelBytes(int channel)
{
    const int o = channel, z = -128; // a byte with its top bit set gives 0
    return _mm256_setr_epi8(char(o), z, z, z, char(o + 4), z, z, z, char(o + 8), z, z, z, char(o + 12), z, z, z,
        char(o), z, z, z, char(o + 4), z, z, z, char(o + 8), z, z, z, char(o + 12), z, z, z);
}

inline __m256i loadWords8(const OPRGBA32i *pixels)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(pixels));
}

inline Pixel<Lane8> load8(const OPRGBA32i *pixels)
{
    const Lane8 words = loadWords8(pixels);
    // Two channels by shuffles and two by plain operations: they run on different ports.
    return { words & Lane8(255), _mm256_shuffle_epi8(words.v, channelBytes(1)),
        _mm256_shuffle_epi8(words.v, channelBytes(2)), words >> 24 };
}

inline Lane8 loadAlpha8(const OPRGBA32i *pixels) { return Lane8(loadWords8(pixels)) >> 24; }

/// Stores eight pixels; channels from 256 to 32767 become 255.
inline void store8(OPRGBA32i *pixels, const Pixel<Lane8> &p)
{
    const __m256i br = _mm256_packs_epi32(p.b.v, p.r.v), ga = _mm256_packs_epi32(p.g.v, p.a.v);
    const __m256i planes = _mm256_packus_epi16(br, ga); // b b b b r r r r g g g g a a a a, in each half
    const __m256i interleave = _mm256_setr_epi8(0, 8, 4, 12, 1, 9, 5, 13, 2, 10, 6, 14, 3, 11, 7, 15, //
        0, 8, 4, 12, 1, 9, 5, 13, 2, 10, 6, 14, 3, 11, 7, 15);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(pixels), _mm256_shuffle_epi8(planes, interleave));
}

} // namespace compose
