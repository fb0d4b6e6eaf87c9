#include "ColumnStrips.h"
#include "Kernel.h"
#include "Sharpening.h"
#include "lines/ConvolutionKernels.h"
#include "support/Prefetch.h"

#include <algorithm>

// Sharpens columns side by side, in place, row after row. What a row needs of itself and of the one above is kept for
// all columns of the block, in the nearest cache; so each row is read once, before it is overwritten.

namespace {

/// Sixteen channels of a row.
class Channels {
public:
    Channels() = default;
    Channels(__m256i above, __m256i own)
        : m_own(own)
        , m_rise(_mm256_sub_epi16(own, above))
    {
    }

    /// Returns the results, and goes on to the row @p below.
    __m256i Next(__m256i below, const Sharpening &sharpening)
    {
        const __m256i nextRise = _mm256_sub_epi16(below, m_own);
        const __m256i words = sharpening.Words(m_own, _mm256_sub_epi16(m_rise, nextRise));
        m_own = below;
        m_rise = nextRise;
        return words;
    }

private:
    __m256i m_own, m_rise; ///< the rise is from the row above
};

/// Eight pixels of a row.
class Strip {
public:
    Strip() = default;
    Strip(__m256i above, __m256i own)
        : m_low(Low(above), Low(own))
        , m_high(High(above), High(own))
    {
    }

    /// As for the channels.
    __m256i Next(__m256i below, const Sharpening &sharpening)
    {
        return _mm256_packus_epi16(m_low.Next(Low(below), sharpening), m_high.Next(High(below), sharpening));
    }

private:
    static __m256i Low(__m256i pixels) { return _mm256_unpacklo_epi8(pixels, _mm256_setzero_si256()); }
    static __m256i High(__m256i pixels) { return _mm256_unpackhi_epi8(pixels, _mm256_setzero_si256()); }

    Channels m_low, m_high;
};

} // namespace

/// A block of columns: see KernelList.h.
KXCORE_KERNEL void SharpenColumnsAVX2(const lines::ColumnPixels &pixels, int amount)
{
    const Sharpening sharpening(amount);
    const int rows = pixels.rows, lastRow = rows + pixels.rowsBelow - 1, rowAbove = pixels.rowsAbove > 0 ? -1 : 0;
    const ColumnStrips strips(pixels.columns);
    const auto at = [pixels](int row, int strip) { // a copy, which no store to the pixels can change
        return pixels.first + row * pixels.stride + strip * ColumnStrips::columns;
    };

    Strip kept[ColumnStrips::maximum];
    strips.ForEach([&](int s, auto load, auto) { kept[s] = Strip(load(at(rowAbove, s)), load(at(0, s))); });
    for (int row = 0; row < rows; ++row) {
        const int below = std::min(row + 1, lastRow);
        memory::prefetch(at(row + ColumnStrips::prefetchRows, 0), pixels.columns);
        strips.ForEach(
            [&](int s, auto load, auto store) { store(at(row, s), kept[s].Next(load(at(below, s)), sharpening)); });
    }
}
