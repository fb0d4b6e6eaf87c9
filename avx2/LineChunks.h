#pragma once

#include "Vectors.h"

#include "lines/ConvolutionKernels.h"

#include <QtCore/qglobal.h>

#include <algorithm>

/// What the convolutions of one line in chunks share.
///
/// The two halves of a chunk lie side by side: in an element of a buffer the low 128 bits belong to the left half and
/// the high 128 bits to the right half. So a step along the line is a step of whole vectors and every load of the inner
/// loop is aligned. The halves overlap where the chunk is no whole number of groups; pixels of the overlap are computed
/// twice, with the same result.
///
/// Samples come in pairs of neighbours, so that one multiplication takes two taps. The taps are paired in two ways,
/// (k0, k1) (k2, k3) ... for outputs at even places and (0, k0) (k1, k2) ... for those at odd places: so both use the
/// same pairs of samples, (x[2m], x[2m + 1]).
///
/// A sample is at most 255 and the sum of two at most 510, so a product with a 16-bit tap and the sum of two such
/// products fit 32 bits, and everything beyond is 32-bit addition: the sums are those of a plain loop modulo 2^32.
namespace chunks {

constexpr int groupPixels = 4; ///< of each half, that one round of the inner loop computes
constexpr int maxPixels = 512; ///< of each half of a chunk
constexpr int maxTaps = 512;

/// The taps twice, paired in both ways.
struct TapsTwice {
    TapsTwice(const short *taps, int count)
        : last((count - 1) / 2)
        , lastOdd(count / 2)
    {
        const auto tap = [=](int i) { return i < 0 || i >= count ? 0u : taps[i] & 0xFFFFu; };
        const auto pair = [&](int i) { return int(tap(i) | tap(i + 1) << 16); };
        for (int t = 0; t <= lastOdd; ++t) {
            even[t] = pair(2 * t);
            odd[t] = pair(2 * t - 1);
        }
    }

    int last, lastOdd; ///< the last pair that outputs at even and at odd places take: the same, or one more
    int even[maxTaps / 2 + 1], odd[maxTaps / 2 + 1];
};

/// One chunk: where its halves begin in a line.
struct Halves {
    const unsigned *left, *right;
    const unsigned *begin, *end; ///< of the line; nothing is read outside
};

/// Four pixels of each half from @p i on.
inline __m256i loadHalves(Halves from, qptrdiff i)
{
    const auto load = [](const unsigned *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); };
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load(from.left + i)), load(from.right + i), 1);
}

/// The same with zeros for what lies outside the line.
inline __m256i loadSafely(Halves from, qptrdiff i)
{
    unsigned halves[2][4] = {};
    for (int k = 0; k < 4; ++k) {
        const auto load = [&](const unsigned *start, unsigned &pixel) {
            const qptrdiff at = start - from.begin + i + k;
            if (at >= 0 && at < from.end - from.begin)
                pixel = from.begin[at];
        };
        load(from.left, halves[0][k]);
        load(from.right, halves[1][k]);
    }
    return vectors::load(halves);
}

/// Which neighbour the second sample of a pair is.
enum class Neighbour { Next, Previous };

/// Calls @p put(i, pair) for @p count elements, rounded up to an even number: with two pixels of each half, 16 bits a
/// channel. The first of them is the pixel @p first + 2 * i of its half, the second its neighbour.
template <Neighbour neighbour, class Put>
void expand(Halves from, qptrdiff first, int count, const Put &put)
{
    // Puts each channel of two neighbouring pixels, which are bytes k and k + 4, side by side as 16-bit numbers; the
    // second shuffle takes the next two pixels.
    constexpr bool previous = neighbour == Neighbour::Previous;
    const auto shuffle = [](int pixel) {
        const int own = 4 * (previous ? pixel + 1 : pixel), other = 4 * (previous ? pixel : pixel + 1);
        const auto words = [&](int channel) {
            return (own + channel) | 0x8000 | (other + channel) << 16 | int(0x80000000);
        };
        const __m128i half = _mm_setr_epi32(words(0), words(1), words(2), words(3));
        return _mm256_broadcastsi128_si256(half);
    };
    const __m256i ofFirst = shuffle(0), ofSecond = shuffle(2);
    first -= previous;
    const qptrdiff start = from.begin - from.left, end = from.end - from.right; // the left half begins and ends first
    for (int i = 0; i < count; i += 2) {
        const qptrdiff at = first + 2 * i;
        const __m256i pixels = at >= start && at + 4 <= end ? loadHalves(from, at) : loadSafely(from, at);
        put(i, _mm256_shuffle_epi8(pixels, ofFirst));
        put(i + 1, _mm256_shuffle_epi8(pixels, ofSecond));
    }
}

/// The sums of two elements, 32 bits each: of outputs at even places and of those at odd ones.
struct GroupSums {
    __m256i even[2], odd[2];

    GroupSums() { even[0] = even[1] = odd[0] = odd[1] = _mm256_set1_epi32(lines::roundingTerm); }

    static void Add(__m256i &sum, __m256i samples, int pair)
    {
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(samples, _mm256_set1_epi32(pair)));
    }

    /// Writes four pixels of each half.
    void Store(unsigned *left, unsigned *right) const
    {
        // A shifted sum has 18 bits; saturating to 16 signed bits first does not change what the clamp to bytes gives.
        const auto words = [this](int k) {
            return _mm256_packs_epi32(
                _mm256_srai_epi32(even[k], lines::fractionBits), _mm256_srai_epi32(odd[k], lines::fractionBits));
        };
        const __m256i pixels = _mm256_packus_epi16(words(0), words(1));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(left), _mm256_castsi256_si128(pixels));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(right), _mm256_extracti128_si256(pixels, 1));
    }
};

/// Cuts a line of @p length pixels, at least @c groupPixels, which comes from @p taps - 1 more of them, into chunks.
/// Calls @p convolve(halves, count, left, right) for each, to compute that many pixels of each half.
template <class Convolve>
void forEachChunk(const unsigned *source, unsigned *destination, int length, int taps, const Convolve &convolve)
{
    const unsigned *const end = source + length + taps - 1;
    for (int first = 0; first < length;) {
        // A last chunk of less than a group is moved back.
        const int pixels = std::clamp(length - first, groupPixels, 2 * maxPixels),
                  at = std::min(first, length - pixels);
        // Half of them, a whole number of groups; the right half is moved back so that it ends with the chunk.
        const int half = ((pixels + 1) / 2 + groupPixels - 1) / groupPixels * groupPixels, right = at + pixels - half;
        convolve(Halves { source + at, source + right, source, end }, half, destination + at, destination + right);
        first = at + pixels;
    }
}

} // namespace chunks
