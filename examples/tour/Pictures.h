#pragma once

#include <KXImage.h>

#include <QtCore/QVector>
#include <QtGui/QColor>
#include <QtGui/QImage>

#include <algorithm>

namespace tour {

/// Just below full opacity: 255 of 256. At 1.0, mode SourceOver turns a colour of 0 in an opaque source into 255; that
/// is how this mode is defined.
constexpr double fullOpacity = 255.0 / 256.0;

/// What the blocks behind an image's tiles are.
enum class Tile : quint8 {
    Private, ///< only this image holds the block
    Shared, ///< another image, or another tile, shows the same block
    Fake ///< the image's uniform block: counts as empty
};

/// In which it is shown.
QColor colourOf(Tile state);

/// The tiles of an image, row by row.
struct TileMap {
    int columns = 0;
    QVector<Tile> tiles;

    int count(Tile state) const { return int(std::count(tiles.begin(), tiles.end(), state)); }
};

/// The states of the tiles of @p image, where @p others are all other images that are alive.
TileMap tileMap(const RGBA32iImage &image, const QVector<const RGBA32iImage *> &others);

/// A flat image of the pixels of @p picture.
RGBA32iImage imageOf(const QImage &picture);

/// @p image, flat or tiled, averaged down to fit into @p box; never enlarged.
QImage preview(const RGBA32iImage &image, const QSize &box);

/// @p image on a checkerboard that shows where it is transparent.
QImage onCheckerboard(const QImage &image);

/// The largest size of the proportions of @p size that fits into @p box and is not above @p size.
QSize fitted(const QSize &size, const QSize &box);

} // namespace tour
