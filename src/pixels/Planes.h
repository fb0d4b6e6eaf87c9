#pragma once

#include "pixels/BorrowedImage.h"
#include "pixels/Tiles.h"

#include <QtCore/QPoint>

#include <climits>

/// Planes: the pixels of an image under any storage, addressed by positions in the destination.
///
/// For a position (x, y) a plane tells which pixels lie contiguously from there to the right, and for how many rows
/// down its stretches begin and end at the same places. A walk is written once, over planes. It asks once per block of
/// up to 128 by 128 pixels, so that it costs next to nothing to find out how the image is stored.
namespace pixels {

/// Pixels of @c length columns, with @c stride from row to row. @c pixels is null where nothing is stored.
struct Stretch {
    const OPRGBA32i *pixels;
    qptrdiff stride;
    int length;

    const OPRGBA32i *Row(int row) const { return pixels ? pixels + row * stride : nullptr; }
};

/// What is added to a position in the destination to get the position in another image.
struct Shift {
    qint64 x, y;
};

inline Shift shiftBetween(const QPoint &from, const QPoint &to)
{
    return { qint64(to.x()) - from.x(), qint64(to.y()) - from.y() };
}

/// Which tiles of a plane count as holding nothing.
enum class EmptyTiles { NullAndFake, Null };

/// Whether a flat window stands for empty tiles.
enum class Window { Ignored, Used };

/// An image that is read. Positions asked for must lie in the image.
class SourcePlane {
public:
    SourcePlane(const RGBA32iImage &image, Shift shift, EmptyTiles empty, Window window)
        : m_tiled(image.IsTiled() ? &image : nullptr)
        , m_pixels(image.Bits())
        , m_stride(image.Width())
        , m_width(image.Width())
        , m_shift(shift)
        , m_empty(empty)
        , m_hasWindow(image.IsTiled() && image.HasFlatWindow())
        , m_window(m_hasWindow ? window : Window::Ignored)
    {
    }
    SourcePlane(const QImage &image, Shift shift, EmptyTiles empty, Window)
        : m_pixels(borrow(image).first)
        , m_stride(borrow(image).Stride())
        , m_width(image.width())
        , m_shift(shift)
        , m_empty(empty)
    {
    }

    /// Whether the image has a flat window at all, and whether it stands for empty tiles here.
    bool HasWindow() const { return m_hasWindow; }
    bool UsesWindow() const { return m_window == Window::Used; }

    /// For how many rows, from @p y on, stretches begin and end at the same places.
    int RowsAt(int y) const
    {
        if (!m_tiled)
            return INT_MAX;
        int rows = placeOf(*m_tiled, 0, int(y + m_shift.y)).rows;
        if (UsesWindow()) {
            const qint64 top = qint64(m_tiled->FlatWindowOrigin().y()) - m_tiled->FlatWindowOffset().y() - m_shift.y;
            const qint64 bottom = top + m_tiled->FlatWindowRect().height();
            const qint64 toEdge = y < top ? top - y : y < bottom ? bottom - y : INT_MAX;
            rows = int(std::min<qint64>(rows, toEdge));
        }
        return rows;
    }

    /// The stretch that begins at (x, y).
    Stretch At(int x, int y) const
    {
        const int sx = int(x + m_shift.x), sy = int(y + m_shift.y);
        Q_ASSERT(sx >= 0 && sx < m_width && sy >= 0);
        if (!m_tiled)
            return { m_pixels + sy * m_stride + sx, m_stride, m_width - sx };

        const TilePlace place = placeOf(*m_tiled, sx, sy);
        const OPRGBA32i *block = m_tiled->TileData(place.tile);
        if (block && m_empty == EmptyTiles::NullAndFake && m_tiled->IsFakeTile(place.tile))
            block = nullptr;
        if (block)
            return { block + place.offset, RGBA32iImage::TileWidth, place.columns };
        if (!UsesWindow())
            return { nullptr, 0, place.columns };
        const auto window = m_tiled->FlatWindowRun(sx, sy);
        return { window.pixels, m_tiled->FlatWindowRect().width(), std::min(place.columns, window.length) };
    }

private:
    const RGBA32iImage *m_tiled = nullptr;
    const OPRGBA32i *m_pixels;
    qptrdiff m_stride;
    int m_width;
    Shift m_shift;
    EmptyTiles m_empty;
    bool m_hasWindow = false;
    Window m_window = Window::Ignored;
};

/// A mask: pixels inside of its bounds, nothing outside. Any position may be asked for.
class MaskPlane {
public:
    /// @p right and @p bottom are the first positions, in the mask image, that lie outside.
    MaskPlane(const RGBA32iImage &mask, Shift shift, Window window, int right, int bottom, bool outsideVisible)
        : m_pixels(mask, shift, EmptyTiles::NullAndFake, window)
        , m_shift(shift)
        , m_right(right)
        , m_bottom(bottom)
        , m_outsideVisible(outsideVisible)
    {
    }

