#include "ColumnStrips.h"
#include "Kernel.h"
#include "WindowSums.h"
#include "lines/ConvolutionKernels.h"
#include "support/Prefetch.h"

#include <algorithm>

// Slides a window of alphas down columns side by side, in place, row after row. Alphas that were overwritten and are to
// leave the window are kept in a ring, so that each row is read once from memory.

namespace {

/// The alphas of a row of the block, 32 bits each.
struct Row {
    __m256i strip[ColumnStrips::maximum];
};

__m256i alphaOf(__m256i pixels) { return _mm256_srli_epi32(pixels, 24); }

} // namespace

/// A block of columns: see KernelList.h.
KXCORE_KERNEL void SlideAlphaColumnsAVX2(
    const lines::ColumnPixels &pixels, int radius, unsigned complement, unsigned color)
{
    static_assert(2 * lines::alphawindows::largestRadius + 1 <= SinglePrecisionMean::maximumSize, "means are exact");
    const int rows = pixels.rows, firstRow = -pixels.rowsAbove, lastRow = rows + pixels.rowsBelow - 1;
    const ColumnStrips strips(pixels.columns);
    const auto at = [=](int row, int strip) { // of copies, which no store to the pixels can change
        return pixels.first + std::clamp(row, firstRow, lastRow) * pixels.stride + strip * ColumnStrips::columns;
    };

    const SinglePrecisionMean mean(2 * radius + 1);
    const __m256i complements = _mm256_set1_epi32(int(complement)), colors = _mm256_set1_epi32(int(color));
    Row sums, leaving[lines::alphawindows::largestRadius + 1]; // before the first row: what its window begins with
    strips.ForEach([&](int s, auto load, auto) {
        __m256i sum = _mm256_setzero_si256();
        for (int row = -radius - 1; row < radius; ++row) {
            const __m256i alpha = alphaOf(load(at(row, s)));
            sum = _mm256_add_epi32(sum, alpha);
            if (row < 0)
                leaving[row + radius + 1].strip[s] = alpha;
        }
        sums.strip[s] = sum;
    });
    for (int row = 0, oldest = 0; row < rows; ++row, oldest = oldest == radius ? 0 : oldest + 1) {
        memory::prefetch(at(row + radius + ColumnStrips::prefetchRows, 0), pixels.columns);
        strips.ForEach([&](int s, auto load, auto store) {
            __m256i &last = leaving[oldest].strip[s], &sum = sums.strip[s];
            sum = _mm256_add_epi32(sum, _mm256_sub_epi32(alphaOf(load(at(row + radius, s))), last));
            last = alphaOf(load(at(row, s)));
            const __m256i alpha = _mm256_slli_epi32(_mm256_xor_si256(mean(sum), complements), 24);
            store(at(row, s), _mm256_or_si256(alpha, colors));
        });
    }
}
