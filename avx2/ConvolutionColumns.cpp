#include "AlphaLanes.h"
#include "Kernel.h"
#include "lines/ColumnBlocks.h"

#include <algorithm>

// Fixed-point convolution of columns side by side, in place. A sample vector holds four neighbouring pixels of a row in
// 16-bit channels, so a step down the columns is a step of one whole vector and every load of the inner loop is
// aligned. Samples at the same distance from the middle are added before they are multiplied; two such sums,
// interleaved, meet two neighbouring entries of the kernel in one multiplication. A sum of two samples is at most 510,
// so two products with 16-bit entries fit 32 bits, and everything beyond is 32-bit addition: the plain loop's sums
// modulo 2^32.
//
// Two rows are computed at a time, for all columns of the block. Every row is read before it is overwritten, and kept
// as samples for as long as it is needed. All of that stays in the nearest cache.

namespace {

namespace columns = lines::columns;

constexpr int fractionBits = 14;
constexpr int stripColumns = 4; ///< the columns of one sample vector
constexpr int strips = columns::width / stripColumns;
constexpr int groupRows = 2; ///< rows that are computed at once
constexpr int bandRows = 16; ///< rows after which the samples that are still needed move to the front of the window
constexpr int maxRadius = int(columns::maxEntries) / 2;
constexpr int windowRows = bandRows + 2 * maxRadius;

/// Rows of a picture lie in different pages, and the processor does not fetch those ahead by itself: they are
/// prefetched this many rows before they are needed.
constexpr int prefetchRows = 8;

using Window = __m256i[strips][windowRows];
using Result = unsigned[groupRows][columns::width];

/// The entries from the middle on, in pairs as the multiplication takes them. The first pair is the middle and its
/// neighbour, or the middle alone: whichever leaves an even number of further entries.
struct Pairs {
    explicit Pairs(const std::vector<short> &kernel)
        : radius(int(kernel.size()) / 2)
        , head(radius % 2 == 0 ? 1 : 2)
    {
        const short *const middle = kernel.data() + radius;
        const auto pair = [](short first, short second) {
            return _mm256_set1_epi32(int((unsigned(first) & 0xFFFF) | unsigned(second) << 16));
        };
        entries[0] = pair(middle[0], head == 2 ? middle[1] : short(0));
        for (int j = head, k = 1; j < radius; j += 2, ++k)
            entries[k] = pair(middle[j], middle[j + 1]);
    }

    int radius;
    int head; ///< how many distances from the middle the first pair covers, itself included
    __m256i entries[maxRadius / 2 + 1];
};

/// The sums for a sample vector, 32 bits each: @c low for the lower four channels of each 128-bit half, @c high for the
/// upper four.
struct Sums {
    __m256i low = _mm256_set1_epi32(1 << (fractionBits - 1)), high = low;

