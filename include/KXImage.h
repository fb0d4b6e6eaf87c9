#pragma once

/// @file
/// The image container.
///
/// Coordinates are pixels, x to the right, y down, (0, 0) top left. An image is flat (one row-major buffer, stride =
/// width) or tiled (a table of tiles of 65,536 bytes). Images are values: a copy shares the buffer and the tiles. A
/// tile is copied at its first write through @c TileData; **a flat buffer never is**, so what is written into one copy
/// of a flat image shows in all of them. Use @c CopyTo for an independent copy.
///
/// Threads: different threads may use different images, even where these share tiles. Any number of threads may read
/// one image. Threads that write into one image together each hold @c Mutex while they call @c TileData for writing,
/// and need not hold it while they write the pixels. Nothing else in an image is locked.

#include "KXCMSProfile.h"
#include "KXEXIFElement.h"
#include "KXGlobal.h"
#include "KXPixels.h"

#include <QtCore/QList>
#include <QtCore/QMetaType>
#include <QtCore/QMutex>
#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QSharedPointer>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

// The thread sanitizer, as gcc and as clang tell of it.
#if defined(__SANITIZE_THREAD__)
#define KX_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KX_THREAD_SANITIZER
#endif
#endif
#ifdef KX_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

/// The area that two images have in common once their rectangles are laid on one another.
struct KXOverlap {
    int sourceX, sourceY; ///< its top left corner in the source
    int destinationX, destinationY; ///< its top left corner in the destination
    int width, height;
};

/// The part of @p rect inside @p imageRect. Unlike QRect's operator & it does not overflow, whatever the size of
/// @p rect.
inline QRect ClippedTo(const QRect &imageRect, const QRect &rect)
{
    if (!rect.isValid() || !imageRect.isValid())
        return imageRect & rect;
    const QRect inside(QPoint(std::max(rect.left(), imageRect.left()), std::max(rect.top(), imageRect.top())),
        QPoint(std::min(rect.right(), imageRect.right()), std::min(rect.bottom(), imageRect.bottom())));
    return inside.isValid() ? inside : QRect();
}

/// Lays the top left corner of @p rectA (source side) on that of @p rectB (destination side) and clips both to their
/// images. Only the corners matter for the offset; a difference in size just narrows the result. Empty when no pixel
/// remains. Rectangles may lie anywhere, however far outside their images.
inline std::optional<KXOverlap> ClipRects(
    const QRect &imageRectA, const QRect &rectA, const QRect &imageRectB, const QRect &rectB)
{
    const QRect a = ClippedTo(imageRectA, rectA), b = ClippedTo(imageRectB, rectB);
    if (a.isEmpty() || b.isEmpty())
        return std::nullopt;
    const qint64 dx = qint64(rectB.x()) - rectA.x(), dy = qint64(rectB.y()) - rectA.y();
    const qint64 left = std::max(a.x() + dx, qint64(b.x())), top = std::max(a.y() + dy, qint64(b.y()));
    const qint64 right = std::min(a.x() + dx + a.width(), qint64(b.x()) + b.width());
    const qint64 bottom = std::min(a.y() + dy + a.height(), qint64(b.y()) + b.height());
    if (left >= right || top >= bottom)
        return std::nullopt;
    return KXOverlap { int(left - dx), int(top - dy), int(left), int(top), int(right - left), int(bottom - top) };
}

