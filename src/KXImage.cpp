#include "KXImage.h"

#include "pixels/Tiles.h"
#include "support/Log.h"
#include "support/Workers.h"

#include <QtCore/QMutexLocker>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#endif

namespace {

constexpr char headerPath[] = "include/KXImage";
constexpr char sourcePath[] = "src/KXImage";

constexpr size_t tileBytes = 65536;

/// Copies @p n pixels; without @p overwrite those whose alpha is not 0.
template <class T>
void copyRun(T *dst, const T *src, int n, bool overwrite)
{
    if (overwrite) {
        std::memmove(static_cast<void *>(dst), src, size_t(n) * sizeof(T));
        return;
    }
    for (int i = 0; i < n; ++i) // without a branch, and of words: compilers turn that into vectors
        dst[i].word = src[i].a ? src[i].word : dst[i].word;
}

/// Calls @p run(part of a tile, offset in the row's bytes, how many of them) for @p bytes bytes of row @p y from pixel
/// @p x on; they end with the last tile of the row.
template <class Image, class Run>
void forEachRunOfRow(const Image &image, unsigned y, unsigned x, unsigned bytes, Run run)
{
    constexpr unsigned pixelBytes = sizeof(typename Image::Pixel);
    const qint64 toEnd = qint64(image.TilesX()) * Image::TileWidth - x;
    const qint64 pixelCount = (qint64(bytes) + pixelBytes - 1) / pixelBytes;
    unsigned offset = 0;
    pixels::forEachTile(image, QRect(int(x), int(y), int(std::min(pixelCount, toEnd)), 1), [&](const auto &part) {
        const unsigned count = std::min(bytes - offset, unsigned(part.columns) * pixelBytes);
        run(part, offset, count);
        offset += count;
    });
}

/// Replaces what lies in the flat window of @p image, of @p bytes bytes from its pixel (@p x, @p y) on.
template <class Image>
void readWindow(const Image &image, int x, int y, unsigned char *buffer, unsigned bytes)
{
    constexpr unsigned pixelBytes = sizeof(typename Image::Pixel);
    for (unsigned done = 0; done < bytes;) {
        const auto run = image.FlatWindowRun(x + int(done / pixelBytes), y);
        const unsigned count = unsigned(std::min<quint64>(bytes - done, quint64(run.length) * pixelBytes));
        if (run.pixels)
            std::memcpy(buffer + done, run.pixels, count);
        done += count;
    }
}

template <class T>
std::shared_ptr<T> newTile()
{
    T *const block = static_cast<T *>(std::malloc(tileBytes));
    if (!block)
        throw std::bad_alloc();
    return std::shared_ptr<T>(block, [](T *p) { std::free(p); }); // frees the block also if it throws itself
}

/// Asks the system to back a large fresh buffer with large pages. Only a hint. A walk down columns touches another page
/// with every row; with small pages, looking them up would be most of its cost.
void adviseLargePages(void *buffer, size_t bytes)
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

template <class T>
QSharedPointer<T> newFlatBuffer(int w, int h)
{
    const qint64 count = qint64(w) * h;
    if (count == 0)
        return {};
    const auto freeBlock = [](T *p) { std::free(p); };
    std::unique_ptr<T, decltype(freeBlock)> block(nullptr, freeBlock);
    if (count <= INT_MAX)
        block.reset(static_cast<T *>(std::calloc(size_t(count), sizeof(T))));
    if (!block)
        throw std::bad_alloc();
    adviseLargePages(block.get(), size_t(count) * sizeof(T));
    const QSharedPointer<T> shared(block.get(), freeBlock); // throws without freeing the block
    static_cast<void>(block.release());
    return shared;
}

} // namespace

