#include "Kernel.h"
#include "Lanes.h"
#include "Quarters.h"
#include "ShortRows.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <vector>

// Fixed-point convolution of one line. Every form below gives the sums of the plain loop modulo 2^32: a sample is at
// most 255 and the sum of two at most 510, so a product with a 16-bit entry and the sum of two such products fit 32
// bits, and everything beyond is 32-bit addition.
//
// Lines are worked on in chunks whose two halves lie side by side: in an element of a buffer the low 128 bits belong to
// the left half and the high 128 bits to the right half. So a step along the line is a step of whole vectors and every
// load of the inner loop is aligned. The halves overlap where the chunk is no whole number of groups; pixels of the
// overlap are computed twice, with the same result.
//
// Samples come in pairs of neighbours, so that one multiplication takes two entries of the kernel. The entries are
// paired in two ways, (k0, k1) (k2, k3) ... for outputs at even places and (0, k0) (k1, k2) ... for those at odd
// places: so both use the same pairs of samples, (x[2m], x[2m + 1]).
//
// Of a symmetric kernel k0 is the middle, and samples at the same distance from it are added before they are
// multiplied, which halves the multiplications. For that there are also the pairs (x[2m], x[2m - 1]), which hold the
// samples on the other side of the middle, in the same order. Up to a handful of entries these pairs cost more than
// they save: such lines are convolved as in ShortRows.h.

namespace {

using symmetric::fractionBits, symmetric::roundingTerm;

constexpr int groupPixels = 4; ///< of each half, that one round of the inner loop computes
constexpr int maxPixels = 512; ///< of each half of a chunk
constexpr int maxEntries = 512; ///< of a kernel; a Gaussian that has more is a Staircase, see below

/// Two pixels of each half, 16 bits a channel: (x[2m], x[2m + 1]) and (x[2m], x[2m - 1]) for each.
struct alignas(32) Element {
    __m256i forward, backward;
};

/// The entries of a kernel, paired in both ways; of a mirrored one those from the middle on.
struct Pairs {
    Pairs(const std::vector<short> &kernel, bool mirrored)
        : middle(mirrored ? int(kernel.size()) / 2 : 0)
    {
        const int count = int(kernel.size()) - middle;
        const auto pair = [&](int j) {
            const auto entry = [&](int i) { return i < 0 || i >= count ? 0u : kernel[size_t(middle + i)] & 0xFFFFu; };
            return int(entry(j) | entry(j + 1) << 16);
        };
        last = (count - 1) / 2;
        lastOdd = count / 2;
        for (int t = 0; t <= lastOdd; ++t) {
            even[t] = pair(2 * t);
            odd[t] = pair(2 * t - 1);
        }
    }

    int middle; ///< the place of k0 in the kernel
    int last, lastOdd; ///< the last pair that outputs at even and at odd places take: the same, or one more
    int even[maxEntries / 2 + 1], odd[maxEntries / 2 + 1];
};

/// One chunk: where its halves begin in a line.
struct Halves {
    const unsigned *left, *right;
    const unsigned *begin, *end; ///< of the line; nothing is read outside
};

/// Four pixels of each half from @p i on.
__m256i loadHalves(Halves from, qptrdiff i)
{
    const auto load = [](const unsigned *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); };
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load(from.left + i)), load(from.right + i), 1);
}

/// The same with zeros for what lies outside the line.
__m256i loadSafely(Halves from, qptrdiff i)
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
    return lanes::load(halves);
}

/// Fills the forward or backward pairs of @p count elements, rounded up to an even number. The first one is that of
/// pixel @p first of each half.
template <bool backward>
void expand(Halves from, qptrdiff first, int count, Element *elements)
{
    // Puts each channel of two neighbouring pixels, which are bytes k and k + 4, side by side as 16-bit numbers; the
    // second shuffle takes the next two pixels.
    const auto shuffle = [](int pixel) {
        const int near = 4 * (backward ? pixel + 1 : pixel), far = 4 * (backward ? pixel : pixel + 1);
        const auto words = [&](int channel) {
            return (near + channel) | 0x8000 | (far + channel) << 16 | int(0x80000000);
        };
        const __m128i half = _mm_setr_epi32(words(0), words(1), words(2), words(3));
        return _mm256_broadcastsi128_si256(half);
    };
    const __m256i ofFirst = shuffle(0), ofSecond = shuffle(2);
    first -= backward;
    const qptrdiff start = from.begin - from.left, end = from.end - from.right; // the left half begins and ends first
    for (int i = 0; i < count; i += 2) {
        const qptrdiff at = first + 2 * i;
        const __m256i pixels = at >= start && at + 4 <= end ? loadHalves(from, at) : loadSafely(from, at);
        for (const auto &[element, shuffle] :
            { std::pair(elements + i, ofFirst), std::pair(elements + i + 1, ofSecond) })
            (backward ? element->backward : element->forward) = _mm256_shuffle_epi8(pixels, shuffle);
    }
}

