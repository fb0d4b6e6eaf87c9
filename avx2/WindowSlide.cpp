#include "Kernel.h"
#include "Lanes.h"
#include "Quarters.h"

#include "KXKernels.h"
#include "lines/WindowSlide.h"

#include <algorithm>
#include <typeinfo>
#include <vector>

// The window slide along one line. A sum depends on that of the pixel before, so the line's four quarters are worked on
// side by side.

namespace {

/// Divides the sums of a window by its size, 2 * radius + 1.
///
/// Narrow: sums fit 16 bits, which is so up to a size of 257. A 16-bit number n is divided by d, which is not a power
/// of two, with s = floor(log2 d):
///
///     n * ceil(2^(16+s) / d) >> (16+s)            where 2^(16+s) lies at most 2^s below a multiple of d
///     (n + 1) * floor(2^(16+s) / d) >> (16+s)     everywhere else
///
/// Division by 1 is the second form with s = 0 and the factor 65535. n + 1 cannot wrap: the largest sum,
/// 255 * 257 = 65535, belongs to a size of the first form.
class NarrowWindow {
public:
    static constexpr int maximumSize = 257;

    explicit NarrowWindow(int size)
    {
        int shift = 0;
        while (size >> (shift + 1))
            ++shift;
        const unsigned power = 1u << (16 + shift), d = unsigned(size);
        const bool up = size > 1 && (d - power % d) <= 1u << shift;
        m_factor = _mm256_set1_epi16(short(size == 1 ? 65535 : power / d + up));
        m_increment = _mm256_set1_epi16(up ? 0 : 1);
        m_shift = _mm_cvtsi32_si128(shift);
    }

    void Add(__m256i sample) { m_sum = _mm256_add_epi16(m_sum, sample); }
    void Slide(__m256i in, __m256i out) { m_sum = _mm256_add_epi16(m_sum, _mm256_sub_epi16(in, out)); }
    __m256i Means() const
    {
        const __m256i n = _mm256_add_epi16(m_sum, m_increment);
        return _mm256_srl_epi16(_mm256_mulhi_epu16(n, m_factor), m_shift);
    }

private:
    __m256i m_sum = _mm256_setzero_si256();
    __m256i m_factor, m_increment;
    __m128i m_shift;
};

/// Wide: sums n have 32 bits, n <= 255 * size. The quotient is trunc((n + 0.5f) * (1.0f / size)), which is exact below
/// a size of 16384. There n < 2^22, so n + 0.5 has no rounding; those of the reciprocal and of the product are off by
/// less than 256 * 2^-23 = 0.5 / 16384; and (n + 0.5) / size is at least 0.5 / size away from any integer, which is
/// more.
class WideWindow {
public:
    static constexpr int maximumSize = 16383;

    explicit WideWindow(int size)
        : m_reciprocal(_mm256_set1_ps(1.0f / float(size)))
    {
    }

    void Add(__m256i sample)
    {
        m_low = _mm256_add_epi32(m_low, _mm256_unpacklo_epi16(sample, _mm256_setzero_si256()));
        m_high = _mm256_add_epi32(m_high, _mm256_unpackhi_epi16(sample, _mm256_setzero_si256()));
    }
    void Slide(__m256i in, __m256i out)
    {
        const __m256i change = _mm256_sub_epi16(in, out), sign = _mm256_srai_epi16(change, 15);
        m_low = _mm256_add_epi32(m_low, _mm256_unpacklo_epi16(change, sign));
        m_high = _mm256_add_epi32(m_high, _mm256_unpackhi_epi16(change, sign));
    }
    __m256i Means() const { return _mm256_packus_epi32(Mean(m_low), Mean(m_high)); }

private:
    __m256i Mean(__m256i sum) const
    {
        const __m256 n = _mm256_add_ps(_mm256_cvtepi32_ps(sum), _mm256_set1_ps(0.5f));
        return _mm256_cvttps_epi32(_mm256_mul_ps(n, m_reciprocal));
    }

    __m256i m_low = _mm256_setzero_si256(), m_high = _mm256_setzero_si256();
    __m256 m_reciprocal;
};

/// The alphas of two elements, 32 bits each, in the order of interleaved().
__m256i alphas(__m256i first, __m256i second)
{
    const __m256 redAlpha = _mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0xDD);
    return _mm256_srli_epi32(_mm256_castps_si256(redAlpha), 16);
}

// The accumulators: each says what a sample is (sample), and what pixels become of the means of two neighbouring
// elements (finish). Pixels are in the order that packing leaves, see quarters::interleaved. `before` is what the
// destination holds, in the same order, if readsDestination is set.

