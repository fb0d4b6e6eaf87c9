#include "Kernel.h"
#include "Quarters.h"
#include "Scratch.h"
#include "Vectors.h"
#include "WindowSums.h"

#include "KXKernels.h"
#include "lines/WindowSlide.h"

#include <algorithm>
#include <type_traits>
#include <typeinfo>

// The window slide along one line. A sum depends on that of the pixel before. Of four channels the line's four quarters
// are worked on side by side; of alpha alone a sum is the difference of two running totals.

namespace {

/// A line as LineHandlerAVX2 gets it: @c length results, the first of which belongs to source[offset].
struct Line {
    const OPRGBA32i *source;
    int sourceLength;
    OPRGBA32i *destination;
    int length, offset;
};

// What the accumulators of four channels make of pixels and means: a sample of a pixel's channels, and two pixels of
// each quarter from the means of two neighbouring elements. These pixels are in the order that packing leaves, see
// quarters::interleaved.

/// OPRGBABlurAccumulator: each channel by itself.
struct Plain {
    static __m256i sample(__m256i pixels) { return pixels; }
    __m256i finish(__m256i first, __m256i second) const { return _mm256_packus_epi16(first, second); }
};

/// OPRGBABlurAccumulatorPremul: samples premultiplied; the means unpremultiplied, q * 255 / mean alpha.
///
/// As c * a / 255 <= a, a mean q is at most the mean alpha m. The quotient is trunc(q * (K / m)) in single precision
/// with K = 255 * (1 + 2^-20). What K adds, less than 255 * 2^-20, outweighs both roundings, so that a whole quotient
/// is reached; and it is less than 1 / m, which any other quotient is short of the next integer at least. Where m is 0
/// so is q.
struct Premultiplied {
    static __m256i sample(__m256i pixels)
    {
        return vectors::div255(_mm256_mullo_epi16(pixels, vectors::alphaFactors(pixels)));
    }
    __m256i finish(__m256i first, __m256i second) const
    {
        const __m256i blueGreen =
            _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0x88));
        const __m256i redAlpha =
            _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(first), _mm256_castsi256_ps(second), 0xDD));
        const __m256i lowWord = _mm256_set1_epi32(0xFFFF);
        const __m256i a = _mm256_srli_epi32(redAlpha, 16);
        const __m256 divisor = _mm256_cvtepi32_ps(_mm256_max_epi32(a, _mm256_set1_epi32(1)));
        const __m256 factor = _mm256_div_ps(_mm256_set1_ps(255.0f * (1.0f + 1.0f / (1 << 20))), divisor);
        const auto quotient = [factor](__m256i q) {
            return _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(q), factor));
        };
        const __m256i b = quotient(_mm256_and_si256(blueGreen, lowWord));
        const __m256i g = quotient(_mm256_srli_epi32(blueGreen, 16));
        const __m256i r = quotient(_mm256_and_si256(redAlpha, lowWord));
        const __m256i bg = _mm256_or_si256(b, _mm256_slli_epi32(g, 8));
        const __m256i ra = _mm256_or_si256(r, _mm256_slli_epi32(a, 8));
        return _mm256_or_si256(bg, _mm256_slli_epi32(ra, 16));
    }
};

// What those of alpha alone make of eight means, 32 bits each, and of the pixels that the destination holds.

/// OPAlphaBlurAccumulator and OPAlphaBlurAccumulatorWithInvert: under those pixels' colours, complemented if
/// @c complement is 255.
struct Alpha {
    unsigned complement;
    __m256i finish(__m256i means, const OPRGBA32i *before) const
    {
        const __m256i a = _mm256_xor_si256(means, _mm256_set1_epi32(int(complement)));
        const __m256i colors = _mm256_and_si256(vectors::load(before), _mm256_set1_epi32(0x00FFFFFF));
        return _mm256_or_si256(colors, _mm256_slli_epi32(a, 24));
    }
};

/// OPAlphaBlurAccumulatorWithRGBColorize: under one colour.
struct Colored {
    unsigned color; ///< its alpha is 0
    __m256i finish(__m256i means, const OPRGBA32i *) const
    {
        return _mm256_or_si256(_mm256_slli_epi32(means, 24), _mm256_set1_epi32(int(color)));
    }
};

/// What of a line its windows hold.
///
/// Where the window is wider than the line on both sides, its end pixels count the more often, the wider it is. That is
/// one addition: the radius in excess of the line's length is taken off the window and given to its sums at first.
struct Extent {
    Extent(const Line &line, int radius)
        : overlap(std::min(radius, line.sourceLength))
        , excess(radius - overlap)
        , begin(line.offset - overlap)
        , end(line.offset + line.length + overlap)
    {
    }

