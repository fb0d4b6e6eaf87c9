#include "AlphaGaussian.h"

#include "Kernel.h"
#include "Scratch.h"
#include "Vectors.h"

#include "KXKernels.h"
#include "lines/ConvolutionKernels.h"
#include "support/Arithmetic.h"

#include <algorithm>
#include <cmath>

// The Gaussian blur of alpha. Its results are defined by sums in double precision, from left to right. Here they are
// taken in whole numbers first, which tells how far they may be off. To the few that come out so near to where a
// rounding changes that they could be one less or one more, what the whole numbers left out of the weights is added, in
// whole numbers again; and what then is still too near is summed as it is defined.
//
// A mask is hard before it is blurred, all of it 0 or 255, and of one value over long stretches. Where all samples
// under the taps are of one value, so is the result: weights add up to 1 but for roundings. Where they are hard, what
// four of them add up to is looked up.

namespace {

using lines::mask::bandRows, lines::mask::everyLevel, lines::mask::maxReach, lines::mask::width;

/// What is done of a line at a time: no more blocks than an integer has bits.
constexpr int stretchLength = 64 * width;

/// Two successive samples of a line, or of a column: what one multiplication takes. The first is the lower half.
using Pair = quint32;

/// The pairs that @p count samples make with their successors, rounded up to whole eights.
void pairUp(const uchar *samples, const uchar *successors, int count, Pair *out)
{
    const auto eight = [](const uchar *bytes) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(bytes)); };
    for (int i = 0; i < count; i += 8)
        vectors::store(out + i, _mm256_cvtepu8_epi16(_mm_unpacklo_epi8(eight(samples + i), eight(successors + i))));
}

/// Numbers rounded to the nearest whole ones. A sum of some of these is off by what they are too large in all, or too
/// small, at most.
struct Rounding {
    int Of(double exact)
    {
        const int rounded = _mm_cvtsd_si32(_mm_set_sd(exact));
        (rounded > exact ? over : under) += std::abs(rounded - exact);
        return rounded;
    }
    double Margin() const { return std::max(over, under); }

    double over = 0, under = 0;
};

/// The result as it is defined, of samples of which sampleAt(j) lies under tap j.
template <class SampleAt>
uchar definedMean(const OPGaussianAlpha1D &kernel, SampleAt sampleAt)
{
    double sum = 0;
    for (int j = 0; j <= 2 * kernel.Left(); ++j)
        sum += double(sampleAt(j)) * kernel.Weights()[size_t(j)];
    return uchar(arithmetic::clamp8(arithmetic::truncate(sum + 0.5)));
}

/// The sums over one line or several columns.
class AlphaSums {
public:
    /// Samples of one sum lie @p step pairs apart.
    AlphaSums(const OPGaussianAlpha1D &kernel, qptrdiff step)
        : m_kernel(kernel)
        , m_weights(kernel.Weights().data())
        , m_reach(kernel.Left())
        , m_step(step)
        , m_taps(size_t(m_reach) + 1)
        , m_rests(size_t(m_reach) + 1)
    {
        if (IsPossible())
            Quantise();
    }

    /// False where weights are not a number, or where there is no memory.
    bool IsPossible() { return m_weights[m_reach] == m_weights[m_reach] && m_taps.Data() && m_rests.Data(); }

    int Reach() const { return m_reach; }

