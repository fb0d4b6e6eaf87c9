#include "Kernel.h"
#include "Lanes.h"
#include "Quarters.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

// Fixed-point convolution of one line. Every form below gives the sums of the plain loop modulo 2^32: a sample is at
// most 255 and the sum of two at most 510, so a product with a 16-bit tap and the sum of two such products fit 32 bits,
// and everything beyond is 32-bit addition.
//
// Lines are worked on in chunks whose two halves lie side by side: element i of a buffer holds, in its low 128 bits,
// pixel i of the left half and in its high 128 bits pixel i of the right half. So a step of one pixel is a step of one
// whole vector and every load of the inner loop is aligned. The halves overlap where the chunk is no whole number of
// groups; pixels of the overlap are computed twice, alike.

namespace {

constexpr int roundingTerm = 8192;
constexpr int fractionBits = 14;

constexpr int groupElements = 4; ///< elements that one round of the inner loop computes: four pixels of each half
constexpr int maxElements = 512; ///< elements of a chunk
constexpr int maxStride = 128; ///< taps of one side that one sweep over a chunk takes; a longer kernel takes several
constexpr int windowElements = maxElements + maxStride + 2;

struct Scratch {
    alignas(32) __m256i forward[windowElements]; ///< per pixel and channel: (x[i], x[i + 1]), 16 bits each
    alignas(32) __m256i backward[windowElements]; ///< (x[i + 1], x[i])
    alignas(32) __m256i sums[maxElements];
};

/// One chunk: where its halves begin in a line.
struct Halves {
    const unsigned *left, *right;
    const unsigned *end; ///< of the source; nothing is read from there on
};

/// Four pixels of each half from @p i on.
__m256i loadHalves(Halves from, qptrdiff i)
{
    const auto load = [](const unsigned *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); };
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load(from.left + i)), load(from.right + i), 1);
}

/// The same with zeros for what lies behind the end of the source.
__m256i loadSafely(Halves from, qptrdiff i)
{
    unsigned halves[2][4] = {};
    for (int k = 0; k < 4; ++k) {
        if (from.left + i + k < from.end)
            halves[0][k] = from.left[i + k];
        if (from.right + i + k < from.end)
            halves[1][k] = from.right[i + k];
    }
    return lanes::load(halves);
}

/// Fills elements 0 to @p count - 1, rounded up to even, with the pairs that begin at pixel @p first of each half.
template <bool backward>
void expand(Halves from, qptrdiff first, int count, __m256i *pairs)
{
    // Bytes k and k + 4 of a half, which are one channel of two neighbours, as 16-bit numbers; then one pixel further.
    const auto shuffle = [](int pixel) {
        const int near = 4 * (backward ? pixel + 1 : pixel), far = 4 * (backward ? pixel : pixel + 1);
        const auto words = [&](int channel) {
            return (near + channel) | 0x8000 | (far + channel) << 16 | int(0x80000000);
        };
        const __m128i half = _mm_setr_epi32(words(0), words(1), words(2), words(3));
        return _mm256_broadcastsi128_si256(half);
    };
    const __m256i ofFirst = shuffle(0), ofSecond = shuffle(1);
    const auto put = [&](int i, __m256i pixels) {
        pairs[i] = _mm256_shuffle_epi8(pixels, ofFirst);
        pairs[i + 1] = _mm256_shuffle_epi8(pixels, ofSecond);
    };
    const qptrdiff available = from.end - from.right - first; // the left half ends before the right one
    int i = 0;
    for (; i < count && i + 4 <= available; i += 2)
        put(i, loadHalves(from, first + i));
    for (; i < count; i += 2)
        put(i, loadSafely(from, first + i));
}

__m256i broadcastPair(const short *taps)
{
    int pair;
    std::memcpy(&pair, taps, sizeof pair);
    return _mm256_set1_epi32(pair);
}

/// Ends four sums of each half: shifts them, clamps them to bytes and stores the pixels.
void finish(const __m256i sums[groupElements], unsigned *left, unsigned *right)
{
    __m256i v[groupElements];
    for (int g = 0; g < groupElements; ++g)
        v[g] = _mm256_srai_epi32(sums[g], fractionBits);
    // A shifted sum has 18 bits; saturating to 16 signed bits first does not change what the clamp to bytes gives.
    const __m256i pixels = _mm256_packus_epi16(_mm256_packs_epi32(v[0], v[1]), _mm256_packs_epi32(v[2], v[3]));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(left), _mm256_castsi256_si128(pixels));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(right), _mm256_extracti128_si256(pixels, 1));
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

