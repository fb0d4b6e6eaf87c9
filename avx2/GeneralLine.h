#pragma once

#include "LineChunks.h"

#include <vector>

/// One line under any taps, up to chunks::maxTaps of them.
namespace general {

/// Convolves @p count pixels of each half of a chunk.
inline void convolveChunk(
    const chunks::Halves &from, int count, const chunks::TapsTwice &pairs, unsigned *left, unsigned *right)
{
    using chunks::maxPixels, chunks::maxTaps, chunks::GroupSums;
    __m256i elements[maxPixels / 2 + maxTaps / 2 + 4];
    chunks::expand<chunks::Neighbour::Next>(
        from, 0, count / 2 + pairs.lastOdd, [&elements](int i, __m256i pair) { elements[i] = pair; });
    for (int i = 0; i < count; i += chunks::groupPixels) {
        const __m256i *const samples = elements + i / 2;
        GroupSums sums;
#pragma GCC unroll 2
        for (int t = 0; t <= pairs.last; ++t)
            for (int k = 0; k < 2; ++k) {
                GroupSums::Add(sums.even[k], samples[k + t], pairs.even[t]);
                GroupSums::Add(sums.odd[k], samples[k + t], pairs.odd[t]);
            }
        if (pairs.lastOdd > pairs.last)
            for (int k = 0; k < 2; ++k)
                GroupSums::Add(sums.odd[k], samples[k + pairs.lastOdd], pairs.odd[pairs.lastOdd]);
        sums.Store(left + i, right + i);
    }
}

inline void convolve(const unsigned *source, unsigned *destination, int length, const std::vector<short> &taps)
{
    const int count = int(taps.size());
    const chunks::TapsTwice pairs(taps.data(), count);
    chunks::forEachChunk(source, destination, length, count,
        [&pairs](const chunks::Halves &from, int pixels, unsigned *left, unsigned *right) {
            convolveChunk(from, pixels, pairs, left, right);
        });
}

} // namespace general