    /// The sums, of as many as @c width, that begin at @p first. Unless every level counts, they are only right as to
    /// whether they reach @p level, and may otherwise be one more.
    void Sum(const Pair *first, uchar *out, int level = everyLevel)
    {
        __m256i sums[width / 8];
        std::fill(std::begin(sums), std::end(sums), _mm256_set1_epi32((1 << m_bits >> 1) + m_margin));
        const Pair *samples = first, *const end = m_taps.Data() + m_reach + 1;
        for (const Pair *pair = m_taps.Data(); pair != end; ++pair, samples += 2 * m_step) {
            const __m256i taps = _mm256_set1_epi32(int(*pair));
            for (int k = 0; k < width / 8; ++k)
                sums[k] = _mm256_add_epi32(sums[k], _mm256_madd_epi16(vectors::load(samples + 8 * k), taps));
        }
        const __m128i bits = _mm_cvtsi32_si128(m_bits);
        const __m256i fraction = _mm256_set1_epi32((1 << m_bits) - 1), doubt = _mm256_set1_epi32(2 * m_margin);
        const auto mean = [&](int k) { return _mm256_srl_epi32(sums[k], bits); };
        const auto isInDoubt = [&](int k) {
            return _mm256_srli_epi32(_mm256_cmpgt_epi32(doubt, _mm256_and_si256(sums[k], fraction)), 24);
        };
        quint64 inDoubt = 0; // a bit for each sum
        for (int k = 0; k < width / 8; k += 4) {
            const __m256i means = vectors::packed(mean(k), mean(k + 1), mean(k + 2), mean(k + 3));
            vectors::store(out + 8 * k, means);
            __m256i four = vectors::packed(isInDoubt(k), isInDoubt(k + 1), isInDoubt(k + 2), isInDoubt(k + 3));
            if (level != everyLevel)
                four = _mm256_and_si256(four, _mm256_cmpeq_epi8(means, _mm256_set1_epi8(char(level))));
            inDoubt |= quint64(quint32(_mm256_movemask_epi8(four))) << 8 * k;
        }
        if (!inDoubt)
            return;
        quint32 stored[width];
        for (int k = 0; k < width / 8; ++k)
            vectors::store(stored + 8 * k, sums[k]);
        for (; inDoubt; inDoubt &= inDoubt - 1) {
            const int i = __builtin_ctzll(inDoubt);
            out[i] = Settled(first + i, stored[i] - quint32(m_margin));
        }
    }

private:
    /// Weights become whole numbers of which 2^bits stand for 1, and the rests of these, of which so many stand for 1
    /// that sums fit 32 bits. The sum in double precision is off by less than 2^-22, even by eight million roundings.
    void Quantise()
    {
        m_bits = 22; // 255 times that, and a half, fits 32 bits
        while (std::ldexp(m_weights[m_reach], m_bits) > 32767)
            --m_bits;
        m_restBits = 14;
        while (std::ldexp(255.0 * (2 * m_reach + 1), m_restBits - 1) > 2147483647)
            --m_restBits;
        const double one = std::ldexp(1, m_bits), oneOfRest = std::ldexp(1, m_restBits);
        Rounding taps, rests;
        for (int t = 0; t <= m_reach; ++t) {
            Pair tapPair = 0, restPair = 0;
            for (int j = 2 * t; j <= std::min(2 * t + 1, 2 * m_reach); ++j) {
                const double exact = m_weights[j] * one;
                const int tap = taps.Of(exact), shift = 16 * (j % 2);
                tapPair |= Pair(tap) << shift;
                restPair |= Pair(quint16(rests.Of((exact - tap) * oneOfRest))) << shift;
            }
            m_taps.Data()[t] = tapPair;
            m_rests.Data()[t] = restPair;
        }
        m_margin = int(std::min(255 * taps.Margin() + 3, one / 2));
        m_restMargin = qint64(255 * rests.Margin() + std::ldexp(1, m_bits + m_restBits - 22)) + 1;
    }

    /// What comes of the whole numbers' @p sum, from @p first on, in which a half is counted.
    uchar Settled(const Pair *first, quint32 sum)
    {
        __m128i rest = _mm_setzero_si128();
        for (int t = 0; t <= m_reach; ++t)
            rest = _mm_add_epi32(rest,
                _mm_madd_epi16(
                    _mm_cvtsi32_si128(int(first[2 * t * m_step])), _mm_cvtsi32_si128(int(m_rests.Data()[t]))));
        const int bits = m_bits + m_restBits;
        const qint64 finer = (qint64(sum) << m_restBits) + _mm_cvtsi128_si32(rest);
        const qint64 lowest = (finer - m_restMargin) >> bits;
        return lowest == (finer + m_restMargin) >> bits
            ? uchar(lowest)
            : definedMean(m_kernel, [=](int j) { return first[j * m_step] & 0xFFFF; });
    }

    const OPGaussianAlpha1D &m_kernel;
    const double *const m_weights;
    const int m_reach;
    const qptrdiff m_step;
    Scratch<Pair, 128> m_taps, m_rests;
    int m_bits = 0, m_restBits = 0;
    int m_margin = 0; ///< how far sums of taps may be off
    qint64 m_restMargin = 0; ///< and those with the rests
};