/// An image of @p T pixels in tiles of @p TileW by @p TileH, 65,536 bytes each. The library has it for the five types
/// of pixels named below the class, and for no other.
///
/// A new tiled image holds one block of transparent pixels, and every entry of its table is that block: it costs 64 KiB
/// whatever its size. An entry that is still this uniform block is *fake*: it counts as empty and composition skips it.
/// An entry may also be null, which means that nothing was ever stored there; readers skip it too.
///
/// A tiled image may carry a *flat window*: pixels in a flat buffer that stand for its fake tiles within one rectangle,
/// such as a stroke that is still being painted and would otherwise make tiles. The window's pixel for image position p
/// is p + offset - origin. Here is one of 150 by 80 pixels for the part of the image from (90, 40) on:
/// @code
///     0      90   128           256          the image; its tile 0 is fake, tile 1 was written
///   0 +-----------+-------------+
///     |           |             |
///  40 |      +----+--------+    |            the buffer of the window
///     |      | A  |   B    |    |          0    38       149
///     |      |    |        |    |        0 +----+--------+
///     |      +----+--------+    |          | A  |   B    |
/// 128 +-----------+-------------+       79 +----+--------+
///
/// const QRect part(90, 40, 150, 80);
/// const QSharedPointer<OPRGBA32i> stroke(new OPRGBA32i[150 * 80], [](OPRGBA32i *p) { delete[] p; });
/// image.SetFlatWindow(stroke, QRect(QPoint(0, 0), part.size()), QPoint(0, 0), part.topLeft());
/// stroke.data()[5 * 150 + 7] = red; // the image's pixel (97, 45), in A
/// @endcode
/// A shows, B does not: there the tile's own pixels are read. @c ReadRow and composition see the window; @c CopyRect
/// and @c CopyTo do not. A write makes a tile, which hides what lies behind it.
template <class T, int TileW, int TileH>
class KX_EXPORT KXImage {
    static_assert(size_t(TileW) * TileH * sizeof(T) == 65536, "every tile is 65,536 bytes");
    static_assert((TileW & (TileW - 1)) == 0 && (TileH & (TileH - 1)) == 0, "tile sides are powers of two");

public:
    using Pixel = T;
    static constexpr int TileWidth = TileW;
    static constexpr int TileHeight = TileH;
    static constexpr size_t TileBytes = 65536;

    /// A flat image of size 0 without a buffer.
    KXImage() = default;

    /// An image of transparent black (all bytes 0). Negative sizes count as 0; a flat image of no area has a null
    /// buffer. Throws std::bad_alloc without memory, for a flat image of more than 2^31 - 1 pixels and for a tiled one
    /// of more than 2^31 - 1 tiles.
    KXImage(int imageWidth, int imageHeight, bool isTiled);

    /// Shares the buffer, the tiles, the profile and the EXIF list of the other; copies everything else but the mutex.
    KXImage(const KXImage &) = default;

    KXImage(KXImage &&other) noexcept
        : KXImage()
    {
        Swap(other);
    }

    /// The same; without memory for it this image stays as it was.
    KXImage &operator=(const KXImage &other)
    {
        if (this != &other)
            *this = KXImage(other);
        return *this;
    }

    KXImage &operator=(KXImage &&other) noexcept
    {
        KXImage taken(std::move(other));
        Swap(taken);
        return *this;
    }

    ~KXImage() = default;

    int Width() const { return width; }
    int Height() const { return height; }
    /// (0, 0, width, height).
    QRect Rect() const { return QRect(0, 0, width, height); }
    bool IsTiled() const { return tiled; }
    int TilesX() const { return tilesX; }
    int TilesY() const { return tilesY; }

    /// The flat buffer, shared with all copies; null in a tiled image without a flat window and in an empty image.
    T *Bits() { return flatData.data(); }
    const T *Bits() const { return flatData.data(); }

    /// The pixel at (@p x, @p y) of a flat image, checked. Throws std::out_of_range with the text "OPImage::GetColor"
    /// when the position lies outside the image, and where there is no flat buffer of pixels: in a tiled image, also
    /// in one with a flat window. Read rows of those by @c ReadRow.
    T GetColor(int x, int y) const
    {
        if (!HasFlatPixel(x, y))
            throw std::out_of_range("OPImage::GetColor");
        return flatData.data()[size_t(y) * size_t(width) + size_t(x)];
    }

    /// Writes the pixel at (@p x, @p y) of a flat image, **which all copies of the image share**. Throws as
    /// @c GetColor does, with the text "OPImage::SetColor".
    void SetColor(int x, int y, const T &color)
    {
        if (!HasFlatPixel(x, y))
            throw std::out_of_range("OPImage::SetColor");
        flatData.data()[size_t(y) * size_t(width) + size_t(x)] = color;
    }

    /// Makes @p target a deep copy, tiled if this image is tiled or @p forceTiled is set.
    ///
    /// Copied   The pixels, the resolution, the EXIF list (shared) and the application's words; **not** the profile,
    ///          the metadata flags, the flat window and @c FakeIsContent.
    /// Tiles    Every tile that is not null becomes a private block of @p target and does not count as fake there, also
    ///          if it did here. **A null tile becomes a fake one**: transparent, and able to be written. From flat to
    ///          tiled the pixels are copied by workers, see @c CopyRect: with a single processor there are none, and
    ///          the copy stays transparent.
    /// To flat  A flat copy of a tiled image is made in another way: by @c ComposeSource or @c CopyRect onto a flat
    ///          image of its size, which stays transparent under fake tiles.
    /// Errors   std::bad_alloc; @p target then is what it was. It may be this image.
    void CopyTo(KXImage &target, bool forceTiled) const;

