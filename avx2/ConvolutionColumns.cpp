#include "AlphaVectors.h"
#include "Kernel.h"
#include "SymmetricTaps.h"
#include "lines/ConvolutionKernels.h"

#include <algorithm>

// Fixed-point convolution of columns side by side, in place. A sample vector holds four of eight neighbouring pixels of
// a row in 16-bit channels, so a step down the columns is a step of one whole vector and every load of the inner loop
// is aligned.
//
// Two rows are computed at a time, for all columns of the block. Every row is read before it is overwritten, and kept
// as samples for as long as it is needed. All of that stays in the nearest cache.

namespace {

namespace columns = lines::columns;
using symmetric::Pairs, symmetric::Sums;

constexpr int stripColumns = 4; ///< the columns of one sample vector; two strips share eight neighbours
constexpr int pairColumns = 2 * stripColumns;
constexpr int strips = columns::width / stripColumns;
constexpr int groupRows = 2; ///< rows that are computed at once
constexpr int bandRows = 16; ///< rows after which the samples that are still needed move to the front of the window
constexpr int windowRows = bandRows + 2 * symmetric::maxRadius;

/// Rows of a picture lie in different pages, and the processor does not fetch those ahead by itself: they are
/// prefetched this many rows before they are needed.
constexpr int prefetchRows = 8;

using Window = __m256i[strips][windowRows];

/// The results for one sample vector in two rows; @p own are the samples of the first row. For seven taps,
/// which a Gaussian of sigma 1 has, the compiler knows the radius and unrolls the loop.
template <int head, int knownRadius>
Q_ALWAYS_INLINE void convolve(const __m256i *own, const Pairs &pairs, __m256i words[groupRows])
{
    const int radius = knownRadius ? knownRadius : pairs.radius;
    Sums first, second;
    if (head == 2) {
        first.Add(own[0], _mm256_add_epi16(own[1], own[-1]), pairs.factors[0]);
        second.Add(own[1], _mm256_add_epi16(own[2], own[0]), pairs.factors[0]);
    } else {
        first.Add(own[0], _mm256_setzero_si256(), pairs.factors[0]);
        second.Add(own[1], _mm256_setzero_si256(), pairs.factors[0]);
    }
    // Samples that the next round needs as well stay in registers.
    const __m256i *below = own + head, *above = own - head, *pair = pairs.factors + 1;
    __m256i below0 = below[0], above1 = above[1];
    for (int j = head; j < radius; j += 2, below += 2, above -= 2, ++pair) {
        const __m256i below1 = below[1], below2 = below[2], above0 = above[0], aboveNext = above[-1];
        first.Add(_mm256_add_epi16(below0, above0), _mm256_add_epi16(below1, aboveNext), *pair);
        second.Add(_mm256_add_epi16(below1, above1), _mm256_add_epi16(below2, above0), *pair);
        below0 = below2;
        above1 = aboveNext;
    }
    words[0] = first.Words();
    words[1] = second.Words();
}

/// Where the results of two rows go, and whether they are unpremultiplied.
struct Target {
    unsigned *pixels[groupRows];
    bool unpremultiply[groupRows];
};

/// Convolves @p used strips of two rows; @p middle is the place of the first one's own samples in the window.
template <int head, int knownRadius = 0>
void convolveRows(const Window &window, int used, int middle, const Pairs &pairs, const Target &target)
{
    for (int s = 0; s < used; s += 2) {
        __m256i low[groupRows], high[groupRows];
        convolve<head, knownRadius>(window[s] + middle, pairs, low);
        convolve<head, knownRadius>(window[s + 1] + middle, pairs, high);
        const __m256i pixels[] { _mm256_packus_epi16(low[0], high[0]), _mm256_packus_epi16(low[1], high[1]) };
        const bool areOpaque = vectors::areOpaque(_mm256_and_si256(pixels[0], pixels[1]));
        for (int row = 0; row < groupRows; ++row)
            vectors::store(target.pixels[row] + s * stripColumns,
                target.unpremultiply[row] && !areOpaque ? vectors::unpremultiplied(pixels[row]) : pixels[row]);
    }
}

void convolveRows(const Window &window, int used, int middle, const Pairs &pairs, const Target &target)
{
    if (pairs.radius == 3)
        convolveRows<2, 3>(window, used, middle, pairs, target);
    else if (pairs.head == 2)
        convolveRows<2>(window, used, middle, pairs, target);
    else
        convolveRows<1>(window, used, middle, pairs, target);
}

/// Puts the samples of a row at place @p at of @p used strips; those of missing columns are zeros.
void expandRow(const unsigned *row, int width, Window &window, int used, int at)
{
    unsigned padded[columns::width];
    if (width % pairColumns != 0) {
        std::fill(std::copy_n(row, width, padded), padded + used * stripColumns, 0u);
        row = padded;
    }
    const __m256i zero = _mm256_setzero_si256();
    for (int s = 0; s < used; s += 2) {
        const __m256i pixels = vectors::load(row + s * stripColumns);
        window[s][at] = _mm256_unpacklo_epi8(pixels, zero);
        window[s + 1][at] = _mm256_unpackhi_epi8(pixels, zero);
    }
}

} // namespace

/// A block of columns: see KernelList.h.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2ConvolveColumns(
    unsigned *pixels, qptrdiff stride, int width, int rows, const std::vector<short> &taps, int straightRows)
{
    const Pairs pairs(taps);
    const int reach = 2 * pairs.radius; // places in the window that are filled before an output's last sample
    alignas(32) Window window;
    unsigned aside[groupRows][columns::width]; // results that are not the picture's, or only in part

    const bool isNarrow = width % pairColumns != 0;
    const int used = (width + pairColumns - 1) / pairColumns * 2; // of the strips
    const auto rowAt = [&](int row) { return pixels + std::clamp(row, 0, rows - 1) * stride; };
    const auto fill = [&](int place, int row) {
        const unsigned *const next = rowAt(row + prefetchRows);
        for (int x = 0; x < width; x += 16)
            _mm_prefetch(reinterpret_cast<const char *>(next + x), _MM_HINT_T0);
        expandRow(rowAt(row), width, window, used, place);
    };
    for (int i = 0; i < reach; ++i)
        fill(i, i - pairs.radius);
    for (int first = 0; first < rows; first += bandRows) {
        const int count = std::min(bandRows, rows - first);
        for (int i = 0; i < count; i += groupRows) {
            // The last row is read for the last time here, before it is written.
            for (int k = 0; k < groupRows; ++k)
                fill(reach + i + k, first + i + k + pairs.radius);
            Target target;
            for (int k = 0; k < groupRows; ++k) {
                const bool isWhole = !isNarrow && i + k < count;
                target.pixels[k] = isWhole ? rowAt(first + i + k) : aside[k];
                target.unpremultiply[k] = first + i + k < straightRows;
            }
            convolveRows(window, used, i + pairs.radius, pairs, target);
            for (int k = 0; isNarrow && k < groupRows && i + k < count; ++k)
                std::copy_n(aside[k], width, rowAt(first + i + k));
        }
        for (int s = 0; s < used; ++s)
            std::copy_n(window[s] + count, reach, window[s]);
    }
}