/// The plain loop, for lines that are too short for a group.
void convolvePlain(const unsigned *source, unsigned *destination, int length, const std::vector<short> &kernel)
{
    for (int i = 0; i < length; ++i) {
        unsigned pixel = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            unsigned sum = roundingTerm;
            for (size_t j = 0; j < kernel.size(); ++j)
                sum += (source[size_t(i) + j] >> shift & 0xFF) * unsigned(int(kernel[j]));
            pixel |= unsigned(std::clamp(int(sum) >> fractionBits, 0, 255)) << shift;
        }
        destination[i] = pixel;
    }
}

/// The sums of two elements' outputs, 32 bits each: those at even places and those at odd ones.
template <bool mirrored>
void sum(const Element *elements, const Pairs &pairs, __m256i even[2], __m256i odd[2])
{
    const auto add = [](__m256i &sum, __m256i samples, int pair) {
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(samples, _mm256_set1_epi32(pair)));
    };
    __m256i mirror[2]; // the samples on the other side of the middle that the odd outputs take next
    for (int k = 0; k < 2; ++k) {
        even[k] = odd[k] = _mm256_set1_epi32(roundingTerm);
        const __m256i samples = elements[k].forward;
        mirror[k] = mirrored ? elements[k].backward : _mm256_setzero_si256();
        add(odd[k], samples, pairs.odd[0]);
        const __m256i withoutMiddle = _mm256_blend_epi16(_mm256_setzero_si256(), mirror[k], 0xAA); // it counts once
        add(even[k], mirrored ? _mm256_add_epi16(samples, withoutMiddle) : samples, pairs.even[0]);
    }
#pragma GCC unroll 2
    for (int t = 1; t <= pairs.last; ++t)
        for (int k = 0; k < 2; ++k) {
            const __m256i samples = elements[k + t].forward;
            if (mirrored) {
                const __m256i behind = elements[k - t].backward;
                add(even[k], _mm256_add_epi16(samples, behind), pairs.even[t]);
                add(odd[k], _mm256_add_epi16(samples, mirror[k]), pairs.odd[t]);
                mirror[k] = behind;
            } else {
                add(even[k], samples, pairs.even[t]);
                add(odd[k], samples, pairs.odd[t]);
            }
        }
    if (pairs.lastOdd > pairs.last)
        for (int k = 0; k < 2; ++k) {
            const __m256i samples = elements[k + pairs.lastOdd].forward;
            add(odd[k], mirrored ? _mm256_add_epi16(samples, mirror[k]) : samples, pairs.odd[pairs.lastOdd]);
        }
}

/// Convolves @p count pixels of each half.
template <bool mirrored>
void convolveChunk(const Halves &from, int count, const Pairs &pairs, unsigned *left, unsigned *right)
{
    Element elements[maxPixels / 2 + maxEntries / 2 + 4];
    Element *const own = elements + (mirrored ? pairs.last : 0); // of the first two outputs
    expand<false>(from, pairs.middle, count / 2 + pairs.lastOdd, own);
    if (mirrored)
        expand<true>(from, pairs.middle - 2 * pairs.last, count / 2 + pairs.last, elements);
    for (int i = 0; i < count; i += groupPixels) {
        __m256i even[2], odd[2];
        sum<mirrored>(own + i / 2, pairs, even, odd);
        // A shifted sum has 18 bits; saturating to 16 signed bits first does not change what the clamp to bytes gives.
        const auto words = [&](int k) {
            return _mm256_packs_epi32(
                _mm256_srai_epi32(even[k], fractionBits), _mm256_srai_epi32(odd[k], fractionBits));
        };
        const __m256i pixels = _mm256_packus_epi16(words(0), words(1));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(left + i), _mm256_castsi256_si128(pixels));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(right + i), _mm256_extracti128_si256(pixels, 1));
    }
}

/// The places where a long, flat kernel changes. From one pixel to the next the sum changes only by the samples at
/// these places, each times the change of the kernel there: out[i + 1] - out[i] = sum of (k[m - 1] - k[m]) * x[i + m].
class Staircase {
public:
    explicit Staircase(const std::vector<short> &kernel)
    {
        for (size_t m = 0; m <= kernel.size() && m_isFlat; ++m) {
            const int change = (m > 0 ? kernel[m - 1] : 0) - (m < kernel.size() ? kernel[m] : 0);
            std::vector<int> &places = change > 0 ? m_added : m_taken;
            m_isFlat = int(places.size()) + std::abs(change) <= maximumSteps;
            if (m_isFlat)
                places.insert(places.end(), size_t(std::abs(change)), int(m));
        }
    }

    /// Whether a line is long enough to look at the kernel at all, and to start the sums. Where only the plain loop is
    /// left otherwise, shorter lines are worth it too; below 11 pixels a quarter would be longer than the line.
    static bool MayPay(size_t taps, unsigned length) { return taps >= 64 && length >= (taps > maxEntries ? 32 : 256); }
    /// Whether a line of such a length is done sooner this way than by the whole sum for each pixel.
    bool Pays(size_t taps) const { return m_isFlat && 3 * (m_added.size() + m_taken.size()) < 4 * taps; }