    /// Copies the pixels of @p srcRect to @p dstRect, whose top left corners are laid on one another; see @c ClipRects.
    ///
    /// Storage   Flat to flat, flat to tiled, tiled to flat. **Between two tiled images nothing is copied**, silently.
    ///           Fake and null tiles of a source are skipped; a flat window is not looked at.
    /// Overwrite With @p overwrite every pixel is copied; without it those whose alpha is not 0. Flat to flat copies
    ///           every pixel in any case.
    /// Threads   Runs on the global pool with one worker fewer than there are processors, and waits. With a single
    ///           processor nothing is copied; flat to flat asserts against that in a debug build.
    /// Overlap   Two images may share a flat buffer; the two areas of it must then not overlap, which a debug build
    ///           asserts.
    /// Errors    A std::exception ends only the worker that meets it; it is logged as "[src/KXImage:line] text".
    static void CopyRect(KXImage &dst, const KXImage &src, const QRect &srcRect, const QRect &dstRect, bool overwrite);

    /// Sets all pixels. A tiled image gets one fresh block which all its tiles share, so all of them are fake
    /// afterwards and images that shared the old tiles keep their pixels. @p value may lie inside this image. An image
    /// of no area, and a flat one without a buffer, is left as it is.
    void Fill(const T &value);

    /// Replaces the tile @p index by a fresh block, zeroed if @p clear (its content is undefined otherwise), and
    /// returns it. Null, with nothing done, when @p index is out of range. Throws std::bad_alloc.
    T *AllocTile(int index, bool clear);

    /// Makes tile @p index null: nothing is stored there any more. Does nothing when @p index is out of range.
    void ReleaseTile(int index)
    {
        if (HasTile(index))
            tiles[size_t(index)].reset();
    }

    /// Makes wholly transparent tiles fake again, as after erasing or cutting: their memory comes back, and composition
    /// skips them. Returns how many.
    ///
    /// Which    Tiles whose 65,536 bytes are all 0; a colour under an alpha of 0, or a pixel beyond the edge of the
    ///          image, keeps its tile. All rows read as before, and so not made fake are tiles that a flat window
    ///          touches, which would show there, and any tile of an image whose uniform block is not transparent, after
    ///          @c Fill with a colour. Null tiles stay null. Nothing happens in a flat image.
    /// Compose  Modes that change the destination under a transparent source, such as Source and Clear, no longer do so
    ///          in these tiles, as in all fake ones.
    /// Shares   Copies of the image keep their tiles; a block is freed with the last image that has it.
    /// Threads  The calling thread. Nobody else may use this image meanwhile; copies of it may be used.
    /// Cost     Reads each tile up to the first byte that is not 0. Nothing is allocated.
    int MakeTransparentTilesFake();

    /// The block of tile @p index, TileW * TileH pixels, row-major. With @p forWriting a block that anything else
    /// shares is first replaced by a private copy (throws std::bad_alloc). Null for a null tile, also with
    /// @p forWriting, and, reported to the debug log, for an index out of range.
    T *TileData(int index, bool forWriting)
    {
        if (!forWriting)
            return const_cast<T *>(static_cast<const KXImage *>(this)->TileData(index));
        if (!HasTile(index)) {
            ReportInvalidRead(index, __LINE__);
            return nullptr;
        }
        std::shared_ptr<T> &tile = tiles[size_t(index)];
        const long users = tile.use_count();
        AcquireFromFormerUsers(tile);
        if (users > 1) {
            std::shared_ptr<T> own = CopyOfTile(*tile);
#ifdef KX_THREAD_SANITIZER
            __tsan_release(tile.get());
#endif
            tile = std::move(own);
        }
        return tile.get();
    }

    /// The block of tile @p index for reading, under the same rules.
    const T *TileData(int index) const
    {
        if (!HasTile(index)) {
            ReportInvalidRead(index, __LINE__);
            return nullptr;
        }
        return tiles[size_t(index)].get();
    }

    /// Whether tile @p index is the image's shared uniform block and so counts as empty. False for every tile while
    /// @c FakeIsContent is set, and, reported to the debug log, for an index out of range.
    bool IsFakeTile(int index) const
    {
        if (fakeIsContent)
            return false;
        if (!HasTile(index)) {
            ReportInvalidCompare(__LINE__);
            return false;
        }
        return tiles[size_t(index)].get() == fakeTile.get();
    }

