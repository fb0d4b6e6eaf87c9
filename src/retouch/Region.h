#pragma once

#include "pixels/Rows.h"

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QtAlgorithms>

#include <algorithm>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Regions of pixels whose colour lies near that of a seed.
namespace retouch {

/// The colours between two, which belong to them, in each channel.
struct ColorBox {
    OPRGBA32i low, high;

    /// As far as @p tolerance from @p seed; what is beyond a byte's range is no colour.
    static ColorBox around(OPRGBA32i seed, OPRGBA32i tolerance)
    {
        const auto below = [](int of, int by) { return static_cast<unsigned char>(std::max(of - by, 0)); };
        const auto above = [](int of, int by) { return static_cast<unsigned char>(std::min(of + by, 255)); };
        return { { below(seed.b, tolerance.b), below(seed.g, tolerance.g), below(seed.r, tolerance.r),
                     below(seed.a, tolerance.a) },
            { above(seed.b, tolerance.b), above(seed.g, tolerance.g), above(seed.r, tolerance.r),
                above(seed.a, tolerance.a) } };
    }

    /// What matches @p seed: a transparent one all that is transparent, whatever its colour and the tolerance.
    static ColorBox matching(OPRGBA32i seed, OPRGBA32i tolerance)
    {
        return seed.a == 0 ? ColorBox { 0u, 0x00FFFFFFu } : around(seed, tolerance);
    }

    bool Contains(OPRGBA32i pixel) const
    {
        return low.b <= pixel.b && pixel.b <= high.b && low.g <= pixel.g && pixel.g <= high.g && low.r <= pixel.r
            && pixel.r <= high.r && low.a <= pixel.a && pixel.a <= high.a;
    }

#ifdef __SSE2__
    /// All bits of those of four pixels that the box contains: nothing is left where the low ends or the pixel lose
    /// what they exceed.
    __m128i Contained(__m128i four) const
    {
        const __m128i below = _mm_subs_epu8(_mm_set1_epi32(int(low.word)), four);
        const __m128i above = _mm_subs_epu8(four, _mm_set1_epi32(int(high.word)));
        return _mm_cmpeq_epi32(_mm_or_si128(below, above), _mm_setzero_si128());
    }
#endif
};

using Pixels = pixels::Rows<OPRGBA32i>;

/// A bit for each position of a row, 64 in a word, the first one lowest.
namespace bits {

constexpr int perWord = 64;

/// How many words a row takes. One bit more than its positions stays 0.
constexpr std::size_t words(int width) { return std::size_t(width) / perWord + 1; }

/// The first position from @p x on, and before @p end, where the bit is @p value; @p end if there is none.
inline int find(const quint64 *row, bool value, int x, int end)
{
    const quint64 inverted = value ? 0 : ~quint64(0);
    int word = x / perWord;
    for (quint64 found = (row[word] ^ inverted) & ~quint64(0) << x % perWord;; found = row[++word] ^ inverted) {
        const qint64 at = qint64(word) * perWord + qCountTrailingZeroBits(found); // of 0 they are 64
        if (found || at >= end)
            return int(std::min<qint64>(at, end));
    }
}

/// The first of the bits that are 1 without a gap up to @p x.
inline int runBegin(const quint64 *row, int x)
{
    int word = x / perWord;
    quint64 gaps = ~row[word] & ((quint64(1) << x % perWord) - 1);
    while (!gaps && word > 0)
        gaps = ~row[--word];
    return word * perWord + perWord - int(qCountLeadingZeroBits(gaps));
}

/// The last bit of a row that is 1. There must be one.
inline int last(const quint64 *row, int width)
{
    int word = width / perWord;
    while (!row[word]) {
        Q_ASSERT(word > 0);
        --word;
    }
    return word * perWord + perWord - 1 - int(qCountLeadingZeroBits(row[word]));
}

/// Sets the bits from @p begin on and before @p end to 0.
inline void clear(quint64 *row, int begin, int end)
{
    const quint64 fromBegin = ~quint64(0) << begin % perWord, fromEnd = ~quint64(0) << end % perWord;
    const int last = end / perWord;
    quint64 keep = ~fromBegin;
    for (int word = begin / perWord; word < last; ++word, keep = 0)
        row[word] &= keep;
    row[last] &= keep | fromEnd;
}

/// Of @p width pixels those that @p box contains.
inline void findContained(const ColorBox &box, const OPRGBA32i *pixels, int width, quint64 *row)
{
    std::fill_n(row, words(width), quint64(0));
    int x = 0;
#ifdef __SSE2__
    for (; x + 16 <= width; x += 16) {
        const auto four = [&](int i) {
            return box.Contained(_mm_loadu_si128(reinterpret_cast<const __m128i *>(pixels + x + 4 * i)));
        };
        const __m128i bytes = _mm_packs_epi16(_mm_packs_epi32(four(0), four(1)), _mm_packs_epi32(four(2), four(3)));
        row[x / perWord] |= quint64(unsigned(_mm_movemask_epi8(bytes))) << x % perWord;
    }
#endif
    for (; x < width; ++x)
        row[x / perWord] |= quint64(box.Contains(pixels[x])) << x % perWord;
}

} // namespace bits

/// The smallest rectangle around what it was extended to.
class Bounds {
public:
    explicit Bounds(const QPoint &first)
        : m_minX(first.x())
        , m_minY(first.y())
        , m_maxX(first.x())
        , m_maxY(first.y())
    {
    }

