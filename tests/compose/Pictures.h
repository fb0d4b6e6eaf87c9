#pragma once

#include "KXConverter.h"
#include "Reference.h"

/// Pictures for the tests of composition, and their comparison.
namespace pictures {

using reference::Canvas;

inline RGBA32iImage noise(QRandomGenerator &random, QSize size, bool tiled)
{
    return testing::Picture::random(size.width(), size.height(), random.generate()).image(tiled);
}

/// Noise; of a tiled image's tiles some are fake and others null.
inline RGBA32iImage patchy(QRandomGenerator &random, QSize size, bool tiled)
{
    const RGBA32iImage full = noise(random, size, tiled);
    if (!tiled)
        return full;
    RGBA32iImage image(size.width(), size.height(), true);
    image.Fill(testing::saltedPixel(random) | 0x40000000u); // visible, if it were read
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
    std::generate_n(pixels.data(), count, [&random] { return testing::saltedPixel(random); });
    const QPoint offset(random.bounded(-50, 50), random.bounded(-50, 50));
    image.SetFlatWindow(pixels, QRect(QPoint(), area.size()), offset, area.topLeft() + offset);
}

/// Where an image is not as expected, in words; empty when it is.
inline QString difference(const Canvas &expected, const RGBA32iImage &image)
{
    return testing::difference(testing::Picture::of(image), expected.picture);
}
inline QString difference(const Canvas &expected, const QImage &image)
{
    return difference(expected, ConvertImage<QImage, RGBA32iImage>(image));
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
