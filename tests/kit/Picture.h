#pragma once

#include "KXImage.h"
#include "kit/Test.h"

#include <map>
#include <mutex>
#include <tuple>
#include <vector>

/// Salted pixels, pictures of them, and their comparison.
namespace kit {

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

    /// Salted pixels; some stretches are opaque or transparent, as those of layers mostly are, but never the first one.
    /// Tests ask for the same picture many times, which takes long under a sanitizer: the last ones are kept.
    static Picture random(int w, int h, quint32 sequence)
    {
        static std::mutex lock;
        static std::map<std::tuple<int, int, quint32>, Picture> kept;
        const std::lock_guard<std::mutex> locked(lock);
        if (kept.size() == 64)
            kept.clear();
        const auto [place, isNew] = kept.try_emplace({ w, h, sequence }, w, h);
        if (isNew)
            place->second.salt(sequence);
        return place->second;
    }

    void salt(quint32 sequence)
    {
        QRandomGenerator generator = kit::random(sequence);
        int kind = 2;
        for (size_t i = 0; i < pixels.size(); kind = generator.bounded(6))
            for (int n = generator.bounded(1, 150); n > 0 && i < pixels.size(); --n, ++i) {
                pixels[i] = saltedPixel(generator);
                if (kind < 2)
                    pixels[i].a = kind == 0 ? 0 : 255;
            }
    }

    static Picture of(const RGBA32iImage &image)
    {
        Picture picture(image.Width(), image.Height());
        for (int y = 0; y < picture.height; ++y)
            image.ReadRow(unsigned(y), 0, picture.pixels.data() + size_t(y) * size_t(picture.width),
                unsigned(picture.width) * 4u);
        return picture;
    }

    RGBA32iImage image(bool tiled) const
    {
        RGBA32iImage result(width, height, tiled);
        for (int y = 0; y < height; ++y)
            result.WriteRow(unsigned(y), 0, pixels.data() + size_t(y) * size_t(width), unsigned(width) * 4u);
        return result;
    }

    QRect rect() const { return QRect(0, 0, width, height); }
    OPRGBA32i &at(int x, int y) { return pixels[size_t(y) * size_t(width) + size_t(x)]; }
    const OPRGBA32i &at(int x, int y) const { return pixels[size_t(y) * size_t(width) + size_t(x)]; }

    /// The pixel @p i of the row or column @p line.
    OPRGBA32i &on(Qt::Orientation lines, int line, int i)
    {
        return lines == Qt::Horizontal ? at(i, line) : at(line, i);
    }

    /// Gives each pixel of @p part, which lies within the picture, the value @p of(x, y), row by row.
    template <class Of>
    void fill(const QRect &part, const Of &of)
    {
        for (int y = part.top(); y <= part.bottom(); ++y)
            for (int x = part.left(); x <= part.right(); ++x)
                at(x, y) = of(x, y);
    }

    int width, height;
    std::vector<OPRGBA32i> pixels;
};

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

} // namespace kit

/// Fails with @p difference unless that is empty; @p where says where in the test's loops that was.
#define VERIFY_SAME_AT(difference, where)                                                                              \
    do {                                                                                                               \
        const QString text = difference;                                                                               \
        if (!text.isEmpty())                                                                                           \
            QFAIL(qPrintable(QString(where) + ": " + text));                                                           \
    } while (false)

#define COMPARE_PICTURE(actual, expected) VERIFY_SAME_AT(kit::difference(actual, expected), "")
