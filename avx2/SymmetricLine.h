#pragma once

#include "LineChunks.h"

#include <vector>

/// One line under symmetric taps, up to chunks::maxTaps of them.
///
/// Only the taps from the middle on are paired, and samples at the same distance from the middle are added before they
/// are multiplied, which halves the multiplications. For that there are also the pairs (x[2m], x[2m - 1]), which hold
/// the samples on the other side of the middle, in the same order. Up to a handful of taps these pairs cost more than
/// they save: see ShortRows.h.
namespace symmetric {

/// Two pixels of each half, 16 bits a channel: (x[2m], x[2m + 1]) and (x[2m], x[2m - 1]) for each.
struct alignas(32) BothPairs {
    __m256i forward, backward;
};

/// The sums of two elements' outputs.
inline chunks::GroupSums sum(const BothPairs *elements, const chunks::TapsTwice &pairs)
{
    using chunks::GroupSums;
    GroupSums sums;
    __m256i mirror[2]; // the samples on the other side of the middle that the odd outputs take next
    for (int k = 0; k < 2; ++k) {
        const __m256i samples = elements[k].forward;
        mirror[k] = elements[k].backward;
        const __m256i withoutMiddle = _mm256_blend_epi16(_mm256_setzero_si256(), mirror[k], 0xAA); // it counts once
        GroupSums::Add(sums.even[k], _mm256_add_epi16(samples, withoutMiddle), pairs.even[0]);
        GroupSums::Add(sums.odd[k], samples, pairs.odd[0]);
    }
#pragma GCC unroll 2
    for (int t = 1; t <= pairs.last; ++t)
        for (int k = 0; k < 2; ++k) {
            const __m256i samples = elements[k + t].forward, behind = elements[k - t].backward;
            GroupSums::Add(sums.even[k], _mm256_add_epi16(samples, behind), pairs.even[t]);
            GroupSums::Add(sums.odd[k], _mm256_add_epi16(samples, mirror[k]), pairs.odd[t]);
            mirror[k] = behind;
        }
    if (pairs.lastOdd > pairs.last)
        for (int k = 0; k < 2; ++k)
            GroupSums::Add(sums.odd[k], _mm256_add_epi16(elements[k + pairs.lastOdd].forward, mirror[k]),
                pairs.odd[pairs.lastOdd]);
    return sums;
}

/// Convolves @p count pixels of each half of a chunk; @p middle is the place of the middle one among the taps.
inline void convolveChunk(
    const chunks::Halves &from, int count, const chunks::TapsTwice &pairs, int middle, unsigned *left, unsigned *right)
{
    using chunks::maxPixels, chunks::maxTaps, chunks::Neighbour;
    BothPairs elements[maxPixels / 2 + maxTaps / 2 + 4];
    BothPairs *const own = elements + pairs.last; // of the first two outputs
    chunks::expand<Neighbour::Next>(
        from, middle, count / 2 + pairs.lastOdd, [own](int i, __m256i pair) { own[i].forward = pair; });
    chunks::expand<Neighbour::Previous>(from, middle - 2 * pairs.last, count / 2 + pairs.last,
        [&elements](int i, __m256i pair) { elements[i].backward = pair; });
    for (int i = 0; i < count; i += chunks::groupPixels)
        sum(own + i / 2, pairs).Store(left + i, right + i);
}

inline void convolve(const unsigned *source, unsigned *destination, int length, const std::vector<short> &taps)
{
    const int count = int(taps.size()), middle = count / 2;
    const chunks::TapsTwice pairs(taps.data() + middle, count - middle);
    chunks::forEachChunk(source, destination, length, count,
        [&](const chunks::Halves &from, int pixels, unsigned *left, unsigned *right) {
            convolveChunk(from, pixels, pairs, middle, left, right);
        });
}

} // namespace symmetric
