#ifndef __clang__ // GCC 12 warns of what its own header does on purpose
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "TableLookUp.h"
#include "color/Blocks.h"

#include <immintrin.h>

// The look-up beyond AVX2. The compiler is told function by function, so that nothing else needs such a processor: not
// even a lambda takes that over from the function that holds it.

#define KXCORE_WIDE __attribute__((target("avx512bw,avx512vbmi")))

namespace vectors {

bool hasPermutations() { return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi"); }

namespace wide {

/// In each quarter of 16 pixels: the first bytes of its four pixels, then the second ones and so on.
KXCORE_WIDE static __m512i transposed(const unsigned char *pixels)
{
    const __m128i order = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm512_shuffle_epi8(_mm512_loadu_si512(pixels), _mm512_broadcast_i32x4(order));
}

/// A table of 256 bytes, kept in registers.
struct Table {
    __m512i quarters[4];
};
KXCORE_WIDE static Table loaded(const KXChannelTables::Table &table)
{
    const unsigned char *const entries = table.data();
    return { { _mm512_loadu_si512(entries), _mm512_loadu_si512(entries + 64), _mm512_loadu_si512(entries + 128),
        _mm512_loadu_si512(entries + 192) } };
}

/// What @p table has for each byte. The low seven bits find an entry in each half, the highest one chooses.
KXCORE_WIDE static __m512i found(const Table &table, __m512i bytes)
{
    const __m512i low = _mm512_permutex2var_epi8(table.quarters[0], bytes, table.quarters[1]);
    const __m512i high = _mm512_permutex2var_epi8(table.quarters[2], bytes, table.quarters[3]);
    return _mm512_mask_mov_epi8(low, _mm512_movepi8_mask(bytes), high);
}

/// The middle between the largest and the smallest channel, truncated.
KXCORE_WIDE static __m512i grey(__m512i b, __m512i g, __m512i r)
{
    const __m512i most = _mm512_max_epu8(_mm512_max_epu8(b, g), r), least = _mm512_min_epu8(_mm512_min_epu8(b, g), r);
    const __m512i isRoundedUp = _mm512_and_si512(_mm512_xor_si512(most, least), _mm512_set1_epi8(1));
    return _mm512_sub_epi8(_mm512_avg_epu8(most, least), isRoundedUp);
}

} // namespace wide

KXCORE_WIDE void lookUpByPermutations(
    const KXChannelTables &tables, const unsigned char *from, unsigned char *to, Result result)
{
    using namespace wide;
    constexpr int step = 256;
    static_assert(4 * blocks::length % step == 0, "a block is done in whole steps");
    const Table blue = loaded(tables.b), green = loaded(tables.g), red = loaded(tables.r);
    for (int i = 0; i < 4 * blocks::length; i += step) {
        // One plane for each channel, with the pixels in such an order that interleaving alone makes pixels again.
        const __m512i v0 = transposed(from + i), v1 = transposed(from + i + 64);
        const __m512i v2 = transposed(from + i + 128), v3 = transposed(from + i + 192);
        const __m512i bg01 = _mm512_unpacklo_epi32(v0, v1), bg23 = _mm512_unpacklo_epi32(v2, v3);
        const __m512i ra01 = _mm512_unpackhi_epi32(v0, v1), ra23 = _mm512_unpackhi_epi32(v2, v3);
        __m512i b = _mm512_unpacklo_epi64(bg01, bg23), g = _mm512_unpackhi_epi64(bg01, bg23);
        __m512i r = _mm512_unpacklo_epi64(ra01, ra23);
        const __m512i a = _mm512_unpackhi_epi64(ra01, ra23);

        if (result == Result::OfGreys)
            b = g = r = grey(b, g, r);
        b = found(blue, b);
        g = found(green, g);
        r = found(red, r);
        if (result == Result::Sums)
            b = g = r = _mm512_adds_epu8(_mm512_adds_epu8(b, g), r);

        const __m512i bgLow = _mm512_unpacklo_epi8(b, g), bgHigh = _mm512_unpackhi_epi8(b, g);
        const __m512i raLow = _mm512_unpacklo_epi8(r, a), raHigh = _mm512_unpackhi_epi8(r, a);
        _mm512_storeu_si512(to + i, _mm512_unpacklo_epi16(bgLow, raLow));
        _mm512_storeu_si512(to + i + 64, _mm512_unpackhi_epi16(bgLow, raLow));
        _mm512_storeu_si512(to + i + 128, _mm512_unpacklo_epi16(bgHigh, raHigh));
        _mm512_storeu_si512(to + i + 192, _mm512_unpackhi_epi16(bgHigh, raHigh));
    }
}

} // namespace vectors