    /// @p source holds @p length + kernel.size() pixels at least, and three more that may be anything.
    void Convolve(const unsigned *source, unsigned *destination, int length, const std::vector<short> &kernel) const
    {
        constexpr int group = 8;
        const int quarter = ((length + 3) / 4 + group - 1) / group * group, elements = quarter + int(kernel.size());
        thread_local std::vector<quarters::Element> scratch;
        scratch.resize(std::max(scratch.size(), size_t(elements) + 4));
        quarters::Element *const line = scratch.data();
        const quarters::Starts starts(length, quarter);
        quarters::expand(source, starts, elements, line, [](__m256i pixels) { return pixels; });
        unsigned *to[4];
        for (int k = 0; k < 4; ++k)
            to[k] = destination + starts.at[k];

        const __m256i zero = _mm256_setzero_si256();
        __m256i low = _mm256_set1_epi32(roundingTerm), high = low; // the sums of the current element, 32 bits each
        for (size_t j = 0; j < kernel.size(); ++j) {
            const __m256i tap = _mm256_set1_epi32(kernel[j] & 0xFFFF);
            low = _mm256_add_epi32(low, _mm256_madd_epi16(_mm256_unpacklo_epi16(line[j].v, zero), tap));
            high = _mm256_add_epi32(high, _mm256_madd_epi16(_mm256_unpackhi_epi16(line[j].v, zero), tap));
        }
        const auto next = [&](__m256i change) {
            const __m256i words =
                _mm256_packs_epi32(_mm256_srai_epi32(low, fractionBits), _mm256_srai_epi32(high, fractionBits));
            const __m256i sign = _mm256_srai_epi16(change, 15);
            low = _mm256_add_epi32(low, _mm256_unpacklo_epi16(change, sign));
            high = _mm256_add_epi32(high, _mm256_unpackhi_epi16(change, sign));
            return words;
        };
        for (int i = 0; i < quarter; i += group) {
            __m256i changes[group];
            std::fill(std::begin(changes), std::end(changes), zero);
            for (const int m : m_added)
                for (int g = 0; g < group; ++g)
                    changes[g] = _mm256_add_epi16(changes[g], line[i + m + g].v);
            for (const int m : m_taken)
                for (int g = 0; g < group; ++g)
                    changes[g] = _mm256_sub_epi16(changes[g], line[i + m + g].v);
            for (int g = 0; g < group; g += 2) {
                const __m256i first = next(changes[g]), second = next(changes[g + 1]);
                quarters::store(to, i + g, quarters::interleaved(_mm256_packus_epi16(first, second)));
            }
        }
    }

private:
    /// Steps up, and steps down: with that many a change is at most 128 * 255 = 32640, which fits 16 bits.
    static constexpr int maximumSteps = 128;

    bool m_isFlat = true;
    std::vector<int> m_added, m_taken; ///< places, each as many times as the kernel changes by 1 there
};

} // namespace

/// One line of the fixed-point convolution: @p source holds @p length + kernel.size() - 1 pixels at least,
/// @p destination takes @p length.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2Convolve(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &kernel)
{
    if (lines::rows::fits(kernel))
        return shortrows::convolve<false>(source, destination, int(length), kernel);
    if (Staircase::MayPay(kernel.size(), length)) {
        const Staircase staircase(kernel);
        if (staircase.Pays(kernel.size())) {
            thread_local std::vector<unsigned> padded;
            padded.resize(std::max(padded.size(), length + kernel.size() + 3));
            std::copy_n(source, length + kernel.size() - 1, padded.data());
            return staircase.Convolve(padded.data(), destination, int(length), kernel);
        }
    }
    if (!kernel.empty() && kernel.size() <= maxEntries) {
        const bool mirrored = lines::isSymmetric(kernel);
        const Pairs pairs(kernel, mirrored);
        const unsigned *const begin = source, *const end = source + length + kernel.size() - 1;
        while (length >= groupPixels) {
            const int pixels = int(std::min(length, 2u * maxPixels));
            // Half of them, a whole number of groups; the right half is moved back so that it ends with the chunk.
            const int half = ((pixels + 1) / 2 + groupPixels - 1) / groupPixels * groupPixels, right = pixels - half;
            const Halves from { source, source + right, begin, end };
            if (mirrored)
                convolveChunk<true>(from, half, pairs, destination, destination + right);
            else
                convolveChunk<false>(from, half, pairs, destination, destination + right);
            source += pixels;
            destination += pixels;
            length -= unsigned(pixels);
        }
    }
    convolvePlain(source, destination, int(length), kernel);
}

/// The same on pixels that are weighted by alpha first: see lines::rows.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2ConvolveWeighted(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &kernel)
{
    shortrows::convolve<true>(source, destination, int(length), kernel);
}