template <class T, int TileW, int TileH>
KXImage<T, TileW, TileH>::KXImage(int imageWidth, int imageHeight, bool isTiled)
    : tiled(isTiled)
    , width(std::max(imageWidth, 0))
    , height(std::max(imageHeight, 0))
{
    if (tiled) {
        tilesX = int((qint64(width) + TileW - 1) / TileW);
        tilesY = int((qint64(height) + TileH - 1) / TileH);
        if (qint64(tilesX) * tilesY > INT_MAX)
            throw std::bad_alloc();
        tiles.resize(size_t(tilesX) * size_t(tilesY));
        Fill(T());
    } else {
        flatData = newFlatBuffer<T>(width, height);
    }
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::Swap(KXImage &other) noexcept
{
    using std::swap;
    swap(flatData, other.flatData);
    swap(tiles, other.tiles);
    swap(fakeTile, other.fakeTile);
    swap(tiled, other.tiled);
    swap(tilesX, other.tilesX);
    swap(tilesY, other.tilesY);
    swap(hasFlatWindow, other.hasFlatWindow);
    swap(flatWindowRect, other.flatWindowRect);
    swap(flatWindowOffset, other.flatWindowOffset);
    swap(flatWindowOrigin, other.flatWindowOrigin);
    swap(applicationWords, other.applicationWords);
    swap(applicationByte, other.applicationByte);
    swap(width, other.width);
    swap(height, other.height);
    swap(colorProfile, other.colorProfile);
    swap(dpiX, other.dpiX);
    swap(dpiY, other.dpiY);
    swap(metadataFlags, other.metadataFlags);
    swap(exifElements, other.exifElements);
    swap(fakeIsContent, other.fakeIsContent);
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::ReportInvalidRead(int index, int line)
{
    support::logLine(
        { headerPath, line }, QStringLiteral("Invalid tile index for getting the tile data %1").arg(index));
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::ReportInvalidCompare(int line)
{
    support::logLine({ headerPath, line }, "Invalid tile index for compare the tile data with fake");
}

template <class T, int TileW, int TileH>
std::shared_ptr<T> KXImage<T, TileW, TileH>::CopyOfTile(const T &first)
{
    std::shared_ptr<T> copy = newTile<T>();
    std::memcpy(static_cast<void *>(copy.get()), &first, TileBytes);
    return copy;
}

template <class T, int TileW, int TileH>
T *KXImage<T, TileW, TileH>::AllocTile(int index, bool clear)
{
    if (!HasTile(index))
        return nullptr;
    tiles[size_t(index)] = newTile<T>();
    T *block = tiles[size_t(index)].get();
    if (clear)
        std::memset(static_cast<void *>(block), 0, TileBytes);
    return block;
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::Fill(const T &value)
{
    if (width == 0 || height == 0)
        return;
    if (!tiled) {
        if (T *pixels = flatData.data())
            std::fill_n(pixels, size_t(width) * size_t(height), T(value));
        return;
    }
    const std::shared_ptr<T> old = tiles[0]; // may be what holds the value
    T *block = AllocTile(0, false);
    std::fill_n(block, size_t(TileW) * TileH, T(value));
    fakeTile = tiles[0];
    std::fill(tiles.begin() + 1, tiles.end(), fakeTile);
}

template <class T, int TileW, int TileH>
int KXImage<T, TileW, TileH>::MakeTransparentTilesFake()
{
    const auto isTransparent = [](const T *block) { // its first byte is 0, and each byte is the one after it
        const auto *bytes = reinterpret_cast<const unsigned char *>(block);
        return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, TileBytes - 1) == 0;
    };
    if (!fakeTile || !isTransparent(fakeTile.get()))
        return 0;
    const auto windowTouches = [this](const pixels::TilePart &part) { // rows may be read to the end of the last tile
        const qint64 left = qint64(flatWindowOrigin.x()) - flatWindowOffset.x();
        const qint64 top = qint64(flatWindowOrigin.y()) - flatWindowOffset.y();
        return hasFlatWindow && left < qint64(part.x) + TileW && left + flatWindowRect.width() > part.x
            && top < qint64(part.y) + TileH && top + flatWindowRect.height() > part.y;
    };
    int count = 0;
    pixels::forEachTile(*this, Rect(), [&](const pixels::TilePart &part) {
        std::shared_ptr<T> &tile = tiles[size_t(part.tile)];
        if (!tile || tile == fakeTile || windowTouches(part) || !isTransparent(tile.get()))
            return;
        tile = fakeTile;
        ++count;
    });
    return count;
}

template <class T, int TileW, int TileH>
bool KXImage<T, TileW, TileH>::ReadRow(unsigned y, unsigned x, void *buffer, unsigned bytes) const
{
    if (y >= unsigned(height) || x >= unsigned(width))
        return false;
    if (!buffer)
        return true;
    if (!tiled) {
        Q_ASSERT((size_t(y) * size_t(width) + x) * sizeof(T) + bytes <= size_t(width) * size_t(height) * sizeof(T));
        std::memcpy(buffer, flatData.data() + size_t(y) * size_t(width) + x, bytes);
        return true;
    }
    unsigned char *const out = static_cast<unsigned char *>(buffer);
    forEachRunOfRow(*this, y, x, bytes, [&](const pixels::TilePart &part, unsigned offset, unsigned count) {
        if (const T *tile = TileData(part.tile))
            std::memcpy(out + offset, tile + part.offset, count);
        if (hasFlatWindow && IsFakeTile(part.tile))
            readWindow(*this, part.x, part.y, out + offset, count);
    });
    return true;
}

template <class T, int TileW, int TileH>
bool KXImage<T, TileW, TileH>::WriteRow(unsigned y, unsigned x, const void *buffer, unsigned bytes)
{
    if (y >= unsigned(height) || x >= unsigned(width))
        return false;
    if (!buffer)
        return true;
    if (!tiled) {
        Q_ASSERT((size_t(y) * size_t(width) + x) * sizeof(T) + bytes <= size_t(width) * size_t(height) * sizeof(T));
        std::memcpy(static_cast<void *>(flatData.data() + size_t(y) * size_t(width) + x), buffer, bytes);
        return true;
    }
    const unsigned char *const in = static_cast<const unsigned char *>(buffer);
    forEachRunOfRow(*this, y, x, bytes, [&](const pixels::TilePart &part, unsigned offset, unsigned count) {
        if (T *tile = TileData(part.tile, true))
            std::memcpy(static_cast<void *>(tile + part.offset), in + offset, count);
    });
    return true;
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::CopyTo(KXImage &target, bool forceTiled) const
{
    KXImage copy(width, height, forceTiled || tiled);
    copy.dpiX = dpiX;
    copy.dpiY = dpiY;
    copy.exifElements = exifElements;
    copy.applicationWords[0] = applicationWords[0];
    copy.applicationWords[1] = applicationWords[1];
    copy.applicationByte = applicationByte;
    if (tiled) {
        for (size_t i = 0; i < tiles.size(); ++i)
            if (tiles[i])
                copy.tiles[i] = CopyOfTile(*tiles[i]);
    } else if (forceTiled) {
        CopyPixels(copy, *this, Rect(), Rect(), true);
    } else if (flatData) {
        std::memcpy(
            static_cast<void *>(copy.flatData.data()), flatData.data(), size_t(width) * size_t(height) * sizeof(T));
    }
    target = std::move(copy);
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::CopyPixels(
    KXImage &dst, const KXImage &src, const QRect &srcRect, const QRect &dstRect, bool overwrite)
{
    if (src.tiled && dst.tiled)
        return;
    const auto area = ClipRects(src.Rect(), srcRect, dst.Rect(), dstRect);
    if (!area)
        return;
    using pixels::flatPixel;
    const auto flatToFlat = [&](int first, int last) {
        for (int row = first; row < last; ++row)
            copyRun(flatPixel(dst, area->destinationX, area->destinationY + row),
                flatPixel(src, area->sourceX, area->sourceY + row), area->width, true);
    };
    const auto tiledToFlat = [&](int row) {
        T *const out = flatPixel(dst, area->destinationX, area->destinationY + row);
        const QRect line(area->sourceX, area->sourceY + row, area->width, 1);
        pixels::forEachTile(src, line, [&](const pixels::TilePart &run) {
            const T *block = src.TileData(run.tile);
            if (block && !src.IsFakeTile(run.tile))
                copyRun(out + (run.x - line.x()), block + run.offset, run.columns, overwrite);
        });
    };
    const auto flatToTiled = [&](int row) {
        const T *const in = flatPixel(src, area->sourceX, area->sourceY + row);
        const QRect line(area->destinationX, area->destinationY + row, area->width, 1);
        pixels::forEachTile(dst, line, [&](const pixels::TilePart &run) {
            QMutexLocker lock(&dst.mutex);
            support::takeOver(&dst.mutex);
            T *block = dst.TileData(run.tile, true);
            support::handOver(&dst.mutex);
            lock.unlock();
            if (block)
                copyRun(block + run.offset, in + (run.x - line.x()), run.columns, overwrite);
        });
    };
    if (src.tiled) {
        workers::forEachRow(workers::besidesCaller(workers::ideal()), area->height, tiledToFlat);
    } else if (dst.tiled) {
        workers::forEachRow(workers::besidesCaller(workers::ideal()), area->height, flatToTiled);
    } else {
        const int count = workers::forWalks();
        Q_ASSERT_X(count > 0, "CopyRect", "flat to flat needs at least two processors");
        Q_ASSERT_X(src.flatData != dst.flatData
                || !QRect(area->sourceX, area->sourceY, area->width, area->height)
                        .intersects(QRect(area->destinationX, area->destinationY, area->width, area->height)),
            "CopyRect", "two areas of one buffer overlap");
        if (count > 0)
            workers::forEachChunk(count, area->height, flatToFlat);
    }
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::CopyRect(
    KXImage &dst, const KXImage &src, const QRect &srcRect, const QRect &dstRect, bool overwrite)
{
    try {
        CopyPixels(dst, src, srcRect, dstRect, overwrite);
    } catch (const std::exception &e) {
        support::logLine({ sourcePath, __LINE__ }, e.what());
    }
}

template <class T, int TileW, int TileH>
void KXImage<T, TileW, TileH>::SetExifElements(const QList<KXEXIFElement *> &elements)
{
    const auto list = std::make_shared<ExifList>();
    std::vector<std::pair<std::unique_ptr<KXEXIFElement> *, KXEXIFElement *>> taken;
    for (KXEXIFElement *element : elements) {
        std::shared_ptr<KXEXIFElement> owner;
        for (const ExifList *known : { exifElements.get(), static_cast<const ExifList *>(list.get()) })
            if (known && !owner)
                for (const auto &present : *known)
                    if (present.get() == element)
                        owner = present;
        if (!owner) { // owned below, where nothing can fail any more
            const auto holder = std::make_shared<std::unique_ptr<KXEXIFElement>>();
            owner = std::shared_ptr<KXEXIFElement>(holder, element);
            taken.emplace_back(holder.get(), element);
        }
        list->push_back(std::move(owner));
    }
    for (const auto &[holder, element] : taken)
        holder->reset(element);
    exifElements = list;
}

template class KXImage<OPRGBA32i, 128, 128>;
template class KXImage<OPCMYKA, 128, 64>;
template class KXImage<OPHSLA, 128, 64>;
template class KXImage<OPRGBA64i, 128, 64>;
template class KXImage<OPRGBA64f, 128, 64>;

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