/// The sums over hard samples of a line. A sum is a number to the base 32, of which one digit stands for whole ones, up
/// to 255, and three for the fraction. Each is summed in a byte of its own: what four samples add to it is looked up.
/// Taps are rounded to the last digit, so that sums may be off by some of it; those that come out that near to a half
/// are summed as they are defined.
class HardSums {
public:
    explicit HardSums(const OPGaussianAlpha1D &kernel)
        : m_kernel(kernel)
    {
        if (kernel.Left() > maxReach)
            return;
        m_groups = (2 * kernel.Left() + together) / together;
        Rounding taps;
        for (int g = 0; g < m_groups; ++g) {
            // What 0 to 15 stand for, each bit for a tap.
            const __m256i numbers = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
            __m256i low = _mm256_setzero_si256(), high = low;
            for (int bit = 0, j = g * together; bit < together && j <= 2 * kernel.Left(); ++bit, ++j) {
                const int tap = taps.Of(255 * one * kernel.Weights()[size_t(j)]);
                const auto added = [bit = _mm256_set1_epi32(1 << bit), tap = _mm256_set1_epi32(tap)](__m256i of) {
                    return _mm256_and_si256(_mm256_cmpeq_epi32(_mm256_and_si256(of, bit), bit), tap);
                };
                low = _mm256_add_epi32(low, added(numbers));
                high = _mm256_add_epi32(high, added(_mm256_or_si256(numbers, _mm256_set1_epi32(8))));
            }
            for (int d = 0; d < digits; ++d) {
                const auto digit = [=](__m256i sums) {
                    const int shift = fractionBits - d * digitBits;
                    return _mm256_and_si256(_mm256_srli_epi32(sums, shift), _mm256_set1_epi32(d == 0 ? 255 : largest));
                };
                m_tables[g][d] = vectors::packed(digit(low), digit(high), digit(low), digit(high));
            }
        }
        m_margin = int(taps.Margin()) + 1; // what the sum in double precision is off by is next to nothing
    }

    /// False where sums may be off by so much that too many are in doubt, and where the kernel reaches too far.
    bool IsPossible() const { return m_groups > 0 && 2 * m_margin <= largest; }

    /// The bits of four samples, from each of @p count samples on. Reads up to 34 more.
    static void PutTogether(const uchar *samples, uchar *fours, int count)
    {
        for (int i = 0; i < count; i += 32) {
            const auto bit = [=](int k) {
                return _mm256_and_si256(vectors::load(samples + i + k), _mm256_set1_epi8(char(1 << k)));
            };
            vectors::store(
                fours + i, _mm256_or_si256(_mm256_or_si256(bit(0), bit(1)), _mm256_or_si256(bit(2), bit(3))));
        }
    }

    /// As many sums as @c width.
    void Sum(const uchar *samples, const uchar *fours, uchar *out) const
    {
        static_assert(width == 64);
        Digits left(m_margin), right(m_margin);
        // So many groups can be added to digits that are as large as the margin, or as what is left by a carry.
        for (int g = 0, room = (255 - m_margin) / largest; g < m_groups; room = (255 - largest) / largest) {
            if (g > 0) {
                left.Carry();
                right.Carry();
            }
            for (const int end = std::min(g + room, m_groups); g < end; ++g) {
                left.Add(m_tables[g], vectors::load(fours + g * together));
                right.Add(m_tables[g], vectors::load(fours + g * together + 32));
            }
        }
        const auto finish = [=](Digits sums, int first) {
            sums.Carry();
            vectors::store(out + first, sums.Rounded());
            for (quint32 inDoubt = sums.AreJustBeyondHalf(2 * m_margin); inDoubt; inDoubt &= inDoubt - 1) {
                const int i = first + __builtin_ctz(inDoubt);
                out[i] = definedMean(m_kernel, [=](int j) { return samples[i + j]; });
            }
        };
        finish(left, 0);
        finish(right, 32);
    }

private:
    static constexpr int together = 4;
    static constexpr int digits = 4, digitBits = 5, largest = 31, fractionBits = (digits - 1) * digitBits;
    static constexpr double one = 1 << fractionBits;

