#pragma once

#include "Vectors.h"
#include "lines/ConvolutionKernels.h"

#include <vector>

/// Convolution with symmetric taps, for one vector of samples at a time: pixels in 16-bit channels.
///
/// Samples at the same distance from the middle are added before they are multiplied; two such sums, interleaved, meet
/// two neighbouring taps in one multiplication. A sum of two samples is at most 510, so two products with 16-bit taps
/// fit 32 bits, and everything beyond is 32-bit addition: the plain loop's sums modulo 2^32.
namespace symmetric {

constexpr int maxRadius = int(lines::columns::maxTaps) / 2;

/// The taps from the middle on, in pairs as the multiplication takes them. The first pair is the middle and its
/// neighbour, or the middle alone: whichever leaves an even number of further taps.
struct Pairs {
    explicit Pairs(const std::vector<short> &taps)
        : radius(int(taps.size()) / 2)
        , head(radius % 2 == 0 ? 1 : 2)
    {
        const short *const middle = taps.data() + radius;
        const auto pair = [](short first, short second) {
            return _mm256_set1_epi32(int((unsigned(first) & 0xFFFF) | unsigned(second) << 16));
        };
        factors[0] = pair(middle[0], head == 2 ? middle[1] : short(0));
        for (int j = head, k = 1; j < radius; j += 2, ++k)
            factors[k] = pair(middle[j], middle[j + 1]);
    }

    int radius;
    int head; ///< how many distances from the middle the first pair covers, itself included
    __m256i factors[maxRadius / 2 + 1];
};

/// The sums for a sample vector, 32 bits each: @c low for the lower four channels of each 128-bit half, @c high for the
/// upper four.
struct Sums {
    __m256i low = _mm256_set1_epi32(lines::roundingTerm), high = low;

    void Add(__m256i first, __m256i second, __m256i pair)
    {
        low = _mm256_add_epi32(low, _mm256_madd_epi16(_mm256_unpacklo_epi16(first, second), pair));
        high = _mm256_add_epi32(high, _mm256_madd_epi16(_mm256_unpackhi_epi16(first, second), pair));
    }
    /// The results in 16 bits. A shifted sum has 18; saturating here does not change what the clamp to bytes gives.
    __m256i Words() const
    {
        return _mm256_packs_epi32(
            _mm256_srai_epi32(low, lines::fractionBits), _mm256_srai_epi32(high, lines::fractionBits));
    }
};

} // namespace symmetric