    int Length() const { return end - begin; }

    /// Writes the pixels of @p line there, with its end pixels repeated as far as windows overhang it, and @p slack
    /// more, which may be anything.
    void Pad(const Line &line, unsigned *padded, int slack) const
    {
        const int inside = std::max(begin, 0), behind = std::min(end, line.sourceLength);
        unsigned *p = std::fill_n(padded, inside - begin, line.source[0].word);
        for (int i = inside; i < behind; ++i)
            *p++ = line.source[i].word;
        std::fill_n(p, end - behind + slack, line.source[line.sourceLength - 1].word);
    }

    const int overlap, excess, begin, end;
};

/// Slides a window of four channels over @p line; false where there is no memory.
template <class Window, class Form>
bool slideChannels(const Line &line, int radius, const Form &form)
{
    const Extent extent(line, radius);
    constexpr int slack = 3;
    const int quarter = ((line.length + 3) / 4 + 1) & ~1; // even: a step finishes two elements
    const int reach = 2 * extent.overlap;
    Scratch<unsigned, 8192> padding(size_t(extent.Length()) + slack);
    Scratch<quarters::Element, 2048> scratch(size_t(quarter) + size_t(reach) + 4);
    unsigned *const padded = padding.Data();
    if (!padded || !scratch.Data())
        return false;
    extent.Pad(line, padded, slack);

    const quarters::Starts starts(line.length, quarter);
    quarters::Element *const elements = scratch.Data() + 1; // element -1, which leaves the window first, is 0
    elements[-1].v = _mm256_setzero_si256();
    quarters::expand(padded, starts, quarter + reach, elements, Form::sample);
    OPRGBA32i *to[4];
    for (int k = 0; k < 4; ++k)
        to[k] = line.destination + starts.at[k];

    Window window(2 * radius + 1);
    for (const OPRGBA32i &pixel : { line.source[0], line.source[line.sourceLength - 1] })
        window.AddRepeated(Form::sample(quarters::samePixel(pixel.word)), extent.excess);
    for (int i = 0; i < reach; ++i)
        window.Add(elements[i].v);
    for (int i = 0; i < quarter; i += 2) {
        window.Slide(elements[i + reach].v, elements[i - 1].v);
        const __m256i first = window.Means();
        window.Slide(elements[i + 1 + reach].v, elements[i].v);
        quarters::store(to, i, quarters::interleaved(form.finish(first, window.Means())));
    }
    return true;
}

/// Replaces pixels by the totals of their alphas, from the first one on, 32 bits each; @p count is a multiple of eight.
/// Totals wrap. Their differences are right where these fit 32 bits, as the sums of all windows do.
void addUpAlphas(unsigned *pixels, int count)
{
    const __m256i last = _mm256_set1_epi32(7);
    __m256i before = _mm256_setzero_si256();
    for (int i = 0; i < count; i += 8) {
        __m256i t = _mm256_srli_epi32(vectors::load(pixels + i), 24);
        t = _mm256_add_epi32(t, _mm256_slli_si256(t, 4));
        t = _mm256_add_epi32(t, _mm256_slli_si256(t, 8));
        const __m256i ofLowHalf = _mm256_shuffle_epi32(_mm256_permute2x128_si256(t, t, 0x08), 0xFF);
        t = _mm256_add_epi32(t, ofLowHalf);
        vectors::store(pixels + i, _mm256_add_epi32(t, before));
        before = _mm256_add_epi32(before, _mm256_permutevar8x32_epi32(t, last));
    }
}

/// Slides a window of alphas over @p line, which has eight pixels or more; false where there is no memory.
template <class Mean, class Form>
bool slideAlpha(const Line &line, int radius, const Form &form)
{
    const Extent extent(line, radius);
    constexpr int slack = 7; // of a vector
    Scratch<unsigned, 8192> padding(size_t(extent.Length()) + slack + 1);
    if (!padding.Data())
        return false;
    unsigned *const totals = padding.Data() + 1; // the one before the first is 0
    totals[-1] = 0;
    extent.Pad(line, totals, slack);
    addUpAlphas(totals, (extent.Length() + slack) & ~7);

    const Mean mean(2 * radius + 1);
    const int reach = 2 * extent.overlap;
    const __m256i ends = _mm256_set1_epi32(extent.excess * (line.source[0].a + line.source[line.sourceLength - 1].a));
    for (int step = 0; step < line.length; step += 8) {
        const int i = std::min(step, line.length - 8); // the last ones may be done twice, with the same result
        const __m256i sum = _mm256_sub_epi32(vectors::load(totals + i + reach), vectors::load(totals + i - 1));
        OPRGBA32i *const to = line.destination + i;
        vectors::store(to, form.finish(mean(_mm256_add_epi32(sum, ends)), to));
    }
    return true;
}