/// OPRGBABlurAccumulator: each channel by itself.
struct Plain {
    static constexpr bool readsDestination = false;
    static __m256i sample(__m256i pixels) { return pixels; }
    __m256i finish(__m256i first, __m256i second, __m256i) const { return _mm256_packus_epi16(first, second); }
};

/// OPRGBABlurAccumulatorPremul: samples weighted by alpha; the means made straight again, q * 255 / mean alpha.
///
/// As c * a / 255 <= a, a mean q is at most the mean alpha m. The quotient is trunc(q * (K / m)) in single precision
/// with K = 255 * (1 + 2^-20). What K adds, less than 255 * 2^-20, outweighs both roundings, so that a whole quotient
/// is reached; and it is less than 1 / m, which any other quotient is short of the next integer at least. Where m is 0
/// so is q.
struct Premultiplied {
    static constexpr bool readsDestination = false;
    static __m256i sample(__m256i pixels)
    {
        return lanes::div255(_mm256_mullo_epi16(pixels, lanes::alphaFactors(pixels)));
    }
    __m256i finish(__m256i first, __m256i second, __m256i) const
    {
        const __m256i blueGreen =
            _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0x88));
        const __m256i redAlpha =
            _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0xDD));
        const __m256i lowWord = _mm256_set1_epi32(0xFFFF);
        const __m256i a = _mm256_srli_epi32(redAlpha, 16);
        const __m256 divisor = _mm256_cvtepi32_ps(_mm256_max_epi32(a, _mm256_set1_epi32(1)));
        const __m256 factor = _mm256_div_ps(_mm256_set1_ps(255.0f * (1.0f + 1.0f / (1 << 20))), divisor);
        const auto straight = [factor](__m256i q) {
            return _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(q), factor));
        };
        const __m256i b = straight(_mm256_and_si256(blueGreen, lowWord));
        const __m256i g = straight(_mm256_srli_epi32(blueGreen, 16));
        const __m256i r = straight(_mm256_and_si256(redAlpha, lowWord));
        const __m256i bg = _mm256_or_si256(b, _mm256_slli_epi32(g, 8));
        const __m256i ra = _mm256_or_si256(r, _mm256_slli_epi32(a, 8));
        return _mm256_or_si256(bg, _mm256_slli_epi32(ra, 16));
    }
};

/// OPAlphaBlurAccumulator and OPAlphaBlurAccumulatorWithInvert: alpha alone, complemented if @c complement is 255.
struct Alpha {
    static constexpr bool readsDestination = true;
    unsigned complement;
    static __m256i sample(__m256i pixels) { return pixels; }
    __m256i finish(__m256i first, __m256i second, __m256i before) const
    {
        const __m256i a = _mm256_xor_si256(alphas(first, second), _mm256_set1_epi32(int(complement)));
        const __m256i colors = _mm256_and_si256(before, _mm256_set1_epi32(0x00FFFFFF));
        return _mm256_or_si256(colors, _mm256_slli_epi32(a, 24));
    }
};

/// OPAlphaBlurAccumulatorWithRGBColorize: alpha under one colour.
struct Colored {
    static constexpr bool readsDestination = false;
    unsigned color; ///< its alpha is 0
    static __m256i sample(__m256i pixels) { return pixels; }
    __m256i finish(__m256i first, __m256i second, __m256i) const
    {
        return _mm256_or_si256(_mm256_slli_epi32(alphas(first, second), 24), _mm256_set1_epi32(int(color)));
    }
};

/// The slide over a line whose ends are repeated already: pixel i of @p destination comes from the window of @p padded
/// from i to i + 2 * @p radius. Of @p padded three pixels beyond its end may be read.
template <class Window, class Accumulator>
void slide(const OPRGBA32i *padded, OPRGBA32i *destination, int length, int radius, const Accumulator &accumulator)
{
    thread_local std::vector<quarters::Element> scratch;

    const int quarter = ((length + 3) / 4 + 1) & ~1; // even: a step finishes two elements
    const int reach = 2 * radius, elements = quarter + reach;
    scratch.resize(std::max(scratch.size(), size_t(elements) + 4));
    quarters::Element *const line = scratch.data() + 1; // element -1, which leaves the window first, is 0
    line[-1].v = _mm256_setzero_si256();

    const quarters::Starts starts(length, quarter);
    OPRGBA32i *to[4];
    for (int k = 0; k < 4; ++k)
        to[k] = destination + starts.at[k];
    quarters::expand(padded, starts, elements, line, Accumulator::sample);

    Window window(reach + 1);
    for (int i = 0; i < reach; ++i)
        window.Add(line[i].v);
    for (int i = 0; i < quarter; i += 2) {
        window.Slide(line[i + reach].v, line[i - 1].v);
        const __m256i first = window.Means();
        window.Slide(line[i + 1 + reach].v, line[i].v);
        const __m256i second = window.Means();
        const __m256i before =
            Accumulator::readsDestination ? quarters::interleaved(quarters::load(to, i)) : _mm256_setzero_si256();
        quarters::store(to, i, quarters::interleaved(accumulator.finish(first, second, before)));
    }
}

