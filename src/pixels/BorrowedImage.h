#pragma once

#include "KXPixels.h"

#include <QtGui/QImage>

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace pixels {

/// The pixels of a QImage of 32 bits a pixel, for as long as nothing else is done with it. Rows may lie further apart
/// than the image is wide: QImage lets an application choose the distance in bytes.
template <class Pixel>
struct BorrowedImage {
    Pixel *first; ///< null for a null image
    qptrdiff strideBytes; ///< from one row to the next; a multiple of four, as QImage asks

    Pixel *Row(int y) const
    {
        using Byte = std::conditional_t<std::is_const_v<Pixel>, const uchar, uchar>;
        return reinterpret_cast<Pixel *>(reinterpret_cast<Byte *>(first) + y * strideBytes);
    }
    qptrdiff Stride() const { return strideBytes / qptrdiff(sizeof(Pixel)); }
};

/// For reading: @p image may go on sharing its pixels.
inline BorrowedImage<const OPRGBA32i> borrow(const QImage &image)
{
    return { reinterpret_cast<const OPRGBA32i *>(image.constBits()), image.bytesPerLine() };
}

/// For writing: an image that shares its pixels, or has those of a buffer that may only be read, gets a copy. Without
/// memory for it std::bad_alloc is thrown and @p image shares as before; **but an image on a read-only buffer that no
/// other image shares is null then**: Qt drops it, and does not tell beforehand that there is something to copy.
inline BorrowedImage<OPRGBA32i> borrowForWriting(QImage &image)
{
    if (image.isNull())
        return { nullptr, 0 };
    if (!image.isDetached()) {
        QImage own = image.copy();
        if (own.isNull())
            throw std::bad_alloc();
        image = std::move(own);
    }
    uchar *const bits = image.bits();
    if (!bits)
        throw std::bad_alloc();
    // Not earlier: a copy has its rows closer together than the image that it was made of may have them.
    return { reinterpret_cast<OPRGBA32i *>(bits), image.bytesPerLine() };
}

/// For a painter: a QImage on @p width times @p height pixels, which it does not own and must not outlive. Paint on it
/// itself; a copy of it gets pixels of its own when it is painted on.
inline QImage lend(OPRGBA32i *bits, int width, int height)
{
    return QImage(reinterpret_cast<uchar *>(bits), width, height, QImage::Format_ARGB32);
}

/// Writes @p wordOf(word) for each of @p count pixels. Compilers turn that into vectors, which they do not make of an
/// array of unions.
template <class WordOf>
void mapWords(const OPRGBA32i *from, size_t count, OPRGBA32i *to, WordOf wordOf)
{
    const auto *const words = reinterpret_cast<const unsigned *>(from);
    std::transform(words, words + count, reinterpret_cast<unsigned *>(to), wordOf);
}

} // namespace pixels
