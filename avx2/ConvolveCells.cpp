#include "Kernel.h"
#include "Vectors.h"

// A convolution with cells of doubles: the four channels of a pixel are one vector. Each sum gains its products in the
// order of the cells, as in the plain code; pixels are taken side by side to hide the latency of an addition.

namespace {

/// The samples of all channels, and the cells that weigh them.
struct Window {
    const double *const *rows;
    int rowCount;
    const double *cells;
    int columns;
};

/// The sums of @p count pixels from @p x on, truncated. What does not fit an int becomes the lowest one.
template <int count>
void sumCells(const Window &window, int x, __m128i (&sums)[count])
{
    __m256d wide[count];
    for (__m256d &sum : wide)
        sum = _mm256_setzero_pd();
    const double *cell = window.cells;
    for (int row = 0; row < window.rowCount; ++row) {
        const double *sample = window.rows[row] + 4 * (qptrdiff(x) + window.columns - 1);
        for (int column = 0; column < window.columns; ++column, ++cell, sample -= 4) {
            const __m256d weight = _mm256_broadcast_sd(cell);
            for (int i = 0; i < count; ++i)
                wide[i] = _mm256_add_pd(wide[i], _mm256_mul_pd(_mm256_loadu_pd(sample + 4 * i), weight));
        }
    }
    for (int i = 0; i < count; ++i)
        sums[i] = _mm256_cvttpd_epi32(wide[i]);
}

} // namespace

KXCORE_KERNEL void ConvolveCellsAVX2(
    const double *const *rows, int rowCount, const double *cells, int columns, OPRGBA32i *destination, int count)
{
    const Window window { rows, rowCount, cells, columns };
    int x = 0;
    for (; x + 8 <= count; x += 8) {
        __m128i sums[8];
        sumCells(window, x, sums);
        for (int i = 0; i < 8; i += 4) { // saturating twice is the clamp to bytes
            const __m128i low = _mm_packs_epi32(sums[i], sums[i + 1]), high = _mm_packs_epi32(sums[i + 2], sums[i + 3]);
            _mm_storeu_si128(reinterpret_cast<__m128i *>(destination + x + i), _mm_packus_epi16(low, high));
        }
    }
    for (; x < count; ++x) {
        __m128i sums[1];
        sumCells(window, x, sums);
        const __m128i words = _mm_packs_epi32(sums[0], sums[0]);
        destination[x] = OPRGBA32i(unsigned(_mm_cvtsi128_si32(_mm_packus_epi16(words, words))));
    }
}
