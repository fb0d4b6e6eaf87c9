#pragma once

#include "color/Blocks.h"

#include <immintrin.h>

/// Small steps that several kernels share.
namespace vectors {

inline __m256i load(const void *p) { return _mm256_loadu_si256(static_cast<const __m256i *>(p)); }
inline void store(void *p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }

/// Replaces each eight pixels of a block by what @p change makes of them.
template <class Change>
void forEachEight(unsigned char *pixels, Change change)
{
    for (int i = 0; i < blocks::length; i += 8)
        store(pixels + 4 * i, change(load(pixels + 4 * i)));
}

/// The 32-bit numbers of four vectors, none of which exceeds a byte, as bytes.
inline __m256i packed(__m256i a, __m256i b, __m256i c, __m256i d)
{
    const __m256i mixed = _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
    return _mm256_permutevar8x32_epi32(mixed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)); // halves were packed apart
}

/// The largest and the smallest colour of each of eight pixels, in its lowest byte; the other bytes may be anything.
struct Extremes {
    explicit Extremes(__m256i pixels)
    {
        const __m256i green = _mm256_srli_epi32(pixels, 8), red = _mm256_srli_epi32(pixels, 16);
        most = _mm256_max_epu8(_mm256_max_epu8(pixels, green), red);
        least = _mm256_min_epu8(_mm256_min_epu8(pixels, green), red);
    }

    __m256i most, least;
};

/// x / 255, truncated, for each unsigned 16-bit x: as Lane8 has it.
inline __m256i div255(__m256i x)
{
    return _mm256_srli_epi16(_mm256_mulhi_epu16(x, _mm256_set1_epi16(short(0x8081))), 7);
}

/// For pixels in four 16-bit channels: what to multiply with to premultiply them, before a division by 255: their alpha
/// for colours, and 255 for alpha.
inline __m256i alphaFactors(__m256i pixels)
{
    const __m256i spread = _mm256_setr_epi8(6, 7, 6, 7, 6, 7, -1, -1, 14, 15, 14, 15, 14, 15, -1, -1, //
        6, 7, 6, 7, 6, 7, -1, -1, 14, 15, 14, 15, 14, 15, -1, -1);
    return _mm256_or_si256(_mm256_shuffle_epi8(pixels, spread), _mm256_set1_epi64x(255LL << 48));
}

} // namespace vectors
