#pragma once

#include "Reference.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QString>

/// Pictures for the tests of composition, and their comparison.
namespace pictures {

using reference::Canvas;

enum class Storage { Flat, Tiled };

/// Random bytes, a quarter of them from the values at which formulas turn.
inline OPRGBA32i pixel(QRandomGenerator &random)
{
    static const unsigned char salt[] = { 0, 1, 127, 128, 254, 255 };
    const auto byte = [&random] {
        const quint32 bits = random.generate();
        return bits % 4 == 0 ? salt[(bits >> 2 & 63) % 6] : static_cast<unsigned char>(bits >> 8);
    };
    return { byte(), byte(), byte(), byte() };
}

inline QImage toQImage(const RGBA32iImage &image) { return Canvas(image).picture; }

/// An image of these pixels; all tiles of a tiled one are private.
inline RGBA32iImage stored(const QImage &picture, Storage storage)
{
    RGBA32iImage image(picture.width(), picture.height(), storage == Storage::Tiled);
    for (int y = 0; y < picture.height(); ++y)
        image.WriteRow(unsigned(y), 0, picture.constScanLine(y), unsigned(picture.width()) * 4);
    return image;
}

inline RGBA32iImage noise(QRandomGenerator &random, QSize size, Storage storage)
{
    QImage picture(size, QImage::Format_ARGB32);
    std::generate_n(reinterpret_cast<OPRGBA32i *>(picture.bits()), size.width() * size.height(),
        [&random] { return pixel(random); });
    return stored(picture, storage);
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
    const int count = area.width() * area.height();
    QSharedPointer<OPRGBA32i> pixels(new OPRGBA32i[size_t(count)], [](OPRGBA32i *p) { delete[] p; });
    std::generate_n(pixels.data(), count, [&random] { return pixel(random); });
    const QPoint offset(random.bounded(-50, 50), random.bounded(-50, 50));
    image.SetFlatWindow(pixels, QRect(QPoint(), area.size()), offset, area.topLeft() + offset);
}

/// Where a picture is not as expected, in words; empty when it is.
template <class Image>
QString difference(Canvas expected, const Image &image)
{
    Canvas actual(image);
    if (expected.picture == actual.picture)
        return {};
    for (int y = 0; y < expected.picture.height(); ++y)
        for (int x = 0; x < expected.picture.width(); ++x)
            if (const OPRGBA32i e = expected.At({ x, y }), a = actual.At({ x, y }); e != a)
                return QString::asprintf("at %d, %d: expected %08x, found %08x", x, y, e.word, a.word);
    return {};
}

/// Whether exactly the tiles that @p expected touched left sharing with @p before; in words when not.
inline QString tileDifference(const Canvas &expected, const RGBA32iImage &before, const RGBA32iImage &after)
{
    for (int i = 0; before.HasTile(i); ++i)
        if ((after.TileData(i) != before.TileData(i)) != bool(expected.touched.count(i)))
            return QString("tile %1 %2").arg(i).arg(expected.touched.count(i) ? "is still shared" : "was resolved");
    return {};
}

} // namespace pictures
