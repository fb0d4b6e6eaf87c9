#pragma once

#include "KXImage.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#include <functional>
#include <vector>

namespace testing {

/// A picture as the tests see it: pixels in rows, reached with clamped coordinates.
struct Picture {
    Picture(int w, int h)
        : width(w)
        , height(h)
        , pixels(size_t(w) * size_t(h))
    {
    }

    /// A quarter of the bytes from the values at which rounding and clamping change.
    static Picture random(int w, int h, quint32 seed)
    {
        static const unsigned char salt[] = { 0, 1, 127, 128, 254, 255 };
        QRandomGenerator generator(seed);
        Picture picture(w, h);
        const auto byte = [&] {
            const quint32 bits = generator.generate();
            return (bits & 3) == 0 ? salt[(bits >> 8) % 6] : static_cast<unsigned char>(bits >> 16);
        };
        for (OPRGBA32i &pixel : picture.pixels) {
            pixel.b = byte();
            pixel.g = byte();
            pixel.r = byte();
            pixel.a = byte();
        }
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

inline unsigned char channel(OPRGBA32i pixel, int which) { return static_cast<unsigned char>(pixel.word >> 8 * which); }

/// The pixel whose channels, blue first, are @p of(0) to @p of(3).
inline OPRGBA32i pixelOf(const std::function<int(int)> &of)
{
    unsigned word = 0;
    for (int c = 0; c < 4; ++c)
        word |= unsigned(static_cast<unsigned char>(of(c))) << 8 * c;
    return OPRGBA32i(word);
}

/// Empty when the two are alike, otherwise the first difference.
inline QByteArray difference(const Picture &actual, const Picture &expected)
{
    if (actual.rect() != expected.rect())
        return "the sizes differ";
    for (int y = 0; y < actual.height; ++y)
        for (int x = 0; x < actual.width; ++x)
            if (actual.at(x, y) != expected.at(x, y))
                return QString("(%1, %2): expected %3, got %4")
                    .arg(x)
                    .arg(y)
                    .arg(expected.at(x, y).word, 8, 16, QChar('0'))
                    .arg(actual.at(x, y).word, 8, 16, QChar('0'))
                    .toLatin1();
    return {};
}

/// Convolves the lines of @p rect with a kernel in Q14 whose entries lie anywhere, in 64 bits; the rectangle's edge is
/// replicated.
inline void convolve(Picture &picture, const QRect &rect, Qt::Orientation lines, const std::vector<short> &kernel)
{
    const Picture from = picture;
    const int radius = int(kernel.size() / 2);
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            picture.at(x, y) = pixelOf([&](int c) {
                qint64 sum = 8192;
                for (int j = 0; j < int(kernel.size()); ++j) {
                    const int dx = lines == Qt::Horizontal ? j - radius : 0,
                              dy = lines == Qt::Vertical ? j - radius : 0;
                    sum += qint64(channel(from.at(qBound(rect.left(), x + dx, rect.right()),
                                              qBound(rect.top(), y + dy, rect.bottom())),
                               c))
                        * kernel[size_t(j)];
                }
                return int(qBound<qint64>(0, sum >> 14, 255));
            });
}

/// The mean of 2 * radius + 1 samples along a line, each sample and the result passed through a function: what is
/// outside the picture counts as its edge.
inline void windowMean(Picture &picture, const QRect &rect, Qt::Orientation lines, int radius,
    const std::function<int(OPRGBA32i, int)> &sample, const std::function<OPRGBA32i(const int *)> &result)
{
    const Picture from = picture;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x) {
            int means[4] = {};
            for (int k = -radius; k <= radius; ++k)
                for (int c = 0; c < 4; ++c)
                    means[c] += sample(from.at(qBound(0, lines == Qt::Horizontal ? x + k : x, from.width - 1),
                                           qBound(0, lines == Qt::Vertical ? y + k : y, from.height - 1)),
                        c);
            for (int &mean : means)
                mean /= 2 * radius + 1;
            picture.at(x, y) = result(means);
        }
}

/// @c windowMean of straight pixels whose colour counts by its alpha.
inline void premultipliedMean(Picture &picture, const QRect &rect, Qt::Orientation lines, int radius)
{
    windowMean(
        picture, rect, lines, radius, [](OPRGBA32i p, int c) { return c == 3 ? p.a : channel(p, c) * p.a / 255; },
        [](const int *means) {
            return means[3] == 0 ? OPRGBA32i()
                                 : pixelOf([&](int c) { return c == 3 ? means[3] : means[c] * 255 / means[3]; });
        });
}

} // namespace testing

#define COMPARE_PICTURE(actual, expected)                                                                              \
    do {                                                                                                               \
        const QByteArray text = testing::difference(actual, expected);                                                 \
        QVERIFY2(text.isEmpty(), text.constData());                                                                    \
    } while (false)
