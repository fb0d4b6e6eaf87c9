#pragma once

#include "KXImage.h"

#include <QtCore/QMutexLocker>

#include <algorithm>
#include <vector>

/// What every walk needs of an image: which part of it is meant, and where its pixels lie.
namespace pixels {

/// The part of an image with the bounds @p image that @p rect stands for: an invalid rectangle is all of it.
inline QRect clippedOrWhole(const QRect &image, const QRect &rect)
{
    return rect.isValid() ? ClippedTo(image, rect) : image;
}

/// The pixel (@p x, @p y) of a flat image, which those to its right follow.
template <class Image>
auto *flatPixel(Image &image, int x, int y)
{
    return image.Bits() + size_t(y) * size_t(image.Width()) + x;
}

/// Where the pixel at some position of a tiled image lies.
struct TilePlace {
    int tile; ///< the tile's index
    int offset; ///< of the pixel in the tile's block
    int columns, rows; ///< how far the tile reaches from there, to the right and down
};

/// The place of (@p x, @p y), which must not be negative.
template <class Image>
TilePlace placeOf(const Image &image, int x, int y)
{
    Q_ASSERT(x >= 0 && y >= 0);
    constexpr unsigned width = Image::TileWidth, height = Image::TileHeight; // without a sign these divide by shifts
    const int tile = int(unsigned(y) / height) * image.TilesX() + int(unsigned(x) / width);
    const int inRow = int(unsigned(x) % width), inColumn = int(unsigned(y) % height);
    return { tile, inColumn * int(width) + inRow, int(width) - inRow, int(height) - inColumn };
}

/// The part of a rectangle that lies in one tile: @c columns times @c rows pixels from image position (x, y) on.
struct TilePart {
    int x, y;
    int columns, rows;
    int tile; ///< the tile's index
    int offset; ///< of the part's first pixel in the tile's block, whose rows are TileWidth pixels apart
};

/// Calls @p visit with the TilePart of each tile that @p area touches, from left to right and from top to bottom.
/// @p area must lie within the tiles of the image; an empty one touches none. A row is a rectangle of height 1.
template <class Image, class Visit>
void forEachTile(const Image &image, const QRect &area, Visit visit)
{
    Q_ASSERT(area.isEmpty()
        || QRect(0, 0, image.TilesX() * Image::TileWidth, image.TilesY() * Image::TileHeight).contains(area));
    for (int down = 0, rows; down < area.height(); down += rows) {
        const int y = area.y() + down;
        rows = std::min(placeOf(image, 0, y).rows, area.height() - down);
        for (int across = 0, columns; across < area.width(); across += columns) {
            const int x = area.x() + across;
            const TilePlace place = placeOf(image, x, y);
            columns = std::min(place.columns, area.width() - across);
            visit(TilePart { x, y, columns, rows, place.tile, place.offset });
        }
    }
}

/// Makes those tiles of a tiled image private that @p rect touches. It is done before workers start, since several of
/// them write rows of one tile and must not all make a copy of it. A tile in whose place a flat window shows takes over
/// what it shows.
template <class Image>
void makePrivate(Image &image, const QRect &rect)
{
    constexpr int width = Image::TileWidth, height = Image::TileHeight;
    using Pixel = typename Image::Pixel;
    if (!image.IsTiled())
        return;
    std::vector<Pixel> shown;
    const QMutexLocker lock(&image.Mutex());
    forEachTile(image, ClippedTo(image.Rect(), rect), [&](const TilePart &part) {
        const bool behindWindow = image.HasFlatWindow() && image.IsFakeTile(part.tile);
        if (behindWindow) {
            shown.resize(size_t(width) * height);
            for (int row = 0; row < height; ++row)
                image.ReadRow(unsigned(part.y - part.y % height + row), unsigned(part.x - part.x % width),
                    &shown[size_t(row) * width], unsigned(width * sizeof(Pixel)));
        }
        Pixel *const block = image.TileData(part.tile, true);
        if (behindWindow && block)
            std::copy(shown.begin(), shown.end(), block);
    });
}

} // namespace pixels
