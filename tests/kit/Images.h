#pragma once

#include "kit/Picture.h"

/// Images of salted pixels in every kind of storage.
namespace kit {

inline RGBA32iImage noise(QRandomGenerator &random, QSize size, bool tiled)
{
    return Picture::random(size.width(), size.height(), random.generate()).image(tiled);
}

/// Noise; of a tiled image's tiles some are fake and others null.
inline RGBA32iImage patchy(QRandomGenerator &random, QSize size, bool tiled)
{
    const RGBA32iImage full = noise(random, size, tiled);
    if (!tiled)
        return full;
    RGBA32iImage image(size.width(), size.height(), true);
    image.Fill(saltedPixel(random) | 0x40000000u); // visible, if it were read
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
    std::generate_n(pixels.data(), count, [&random] { return saltedPixel(random); });
    const QPoint offset(random.bounded(-50, 50), random.bounded(-50, 50));
    image.SetFlatWindow(pixels, QRect(QPoint(), area.size()), offset, area.topLeft() + offset);
}

} // namespace kit
