#include "Kernel.h"
#include "Lanes.h"
#include "lines/ColumnBlocks.h"

#include <algorithm>

// Fixed-point convolution of columns side by side. A sample vector holds four neighbouring pixels of a row in 16-bit
// channels, so a step down the columns is a step of one whole vector and every load of the inner loop is aligned. Samples
// at the same distance from the middle are added before they are multiplied; two such sums, interleaved, meet two
// neighbouring entries of the kernel in one multiplication. A sum of two samples is at most 510, so two products with
// 16-bit entries fit 32 bits, and everything beyond is 32-bit addition: the plain loop's sums modulo 2^32.

namespace {

namespace columns = lines::columns;

constexpr int fractionBits = 14;
constexpr int stripColumns = 4; ///< of one sample vector
constexpr int strips = 4; ///< worked on at a time: what they read of a row is a cache line
constexpr int groupRows = 2; ///< rows that one round of the inner loop computes
constexpr int maxRadius = int(columns::maxEntries) / 2;
constexpr int windowRows = columns::band + 2 * maxRadius;

/// The entries from the middle on, in pairs as the multiplication takes them. The first pair is the middle's: with its
/// neighbour, or alone where that leaves an even number of further entries.
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

/// The sums for a sample vector, 32 bits each: for the lower and for the upper four channels of each half.
struct Sums {
    __m256i low = _mm256_set1_epi32(1 << (fractionBits - 1)), high = low;

    void Add(__m256i first, __m256i second, __m256i pair)
    {
        low = _mm256_add_epi32(low, _mm256_madd_epi16(_mm256_unpacklo_epi16(first, second), pair));
        high = _mm256_add_epi32(high, _mm256_madd_epi16(_mm256_unpackhi_epi16(first, second), pair));
    }
    /// In 16 bits. A shifted sum has 18; saturating here does not change what the clamp to bytes gives.
    __m256i Words() const
    {
        return _mm256_packs_epi32(_mm256_srai_epi32(low, fractionBits), _mm256_srai_epi32(high, fractionBits));
    }
};

/// Two rows of a strip, the first in the low half; @p middle is the first one's sample.
__m256i convolveRows(const __m256i *middle, const Pairs &pairs)
{
    Sums first, second;
    if (pairs.head == 2) {
        first.Add(middle[0], _mm256_add_epi16(middle[1], middle[-1]), pairs.entries[0]);
        second.Add(middle[1], _mm256_add_epi16(middle[2], middle[0]), pairs.entries[0]);
    } else {
        first.Add(middle[0], _mm256_setzero_si256(), pairs.entries[0]);
        second.Add(middle[1], _mm256_setzero_si256(), pairs.entries[0]);
    }
    // Samples that the next round needs as well stay in registers.
    const __m256i *below = middle + pairs.head, *above = middle - pairs.head, *pair = pairs.entries + 1;
    __m256i below0 = below[0], above1 = above[1];
    for (int j = pairs.head; j < pairs.radius; j += 2, below += 2, above -= 2, ++pair) {
        const __m256i below1 = below[1], below2 = below[2], above0 = above[0], aboveNext = above[-1];
        first.Add(_mm256_add_epi16(below0, above0), _mm256_add_epi16(below1, aboveNext), *pair);
        second.Add(_mm256_add_epi16(below1, above1), _mm256_add_epi16(below2, above0), *pair);
        below0 = below2;
        above1 = aboveNext;
    }
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(first.Words(), second.Words()), _MM_SHUFFLE(3, 1, 2, 0));
}

/// The first four pixels of @p available as samples, with zeros for those that are missing.
__m256i sample(const unsigned *pixels, int available)
{
    if (available >= stripColumns)
        return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(pixels)));
    const __m128i wanted = _mm_cmpgt_epi32(_mm_set1_epi32(available), _mm_setr_epi32(0, 1, 2, 3));
    return _mm256_cvtepu8_epi16(_mm_maskload_epi32(reinterpret_cast<const int *>(pixels), wanted));
}

} // namespace

/// A band of a block of columns: see lines::columns::Convolve.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2ConvolveColumns(const unsigned *source, qptrdiff stride, int width,
    int rows, int first, int count, unsigned *destination, const std::vector<short> &kernel)
{
    constexpr int columnsAtOnce = strips * stripColumns;
    const Pairs pairs(kernel);
    const int groups = (count + groupRows - 1) / groupRows, window = groups * groupRows + 2 * pairs.radius;
    const auto pixelsAt = [&](int x, int row) { return source + std::clamp(row, 0, rows - 1) * stride + x; };
    // Rows lie in different pages, so the processor does not foresee which it will need. While a band is in hand, the
    // next one's are asked for, row by row, at a pace that leaves the line buffers free for what is needed at once.
    const unsigned *next = pixelsAt(0, first + count + pairs.radius);
    int nextX = 0, nextRow = first + count + pairs.radius;
    const auto prefetch = [&] {
        _mm_prefetch(reinterpret_cast<const char *>(next + nextX), _MM_HINT_T0);
        nextX += columnsAtOnce;
        if (nextX >= width) {
            nextX = 0;
            next = pixelsAt(0, ++nextRow);
        }
    };

    __m256i samples[strips][windowRows];
    for (int x = 0; x < width; x += columnsAtOnce) {
        const int available = width - x;
        for (int i = 0; i < window; ++i) {
            const unsigned *const pixels = pixelsAt(x, first - pairs.radius + i);
            if (available >= columnsAtOnce)
                for (int s = 0; s < strips; ++s)
                    samples[s][i] = sample(pixels + s * stripColumns, stripColumns);
            else
                for (int s = 0; s < strips; ++s)
                    samples[s][i] = sample(pixels + s * stripColumns, available - s * stripColumns);
        }
        for (int s = 0; s < strips && s * stripColumns < available; ++s)
            for (int group = 0; group < groups; ++group) {
                if (group % 2 == 0)
                    prefetch();
                const __m256i pixels = convolveRows(samples[s] + group * groupRows + pairs.radius, pairs);
                unsigned *const to = destination + group * groupRows * columns::width + x + s * stripColumns;
                _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm256_castsi256_si128(pixels));
                _mm_storeu_si128(reinterpret_cast<__m128i *>(to + columns::width), _mm256_extracti128_si256(pixels, 1));
            }
    }
}
