#pragma once

#include "KXConverter.h"
#include "kit/Picture.h"

#include <QtGui/QImage>

/// Pictures as Qt has them, and pictures drawn in text.
namespace kit {

inline QImage qimageOf(const Picture &picture) { return ConvertImage<RGBA32iImage, QImage>(picture.image(false)); }
inline Picture pictureOf(const QImage &image) { return Picture::of(ConvertImage<QImage, RGBA32iImage>(image)); }

/// A picture drawn in text, rows divided by '/': each character stands for the pixel @p pixelFor(character).
template <class PixelFor>
Picture drawn(const QString &text, PixelFor pixelFor)
{
    const QStringList rows = text.split('/');
    Picture picture(rows[0].size(), rows.size());
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            picture.at(x, y) = pixelFor(rows[y][x]);
    return picture;
}

} // namespace kit
