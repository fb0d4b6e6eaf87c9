#include "KXImage.h"

#include "support/Log.h"
#include "support/Workers.h"

#include <QtCore/QMutexLocker>

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#endif

namespace {

constexpr char headerPath[] = "include/KXImage";
constexpr char sourcePath[] = "src/KXImage";

/// Copies @p n pixels; without @p overwrite those whose alpha is not 0.
template <class T>
void copyRun(T *dst, const T *src, int n, bool overwrite)
{
    if (overwrite) {
        std::memmove(static_cast<void *>(dst), src, size_t(n) * sizeof(T));
        return;
    }
    for (int i = 0; i < n; ++i)
        if (src[i].a)
            dst[i] = src[i];
}

/// Calls @p run(tile index, offset in the tile, offset in the row, n) for each stretch of [x, x + width) in one tile.
template <class Image, class Run>
void forEachTileRun(const Image &image, int x, int y, int width, Run run)
{
    constexpr int tileWidth = Image::TileWidth, tileHeight = Image::TileHeight;
    for (int done = 0, n; done < width; done += n) {
        const int inTile = (x + done) % tileWidth;
        n = std::min(tileWidth - inTile, width - done);
        run((y / tileHeight) * image.TilesX() + (x + done) / tileWidth, (y % tileHeight) * tileWidth + inTile, done, n);
    }
}

} // namespace

void KXAdviseLargePages(void *buffer, size_t bytes)
{
#ifdef MADV_HUGEPAGE
    // Whole pages inside the buffer. Its first and last ones may hold something else besides.
    constexpr quintptr page = 4096;
    const quintptr begin = (quintptr(buffer) + page - 1) & ~(page - 1), end = (quintptr(buffer) + bytes) & ~(page - 1);
    constexpr quintptr large = 2 << 20; // smaller buffers cannot hold a large page
    if (begin < end && end - begin >= large)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#else
    Q_UNUSED(buffer)
    Q_UNUSED(bytes)
#endif
}

void KXImageLog::InvalidTileRead(int index, int line)
{
    support::logLine(
        { headerPath, line }, QStringLiteral("Invalid tile index for getting the tile data %1").arg(index));
}

void KXImageLog::InvalidTileCompare(int line)
{
    support::logLine({ headerPath, line }, "Invalid tile index for compare the tile data with fake");
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::CopyRect(
    KXImage &dst, const KXImage &src, const QRect &srcRect, const QRect &dstRect, bool overwrite)
{
    if (src.tiled && dst.tiled)
        return;
    const auto area = ClipRects(src.Rect(), srcRect, dst.Rect(), dstRect);
    if (!area)
        return;
    const auto flatPixel = [](auto &image, int x, int y) { return image.Bits() + size_t(y) * image.Width() + x; };
    const auto flatToFlat = [&](int first, int last) {
        for (int row = first; row < last; ++row)
            copyRun(flatPixel(dst, area->destinationX, area->destinationY + row),
                flatPixel(src, area->sourceX, area->sourceY + row), area->width, true);
    };
    const auto tiledToFlat = [&](int row) {
        T *const out = flatPixel(dst, area->destinationX, area->destinationY + row);
        forEachTileRun(src, area->sourceX, area->sourceY + row, area->width, [&](int tile, int at, int x, int n) {
            const T *block = src.TileData(tile);
            if (block && !src.IsFakeTile(tile))
                copyRun(out + x, block + at, n, overwrite);
        });
    };
    const auto flatToTiled = [&](int row) {
        const T *const in = flatPixel(src, area->sourceX, area->sourceY + row);
        const int y = area->destinationY + row;
        forEachTileRun(dst, area->destinationX, y, area->width, [&](int tile, int at, int x, int n) {
            QMutexLocker lock(&dst.mutex);
            T *block = dst.TileData(tile, true);
            lock.unlock();
            if (block)
                copyRun(block + at, in + x, n, overwrite);
        });
    };
    try {
        if (src.tiled) {
            workers::forEachRow(workers::ideal() - 1, area->height, tiledToFlat);
        } else if (dst.tiled) {
            workers::forEachRow(workers::ideal() - 1, area->height, flatToTiled);
        } else {
            const int count = workers::hardware() - 1;
            Q_ASSERT_X(count > 0, "CopyRect", "flat to flat needs at least two processors");
            if (count > 0)
                workers::forEachChunk(count, area->height, flatToFlat);
        }
    } catch (const std::exception &e) {
        support::logLine({ sourcePath, __LINE__ }, e.what());
    }
}

template void RGBA32iImage::CopyRect(RGBA32iImage &, const RGBA32iImage &, const QRect &, const QRect &, bool);
template void CMYKAImage::CopyRect(CMYKAImage &, const CMYKAImage &, const QRect &, const QRect &, bool);
template void HSLAImage::CopyRect(HSLAImage &, const HSLAImage &, const QRect &, const QRect &, bool);
template void RGBA64iImage::CopyRect(RGBA64iImage &, const RGBA64iImage &, const QRect &, const QRect &, bool);
template void RGBA64fImage::CopyRect(RGBA64fImage &, const RGBA64fImage &, const QRect &, const QRect &, bool);

bool CopyFlatImageData(const RGBA32iImage *src, RGBA32iImage *dst)
{
    Q_ASSERT(!src->IsTiled() && !dst->IsTiled());
    if (src->Width() != dst->Width() || src->Height() != dst->Height())
        return false;
    const size_t bytes = size_t(src->Width()) * size_t(src->Height()) * sizeof(OPRGBA32i);
    if (bytes)
        std::memcpy(static_cast<void *>(dst->Bits()), src->Bits(), bytes);
    return true;
}

static const int metaTypeId = qRegisterMetaType<RGBA32iImage>("RGBA32iImage");
