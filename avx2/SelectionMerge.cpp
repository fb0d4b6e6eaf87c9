#include "ColumnStrips.h"
#include "Kernel.h"
#include "Vectors.h"

namespace {

/// ((f - d) * m + d * 255) / 255 for 16-bit channels. The sum is d * (255 - m) + f * m, at most 65025, so that it does
/// not matter where its parts leave 16 bits.
__m256i merged(__m256i d, __m256i f, __m256i m)
{
    const __m256i old = _mm256_sub_epi16(_mm256_slli_epi16(d, 8), d);
    return vectors::div255(_mm256_add_epi16(_mm256_mullo_epi16(_mm256_sub_epi16(f, d), m), old));
}

/// The same for eight pixels, with the alphas of @p selection as m.
Q_ALWAYS_INLINE __m256i mergedPixels(__m256i row, __m256i filtered, __m256i selection)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i spreadLow = _mm256_setr_epi8(3, -1, 3, -1, 3, -1, 3, -1, 7, -1, 7, -1, 7, -1, 7, -1, //
        3, -1, 3, -1, 3, -1, 3, -1, 7, -1, 7, -1, 7, -1, 7, -1);
    const __m256i spreadHigh = _mm256_add_epi16(spreadLow, _mm256_set1_epi16(8)); // two pixels further
    const __m256i low = merged(_mm256_unpacklo_epi8(row, zero), _mm256_unpacklo_epi8(filtered, zero),
        _mm256_shuffle_epi8(selection, spreadLow));
    const __m256i high = merged(_mm256_unpackhi_epi8(row, zero), _mm256_unpackhi_epi8(filtered, zero),
        _mm256_shuffle_epi8(selection, spreadHigh));
    return _mm256_packus_epi16(low, high);
}

} // namespace

/// A row of a selection: see KernelList.h.
KXCORE_KERNEL void MergeSelectionAVX2(OPRGBA32i *row, const OPRGBA32i *filtered, const OPRGBA32i *selection, int length)
{
    const ColumnStrips pixels(length);
    pixels.ForEach([=](int strip, auto load, auto store) {
        const int i = strip * ColumnStrips::columns;
        store(row + i, mergedPixels(load(row + i), load(filtered + i), load(selection + i)));
    });
}
