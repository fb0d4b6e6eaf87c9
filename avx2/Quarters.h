#pragma once

#include <immintrin.h>

#include <algorithm>

/// Lines whose sums depend on one another from pixel to pixel are cut into four quarters that are worked on side by
/// side. Element i of a buffer holds pixel i of each quarter, 64 bits for its four channels; the first two quarters are
/// in the low half of the vector. Quarters overlap where the line is shorter than four times their length; pixels of
/// the overlap are computed twice, with the same result.
namespace quarters {

/// The four channels of a pixel of each quarter, 16 bits each.
struct alignas(32) Element {
    __m256i v;
};

/// Where the quarters of a line begin; @p quarter is not longer than the line.
struct Starts {
    int at[4];
    Starts(int length, int quarter)
    {
        for (int k = 0; k < 4; ++k)
            at[k] = std::min(k * quarter, length - quarter);
    }
};

/// Fills @p count elements, rounded up to a multiple of four, with what @p sample makes of the pixels from @p starts
/// on. Up to three pixels behind the last one are read.
template <class Pixel, class Sample>
void expand(const Pixel *line, const Starts &starts, int count, Element *elements, const Sample &sample)
{
    const __m256i zero = _mm256_setzero_si256();
    for (int i = 0; i < count; i += 4) {
        const auto load = [&](int k) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i *>(line + starts.at[k] + i));
        };
        const __m256i even = _mm256_inserti128_si256(_mm256_castsi128_si256(load(0)), load(2), 1);
        const __m256i odd = _mm256_inserti128_si256(_mm256_castsi128_si256(load(1)), load(3), 1);
        const __m256i low = _mm256_unpacklo_epi32(even, odd), high = _mm256_unpackhi_epi32(even, odd);
        elements[i].v = sample(_mm256_unpacklo_epi8(low, zero));
        elements[i + 1].v = sample(_mm256_unpackhi_epi8(low, zero));
        elements[i + 2].v = sample(_mm256_unpacklo_epi8(high, zero));
        elements[i + 3].v = sample(_mm256_unpackhi_epi8(high, zero));
    }
}

/// The element of a line all of one pixel.
inline __m256i samePixel(unsigned pixel)
{
    return _mm256_unpacklo_epi8(_mm256_set1_epi32(int(pixel)), _mm256_setzero_si256());
}

/// Changes between two orders of two pixels of each quarter: quarter after quarter, and the order that packing two
/// elements leaves (first of quarter 0, first of quarter 1, second of 0, second of 1, then quarters 2 and 3 likewise).
/// It is its own inverse.
inline __m256i interleaved(__m256i pixels) { return _mm256_shuffle_epi32(pixels, 0xD8); }

// Pixels i and i + 1 of each quarter, quarter after quarter, from and to memory. By integers of 64 bits: those may be
// loaded from and stored to any address, doubles may not.
template <class Pixel>
__m256i load(Pixel *const starts[4], int i)
{
    const auto at = [&](int k) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(starts[k] + i)); };
    return _mm256_setr_m128i(_mm_unpacklo_epi64(at(0), at(1)), _mm_unpacklo_epi64(at(2), at(3)));
}

template <class Pixel>
void store(Pixel *const starts[4], int i, __m256i pixels)
{
    const __m128i low = _mm256_castsi256_si128(pixels), high = _mm256_extracti128_si256(pixels, 1);
    const auto store = [&](int k, __m128i two) { _mm_storel_epi64(reinterpret_cast<__m128i *>(starts[k] + i), two); };
    store(0, low);
    store(1, _mm_unpackhi_epi64(low, low));
    store(2, high);
    store(3, _mm_unpackhi_epi64(high, high));
}

} // namespace quarters
