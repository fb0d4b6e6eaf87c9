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
// taken in whole numbers first, which tells how far they may be off; the few that come out so near to where a rounding
// changes that they could be one less or one more are summed again as they are defined.

namespace {

using lines::alphacolumns::bandRows, lines::alphacolumns::maxReach, lines::columns::width;

/// Two successive samples of a line, or of a column: what one multiplication takes. The first is the lower half.
using Pair = quint32;

/// Eight pairs, from the alphas of eight pixels and those of their successors.
__m256i pairs(const OPRGBA32i *pixels, const OPRGBA32i *successors)
{
    const __m256i upper =
        _mm256_and_si256(_mm256_srli_epi32(vectors::load(successors), 8), _mm256_set1_epi32(255 << 16));
    return _mm256_or_si256(_mm256_srli_epi32(vectors::load(pixels), 24), upper);
}
Pair pair(OPRGBA32i pixel, OPRGBA32i successor) { return pixel.a | Pair(successor.a) << 16; }

/// The sums over one line or several columns.
class AlphaSums {
public:
    /// Samples of one sum lie @p step pairs apart.
    AlphaSums(const OPGaussianAlpha1D &kernel, qptrdiff step)
        : m_weights(kernel.Weights().data())
        , m_reach(kernel.Left())
        , m_step(step)
        , m_taps(size_t(m_reach) + 1)
    {
        if (IsPossible())
            Quantise();
    }

    /// False where weights are not a number, or where there is no memory.
    bool IsPossible() { return m_weights[m_reach] == m_weights[m_reach] && m_taps.Data(); }

    /// Gives count * 8 pixels of @p out the colours of @p colors and the alphas of the sums that begin at @p first.
    /// What is in doubt is set later, by @c Settle at the latest; the pairs must stay until then.
    template <int count>
    void Sum(const Pair *first, const OPRGBA32i *colors, OPRGBA32i *out)
    {
        __m256i sums[count];
        for (__m256i &sum : sums)
            sum = _mm256_set1_epi32((1 << m_bits >> 1) + m_margin);
        const Pair *samples = first, *const end = m_taps.Data() + m_reach + 1;
        for (const Pair *pair = m_taps.Data(); pair != end; ++pair, samples += 2 * m_step) {
            const __m256i taps = _mm256_set1_epi32(int(*pair));
            for (int k = 0; k < count; ++k)
                sums[k] = _mm256_add_epi32(sums[k], _mm256_madd_epi16(vectors::load(samples + 8 * k), taps));
        }
        const __m256i fraction = _mm256_set1_epi32((1 << m_bits) - 1), doubt = _mm256_set1_epi32(2 * m_margin);
        quint64 inDoubt = 0; // a bit for each pixel
#pragma GCC unroll 8
        for (int k = 0; k < count; ++k) {
            const __m256i alpha = _mm256_slli_epi32(_mm256_srl_epi32(sums[k], _mm_cvtsi32_si128(m_bits)), 24);
            const __m256i color = _mm256_and_si256(vectors::load(colors + 8 * k), _mm256_set1_epi32(0x00FFFFFF));
            vectors::store(out + 8 * k, _mm256_or_si256(color, alpha));
            const __m256i isInDoubt = _mm256_cmpgt_epi32(doubt, _mm256_and_si256(sums[k], fraction));
            inDoubt |= quint64(_mm256_movemask_ps(_mm256_castsi256_ps(isInDoubt))) << 8 * k;
        }
        for (; inDoubt; inDoubt &= inDoubt - 1)
            Doubt(first + __builtin_ctzll(inDoubt), out + __builtin_ctzll(inDoubt));
    }

    /// Sums what is in doubt as it is defined.
    Q_NEVER_INLINE void Settle()
    {
        if (m_count == 0)
            return;
        for (int i = m_count; i < together; ++i)
            m_doubts[i] = m_doubts[0];
        double sums[together] = {}; // side by side, so that additions need not wait for one another
        for (int j = 0; j <= 2 * m_reach; ++j)
            for (int i = 0; i < together; ++i)
                sums[i] += double(m_doubts[i].first[j * m_step] & 0xFFFF) * m_weights[j];
        for (int i = 0; i < together; ++i)
            m_doubts[i].pixel->a = static_cast<unsigned char>(arithmetic::clamp8(arithmetic::truncate(sums[i] + 0.5)));
        m_count = 0;
    }

private:
    static constexpr int together = 4;

    /// Weights become whole numbers of which 2^bits stand for 1. With them a sum of alphas is off by 255 times what
    /// they are too large in all, or too small, at most; the sum in double precision by less than 1, as even eight
    /// million of its roundings come to no more than 2^-22.
    void Quantise()
    {
        m_bits = 22; // 255 times that, and a half, fits 32 bits
        while (std::ldexp(m_weights[m_reach], m_bits) > 32767)
            --m_bits;
        double over = 0, under = 0;
        const auto quantised = [&](int j) {
            if (j > 2 * m_reach)
                return 0;
            const double exact = std::ldexp(m_weights[j], m_bits);
            const int tap = _mm_cvtsd_si32(_mm_set_sd(exact)); // to the nearest
            (tap > exact ? over : under) += std::abs(tap - exact);
            return tap;
        };
        for (int t = 0; t <= m_reach; ++t) {
            const int even = quantised(2 * t);
            m_taps.Data()[t] = Pair(even) | Pair(quantised(2 * t + 1)) << 16;
        }
        m_margin = int(std::min(255 * std::max(over, under) + 3, std::ldexp(0.5, m_bits)));
    }