    void Add(__m256i first, __m256i second, __m256i pair)
    {
        low = _mm256_add_epi32(low, _mm256_madd_epi16(_mm256_unpacklo_epi16(first, second), pair));
        high = _mm256_add_epi32(high, _mm256_madd_epi16(_mm256_unpackhi_epi16(first, second), pair));
    }
    /// The results in 16 bits. A shifted sum has 18; saturating here does not change what the clamp to bytes gives.
    __m256i Words() const
    {
        return _mm256_packs_epi32(_mm256_srai_epi32(low, fractionBits), _mm256_srai_epi32(high, fractionBits));
    }
};

/// Convolves two rows of the block; @p middle is the place of the first one's own samples in the window. For a kernel
/// of seven entries, which a Gaussian of sigma 1 has, the compiler is told the radius and unrolls the loop.
template <int head, int knownRadius = 0>
void convolveRows(const Window &window, int middle, const Pairs &pairs, Result &result)
{
    const int radius = knownRadius ? knownRadius : pairs.radius;
    for (int s = 0; s < strips; ++s) {
        const __m256i *const own = window[s] + middle;
        Sums first, second;
        if (head == 2) {
            first.Add(own[0], _mm256_add_epi16(own[1], own[-1]), pairs.entries[0]);
            second.Add(own[1], _mm256_add_epi16(own[2], own[0]), pairs.entries[0]);
        } else {
            first.Add(own[0], _mm256_setzero_si256(), pairs.entries[0]);
            second.Add(own[1], _mm256_setzero_si256(), pairs.entries[0]);
        }
        // Samples that the next round needs as well stay in registers.
        const __m256i *below = own + head, *above = own - head, *pair = pairs.entries + 1;
        __m256i below0 = below[0], above1 = above[1];
        for (int j = head; j < radius; j += 2, below += 2, above -= 2, ++pair) {
            const __m256i below1 = below[1], below2 = below[2], above0 = above[0], aboveNext = above[-1];
            first.Add(_mm256_add_epi16(below0, above0), _mm256_add_epi16(below1, aboveNext), *pair);
            second.Add(_mm256_add_epi16(below1, above1), _mm256_add_epi16(below2, above0), *pair);
            below0 = below2;
            above1 = aboveNext;
        }
        const __m256i pixels =
            _mm256_permute4x64_epi64(_mm256_packus_epi16(first.Words(), second.Words()), _MM_SHUFFLE(3, 1, 2, 0));
        const auto store = [&](int row, __m128i four) {
            _mm_storeu_si128(reinterpret_cast<__m128i *>(result[row] + s * stripColumns), four);
        };
        store(0, _mm256_castsi256_si128(pixels));
        store(1, _mm256_extracti128_si256(pixels, 1));
    }
}

void convolveRows(const Window &window, int middle, const Pairs &pairs, Result &result)
{
    if (pairs.radius == 3)
        convolveRows<2, 3>(window, middle, pairs, result);
    else if (pairs.head == 2)
        convolveRows<2>(window, middle, pairs, result);
    else
        convolveRows<1>(window, middle, pairs, result);
}

/// Puts the samples of a row at place @p at; those of missing columns are zeros.
void expandRow(const unsigned *row, int width, Window &window, int at)
{
    unsigned padded[columns::width];
    if (width < columns::width) {
        std::fill(std::copy_n(row, width, padded), padded + columns::width, 0u);
        row = padded;
    }
    for (int s = 0; s < strips; ++s)
        window[s][at] =
            _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(row + s * stripColumns)));
}

/// Writes a row, as it is or made straight.
void finishRow(const unsigned *result, bool straighten, int width, unsigned *row)
{
    unsigned padded[columns::width];
    unsigned *const to = width < columns::width ? padded : row;
    for (int x = 0; x < columns::width; x += 8) {
        const __m256i pixels = lanes::load(result + x);
        lanes::store(to + x, straighten && !lanes::areOpaque(pixels) ? lanes::straightened(pixels) : pixels);
    }
    if (to == padded)
        std::copy_n(padded, width, row);
}

} // namespace

/// A block of columns: see lines::columns::Convolve.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2ConvolveColumns(
    unsigned *pixels, qptrdiff stride, int width, int rows, const std::vector<short> &kernel, int straightRows)
{
    const Pairs pairs(kernel);
    const int reach = 2 * pairs.radius; // places in the window that are filled before an output's last sample
    alignas(32) Window window;
    alignas(32) Result result;

    const auto rowAt = [&](int row) { return pixels + std::clamp(row, 0, rows - 1) * stride; };
    const auto fill = [&](int place, int row) {
        const unsigned *const next = rowAt(row + prefetchRows);
        for (int x = 0; x < width; x += 16)
            _mm_prefetch(reinterpret_cast<const char *>(next + x), _MM_HINT_T0);
        expandRow(rowAt(row), width, window, place);
    };
    for (int i = 0; i < reach; ++i)
        fill(i, i - pairs.radius);
    for (int first = 0; first < rows; first += bandRows) {
        const int count = std::min(bandRows, rows - first);
        for (int i = 0; i < count; i += groupRows) {
            // The last row is read for the last time here, before it is written.
            for (int k = 0; k < groupRows; ++k)
                fill(reach + i + k, first + i + k + pairs.radius);
            convolveRows(window, i + pairs.radius, pairs, result);
            for (int k = 0; k < groupRows && i + k < count; ++k)
                finishRow(result[k], first + i + k < straightRows, width, rowAt(first + i + k));
        }
        for (int s = 0; s < strips; ++s)
            std::copy_n(window[s] + count, reach, window[s]);
    }
}
