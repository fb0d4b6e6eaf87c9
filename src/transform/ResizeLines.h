#pragma once

#include "lines/Convolve.h"

#include <cstddef>

/// Resizing, line by line.
namespace transform {

/// What one result of a line is computed from.
struct ResizeTaps {
    std::size_t firstCoefficient; ///< in the table's coefficients
    int firstSample; ///< of the line
    int count; ///< of samples and coefficients
};

/// How many coefficients a table holds for that many taps.
constexpr int paddedTaps(int count) { return (count + 3) & ~3; }

#ifdef __SSE2__
/// One pixel from taps over neighbouring samples.
inline OPRGBA32i resizedPixel(const OPRGBA32i *samples, const short *coefficients, int count)
{
    const __m128i zero = _mm_setzero_si128();
    __m128i sums = _mm_set1_epi32(lines::roundingTerm);
    int i = 0;
    for (; i + 2 <= count; i += 2) {
        const __m128i two = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(samples + i));
        const __m128i channels = _mm_unpacklo_epi8(_mm_unpacklo_epi8(two, _mm_srli_si128(two, 4)), zero);
        sums = _mm_add_epi32(sums, _mm_madd_epi16(channels, lines::tapPair(coefficients + i)));
    }
    if (i < count) {
        const __m128i one = _mm_cvtsi32_si128(int(samples[i].word));
        const __m128i channels = _mm_unpacklo_epi8(_mm_unpacklo_epi8(one, zero), zero);
        sums = _mm_add_epi32(sums, _mm_madd_epi16(channels, _mm_set1_epi16(coefficients[i])));
    }
    const __m128i words = _mm_packs_epi32(_mm_srai_epi32(sums, lines::fractionBits), zero);
    return OPRGBA32i(unsigned(_mm_cvtsi128_si32(_mm_packus_epi16(words, zero))));
}
#else
inline OPRGBA32i resizedPixel(const OPRGBA32i *samples, const short *coefficients, int count)
{
    return lines::convolvePixel([samples](std::size_t k) { return samples + k; }, coefficients, std::size_t(count));
}
#endif

/// @p length pixels of a row that is made of the row @p source. The first @p paddedLength of them may take samples
/// under the zeros that follow their coefficients.
inline void resizeRow(const OPRGBA32i *source, OPRGBA32i *destination, int length, int paddedLength,
    const ResizeTaps *taps, const short *coefficients)
{
    Q_UNUSED(paddedLength)
    for (int i = 0; i < length; ++i)
        destination[i] =
            resizedPixel(source + taps[i].firstSample, coefficients + taps[i].firstCoefficient, taps[i].count);
}

/// @p width pixels of a row that is made of @p count rows.
inline void resizeColumns(
    const OPRGBA32i *const *rows, OPRGBA32i *destination, int width, const short *coefficients, int count)
{
    int x = 0;
    const auto under = [&x, rows](std::size_t k) { return rows[k] + x; };
#ifdef __SSE2__
    for (; x + 4 <= width; x += 4)
        lines::convolveFour(under, destination + x, coefficients, std::size_t(count));
#endif
    for (; x < width; ++x)
        destination[x] = lines::convolvePixel(under, coefficients, std::size_t(count));
}

} // namespace transform