/// The line with its end pixels repeated as far as the window overhangs it.
const OPRGBA32i *repeatEnds(const OPRGBA32i *source, int readFirst, int readLast, int first, int last, int radius)
{
    thread_local std::vector<OPRGBA32i> padded;
    const int begin = first - radius, end = last + radius + 1;
    padded.resize(std::max(padded.size(), size_t(end - begin) + 4));
    const int inside = std::clamp(readFirst, begin, end), behind = std::clamp(readLast + 1, inside, end);
    OPRGBA32i *p = std::fill_n(padded.data(), inside - begin, source[0]);
    p = std::copy(source + (inside - readFirst), source + (behind - readFirst), p);
    std::fill_n(p, end - behind, source[readLast - readFirst]);
    return padded.data();
}

template <class Accumulator>
void slideLine(const OPRGBA32i *padded, OPRGBA32i *destination, int length, int radius, const Accumulator &accumulator)
{
    if (2 * radius + 1 <= NarrowWindow::maximumSize)
        slide<NarrowWindow>(padded, destination, length, radius, accumulator);
    else
        slide<WideWindow>(padded, destination, length, radius, accumulator);
}

/// The slide through the virtual table, for accumulators of an application.
void slidePlain(OPRGBABlurAccumulatorBase &accumulator, const OPRGBA32i *line, OPRGBA32i *out, int readFirst,
    int readLast, int first, int last, int radius)
{
    accumulator.Reset();
    for (int k = -radius; k <= radius; ++k)
        accumulator.Add(line[std::max(std::min(first + k, readLast), readFirst) - readFirst]);
    accumulator.Finalize(out[0]);
    for (int x = first + 1; x <= last; ++x) {
        accumulator.Subtract(line[std::max(x - radius - 1, readFirst) - readFirst]);
        accumulator.Add(line[std::min(x + radius, readLast) - readFirst]);
        accumulator.Finalize(out[x - first]);
    }
}

} // namespace

/// Slides the window of @p accumulator along one line: @p source holds positions @p readFirst to @p readLast,
/// @p destination takes @p first to @p last.
KXCORE_KERNEL void LineHandlerAVX2(OPRGBABlurAccumulatorBase *accumulator, OPRGBA32i *source, OPRGBA32i *destination,
    int readFirst, int readLast, int first, int last, int radius)
{
    const std::type_info &type = typeid(*accumulator);
    const int length = last - first + 1;
    if (radius < 0 || radius != accumulator->GetRadius())
        return slidePlain(*accumulator, source, destination, readFirst, readLast, first, last, radius);

    // Each class by its vector form, or by the library's own slide where a line or a window is too short or too long.
    const auto run = [&](auto *own, const auto &form) {
        if (length < 2 || radius > (WideWindow::maximumSize - 1) / 2)
            lines::slideWindow(*own, source, readLast - readFirst + 1, destination, length, first - readFirst, radius);
        else
            slideLine(repeatEnds(source, readFirst, readLast, first, last, radius), destination, length, radius, form);
    };
    // By exact type: what an application derives may compute something else.
    if (type == typeid(OPRGBABlurAccumulatorPremul))
        run(static_cast<OPRGBABlurAccumulatorPremul *>(accumulator), Premultiplied {});
    else if (type == typeid(OPRGBABlurAccumulator))
        run(static_cast<OPRGBABlurAccumulator *>(accumulator), Plain {});
    else if (type == typeid(OPAlphaBlurAccumulator))
        run(static_cast<OPAlphaBlurAccumulator *>(accumulator), Alpha { 0 });
    else if (type == typeid(OPAlphaBlurAccumulatorWithInvert))
        run(static_cast<OPAlphaBlurAccumulatorWithInvert *>(accumulator), Alpha { 255 });
    else if (type == typeid(OPAlphaBlurAccumulatorWithRGBColorize)) {
        auto *const colorize = static_cast<OPAlphaBlurAccumulatorWithRGBColorize *>(accumulator);
        run(colorize, Colored { colorize->Color().word });
    } else
        slidePlain(*accumulator, source, destination, readFirst, readLast, first, last, radius);
}