    /// Whether what the mask does not cover is composed fully.
    bool OutsideVisible() const { return m_outsideVisible; }

    int RowsAt(int y) const
    {
        const qint64 my = y + m_shift.y;
        if (my < 0)
            return int(std::min<qint64>(-my, INT_MAX));
        return my < m_bottom ? std::min(int(m_bottom - my), m_pixels.RowsAt(y)) : INT_MAX;
    }

    Stretch At(int x, int y) const
    {
        const qint64 mx = x + m_shift.x, my = y + m_shift.y;
        if (my < 0 || my >= m_bottom || mx >= m_right)
            return { nullptr, 0, INT_MAX };
        if (mx < 0)
            return { nullptr, 0, int(std::min<qint64>(-mx, INT_MAX)) };
        Stretch stretch = m_pixels.At(x, y);
        stretch.length = int(std::min<qint64>(stretch.length, m_right - mx));
        return stretch;
    }

private:
    SourcePlane m_pixels;
    Shift m_shift;
    int m_right;
    int m_bottom;
    bool m_outsideVisible;
};

/// The image that is written. A tile is made private when it is first asked for, so a tiled image may be asked by one
/// thread only.
class TargetPlane {
public:
    enum Storage {
        AsImage,
        AlwaysTiled ///< taken for tiled, which a flat image is not: asking it for a tile is reported and gives null
    };

    explicit TargetPlane(RGBA32iImage &image, Storage storage = AsImage)
        : m_tiled(image.IsTiled() || storage == AlwaysTiled ? &image : nullptr)
        , m_pixels(image.Bits())
        , m_stride(m_tiled ? RGBA32iImage::TileWidth : image.Width())
    {
    }
    explicit TargetPlane(QImage &image)
        : m_pixels(borrowForWriting(image).first)
        , m_stride(borrow(image).Stride())
    {
    }

    qptrdiff Stride() const { return m_stride; }
    int RowsAt(int y) const { return m_tiled ? placeOf(*m_tiled, 0, y).rows : INT_MAX; }
    int LengthAt(int x) const { return m_tiled ? placeOf(*m_tiled, x, 0).columns : INT_MAX; }

    /// The pixel at (x, y), to be written. Null where the tile is null: there is nothing to write to.
    OPRGBA32i *Writable(int x, int y) const
    {
        if (!m_tiled)
            return m_pixels + y * m_stride + x;
        const TilePlace place = placeOf(*m_tiled, x, y);
        OPRGBA32i *const block = m_tiled->TileData(place.tile, true);
        return block ? block + place.offset : nullptr;
    }

private:
    RGBA32iImage *m_tiled = nullptr;
    OPRGBA32i *m_pixels;
    qptrdiff m_stride;
};

/// Cuts @p area, in destination coordinates, into blocks in which each plane has one stretch per row. Calls
/// @p block(x, y, limit, rows), which handles up to limit columns of that many rows and returns how many columns it
/// did.
template <class Block, class... Planes>
void forEachBlock(const QRect &area, Block block, const Planes &...planes)
{
    const int endX = area.x() + area.width(), endY = area.y() + area.height();
    for (int y = area.y(), rows; y < endY; y += rows) {
        rows = std::min({ endY - y, planes.RowsAt(y)... });
        for (int x = area.x(); x < endX;)
            x += block(x, y, endX - x, rows);
    }
}

} // namespace pixels
