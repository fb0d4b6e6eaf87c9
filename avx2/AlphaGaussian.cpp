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

namespace {

using lines::mask::bandRows, lines::mask::maxReach, lines::mask::width;

/// Two successive samples of a line, or of a column: what one multiplication takes. The first is the lower half.
using Pair = quint32;

/// The pairs that @p count samples make with their successors, rounded up to whole eights.
void pairUp(const uchar *samples, const uchar *successors, int count, Pair *out)
{
    const auto eight = [](const uchar *bytes) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(bytes)); };
    for (int i = 0; i < count; i += 8)
        vectors::store(out + i, _mm256_cvtepu8_epi16(_mm_unpacklo_epi8(eight(samples + i), eight(successors + i))));
}

/// The sums over one line or several columns.
class AlphaSums {
public:
    /// Samples of one sum lie @p step pairs apart.
    AlphaSums(const OPGaussianAlpha1D &kernel, qptrdiff step)
        : m_weights(kernel.Weights().data())
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

    /// The sums, of as many as @c width, that begin at @p first.
    void Sum(const Pair *first, uchar *out)
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
            vectors::store(out + 8 * k, vectors::packed(mean(k), mean(k + 1), mean(k + 2), mean(k + 3)));
            const __m256i four = vectors::packed(isInDoubt(k), isInDoubt(k + 1), isInDoubt(k + 2), isInDoubt(k + 3));
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
    /// Numbers rounded to the nearest whole ones. A sum of alphas that is taken with these is off by 255 times what
    /// they are too large in all, or too small, at most.
    struct Rounding {
        int Of(double exact)
        {
            const int rounded = _mm_cvtsd_si32(_mm_set_sd(exact));
            (rounded > exact ? over : under) += std::abs(rounded - exact);
            return rounded;
        }
        double Margin() const { return 255 * std::max(over, under); }

        double over = 0, under = 0;
    };

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
        m_margin = int(std::min(taps.Margin() + 3, one / 2));
        m_restMargin = qint64(rests.Margin() + std::ldexp(1, m_bits + m_restBits - 22)) + 1;
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
        return lowest == (finer + m_restMargin) >> bits ? uchar(lowest) : Defined(first);
    }

    /// The sum as it is defined.
    uchar Defined(const Pair *first) const
    {
        double sum = 0;
        for (int j = 0; j <= 2 * m_reach; ++j)
            sum += double(first[j * m_step] & 0xFFFF) * m_weights[j];
        return uchar(arithmetic::clamp8(arithmetic::truncate(sum + 0.5)));
    }

    const double *const m_weights;
    const int m_reach;
    const qptrdiff m_step;
    Scratch<Pair, 128> m_taps, m_rests;
    int m_bits = 0, m_restBits = 0;
    int m_margin = 0; ///< how far sums of taps may be off
    qint64 m_restMargin = 0; ///< and those with the rests
};

/// The sums over a line. Both arrays are as long as KernelList.h says of a row. False where there is no memory.
bool sumLine(AlphaSums &sums, const uchar *samples, uchar *out, int length)
{
    const int count = lines::mask::wholeWidths(length) + 2 * sums.Reach();
    Scratch<Pair, 8192> pairs(size_t(count) + 7);
    if (!pairs.Data())
        return false;
    pairUp(samples, samples + 1, count, pairs.Data());
    for (int i = 0; i < length; i += width)
        sums.Sum(pairs.Data() + i, out + i);
    return true;
}

} // namespace

void blurAlphaOfLine(OPGaussianAlpha1D &kernel, int length)
{
    AlphaSums sums(kernel, 1);
    const int reach = kernel.Left(), room = lines::mask::rowRoom(reach, length), offset = kernel.SourceOffset();
    const std::vector<OPRGBA32i> &source = *kernel.Source();
    Scratch<uchar, 8192> samples { size_t(room) }, means { size_t(lines::mask::wholeWidths(length)) };
    const bool isPossible = sums.IsPossible() && samples.Data() && means.Data();
    if (isPossible)
        for (int i = 0, last = int(source.size()) - 1; i < room; ++i)
            samples.Data()[i] = source[size_t(std::clamp(offset - reach + i, 0, last))].a;
    if (!isPossible || !sumLine(sums, samples.Data(), means.Data(), length)) {
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
    AlphaSums sums(kernel, 1);
    constexpr int stretch = 64 * width; // its pairs need no memory of the heap
    for (int i = 0; i < length; i += stretch)
        sumLine(sums, samples + i, means + i, std::min(length - i, stretch));
}

/// In place: what the rows that come next read is in the window before they are written.
KXCORE_KERNEL void GaussianMaskColumnsAVX2(const OPGaussianAlpha1D &kernel, unsigned char *mask, qptrdiff stride,
    int columns, int rows, int rowsAbove, int rowsBelow)
{
    const int reach = kernel.Left();
    AlphaSums sums(kernel, width);
    const auto row = [=](int y) { return mask + std::clamp(y, -rowsAbove, rows - 1 + rowsBelow) * stride; };
    alignas(32) Pair window[bandRows + 2 * maxReach][width];
    const auto fill = [&](int place, int y) { pairUp(row(y), row(y + 1), width, window[place]); };
    for (int place = 0; place < 2 * reach; ++place)
        fill(place, place - reach);
    uchar means[width];
    for (int first = 0; first < rows; first += bandRows) {
        const int count = std::min(bandRows, rows - first);
        for (int i = 0; i < count; ++i)
            fill(2 * reach + i, first + i + reach);
        for (int i = 0; i < count; ++i) {
            // Rows lie in different pages, and the processor does not fetch those ahead by itself.
            _mm_prefetch(reinterpret_cast<const char *>(row(first + i + bandRows + reach + 1)), _MM_HINT_T1);
            sums.Sum(window[i], means);
            std::copy_n(means, columns, row(first + i));
        }
        std::copy_n(window[count], 2 * reach * width, window[0]);
    }
}
