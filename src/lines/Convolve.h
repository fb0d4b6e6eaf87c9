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

/// The pixel of @p count taps, where the sample at sampleUnder(i) lies under tap i.
template <class SampleUnder>
OPRGBA32i convolvePixel(const SampleUnder &sampleUnder, const short *taps, std::size_t count)
{
    unsigned b = roundingTerm, g = b, r = b, a = b;
    for (std::size_t i = 0; i < count; ++i) {
        const OPRGBA32i sample = *sampleUnder(i);
        const unsigned factor = unsigned(int(taps[i]));
        b += sample.b * factor;
        g += sample.g * factor;
        r += sample.r * factor;
        a += sample.a * factor;
    }
    const auto channel = [](unsigned sum) {
        return static_cast<unsigned char>(arithmetic::clamp8(int(sum) >> fractionBits));
    };
    return OPRGBA32i(channel(b), channel(g), channel(r), channel(a));
}

/// out[i] for i in [@p first, @p length); @p in[i + j] lies under tap j.
inline void convolvePixels(const OPRGBA32i *in, OPRGBA32i *out, int first, int length, const std::vector<short> &taps)
{
    for (int i = first; i < length; ++i)
        out[i] = convolvePixel([=](std::size_t j) { return in + i + j; }, taps.data(), taps.size());
}

#ifdef __SSE2__
/// Two neighbouring taps for one multiplication.
inline __m128i tapPair(const short *taps)
{
    int pair;
    std::memcpy(&pair, taps, sizeof pair);
    return _mm_set1_epi32(pair);
}

/// The sums of four pixels, two samples of each at a time. The sum of two products is at most 2 * 255 * 32768, so it is
/// exact in 32 bits, and what is added up is the same as in @c convolvePixel.
struct FourPixelSums {
    __m128i sums[4] = { half(), half(), half(), half() };

    /// Adds four first samples and four second ones under a pair of taps.
    void Add(__m128i first, __m128i second, __m128i pair)
    {
        const __m128i low = _mm_unpacklo_epi8(first, second), high = _mm_unpackhi_epi8(first, second);
        const __m128i zero = _mm_setzero_si128();
        const auto add = [pair](__m128i &sum, __m128i samples) {
            sum = _mm_add_epi32(sum, _mm_madd_epi16(samples, pair));
        };
        add(sums[0], _mm_unpacklo_epi8(low, zero));
        add(sums[1], _mm_unpackhi_epi8(low, zero));
        add(sums[2], _mm_unpacklo_epi8(high, zero));
        add(sums[3], _mm_unpackhi_epi8(high, zero));
    }

    /// Packing with saturation, first to 16 bits signed and then to 8 unsigned, is clamp8.
    __m128i Pixels() const
    {
        const auto words = [this](int i) {
            return _mm_packs_epi32(_mm_srai_epi32(sums[i], fractionBits), _mm_srai_epi32(sums[i + 1], fractionBits));
        };
        return _mm_packus_epi16(words(0), words(2));
    }

private:
    static __m128i half() { return _mm_set1_epi32(roundingTerm); }
};

/// Four pixels of @p count taps, where four samples from sampleUnder(i) on lie under tap i.
template <class SampleUnder>
void convolveFour(const SampleUnder &sampleUnder, OPRGBA32i *out, const short *taps, std::size_t count)
{
    const auto load = [&sampleUnder](
                          std::size_t i) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(sampleUnder(i))); };
    FourPixelSums sums;
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2)
        sums.Add(load(i), load(i + 1), tapPair(taps + i));
    if (i < count)
        sums.Add(load(i), _mm_setzero_si128(), _mm_set1_epi16(taps[i]));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out), sums.Pixels());
}

inline void convolve(const OPRGBA32i *in, OPRGBA32i *out, int length, const std::vector<short> &taps)
{
    int i = 0;
    for (; i + 4 <= length; i += 4)
        convolveFour([=](std::size_t j) { return in + i + j; }, out + i, taps.data(), taps.size());
    convolvePixels(in, out, i, length, taps);
}
#else
inline void convolve(const OPRGBA32i *in, OPRGBA32i *out, int length, const std::vector<short> &taps)
{
    convolvePixels(in, out, 0, length, taps);
}
#endif

} // namespace lines