    void Extend(int left, int right, int y)
    {
        m_minX = std::min(m_minX, left);
        m_maxX = std::max(m_maxX, right);
        m_minY = std::min(m_minY, y);
        m_maxY = std::max(m_maxY, y);
    }

    void Store(QRect *bounds) const
    {
        if (bounds)
            bounds->setCoords(m_minX, m_minY, m_maxX, m_maxY);
    }

private:
    int m_minX, m_minY, m_maxX, m_maxY;
};

/// The pixels that @p box contains and that no fill has reached yet. Those of a row are found when it is first asked
/// for, so that what is written into a row afterwards does not count.
class Unfilled {
public:
    Unfilled(const Pixels &pixels, const ColorBox &box)
        : m_pixels(pixels)
        , m_box(box)
        , m_bits(bits::words(pixels.width) * size_t(pixels.height))
        , m_isKnown(size_t(pixels.height))
    {
    }

    quint64 *Row(int y)
    {
        quint64 *const row = m_bits.data() + bits::words(m_pixels.width) * size_t(y);
        if (!m_isKnown[size_t(y)]) {
            bits::findContained(m_box, m_pixels.Row(y), m_pixels.width, row);
            m_isKnown[size_t(y)] = true;
        }
        return row;
    }

private:
    const Pixels m_pixels;
    const ColorBox m_box;
    std::vector<quint64> m_bits;
    std::vector<bool> m_isKnown;
};

/// Calls @p paint(x, y, count) for the runs that make up the region around @p seed: the pixels of @p pixels that
/// @p box contains and that are joined to it by their edges. The region of a seed that the box does not contain is the
/// one around the pixel below it. Returns the bounds of the region and the seed.
///
/// @p paint may write into the row that it is called for.
template <class Paint>
Bounds fillRegion(const Pixels &pixels, const ColorBox &box, const QPoint &seed, const Paint &paint)
{
    /// A part of a row that lies beside a filled run of the row y - step.
    struct Beside {
        int begin, end, y, step;
    };
    Unfilled unfilled(pixels, box);
    Bounds bounds(seed);
    const int y = box.Contains(pixels.Row(seed.y())[seed.x()]) ? seed.y() : seed.y() + 1;
    std::vector<Beside> pending { { seed.x(), seed.x() + 1, y - 1, -1 }, { seed.x(), seed.x() + 1, y, 1 } };
    while (!pending.empty()) {
        const Beside part = pending.back();
        pending.pop_back();
        if (part.y < 0 || part.y >= pixels.height)
            continue;
        quint64 *const row = unfilled.Row(part.y);
        for (int x = part.begin; (x = bits::find(row, true, x, part.end)) < part.end;) {
            const int begin = bits::runBegin(row, x), end = bits::find(row, false, x, pixels.width);
            bits::clear(row, begin, end);
            paint(begin, part.y, end - begin);
            bounds.Extend(begin, end - 1, part.y);
            pending.push_back({ begin, end, part.y + part.step, part.step });
            // Back, where the run reaches beyond the one that it was found from.
            if (begin < part.begin)
                pending.push_back({ begin, part.begin, part.y - part.step, -part.step });
            if (end > part.end)
                pending.push_back({ part.end, end, part.y - part.step, -part.step });
            x = end;
        }
    }
    return bounds;
}

/// Sets the pixels that @p box contains to @p color and all others to 0. Returns the bounds of the former and the seed.
inline Bounds keepContained(const Pixels &pixels, const ColorBox &box, const QPoint &seed, OPRGBA32i color)
{
    Bounds bounds(seed);
    std::vector<quint64> found(bits::words(pixels.width));
    for (int y = 0; y < pixels.height; ++y) {
        OPRGBA32i *const row = pixels.Row(y);
        bits::findContained(box, row, pixels.width, found.data());
        const int first = bits::find(found.data(), true, 0, pixels.width);
        if (first < pixels.width)
            bounds.Extend(first, bits::last(found.data(), pixels.width), y);
        int x = 0;
#ifdef __SSE2__
        const __m128i colors = _mm_set1_epi32(int(color.word));
        for (; x + 4 <= pixels.width; x += 4) {
            auto *const four = reinterpret_cast<__m128i *>(row + x);
            _mm_storeu_si128(four, _mm_and_si128(box.Contained(_mm_loadu_si128(four)), colors));
        }
#endif
        for (; x < pixels.width; ++x)
            row[x] = box.Contains(row[x]) ? color : OPRGBA32i();
    }
    return bounds;
}

} // namespace retouch