    /// Whether @p index lies in the tile table. The entry may still be null.
    bool HasTile(int index) const { return index >= 0 && size_t(index) < tiles.size(); }

    /// Copies @p bytes bytes of row @p y, from pixel @p x on, into @p buffer. False when (x, y) lies outside the image.
    ///
    /// A null buffer gives true, and nothing is read.
    ///
    /// Flat     One copy of @p bytes bytes; where the row ends is not checked. It ends within the image, which a debug
    ///          build asserts.
    /// Tiled    Ends at the last tile of the row. A null tile is passed over and leaves its part of the buffer as it
    ///          was. Where the image has a flat window, what lies in it replaces the pixels of fake tiles.
    bool ReadRow(unsigned y, unsigned x, void *buffer, unsigned bytes) const;

    /// Writes @p bytes bytes into row @p y from pixel @p x on; the counterpart of @c ReadRow. Shared tiles are made
    /// private, without taking the mutex; null tiles are passed over. A flat window is not written.
    bool WriteRow(unsigned y, unsigned x, const void *buffer, unsigned bytes);

    /// The lock to hold while several threads resolve tiles of this image for writing. Every image has its own.
    QMutex &Mutex() const { return mutex; }

    /// Gives a tiled image a flat window: @p pixels, shared, holds @p rect.width() * rect.height() pixels with the
    /// stride rect.width(), and the pixel for image position p is the one at p + @p offset - @p origin. That position
    /// is counted from the first of @p pixels; so let @p rect begin at (0, 0). A flat image is left as it is.
    void SetFlatWindow(const QSharedPointer<T> &pixels, const QRect &rect, const QPoint &offset, const QPoint &origin)
    {
        if (!tiled)
            return;
        flatData = pixels;
        hasFlatWindow = true;
        flatWindowRect = rect;
        flatWindowOffset = offset;
        flatWindowOrigin = origin;
    }
    /// Takes the flat window away; does nothing in an image that has none.
    void ClearFlatWindow()
    {
        if (!hasFlatWindow)
            return;
        flatData.reset();
        hasFlatWindow = false;
        flatWindowRect = QRect();
        flatWindowOffset = flatWindowOrigin = QPoint();
    }
    bool HasFlatWindow() const { return hasFlatWindow; }
    QRect FlatWindowRect() const { return flatWindowRect; }
    QPoint FlatWindowOffset() const { return flatWindowOffset; }
    QPoint FlatWindowOrigin() const { return flatWindowOrigin; }

    /// A stretch of one row: @c length pixels at @c pixels, or @c length positions at which nothing is stored.
    struct Run {
        const T *pixels;
        int length;
    };

    /// For composition: the stretch of the flat window that begins at image position (x, y) and goes to the right, or
    /// null pixels and for how many positions the window has none.
    Run FlatWindowRun(int x, int y) const
    {
        const qint64 wx = qint64(x) + flatWindowOffset.x() - flatWindowOrigin.x();
        const qint64 wy = qint64(y) + flatWindowOffset.y() - flatWindowOrigin.y();
        const int w = flatWindowRect.width();
        if (!hasFlatWindow || !flatData || wy < 0 || wy >= flatWindowRect.height() || wx >= w)
            return { nullptr, INT_MAX };
        if (wx < 0)
            return { nullptr, int(std::min<qint64>(-wx, INT_MAX)) };
        return { flatData.data() + wy * w + wx, int(w - wx) };
    }

    /// Whether fake tiles count as content: composition then reads them like all others. False at first.
    bool FakeIsContent() const { return fakeIsContent; }
    void SetFakeIsContent(bool isContent) { fakeIsContent = isContent; }

    KXCMSProfile ColorProfile() const { return colorProfile; }
    void SetColorProfile(const KXCMSProfile &profile) { colorProfile = profile; }

    /// Resolution in dots per inch; 96 and 0 in a new image.
    int DpiX() const { return dpiX; }
    int DpiY() const { return dpiY; }
    void SetDpi(int x, int y)
    {
        dpiX = x;
        dpiY = y;
    }

    quint64 MetadataFlags() const { return metadataFlags; }
    void SetMetadataFlags(quint64 flags) { metadataFlags = flags; }