/// Convolves @p elements pixels of each half. Taps are taken in pairs of neighbours; where their count is odd (on one
/// side and the middle, if @p mirrored), a head of a single tap or of the middle and its neighbour comes first.
///
/// Mirrored: the kernel is symmetric about its middle c, and the samples at c + j and c - j are added before they are
/// multiplied, which halves the multiplications. The pair (x[c + j], x[c + j + 1]) stands forward at c + j, its mirror
/// (x[c - j], x[c - j - 1]) backward at c - j - 1.
template <bool mirrored>
void convolveChunk(Scratch &scratch, const Halves &from, int elements, const std::vector<short> &kernel, unsigned *left,
    unsigned *right)
{
    const int count = int(kernel.size());
    const int middle = mirrored ? count / 2 : 0;
    const int taps = mirrored ? middle + 1 : count; // kernel[middle] to kernel[middle + taps - 1]
    const short *const tap = kernel.data() + middle;
    const bool single = taps % 2 != 0; // the head is tap 0 alone
    const bool head = single || mirrored;
    const __m256i headTaps = single ? _mm256_set1_epi32(tap[0] & 0xFFFF) : broadcastPair(tap);
    // Of the middle's own pair (x[c], x[c + 1]) only x[c + 1] has a mirror.
    const __m256i secondOnly = _mm256_set1_epi32(int(0xFFFF0000));

    for (int first = 0; first < taps;) {
        const int last = std::min(taps, first + maxStride + (first == 0 && single));
        const int begin = first > 0 ? first : single ? 1 : head ? 2 : 0; // of the pairs after the head
        expand<false>(from, middle + first, elements + last - first, scratch.forward);
        if (mirrored)
            expand<true>(from, middle - last + 1, elements + last - first, scratch.backward);
        for (int e = 0; e < elements; e += groupElements) {
            const __m256i *const forward = scratch.forward + e - first;
            const __m256i *const backward = scratch.backward + e + last - 2;
            __m256i sums[groupElements];
            for (int g = 0; g < groupElements; ++g)
                sums[g] = first == 0 ? _mm256_set1_epi32(roundingTerm) : scratch.sums[e + g];
            if (first == 0 && head) {
                for (int g = 0; g < groupElements; ++g) {
                    __m256i samples = forward[g];
                    if (!single)
                        samples = _mm256_add_epi16(samples, _mm256_and_si256(backward[g], secondOnly));
                    sums[g] = _mm256_add_epi32(sums[g], _mm256_madd_epi16(samples, headTaps));
                }
            }
            if (mirrored) {
                // What the distances j and j + 2 have in common stays in registers.
                const __m256i *f = forward + begin, *b = backward - begin;
                __m256i f0 = f[0], f1 = f[1], b2 = b[2], b3 = b[3];
                for (int j = begin; j < last; j += 2, f += 2, b -= 2) {
                    const __m256i pair = broadcastPair(tap + j);
                    const __m256i f2 = f[2], f3 = f[3], b0 = b[0], b1 = b[1];
                    const auto add = [&](__m256i &sum, __m256i there, __m256i back) {
                        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_add_epi16(there, back), pair));
                    };
                    add(sums[0], f0, b0);
                    add(sums[1], f1, b1);
                    add(sums[2], f2, b2);
                    add(sums[3], f3, b3);
                    f0 = f2, f1 = f3, b2 = b0, b3 = b1;
                }
            } else
                for (int j = begin; j < last; j += 2) {
                    const __m256i pair = broadcastPair(tap + j);
                    for (int g = 0; g < groupElements; ++g)
                        sums[g] = _mm256_add_epi32(sums[g], _mm256_madd_epi16(forward[j + g], pair));
                }
            if (last == taps)
                finish(sums, left + e, right + e);
            else
                std::copy_n(sums, groupElements, scratch.sums + e);
        }
        first = last;
    }
}

bool isSymmetric(const std::vector<short> &kernel)
{
    return kernel.size() % 2 != 0 && std::equal(kernel.begin(), kernel.begin() + kernel.size() / 2, kernel.rbegin());
}

/// The places where a long, flat kernel changes. From one pixel to the next a sum changes by what the samples at these
/// places add and take away, each times the change: out[i + 1] - out[i] = sum of (k[m - 1] - k[m]) * x[i + m].
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

    /// Whether a line is worth the look at the kernel, and the start-up.
    static bool MayPay(size_t taps, unsigned length) { return taps >= 64 && length >= 256; }
    /// Whether a line is then done sooner this way than by the whole sum for each pixel.
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
    /// In either direction: a change is at most 128 * 255 = 32640 then, which fits 16 bits.
    static constexpr int maximumSteps = 128;

    bool m_isFlat = true;
    std::vector<int> m_added, m_taken; ///< a place stands there as often as the kernel changes by 1
};

} // namespace

/// One line of the fixed-point convolution: @p source holds @p length + kernel.size() - 1 pixels at least, @p destination
/// takes @p length.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2Convolve(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &kernel)
{
    if (Staircase::MayPay(kernel.size(), length)) {
        const Staircase staircase(kernel);
        if (staircase.Pays(kernel.size())) {
            thread_local std::vector<unsigned> padded;
            padded.resize(std::max(padded.size(), length + kernel.size() + 3));
            std::copy_n(source, length + kernel.size() - 1, padded.data());
            return staircase.Convolve(padded.data(), destination, int(length), kernel);
        }
    }
    // Up to a handful of taps the second buffer of the mirrored form costs more than it saves.
    const bool mirrored = kernel.size() > 7 && isSymmetric(kernel);
    const unsigned *const end = source + length + kernel.size() - 1;
    Scratch scratch;
    while (length >= groupElements && !kernel.empty()) {
        const int pixels = int(std::min(length, 2u * maxElements));
        // Half of them, a whole number of groups; the right half is moved back so that it ends with the chunk.
        const int elements = ((pixels + 1) / 2 + groupElements - 1) / groupElements * groupElements;
        const int right = pixels - elements;
        const Halves from { source, source + right, end };
        if (mirrored)
            convolveChunk<true>(scratch, from, elements, kernel, destination, destination + right);
        else
            convolveChunk<false>(scratch, from, elements, kernel, destination, destination + right);
        source += pixels;
        destination += pixels;
        length -= unsigned(pixels);
    }
    convolvePlain(source, destination, int(length), kernel);
}