/// The slide by @p accumulator itself. Where that is a class of an application, calls go through the virtual table.
template <class Accumulator>
void slidePlain(const Line &line, int radius, Accumulator &accumulator)
{
    lines::slideWindow(accumulator, line.source, line.sourceLength, line.destination, line.length, line.offset, radius);
}

/// An accumulator behind its virtual table.
struct Virtual {
    OPRGBABlurAccumulatorBase &accumulator;

    void Reset() { accumulator.Reset(); }
    void Add(const OPRGBA32i &pixel) { accumulator.Add(pixel); }
    void AddRepeated(const OPRGBA32i &pixel, int times)
    {
        for (; times > 0; --times)
            accumulator.Add(pixel);
    }
    void Subtract(const OPRGBA32i &pixel) { accumulator.Subtract(pixel); }
    void Finalize(OPRGBA32i &target) const { accumulator.Finalize(target); }
};

/// The slide by @p form, which is that of @p accumulator, or by the accumulator itself where a line is too short or
/// memory lacking.
template <class Accumulator, class Form>
void slideBest(const Line &line, int radius, OPRGBABlurAccumulatorBase *accumulator, const Form &form)
{
    static_assert(2 * OPRGBABlurAccumulatorBase::MaximumRadius + 1 <= DoublePrecisionMean::maximumSize,
        "the last one takes any window");
    const int size = 2 * radius + 1;
    bool isDone = false;
    if constexpr (std::is_base_of_v<OPRGBABlurAccumulator, Accumulator>) {
        using LargeWindow = WideWindow<SinglePrecisionMean>;
        const auto slide = size <= NarrowWindow::maximumSize ? slideChannels<NarrowWindow, Form>
            : size <= LargeWindow::maximumSize               ? slideChannels<LargeWindow, Form>
                                                             : slideChannels<WideWindow<DoublePrecisionMean>, Form>;
        isDone = line.length >= 2 && slide(line, radius, form);
    } else {
        const auto slide = size <= SinglePrecisionMean::maximumSize ? slideAlpha<SinglePrecisionMean, Form>
                                                                    : slideAlpha<DoublePrecisionMean, Form>;
        isDone = line.length >= 8 && slide(line, radius, form);
    }
    if (!isDone)
        slidePlain(line, radius, *static_cast<Accumulator *>(accumulator));
}

} // namespace

/// Slides the window of @p accumulator along one line: @p source holds positions @p readFirst to @p readLast,
/// @p destination takes @p first to @p last.
KXCORE_KERNEL void LineHandlerAVX2(OPRGBABlurAccumulatorBase *accumulator, OPRGBA32i *source, OPRGBA32i *destination,
    int readFirst, int readLast, int first, int last, int radius)
{
    const Line line { source, readLast - readFirst + 1, destination, last - first + 1, first - readFirst };
    const bool isOwnRadius = radius >= 0 && radius == accumulator->GetRadius();
    const auto is = [&type = typeid(*accumulator), isOwnRadius](const std::type_info &known) {
        return isOwnRadius && type == known; // by exact type: what an application derives may compute something else
    };
    if (is(typeid(OPRGBABlurAccumulatorPremul)))
        slideBest<OPRGBABlurAccumulatorPremul>(line, radius, accumulator, Premultiplied {});
    else if (is(typeid(OPRGBABlurAccumulator)))
        slideBest<OPRGBABlurAccumulator>(line, radius, accumulator, Plain {});
    else if (is(typeid(OPAlphaBlurAccumulator)))
        slideBest<OPAlphaBlurAccumulator>(line, radius, accumulator, Alpha { 0 });
    else if (is(typeid(OPAlphaBlurAccumulatorWithInvert)))
        slideBest<OPAlphaBlurAccumulatorWithInvert>(line, radius, accumulator, Alpha { 255 });
    else if (is(typeid(OPAlphaBlurAccumulatorWithRGBColorize))) {
        using Colorize = OPAlphaBlurAccumulatorWithRGBColorize;
        const unsigned color = static_cast<Colorize *>(accumulator)->Color().word;
        slideBest<Colorize>(line, radius, accumulator, Colored { color });
    } else {
        Virtual accumulatorOfAnApplication { *accumulator };
        slidePlain(line, radius, accumulatorOfAnApplication);
    }
}