    /// The EXIF elements. They belong to the image and its copies and are deleted with the last of these that has them.
    QList<KXEXIFElement *> ExifElements() const
    {
        QList<KXEXIFElement *> elements;
        if (exifElements)
            for (const auto &element : *exifElements)
                elements << element.get();
        return elements;
    }
    /// Sets the list of elements. Each is one that the image has already, or a new one, which the image then owns.
    /// **Never pass an element of another image**: assign the image, or copy the element. Copies of this image keep the
    /// list that they have. Without memory it throws std::bad_alloc: the image keeps its list, and new elements stay
    /// the caller's.
    void SetExifElements(const QList<KXEXIFElement *> &elements);

    /// Two words and a byte for the application: kept, copied, and never read by the library.
    quint64 ApplicationWord(int which) const { return applicationWords[which & 1]; }
    void SetApplicationWord(int which, quint64 value) { applicationWords[which & 1] = value; }
    quint8 ApplicationByte() const { return applicationByte; }
    void SetApplicationByte(quint8 value) { applicationByte = value; }

private:
    /// Whether (x, y) lies in the image and the image in a flat buffer. A flat window is no such buffer.
    bool HasFlatPixel(int x, int y) const { return x >= 0 && x < width && y >= 0 && y < height && !tiled && flatData; }

    using ExifList = std::vector<std::shared_ptr<KXEXIFElement>>;

    /// A new block with the pixels of the one that begins with @p first.
    static std::shared_ptr<T> CopyOfTile(const T &first);

    /// Whoever let go of the block of @p tile last may still have been reading it: orders that before what is written
    /// now. A use count alone orders nothing.
    static void AcquireFromFormerUsers(const std::shared_ptr<T> &tile)
    {
#ifdef KX_THREAD_SANITIZER // which knows no fences
        __tsan_acquire(tile.get());
#else
        Q_UNUSED(tile)
        std::atomic_thread_fence(std::memory_order_acquire);
#endif
    }

    /// What CopyRect does, but for the errors, which leave.
    static void CopyPixels(
        KXImage &dst, const KXImage &src, const QRect &srcRect, const QRect &dstRect, bool overwrite);

    /// To the debug log, as "[include/KXImage:line] text".
    static void ReportInvalidRead(int index, int line);
    static void ReportInvalidCompare(int line);

    void Swap(KXImage &other) noexcept;

    /// Each image has one of its own, which a copy does not take over.
    struct OwnMutex : QMutex {
        OwnMutex() = default;
        OwnMutex(const OwnMutex &)
            : QMutex()
        {
        }
    };

    QSharedPointer<T> flatData;
    std::vector<std::shared_ptr<T>> tiles;
    std::shared_ptr<T> fakeTile;
    bool tiled = false;
    int tilesX = 0;
    int tilesY = 0;
    mutable OwnMutex mutex;
    bool hasFlatWindow = false;
    QRect flatWindowRect;
    QPoint flatWindowOffset;
    QPoint flatWindowOrigin;
    quint64 applicationWords[2] = { 0, 0 };
    quint8 applicationByte = 0;
    int width = 0;
    int height = 0;
    KXCMSProfile colorProfile;
    int dpiX = 96;
    int dpiY = 0;
    quint64 metadataFlags = 0;
    std::shared_ptr<const ExifList> exifElements;
    bool fakeIsContent = false;
};

/// The main image: 128 by 128 tiles of OPRGBA32i. Registered with Qt's meta-type system under this name.
using RGBA32iImage = KXImage<OPRGBA32i, 128, 128>;
using CMYKAImage = KXImage<OPCMYKA, 128, 64>;
using HSLAImage = KXImage<OPHSLA, 128, 64>;
using RGBA64iImage = KXImage<OPRGBA64i, 128, 64>;
using RGBA64fImage = KXImage<OPRGBA64f, 128, 64>;

extern template class KXImage<OPRGBA32i, 128, 128>;
extern template class KXImage<OPCMYKA, 128, 64>;
extern template class KXImage<OPHSLA, 128, 64>;
extern template class KXImage<OPRGBA64i, 128, 64>;
extern template class KXImage<OPRGBA64f, 128, 64>;

Q_DECLARE_METATYPE(RGBA32iImage)

/// Copies all pixels between two **flat** images of one size. False, with nothing changed, when the sizes differ.
/// Neither image may be tiled; a debug build asserts that.
KX_EXPORT bool CopyFlatImageData(const RGBA32iImage *src, RGBA32iImage *dst);

#undef KX_THREAD_SANITIZER
