#pragma once

#include "KXImage.h"
#include "TestSupport.h"

#include <array>

namespace testing {

/// A random byte; a quarter of them from the values at which rounding and clamping change.
inline unsigned char saltedByte(QRandomGenerator &random)
{
    static const unsigned char salt[] = { 0, 1, 127, 128, 254, 255 };
    const quint32 bits = random.generate();
    return (bits & 3) == 0 ? salt[(bits >> 8) % 6] : static_cast<unsigned char>(bits >> 16);
}

inline unsigned char channel(OPRGBA32i pixel, int which) { return static_cast<unsigned char>(pixel.word >> 8 * which); }

/// The pixel whose channels, blue first, are @p of(0) to @p of(3).
template <class Channel>
OPRGBA32i pixelOf(Channel of)
{
    unsigned word = 0;
    for (int c = 0; c < 4; ++c)
        word |= unsigned(static_cast<unsigned char>(of(c))) << 8 * c;
    return OPRGBA32i(word);
}

inline OPRGBA32i saltedPixel(QRandomGenerator &random)
{
    return pixelOf([&](int) { return saltedByte(random); });
}

/// A picture as the tests see it: pixels in rows.
struct Picture {
    Picture(int w, int h, OPRGBA32i fill = OPRGBA32i())
        : width(w)
        , height(h)
        , pixels(size_t(w) * size_t(h), fill)
    {
    }

    static Picture random(int w, int h, quint32 seed)
    {
        QRandomGenerator generator(seed);
        Picture picture(w, h);
        for (OPRGBA32i &pixel : picture.pixels)
            pixel = saltedPixel(generator);
        return picture;
    }

    static Picture of(const RGBA32iImage &image)
    {
        Picture picture(image.Width(), image.Height());
        for (int y = 0; y < picture.height; ++y)
            image.ReadRow(unsigned(y), 0, &picture.at(0, y), unsigned(picture.width) * 4u);
        return picture;
    }

    RGBA32iImage image(bool tiled) const
    {
        RGBA32iImage result(width, height, tiled);
        for (int y = 0; y < height; ++y)
            result.WriteRow(unsigned(y), 0, &pixels[size_t(y) * size_t(width)], unsigned(width) * 4u);
        return result;
    }

    QRect rect() const { return QRect(0, 0, width, height); }
    OPRGBA32i &at(int x, int y) { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
    OPRGBA32i at(int x, int y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }

    /// The pixel @p i of the row or column @p line.
    OPRGBA32i &on(Qt::Orientation lines, int line, int i)
    {
        return lines == Qt::Horizontal ? at(i, line) : at(line, i);
    }

    int width, height;
    std::vector<OPRGBA32i> pixels;
};

/// Gives each pixel of @p rect the value @p formula(at), where at(k) was the pixel k steps further on its line; beyond
/// @p edge the last pixel before it counts.
template <class Formula>
void alongLines(Picture &picture, const QRect &rect, const QRect &edge, Qt::Orientation lines, Formula formula)
{
    const Picture from = picture;
    const int dx = lines == Qt::Horizontal, dy = 1 - dx;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            picture.at(x, y) = formula([&](int k) {
                return from.at(
                    qBound(edge.left(), x + k * dx, edge.right()), qBound(edge.top(), y + k * dy, edge.bottom()));
            });
}

/// Sums of 32 bits that start at 8192 and wrap, shifted by 14 and clamped; @p at(j) is the pixel under entry j.
template <class At>
OPRGBA32i convolved(const std::vector<short> &kernel, At at)
{
    return pixelOf([&](int c) {
        qint64 sum = 8192;
        for (int j = 0; j < int(kernel.size()); ++j)
            sum += channel(at(j), c) * kernel[size_t(j)];
        return qBound(0, int(quint32(sum)) >> 14, 255);
    });
}

/// Convolves the lines of @p rect, whose edge is replicated.
inline void convolve(Picture &picture, const QRect &rect, Qt::Orientation lines, const std::vector<short> &kernel)
{
    alongLines(picture, rect, rect, lines,
        [&](auto at) { return convolved(kernel, [&](int j) { return at(j - int(kernel.size() / 2)); }); });
}

/// The means of the channels of 2 * radius + 1 pixels around at(0), truncated; colour may count by its alpha.
template <class At>
std::array<int, 4> means(At at, int radius, bool weighted)
{
    std::array<int, 4> sums {};
    for (int k = -radius; k <= radius; ++k)
        for (int c = 0; c < 4; ++c)
            sums[size_t(c)] += weighted && c < 3 ? channel(at(k), c) * at(k).a / 255 : channel(at(k), c);
    for (int &sum : sums)
        sum /= 2 * radius + 1;
    return sums;
}

/// The mean along lines of straight pixels whose colour counts by its alpha; outside the edge of the picture counts.
inline void premultipliedMean(Picture &picture, const QRect &rect, Qt::Orientation lines, int radius)
{
    alongLines(picture, rect, picture.rect(), lines, [&](auto at) {
        const auto mean = means(at, radius, true);
        return mean[3] == 0 ? OPRGBA32i()
                            : pixelOf([&](int c) { return c == 3 ? mean[3] : mean[size_t(c)] * 255 / mean[3]; });
    });
}

/// Gives the colours of @p rect, but not of its last row, the value @p formula(colour, alpha).
template <class Formula>
void allButTheLastRow(Picture &picture, const QRect &rect, Formula formula)
{
    for (int y = rect.top(); y < rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            picture.at(x, y) = pixelOf(
                [&, p = picture.at(x, y)](int c) { return c == 3 ? p.a : formula(int(channel(p, c)), int(p.a)); });
}

inline void premultiply(Picture &picture, const QRect &rect)
{
    allButTheLastRow(picture, rect, [](int c, int a) { return (c * a + 127) / 255; });
}

inline void makeStraight(Picture &picture, const QRect &rect)
{
    allButTheLastRow(picture, rect, [](int c, int a) { return a == 0 ? 0 : (c * 255 + a / 2) / a; });
}

/// Empty when the pixels are the @p expected ones, otherwise the first difference, by its place in rows of @p width.
inline QString difference(const OPRGBA32i *actual, const std::vector<OPRGBA32i> &expected, int width = INT_MAX)
{
    const auto [e, a] = std::mismatch(expected.begin(), expected.end(), actual);
    const int i = int(e - expected.begin());
    return e == expected.end()
        ? QString()
        : QString::asprintf("(%d, %d): expected %08x, got %08x", i % width, i / width, e->word, a->word);
}

inline QString difference(const Picture &actual, const Picture &expected)
{
    return actual.rect() != expected.rect() ? "the sizes differ"
                                            : difference(actual.pixels.data(), expected.pixels, expected.width);
}

} // namespace testing

/// Fails with @p difference unless that is empty; @p where says where in the test's loops that was.
#define VERIFY_SAME_AT(difference, where)                                                                              \
    do {                                                                                                               \
        const QString text = difference;                                                                               \
        if (!text.isEmpty())                                                                                           \
            QFAIL(qPrintable(QString(where) + ": " + text));                                                           \
    } while (false)

#define COMPARE_PICTURE(actual, expected) VERIFY_SAME_AT(testing::difference(actual, expected), "")