    void Doubt(const Pair *first, OPRGBA32i *pixel)
    {
        m_doubts[m_count++] = { first, pixel };
        if (m_count == together)
            Settle();
    }

    struct InDoubt {
        const Pair *first;
        OPRGBA32i *pixel;
    };

    const double *const m_weights;
    const int m_reach;
    const qptrdiff m_step;
    Scratch<Pair, 128> m_taps;
    int m_bits = 0, m_margin = 0;
    InDoubt m_doubts[together];
    int m_count = 0;
};

/// All pairs that the sums of a line begin with or reach; the line's end pixels repeat.
void pairUp(const std::vector<OPRGBA32i> &line, int start, int count, Pair *out)
{
    const int last = int(line.size()) - 1;
    const auto at = [&](int k) { return line[size_t(std::clamp(start + k, 0, last))]; };
    int k = 0;
    for (; k < std::min(-start, count); ++k)
        out[k] = pair(at(k), at(k + 1));
    for (; k + 8 <= std::min(last - start, count); k += 8)
        vectors::store(out + k, pairs(line.data() + start + k, line.data() + start + k + 1));
    for (; k < count; ++k)
        out[k] = pair(at(k), at(k + 1));
}

/// Pixels of a block of columns, of which there may be fewer than a block is wide.
class Rows {
public:
    Rows(OPRGBA32i *pixels, qptrdiff stride, int count, int first, int last)
        : m_pixels(pixels)
        , m_stride(stride)
        , m_count(count)
        , m_first(first)
        , m_last(last)
    {
    }

    bool AreWhole() const { return m_count == width; }
    OPRGBA32i *At(int row) const { return m_pixels + std::clamp(row, m_first, m_last) * m_stride; }

    void PairUp(int row, Pair *out)
    {
        const OPRGBA32i *const pixels = Whole(row, m_padded[0]), *const next = Whole(row + 1, m_padded[1]);
        for (int x = 0; x < width; x += 8)
            vectors::store(out + x, pairs(pixels + x, next + x));
    }

    void Prefetch(int row) const
    {
        const OPRGBA32i *const pixels = At(row);
        for (int x = 0; x < m_count; x += 16)
            _mm_prefetch(reinterpret_cast<const char *>(pixels + x), _MM_HINT_T1);
    }

    /// Blurs a row.
    void Write(int row, AlphaSums &sums, const Pair *first)
    {
        OPRGBA32i *const pixels = At(row), *const whole = Whole(row, m_padded[0]);
        sums.Sum<width / 8>(first, whole, whole);
        if (!AreWhole()) {
            sums.Settle();
            std::copy_n(whole, m_count, pixels);
        }
    }

private:
    /// A row that is as wide as a block: where it is, or in @p padded, with empty pixels behind.
    OPRGBA32i *Whole(int row, OPRGBA32i *padded) const
    {
        if (AreWhole())
            return At(row);
        std::copy_n(At(row), m_count, padded);
        return padded;
    }

    OPRGBA32i *const m_pixels;
    const qptrdiff m_stride;
    const int m_count, m_first, m_last;
    OPRGBA32i m_padded[2][width];
};

} // namespace

void blurAlphaOfLine(OPGaussianAlpha1D &kernel, int length)
{
    AlphaSums sums(kernel, 1);
    const int reach = kernel.Left(), count = length + 2 * reach, offset = kernel.SourceOffset();
    Scratch<Pair, 8192> scratch(length >= 8 && sums.IsPossible() ? size_t(count) : 0);
    Pair *const samples = scratch.Data();
    if (length < 8 || !sums.IsPossible() || !samples) {
        for (int i = 0; i < length; ++i)
            kernel(i);
        return;
    }
    pairUp(*kernel.Source(), offset - reach, count, samples);
    const OPRGBA32i *const source = kernel.Source()->data() + offset;
    OPRGBA32i *const out = kernel.Destination()->data();
    int i = 0;
    for (; i + 64 <= length; i += 64)
        sums.Sum<8>(samples + i, source + i, out + i);
    for (; i < length; i += 8) { // the last eight end with the line, and some of them are done again
        i = std::min(i, length - 8);
        sums.Sum<1>(samples + i, source + i, out + i);
    }
    sums.Settle();
}

/// A block of columns, in place: see KernelList.h. What the rows that come next read is in the window before they are
/// written.
KXCORE_KERNEL void GaussianAlphaColumnsAVX2(const OPGaussianAlpha1D &kernel, OPRGBA32i *pixels, qptrdiff stride,
    int columns, int rows, int rowsAbove, int rowsBelow)
{
    const int reach = kernel.Left();
    AlphaSums sums(kernel, width);
    Rows block(pixels, stride, columns, -rowsAbove, rows - 1 + rowsBelow);
    alignas(32) Pair window[bandRows + 2 * maxReach][width];
    for (int place = 0; place < 2 * reach; ++place)
        block.PairUp(place - reach, window[place]);
    for (int first = 0; first < rows; first += bandRows) {
        const int count = std::min(bandRows, rows - first);
        for (int i = 0; i < count; ++i)
            block.PairUp(first + i + reach, window[2 * reach + i]);
        for (int i = 0; i < count; ++i) {
            // Rows lie in different pages, and the processor does not fetch those ahead by itself.
            block.Prefetch(first + i + bandRows + reach + 1);
            block.Write(first + i, sums, window[i]);
        }
        sums.Settle();
        std::copy_n(window[count], 2 * reach * width, window[0]);
    }
}
