#pragma once

#include "KXPixels.h"

#include "support/Arithmetic.h"

#include "ConvolutionKernels.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Convolution of one line with taps in Q14, all four channels alike.
///
/// Sums are 32 bits wide. They fit for all taps whose absolute values sum to less than 8,421,504 (those of a Gaussian
/// sum to about 16,384); beyond that they wrap, in every form alike.
namespace lines {

/// The taps of a convolution between its outermost zeros, which add nothing: a very wide Gaussian is mostly zeros.
struct Taps {
    explicit Taps(const std::vector<short> &taps)
    {
        std::size_t first = 0, last = taps.size();
        while (first < last && taps[first] == 0)
            ++first;
        while (first < last && taps[last - 1] == 0)
            --last;
        values.assign(taps.begin() + std::ptrdiff_t(first), taps.begin() + std::ptrdiff_t(last));
        if (!values.empty())
            offset = std::ptrdiff_t(first) - std::ptrdiff_t(taps.size() / 2);
    }

    /// How many pixels before, and after, a line of any length the taps reach.
    std::size_t Before() const { return std::size_t(std::max(-offset, std::ptrdiff_t(0))); }
    std::size_t After() const
    {
        return std::size_t(std::max(offset + std::ptrdiff_t(values.size()) - 1, std::ptrdiff_t(0)));
    }
    /// Which of the pixels from @c Before on lies under the first tap of the first result.
    std::size_t Start() const { return std::size_t(std::max(offset, std::ptrdiff_t(0))); }
    /// Whether as many zeros were left out before as after.
    bool IsCentered() const { return values.empty() || (Before() == After() && Start() == 0); }

    std::ptrdiff_t offset = 0; ///< of the first of these taps from the middle one
    std::vector<short> values;
};

/// out[i] for i in [@p first, @p length); @p in[i + j] lies under tap j.
inline void convolvePixels(const OPRGBA32i *in, OPRGBA32i *out, int first, int length, const std::vector<short> &taps)
{
    for (int i = first; i < length; ++i) {
        unsigned b = roundingTerm, g = b, r = b, a = b;
        const OPRGBA32i *pixel = in + i;
        for (const short tap : taps) {
            const unsigned factor = unsigned(int(tap));
            b += pixel->b * factor;
            g += pixel->g * factor;
            r += pixel->r * factor;
            a += pixel->a * factor;
            ++pixel;
        }
        const auto channel = [](unsigned sum) {
            return static_cast<unsigned char>(arithmetic::clamp8(int(sum) >> fractionBits));
        };
        out[i] = OPRGBA32i(channel(b), channel(g), channel(r), channel(a));
    }
}

#ifdef __SSE2__
/// Four pixels at a time: one multiplication takes two neighbouring samples and two taps. The sum of two products is
/// at most 2 * 255 * 32768, so it is exact in 32 bits, and what is added up is the same as in @c convolvePixels.
/// Packing with saturation, first to 16 bits signed and then to 8 unsigned, is clamp8.
inline void convolve(const OPRGBA32i *in, OPRGBA32i *out, int length, const std::vector<short> &taps)
{
    const auto load = [](const OPRGBA32i *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); };
    const __m128i zero = _mm_setzero_si128(), half = _mm_set1_epi32(roundingTerm);
    const short *const end = taps.data() + taps.size(), *const endOfPairs = taps.data() + taps.size() / 2 * 2;
    int i = 0;
    for (; i + 4 <= length; i += 4) {
        const OPRGBA32i *pixels = in + i;
        __m128i s0 = half, s1 = half, s2 = half, s3 = half;
        const auto add = [&](__m128i even, __m128i odd, __m128i factors) {
            const __m128i low = _mm_unpacklo_epi8(even, odd), high = _mm_unpackhi_epi8(even, odd);
            s0 = _mm_add_epi32(s0, _mm_madd_epi16(_mm_unpacklo_epi8(low, zero), factors));
            s1 = _mm_add_epi32(s1, _mm_madd_epi16(_mm_unpackhi_epi8(low, zero), factors));
            s2 = _mm_add_epi32(s2, _mm_madd_epi16(_mm_unpacklo_epi8(high, zero), factors));
            s3 = _mm_add_epi32(s3, _mm_madd_epi16(_mm_unpackhi_epi8(high, zero), factors));
        };
        const short *tap = taps.data();
        for (; tap != endOfPairs; tap += 2, pixels += 2) {
            int pair;
            std::memcpy(&pair, tap, sizeof pair);
            add(load(pixels), load(pixels + 1), _mm_set1_epi32(pair));
        }
        if (tap != end)
            add(load(pixels), zero, _mm_set1_epi16(*tap));
        const __m128i low = _mm_packs_epi32(_mm_srai_epi32(s0, fractionBits), _mm_srai_epi32(s1, fractionBits));
        const __m128i high = _mm_packs_epi32(_mm_srai_epi32(s2, fractionBits), _mm_srai_epi32(s3, fractionBits));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), _mm_packus_epi16(low, high));
    }
    convolvePixels(in, out, i, length, taps);
}
#else
inline void convolve(const OPRGBA32i *in, OPRGBA32i *out, int length, const std::vector<short> &taps)
{
    convolvePixels(in, out, 0, length, taps);
}
#endif

} // namespace lines
