#pragma once

#include "Reference.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QString>
#include <QtGui/QImage>

/// Pictures for the tests of composition, and their comparison.
namespace pictures {

enum class Storage { Flat, Tiled };

/// Random bytes, a quarter of them from the values at which formulas turn.
inline OPRGBA32i pixel(QRandomGenerator &random)
{
    static const unsigned char salt[] = { 0, 1, 127, 128, 254, 255 };
    quint64 bits = random.generate64();
    const auto byte = [&bits]() -> unsigned char {
        const quint64 r = bits;
        bits >>= 16;
        return r % 4 == 0 ? salt[(r >> 2 & 63) % 6] : static_cast<unsigned char>(r >> 8);
    };
    const auto b = byte(), g = byte(), r = byte(), a = byte();
    return { b, g, r, a };
}

/// Random pixels everywhere; all tiles of a tiled image are private.
inline RGBA32iImage noise(QRandomGenerator &random, QSize size, Storage storage)
{
    RGBA32iImage image(size.width(), size.height(), storage == Storage::Tiled);
    std::vector<OPRGBA32i> row(size_t(size.width()));
    for (int y = 0; y < size.height(); ++y) {
        for (auto &p : row)
            p = pixel(random);
        image.WriteRow(unsigned(y), 0, row.data(), unsigned(size.width()) * 4);
    }
    return image;
}

/// Noise; of a tiled image's tiles some are fake and others null.
inline RGBA32iImage patchy(QRandomGenerator &random, QSize size, Storage storage)
{
    const RGBA32iImage full = noise(random, size, storage);
    if (storage == Storage::Flat)
        return full;
    RGBA32iImage image(size.width(), size.height(), true);
    image.Fill(pixel(random) | 0x40000000u); // visible, if it were read
    for (int i = 0; image.HasTile(i); ++i)
        if (const auto kind = random.bounded(5); kind == 0)
            image.ReleaseTile(i);
        else if (kind != 1)
            std::copy_n(full.TileData(i), 128 * 128, image.TileData(i, true));
    return image;
}

/// A flat window of noise over @p area of the image.
inline void addWindow(QRandomGenerator &random, RGBA32iImage &image, const QRect &area)
{
    const size_t count = size_t(area.width()) * size_t(area.height());
    QSharedPointer<OPRGBA32i> pixels(new OPRGBA32i[count], [](OPRGBA32i *p) { delete[] p; });
    for (size_t i = 0; i < count; ++i)
        pixels.data()[i] = pixel(random);
    const QPoint offset(random.bounded(-50, 50), random.bounded(-50, 50));
    image.SetFlatWindow(pixels, QRect(QPoint(), area.size()), offset, area.topLeft() + offset);
}

/// The same pixels in the other storage.
inline RGBA32iImage stored(const RGBA32iImage &image, Storage storage)
{
    RGBA32iImage copy(image.Width(), image.Height(), storage == Storage::Tiled);
    std::vector<OPRGBA32i> row(size_t(image.Width()));
    for (unsigned y = 0; y < unsigned(image.Height()); ++y) {
        image.ReadRow(y, 0, row.data(), unsigned(image.Width()) * 4);
        copy.WriteRow(y, 0, row.data(), unsigned(image.Width()) * 4);
    }
    return copy;
}

inline QImage toQImage(const RGBA32iImage &image)
{
    QImage copy(image.Width(), image.Height(), QImage::Format_ARGB32);
    for (int y = 0; y < image.Height(); ++y)
        image.ReadRow(unsigned(y), 0, copy.scanLine(y), unsigned(image.Width()) * 4);
    return copy;
}

inline OPRGBA32i at(const RGBA32iImage &image, int x, int y)
{
    OPRGBA32i p;
    image.ReadRow(unsigned(y), unsigned(x), &p, 4);
    return p;
}
inline OPRGBA32i at(const QImage &image, int x, int y) { return image.pixel(x, y); }

inline void readRow(const RGBA32iImage &image, int y, std::vector<OPRGBA32i> &row)
{
    image.ReadRow(unsigned(y), 0, row.data(), unsigned(row.size()) * 4);
}
inline void readRow(const QImage &image, int y, std::vector<OPRGBA32i> &row)
{
    std::memcpy(static_cast<void *>(row.data()), image.constScanLine(y), row.size() * 4);
}

/// Where a picture is not as expected, in words; empty when it is.
template <class Image>
QString difference(const reference::Canvas &expected, const Image &actual)
{
    std::vector<OPRGBA32i> row(size_t(expected.width));
    for (int y = 0; y < expected.height; ++y) {
        readRow(actual, y, row);
        const OPRGBA32i *const e = &expected.pixels[size_t(y) * row.size()];
        for (size_t x = 0; x < row.size(); ++x)
            if (row[x] != e[x])
                return QString("at %1, %2: expected %3, found %4")
                    .arg(x)
                    .arg(y)
                    .arg(e[x].word, 8, 16, QChar('0'))
                    .arg(row[x].word, 8, 16, QChar('0'));
    }
    return {};
}

/// Whether exactly the tiles that @p expected touched left sharing with @p before; in words when not.
inline QString tileDifference(const reference::Canvas &expected, const RGBA32iImage &before, const RGBA32iImage &after)
{
    for (int i = 0; before.HasTile(i); ++i)
        if ((after.TileData(i) != before.TileData(i)) != bool(expected.touched.count(i)))
            return QString("tile %1 %2").arg(i).arg(expected.touched.count(i) ? "is still shared" : "was resolved");
    return {};
}

} // namespace pictures

/// Fails the running test with the text of a difference, if there is one.
#define VERIFY_SAME(differenceText)                                                                                    \
    do {                                                                                                               \
        const QString text = differenceText;                                                                           \
        QVERIFY2(text.isEmpty(), qPrintable(text));                                                                    \
    } while (false)