    /// Sums side by side.
    struct Digits {
        explicit Digits(int inLast)
            : third(_mm256_set1_epi8(char(inLast)))
        {
        }

        void Add(const __m256i *tables, __m256i fours)
        {
            whole = _mm256_add_epi8(whole, _mm256_shuffle_epi8(tables[0], fours));
            first = _mm256_add_epi8(first, _mm256_shuffle_epi8(tables[1], fours));
            second = _mm256_add_epi8(second, _mm256_shuffle_epi8(tables[2], fours));
            third = _mm256_add_epi8(third, _mm256_shuffle_epi8(tables[3], fours));
        }

        /// Carries what digits are too large. Only the last one is above 248, so that the others can take it.
        void Carry()
        {
            const auto carry = [](__m256i &from, __m256i &to) {
                const __m256i fives = _mm256_srli_epi16(from, digitBits);
                to = _mm256_add_epi8(to, _mm256_and_si256(fives, _mm256_set1_epi8(255 >> digitBits)));
                from = _mm256_and_si256(from, _mm256_set1_epi8(largest));
            };
            carry(third, second);
            carry(second, first);
            carry(first, whole);
        }

        // Of sums whose digits have been carried: to the nearest, and which are a half and less than that many beyond.
        __m256i Rounded() const
        {
            return _mm256_add_epi8(whole, _mm256_and_si256(_mm256_srli_epi16(first, 4), _mm256_set1_epi8(1)));
        }
        quint32 AreJustBeyondHalf(int less) const
        {
            const __m256i beyond = _mm256_or_si256(_mm256_xor_si256(first, _mm256_set1_epi8(16)), second);
            const __m256i isHalf = _mm256_cmpeq_epi8(beyond, _mm256_setzero_si256());
            const __m256i isLess = _mm256_cmpgt_epi8(_mm256_set1_epi8(char(less)), third);
            return quint32(_mm256_movemask_epi8(_mm256_and_si256(isHalf, isLess)));
        }

        __m256i whole = _mm256_setzero_si256(), first = whole, second = whole, third;
    };

    const OPGaussianAlpha1D &m_kernel;
    int m_groups = 0;
    int m_margin = 0; ///< how far sums may be off, in the last digit
    __m256i m_tables[(2 * maxReach + together) / together][digits];
};

/// What the samples under the taps have in common.
struct Samples {
    Samples(const uchar *samples, int count)
    {
        const __m256i first = _mm256_set1_epi8(char(samples[0]));
        __m256i differences = _mm256_setzero_si256(), softness = differences;
        const auto look = [&](int i) {
            const __m256i some = vectors::load(samples + i);
            differences = _mm256_or_si256(differences, _mm256_xor_si256(some, first));
            const __m256i hardened = _mm256_cmpgt_epi8(_mm256_setzero_si256(), some);
            softness = _mm256_or_si256(softness, _mm256_xor_si256(some, hardened));
        };
        for (int i = 0; i < count - 32; i += 32)
            look(i);
        look(count - 32);
        areSame = _mm256_testz_si256(differences, differences);
        areHard = _mm256_testz_si256(softness, softness);
    }

    bool areSame, areHard;
};

/// The sums over a stretch of a line, of up to 64 widths. Both arrays are as long as KernelList.h says of a row. False
/// where there is no memory.
bool sumStretch(const OPGaussianAlpha1D &kernel, const uchar *samples, uchar *out, int length)
{
    const int reach = kernel.Left(), blocks = lines::mask::wholeWidths(length) / width,
              count = blocks * width + 2 * reach;
    quint64 hard = 0, soft = 0; // a bit for each block
    for (int b = 0; b < blocks; ++b) {
        const Samples under(samples + b * width, width + 2 * reach);
        if (under.areSame)
            std::fill_n(out + b * width, width, samples[b * width]);
        else
            (under.areHard ? hard : soft) |= quint64(1) << b;
    }
    if (hard) {
        const HardSums sums(kernel);
        if (sums.IsPossible()) {
            uchar fours[stretchLength + 2 * maxReach + 32];
            HardSums::PutTogether(samples, fours, count);
            for (; hard; hard &= hard - 1) {
                const int i = __builtin_ctzll(hard) * width;
                sums.Sum(samples + i, fours + i, out + i);
            }
        }
    }
    if (const quint64 left = hard | soft) {
        AlphaSums sums(kernel, 1);
        Scratch<Pair, 8192> pairs(size_t(count) + 7);
        if (!sums.IsPossible() || !pairs.Data())
            return false;
        pairUp(samples, samples + 1, count, pairs.Data());
        for (quint64 blocksLeft = left; blocksLeft; blocksLeft &= blocksLeft - 1) {
            const int i = __builtin_ctzll(blocksLeft) * width;
            sums.Sum(pairs.Data() + i, out + i);
        }
    }
    return true;
}

