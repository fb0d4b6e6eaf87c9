#pragma once

#include "KXImage.h"

#include "pixels/Rows.h"

#include "Positions.h"

#include <algorithm>
#include <climits>
#include <functional>
#include <utility>

namespace transform {

/// 0.5 + 2^-52, by which interpolated channels are rounded.
constexpr double justOverHalf = 0.5000000000000002;

using pixels::Rows;

/// In which order a destination is written: one that has the source's own pixels is written row by row, as later pixels
/// sample what was written earlier.
template <class From, class To>
Order orderOf(const Rows<const From> &source, const Rows<To> &target)
{
    const void *const begin = source.first, *const end = source.Row(source.height);
    const void *const targetBegin = target.first, *const targetEnd = target.Row(target.height);
    const std::less<const void *> isBefore {};
    return isBefore(begin, targetEnd) && isBefore(targetBegin, end) ? Order::Rows : Order::Strips;
}

/// A step of interpolation computes channels between samples, at @c t from one to the next, before they are truncated
/// and clamped; @c half rounds. Samples are channels, or pixels that follow one another.
///
/// This one is linear, between two samples; where t is below 0 it extrapolates.
struct Linear {
    static constexpr int taps = 2, before = 0;

    template <class Channels>
    static Channels value(const Channels (&p)[2], const Channels &t, const Channels &half)
    {
        return (p[1] - p[0]) * t + p[0] + half;
    }
    template <class Channels>
    static Channels value(const OPRGBA32i *pixels, const Channels &t, const Channels &half)
    {
        return value({ Channels(pixels[0]), Channels(pixels[1]) }, t, half);
    }
};

/// What a cubic is computed from: whole numbers.
template <class Channels>
struct CubicTerms {
    Channels a, b, c, d;

    explicit CubicTerms(const Channels (&p)[4])
        : a(p[3] - p[0] - p[2] + p[1])
        , b((p[0] - p[1]) - a)
        , c(p[2] - p[0])
        , d(p[1])
    {
    }
    explicit CubicTerms(const OPRGBA32i *p)
        : CubicTerms({ Channels(p[0]), Channels(p[1]), Channels(p[2]), Channels(p[3]) })
    {
    }
};

/// The plain cubic between the second and the third of four samples.
struct Cubic {
    static constexpr int taps = 4, before = 1;

    template <class Samples, class Channels>
    static Channels value(const Samples &samples, const Channels &t, const Channels &half)
    {
        const CubicTerms<Channels> terms(samples);
        return (terms.b + terms.a * t) * (t * t) + half + (terms.c * t + terms.d);
    }
};

/// The pixel whose centre is the last at or before the position @p s. Within half a pixel of the edge it is 0, as the
/// conversion truncates, and the fraction is negative: there samplers extrapolate, which is intended.
inline int floorOf(double s) { return int(s + epsilon - 0.5); }
inline double fractionOf(double s, int pixel) { return s - pixel - 0.5; }

/// Takes the pixel under each position inside.
class NearestSampler {
public:
    NearestSampler(const Rows<const OPRGBA32i> &source, Order order)
        : m_source(source)
        , m_order(order)
    {
    }

    void operator()(const double *sourceX, const double *sourceY, int count, OPRGBA32i *target)
    {
        const Rows<const OPRGBA32i> source = m_source; // values that no store to the target can change
        const Order order = m_order;
        for (int i = 0; i < count; ++i) {
            const int x = int(sourceX[i] + epsilon), y = int(sourceY[i] + epsilon);
            const OPRGBA32i *const pixel = source.Row(y) + x;
            target[i] = order == Order::Strips ? *pixel : Held(pixel);
        }
    }

private:
    /// A pixel is read once for positions that follow one another.
    OPRGBA32i Held(const OPRGBA32i *pixel)
    {
        if (std::exchange(m_last, pixel) != pixel)
            m_lastPixel = *pixel;
        return m_lastPixel;
    }

