#pragma once

#include "KXPixels.h"

#include "support/Arithmetic.h"

#include <cstddef>
#include <cstring>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Convolution of one line with a kernel in Q14, all four channels alike.
///
/// Sums are 32 bits wide. They fit for every kernel whose entries' absolute values sum to less than 8,421,504 (those of
/// a Gaussian sum to about 16,384); beyond that they wrap, in every form alike.
namespace lines {

/// The entries of a kernel between its outermost zeros, which add nothing: a very wide Gaussian is mostly zeros.
struct Taps {
    explicit Taps(const std::vector<short> &kernel)
    {
        std::size_t first = 0, last = kernel.size();
        while (first < last && kernel[first] == 0)
            ++first;
        while (first < last && kernel[last - 1] == 0)
            --last;
        offset = first;
        entries.assign(kernel.begin() + std::ptrdiff_t(first), kernel.begin() + std::ptrdiff_t(last));
    }

    std::size_t offset; ///< how many zeros were left out before the entries
    std::vector<short> entries;
};

/// out[i] for i in [@p first, @p length); @p in[i + j] lies under kernel entry j.
inline void convolvePixels(const OPRGBA32i *in, OPRGBA32i *out, int first, int length, const Taps &taps)
{
    for (int i = first; i < length; ++i) {
        unsigned b = 8192, g = 8192, r = 8192, a = 8192;
        const OPRGBA32i *pixel = in + std::size_t(i) + taps.offset;
        for (const short entry : taps.entries) {
            const unsigned weight = unsigned(int(entry));
            b += pixel->b * weight;
            g += pixel->g * weight;
            r += pixel->r * weight;
            a += pixel->a * weight;
            ++pixel;
        }
        const auto channel = [](unsigned sum) {
            return static_cast<unsigned char>(arithmetic::clamp8(int(sum) >> 14));
        };
        out[i] = OPRGBA32i(channel(b), channel(g), channel(r), channel(a));
    }
}

#ifdef __SSE2__
/// Four pixels at a time: one multiplication takes two neighbouring samples and two entries. The sum of two products is
/// at most 2 * 255 * 32768, so it is exact in 32 bits, and what is added up is the same as in @c convolvePixels.
/// Packing with saturation, first to 16 bits signed and then to 8 unsigned, is clamp8.
inline void convolve(const OPRGBA32i *in, OPRGBA32i *out, int length, const Taps &taps)
{
    const auto load = [](const OPRGBA32i *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); };
    const __m128i zero = _mm_setzero_si128(), half = _mm_set1_epi32(8192);
    const std::size_t count = taps.entries.size();
    int i = 0;
    for (; i + 4 <= length; i += 4) {
        const OPRGBA32i *const pixels = in + std::size_t(i) + taps.offset;
        __m128i s0 = half, s1 = half, s2 = half, s3 = half;
        const auto add = [&](__m128i even, __m128i odd, __m128i weights) {
            const __m128i low = _mm_unpacklo_epi8(even, odd), high = _mm_unpackhi_epi8(even, odd);
            s0 = _mm_add_epi32(s0, _mm_madd_epi16(_mm_unpacklo_epi8(low, zero), weights));
            s1 = _mm_add_epi32(s1, _mm_madd_epi16(_mm_unpackhi_epi8(low, zero), weights));
            s2 = _mm_add_epi32(s2, _mm_madd_epi16(_mm_unpacklo_epi8(high, zero), weights));
            s3 = _mm_add_epi32(s3, _mm_madd_epi16(_mm_unpackhi_epi8(high, zero), weights));
        };
        std::size_t j = 0;
        for (; j + 2 <= count; j += 2) {
            int pair;
            std::memcpy(&pair, &taps.entries[j], sizeof pair);
            add(load(pixels + j), load(pixels + j + 1), _mm_set1_epi32(pair));
        }
        if (j < count)
            add(load(pixels + j), zero, _mm_set1_epi16(taps.entries[j]));
        const __m128i low = _mm_packs_epi32(_mm_srai_epi32(s0, 14), _mm_srai_epi32(s1, 14));
        const __m128i high = _mm_packs_epi32(_mm_srai_epi32(s2, 14), _mm_srai_epi32(s3, 14));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_packus_epi16(low, high));
    }
    convolvePixels(in, out, i, length, taps);
}
#else
inline void convolve(const OPRGBA32i *in, OPRGBA32i *out, int length, const Taps &taps)
{
    convolvePixels(in, out, 0, length, taps);
}
#endif

} // namespace lines
