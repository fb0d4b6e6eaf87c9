#pragma once

#include "KXImage.h"

#include "support/Arithmetic.h"

#include "Positions.h"

#include <algorithm>
#include <functional>

namespace transform {

/// 0.5 + 2^-52, with which interpolated channels are rounded.
constexpr double justOverHalf = 0.5000000000000002;

/// The pixels of a flat image, of at least one.
template <class Pixel>
struct Pixels {
    const Pixel *first;
    int width, height;

    const Pixel *Row(int y) const { return first + qptrdiff(y) * width; }
};

/// The pixels that are written, with rows @c stride pixels apart.
template <class Pixel>
struct Target {
    Pixel *first;
    qptrdiff stride;
    int width, height;

    Pixel *Row(int y) const { return first + y * stride; }
};

/// Those of a flat image; null ones of any other.
template <class Pixel, int TileW, int TileH>
Pixels<Pixel> pixelsOf(const KXImage<Pixel, TileW, TileH> &image)
{
    return { image.IsTiled() ? nullptr : image.Bits(), image.Width(), image.Height() };
}

template <class Pixel, int TileW, int TileH>
Target<Pixel> targetOf(KXImage<Pixel, TileW, TileH> &image)
{
    return { image.IsTiled() ? nullptr : image.Bits(), image.Width(), image.Width(), image.Height() };
}

/// In which order a destination is written: one that has the source's own pixels is written row by row, as later pixels
/// sample what was written earlier.
template <class From, class To>
Order orderOf(const Pixels<From> &source, const Target<To> &target)
{
    const void *const begin = source.first, *const end = source.Row(source.height);
    const void *const targetBegin = target.first, *const targetEnd = target.Row(target.height);
    const std::less<const void *> isBefore {};
    return isBefore(begin, targetEnd) && isBefore(targetBegin, end) ? Order::Rows : Order::Strips;
}

/// A channel between two samples, at @p t from the first to the second; below 0 it is extrapolated. Before it is
/// truncated and clamped; @p half rounds.
struct Linear {
    static constexpr int taps = 2, before = 0;

    template <class V>
    static V value(const V (&p)[2], V t, V half)
    {
        return (p[1] - p[0]) * t + p[0] + half;
    }
};

/// A channel between the second and the third of four samples: the plain cubic through these two.
struct Cubic {
    static constexpr int taps = 4, before = 1;

    template <class V>
    static V value(const V (&p)[4], V t, V half)
    {
        const V a = p[3] - p[0] - p[2] + p[1];
        return ((p[0] - p[1]) - a + a * t) * (t * t) + half + ((p[2] - p[0]) * t + p[1]);
    }
};

/// The pixel between those at pixels[0], pixels[@p stride] ...: each channel by itself, rounded to a byte.
template <class Step>
OPRGBA32i between(const OPRGBA32i *pixels, qptrdiff stride, double t)
{
    unsigned word = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        double samples[Step::taps];
        for (int tap = 0; tap < Step::taps; ++tap)
            samples[tap] = double(pixels[tap * stride].word >> shift & 255);
        const int value = arithmetic::truncate(Step::value(samples, t, justOverHalf));
        word |= unsigned(arithmetic::clamp8(value)) << shift;
    }
    return OPRGBA32i(word);
}

/// The pixel under a position.
class OPNearestSampler {
public:
    explicit OPNearestSampler(const Pixels<OPRGBA32i> &source)
        : m_source(source)
    {
    }

    OPRGBA32i operator()(double sx, double sy)
    {
        const int x = arithmetic::truncate(sx + epsilon), y = arithmetic::truncate(sy + epsilon);
        if (x != m_lastX || y != m_lastY) {
            m_lastX = x;
            m_lastY = y;
            m_lastPixel = m_source.Row(y)[x];
        }
        return m_lastPixel;
    }

private:
    Pixels<OPRGBA32i> m_source;
    int m_lastX = -1, m_lastY = -1;
    OPRGBA32i m_lastPixel;
};

/// Interpolates along the rows around a position, to bytes, and then down between these. The neighbours of the last
/// position are kept: when an image is enlarged many positions have the same ones.
template <class Step>
class InterpolatingSampler {
public:
    explicit InterpolatingSampler(const Pixels<OPRGBA32i> &source)
        : m_source(source)
    {
    }

    OPRGBA32i operator()(double sx, double sy)
    {
        const int x = Floor(sx), y = Floor(sy);
        if (x != m_lastX || y != m_lastY) {
            m_lastX = x;
            m_lastY = y;
            Load();
        }
        OPRGBA32i rows[Step::taps];
        for (int row = 0; row < Step::taps; ++row)
            rows[row] = between<Step>(m_neighbours + row * Step::taps, 1, Fraction(sx, x));
        return between<Step>(rows, 1, Fraction(sy, y));
    }

    /// The pixel whose centre is the last at or before the position @p s. Within half a pixel of the edge it is 0, as
    /// the conversion truncates, and the fraction is negative: there the sampler extrapolates, which is intended.
    static int Floor(double s) { return arithmetic::truncate(s + epsilon - 0.5); }
    static double Fraction(double s, int pixel) { return s - pixel - 0.5; }

private:
    void Load()
    {
        OPRGBA32i *neighbour = m_neighbours;
        for (int row = 0; row < Step::taps; ++row) {
            const OPRGBA32i *const from =
                m_source.Row(std::clamp(m_lastY - Step::before + row, 0, m_source.height - 1));
            for (int column = 0; column < Step::taps; ++column)
                *neighbour++ = from[std::clamp(m_lastX - Step::before + column, 0, m_source.width - 1)];
        }
    }

    Pixels<OPRGBA32i> m_source;
    int m_lastX = -1, m_lastY = -1;
    OPRGBA32i m_neighbours[Step::taps * Step::taps];
};

using OPBilinearSampler = InterpolatingSampler<Linear>;
using OPBicubicSampler = InterpolatingSampler<Cubic>;

} // namespace transform
