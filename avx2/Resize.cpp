#include "Kernel.h"
#include "Vectors.h"

#include "transform/ResizeLines.h"

// Lines of a resized image. Products of bytes and 16-bit coefficients, and sums of two of them, fit 32 bits; all sums
// are those of the plain code.

namespace {

using transform::ResizeTaps;

/// Sums for one pixel: blue and green in the low half, red and alpha in the high one. Each stands in two places, the
/// samples at even pairs of places in one and those at odd pairs in the other.
__m256i pixelSums(const OPRGBA32i *samples, const short *coefficients, int count)
{
    // Channels of four neighbouring samples side by side, as 16-bit numbers.
    const __m256i spread = _mm256_setr_epi8(0, -1, 4, -1, 8, -1, 12, -1, 1, -1, 5, -1, 9, -1, 13, -1, //
        2, -1, 6, -1, 10, -1, 14, -1, 3, -1, 7, -1, 11, -1, 15, -1);
    __m256i sums = _mm256_setr_epi32(
        lines::roundingTerm, 0, lines::roundingTerm, 0, lines::roundingTerm, 0, lines::roundingTerm, 0);
    for (int k = 0; k < count; k += 4) {
        const __m256i four =
            _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(samples + k)));
        const __m256i factors =
            _mm256_broadcastq_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(coefficients + k)));
        sums = _mm256_add_epi32(sums, _mm256_madd_epi16(_mm256_shuffle_epi8(four, spread), factors));
    }
    return sums;
}

/// Eight pixels, from @p x on, of a row that is made of @p count rows.
void resizeEight(const OPRGBA32i *const *rows, int x, OPRGBA32i *destination, const short *coefficients, int count)
{
    const __m256i zero = _mm256_setzero_si256();
    __m256i sums[4];
    for (__m256i &sum : sums)
        sum = _mm256_set1_epi32(lines::roundingTerm);
    const auto add = [&](__m256i first, __m256i second, __m256i pair) {
        const __m256i low = _mm256_unpacklo_epi8(first, second), high = _mm256_unpackhi_epi8(first, second);
        sums[0] = _mm256_add_epi32(sums[0], _mm256_madd_epi16(_mm256_unpacklo_epi8(low, zero), pair));
        sums[1] = _mm256_add_epi32(sums[1], _mm256_madd_epi16(_mm256_unpackhi_epi8(low, zero), pair));
        sums[2] = _mm256_add_epi32(sums[2], _mm256_madd_epi16(_mm256_unpacklo_epi8(high, zero), pair));
        sums[3] = _mm256_add_epi32(sums[3], _mm256_madd_epi16(_mm256_unpackhi_epi8(high, zero), pair));
    };
    int k = 0;
    for (; k + 2 <= count; k += 2)
        add(vectors::load(rows[k] + x), vectors::load(rows[k + 1] + x),
            _mm256_broadcastsi128_si256(lines::tapPair(coefficients + k)));
    if (k < count)
        add(vectors::load(rows[k] + x), zero, _mm256_set1_epi16(coefficients[k]));
    const auto words = [&](int i) {
        return _mm256_packs_epi32(
            _mm256_srai_epi32(sums[i], lines::fractionBits), _mm256_srai_epi32(sums[i + 1], lines::fractionBits));
    };
    vectors::store(destination + x, _mm256_packus_epi16(words(0), words(2)));
}

} // namespace

KXCORE_KERNEL void ResizeRowAVX2(const OPRGBA32i *source, OPRGBA32i *destination, int length, int paddedLength,
    const transform::ResizeTaps *taps, const short *coefficients)
{
    const auto sums = [&](int i) {
        return pixelSums(source + taps[i].firstSample, coefficients + taps[i].firstCoefficient, taps[i].count);
    };
    int i = 0;
    for (; i + 4 <= std::min(length, paddedLength); i += 4) {
        const __m256i first = _mm256_hadd_epi32(sums(i), sums(i + 1)),
                      last = _mm256_hadd_epi32(sums(i + 2), sums(i + 3));
        const __m256i words = _mm256_packs_epi32(
            _mm256_srai_epi32(first, lines::fractionBits), _mm256_srai_epi32(last, lines::fractionBits));
        const __m256i bytes = _mm256_packus_epi16(words, words); // blue and green of four pixels, then red and alpha
        _mm_storeu_si128(reinterpret_cast<__m128i *>(destination + i),
            _mm_unpacklo_epi16(_mm256_castsi256_si128(bytes), _mm256_extracti128_si256(bytes, 1)));
    }
    transform::resizeRow(source, destination + i, length - i, 0, taps + i, coefficients);
}

KXCORE_KERNEL void ResizeColumnsAVX2(
    const OPRGBA32i *const *rows, OPRGBA32i *destination, int width, const short *coefficients, int count)
{
    if (width < 8)
        return transform::resizeColumns(rows, destination, width, coefficients, count);
    for (int x = 0; x < width; x += 8) // the last eight end with the row
        resizeEight(rows, std::min(x, width - 8), destination, coefficients, count);
}