/// The same over any length.
bool sumLine(const OPGaussianAlpha1D &kernel, const uchar *samples, uchar *out, int length)
{
    for (int i = 0; i < length; i += stretchLength)
        if (!sumStretch(kernel, samples + i, out + i, std::min(length - i, stretchLength)))
            return false;
    return true;
}

} // namespace

void blurAlphaOfLine(OPGaussianAlpha1D &kernel, int length)
{
    const int reach = kernel.Left(), room = lines::mask::rowRoom(reach, length), offset = kernel.SourceOffset();
    const std::vector<OPRGBA32i> &source = *kernel.Source();
    Scratch<uchar, 8192> samples { size_t(room) }, means { size_t(lines::mask::wholeWidths(length)) };
    const bool isPossible = !std::isnan(kernel.Weights()[size_t(reach)]) && samples.Data() && means.Data();
    if (isPossible)
        for (int i = 0, last = int(source.size()) - 1; i < room; ++i)
            samples.Data()[i] = source[size_t(std::clamp(offset - reach + i, 0, last))].a;
    if (!isPossible || !sumLine(kernel, samples.Data(), means.Data(), length)) {
        for (int i = 0; i < length; ++i)
            kernel(i);
        return;
    }
    for (int i = 0; i < length; ++i)
        (*kernel.Destination())[size_t(i)].word =
            (source[size_t(offset + i)].word & 0x00FFFFFFu) | quint32(means.Data()[i]) << 24;
}

KXCORE_KERNEL void GaussianMaskRowAVX2(
    const OPGaussianAlpha1D &kernel, const unsigned char *samples, unsigned char *means, int length)
{
    sumLine(kernel, samples, means, length);
}

/// In place: what the rows that come next read is in the window before they are written.
KXCORE_KERNEL void GaussianMaskColumnsAVX2(const OPGaussianAlpha1D &kernel, unsigned char *mask, qptrdiff stride,
    int columns, int rows, int rowsAbove, int rowsBelow, int level)
{
    const int reach = kernel.Left();
    AlphaSums sums(kernel, width);
    const auto row = [=](int y) { return mask + std::clamp(y, -rowsAbove, rows - 1 + rowsBelow) * stride; };
    alignas(32) Pair window[bandRows + 2 * maxReach][width];
    int same = 0; // so many rows, up to the last one in the window, are of one value,
    uchar value = 0; // which is this
    const auto fill = [&](int place, int y) {
        const uchar *const samples = row(y);
        pairUp(samples, row(y + 1), width, window[place]);
        same = !Samples(samples, width).areSame ? 0 : same > 0 && samples[0] == value ? same + 1 : 1;
        value = samples[0];
    };
    for (int place = 0; place < 2 * reach; ++place)
        fill(place, place - reach);
    uchar means[width];
    for (int first = 0; first < rows; first += bandRows) {
        const int count = std::min(bandRows, rows - first);
        bool areSame[bandRows]; // the samples under all taps
        for (int i = 0; i < count; ++i) {
            fill(2 * reach + i, first + i + reach);
            areSame[i] = same > 2 * reach;
        }
        for (int i = 0; i < count; ++i) {
            // Rows lie in different pages, and the processor does not fetch those ahead by itself.
            _mm_prefetch(reinterpret_cast<const char *>(row(first + i + bandRows + reach + 1)), _MM_HINT_T1);
            if (areSame[i])
                continue; // and the mean is what is there
            uchar *const place = row(first + i);
            sums.Sum(window[i], columns == width ? place : means, level);
            if (columns < width)
                std::copy_n(means, columns, place);
        }
        std::copy_n(window[count], 2 * reach * width, window[0]);
    }
}