    Rows<const OPRGBA32i> m_source;
    Order m_order;
    const OPRGBA32i *m_last = nullptr;
    OPRGBA32i m_lastPixel;
};

/// Interpolates along the rows around a position inside, to bytes, and then down between these. @p Channels are the
/// four channels of a pixel: transform::Channels, or a type of the kernel module's with the same functions.
template <class Step, class Channels>
class InterpolatingSampler {
public:
    InterpolatingSampler(const Rows<const OPRGBA32i> &source, Order order)
        : m_source(source)
        , m_order(order)
    {
    }

    void operator()(const double *sourceX, const double *sourceY, int count, OPRGBA32i *target)
    {
        // Of each position, the first of its samples; -1 where these are to be held. A flat image has no more pixels
        // than an int can count.
        int lefts[longestRun], tops[longestRun], firsts[longestRun];
        double fractionsX[longestRun], fractionsY[longestRun];
        const int lastLeft = m_order == Order::Strips ? m_source.width - taps : -1, lastTop = m_source.height - taps;
        const unsigned width = unsigned(m_source.width);
        for (int i = 0; i < count; ++i) { // a loop of its own, which compilers do in vectors
            const int x = floorOf(sourceX[i]), y = floorOf(sourceY[i]);
            fractionsX[i] = fractionOf(sourceX[i], x);
            fractionsY[i] = fractionOf(sourceY[i], y);
            lefts[i] = x - Step::before;
            tops[i] = y - Step::before;
            const bool isInside = (lefts[i] >= 0) & (lefts[i] <= lastLeft) & (tops[i] >= 0) & (tops[i] <= lastTop);
            firsts[i] = isInside ? int(unsigned(tops[i]) * width + unsigned(lefts[i])) : -1;
        }
        const Channels half(justOverHalf);
        const OPRGBA32i *const source = m_source.first;
        for (int i = 0; i < count; ++i) {
            const bool isHeld = firsts[i] < 0;
            const OPRGBA32i *const neighbours = isHeld ? Held(lefts[i], tops[i]) : source + firsts[i];
            const qptrdiff stride = isHeld ? taps : qptrdiff(width);
            Channels rows[taps];
            for (int row = 0; row < taps; ++row)
                rows[row] = toBytes(Step::value(neighbours + row * stride, Channels(fractionsX[i]), half));
            target[i] = toPixel(Step::value(rows, Channels(fractionsY[i]), half));
        }
    }

private:
    static constexpr int taps = Step::taps;

    /// Reads the samples at the edge of the source, or in one that is written, once for positions that follow one
    /// another and have the same.
    Q_NEVER_INLINE const OPRGBA32i *Held(int left, int top)
    {
        if (left == m_left && top == m_top)
            return m_held;
        m_left = left;
        m_top = top;
        OPRGBA32i *held = m_held;
        for (int row = 0; row < taps; ++row) {
            const OPRGBA32i *const from = m_source.Row(std::clamp(top + row, 0, m_source.height - 1));
            for (int column = 0; column < taps; ++column)
                *held++ = from[std::clamp(left + column, 0, m_source.width - 1)];
        }
        return m_held;
    }

    Rows<const OPRGBA32i> m_source;
    Order m_order;
    int m_left = INT_MIN, m_top = INT_MIN;
    OPRGBA32i m_held[taps * taps];
};

/// Resamples @p area by a @p Sampler, which is called with the positions that are inside.
template <class Sampler>
void sampleEach(const Rows<const OPRGBA32i> &source, const QTransform &inverse, const Rows<OPRGBA32i> &target,
    const QRect &area, Order order)
{
    const Inside inside { { -epsilon, epsilon, 0, source.width - 1 }, { -epsilon, epsilon, 0, source.height - 1 } };
    Sampler sampler(source, order);
    forEachRun(inverse, QPoint(), area, inside, order,
        [&](int x, int y, const double *sourceX, const double *sourceY, int count) {
            sampler(sourceX, sourceY, count, target.Row(y) + x);
        });
}

/// One strip of the columns of a picture that is only scaled and moved: positions along x depend on the column alone,
/// and those along y on the row. So a row of the source is interpolated once for all rows that it takes part in.
template <class Step, class Channels>
class ScaledStrip {
public:
    static constexpr int most = 128; ///< columns: what is kept of the rows stays in the nearest cache

