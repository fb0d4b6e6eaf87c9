#pragma once

#include "AlphaVectors.h"
#include "SymmetricTaps.h"

#include <algorithm>

/// Rows under up to seven symmetric taps, which a Gaussian of sigma 1 has. A vector holds the samples of four
/// neighbouring pixels, and begins at any pixel. So a sample is made once, and premultiplied on the way.
namespace shortrows {

constexpr int chunkPixels = 512; ///< whose samples stay in the nearest cache
constexpr int groupPixels = 8; ///< that are computed at once

/// The samples of four pixels; premultiplied or as they are.
template <bool premultiply>
__m256i samples(const unsigned *pixels)
{
    const __m256i words = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(pixels)));
    return premultiply ? vectors::premultipliedWords(words) : words;
}

/// The results for four pixels, in 16 bits; @p middle is the first sample of the first of them.
template <int radius>
__m256i results(const short *middle, const symmetric::Pairs &pairs)
{
    constexpr int head = radius % 2 == 0 ? 1 : 2;
    const auto at = [middle](int pixel) { return vectors::load(middle + 4 * pixel); };
    const auto both = [at](int distance) { return _mm256_add_epi16(at(distance), at(-distance)); };
    symmetric::Sums sums;
    sums.Add(at(0), head == 2 ? both(1) : _mm256_setzero_si256(), pairs.factors[0]);
    for (int j = head, k = 1; j < radius; j += 2, ++k)
        sums.Add(both(j), both(j + 1), pairs.factors[k]);
    return sums.Words();
}

template <int radius, bool premultiply>
void convolve(const unsigned *source, unsigned *destination, int length, const symmetric::Pairs &pairs)
{
    __m256i line[(chunkPixels + groupPixels + 2 * radius) / 4 + 1];
    for (int first = 0; first < length; first += chunkPixels) {
        const int count = std::min(chunkPixels, length - first), needed = count + 2 * radius;
        for (int i = 0; i < needed; i += 4) {
            unsigned padded[4] = {};
            if (i + 4 > needed)
                std::copy_n(source + first + i, needed - i, padded);
            line[i / 4] = samples<premultiply>(i + 4 > needed ? padded : source + first + i);
        }
        const short *const middle = reinterpret_cast<const short *>(line) + 4 * radius;
        for (int i = 0; i < count; i += groupPixels) {
            const __m256i low = results<radius>(middle + 4 * i, pairs);
            const __m256i high = results<radius>(middle + 4 * i + 16, pairs);
            const __m256i pixels = _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), _MM_SHUFFLE(3, 1, 2, 0));
            unsigned padded[groupPixels];
            const bool isWhole = i + groupPixels <= count;
            vectors::store(isWhole ? destination + first + i : padded, pixels);
            if (!isWhole)
                std::copy_n(padded, count - i, destination + first + i);
        }
    }
}

/// Convolves a line. The taps are such that lines::rows::fits.
template <bool premultiply>
void convolve(const unsigned *source, unsigned *destination, int length, const std::vector<short> &taps)
{
    const symmetric::Pairs pairs(taps);
    switch (pairs.radius) {
    case 0:
        return convolve<0, premultiply>(source, destination, length, pairs);
    case 1:
        return convolve<1, premultiply>(source, destination, length, pairs);
    case 2:
        return convolve<2, premultiply>(source, destination, length, pairs);
    default:
        return convolve<3, premultiply>(source, destination, length, pairs);
    }
}

} // namespace shortrows