    ScaledStrip(const Rows<const OPRGBA32i> &source, const QTransform &inverse, int first, int count)
        : m_source(source)
        , m_positions(inverse, first, count, QPoint())
    {
        const Span inside(-epsilon, epsilon, 0, source.width - 1);
        const Positions::Row row(m_positions, 0);
        for (int i = 0; i < count; ++i) { // the columns that are inside follow one another
            const double x = row.X(i);
            if (!inside.contains(x))
                continue;
            if (m_count == 0)
                m_first = first + i;
            const int pixel = floorOf(x);
            m_lefts[m_count] = pixel - Step::before;
            m_fractions[m_count] = fractionOf(x, pixel);
            ++m_count;
        }
        std::fill_n(m_held, taps, -1);
    }

    void Sample(const Rows<OPRGBA32i> &target, int top, int height)
    {
        const Span inside(-epsilon, epsilon, 0, m_source.height - 1);
        for (int y = top; y < top + height && m_count > 0; ++y)
            if (const double s = Positions::Row(m_positions, y).Y(0); inside.contains(s))
                SampleRow(s, target.Row(y) + m_first);
    }

private:
    static constexpr int taps = Step::taps;

    void SampleRow(double s, OPRGBA32i *target)
    {
        const int pixel = floorOf(s);
        const Channels *rows[taps];
        for (int tap = 0; tap < taps; ++tap)
            rows[tap] = Interpolated(std::clamp(pixel - Step::before + tap, 0, m_source.height - 1));
        const Channels half(justOverHalf), fraction(fractionOf(s, pixel));
        for (int i = 0; i < m_count; ++i) {
            Channels samples[taps];
            for (int tap = 0; tap < taps; ++tap)
                samples[tap] = rows[tap][i];
            target[i] = toPixel(Step::value(samples, fraction, half));
        }
    }

    /// The row @p y of the source, interpolated along x. The rows that one position needs are neighbours, so that each
    /// has a place of its own.
    const Channels *Interpolated(int y)
    {
        Channels *const row = m_rows[y % taps];
        if (std::exchange(m_held[y % taps], y) == y)
            return row;
        const OPRGBA32i *const from = m_source.Row(y);
        const Channels half(justOverHalf);
        for (int i = 0; i < m_count; ++i) {
            const int left = m_lefts[i];
            const bool isEdge = left < 0 || left + taps > m_source.width;
            OPRGBA32i edge[taps];
            for (int tap = 0; tap < taps && isEdge; ++tap)
                edge[tap] = from[std::clamp(left + tap, 0, m_source.width - 1)];
            row[i] = toBytes(Step::value(isEdge ? edge : from + left, Channels(m_fractions[i]), half));
        }
        return row;
    }

    Rows<const OPRGBA32i> m_source;
    Positions m_positions;
    int m_first = 0, m_count = 0; ///< the columns that are inside
    int m_lefts[most]; ///< of each, the first sample
    double m_fractions[most];
    Channels m_rows[taps][most]; ///< rows of the source
    int m_held[taps]; ///< which
};

/// Resamples @p area by interpolation, with @p Channels for the four channels of a pixel.
template <class Step, class Channels>
void interpolate(
    const Rows<const OPRGBA32i> &source, const QTransform &inverse, const Rows<OPRGBA32i> &target, const QRect &area)
{
    const Order order = orderOf(source, target);
    if (inverse.type() > QTransform::TxScale || order == Order::Rows)
        return sampleEach<InterpolatingSampler<Step, Channels>>(source, inverse, target, area, order);
    constexpr int most = ScaledStrip<Step, Channels>::most;
    for (int done = 0; done < area.width(); done += most)
        ScaledStrip<Step, Channels>(source, inverse, area.x() + done, std::min(most, area.width() - done))
            .Sample(target, area.y(), area.height());
}

} // namespace transform
