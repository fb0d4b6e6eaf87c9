#include "OPImageUtils.h"

#include "pixels/BorrowedImage.h"

#include <algorithm>
#include <cstring>

namespace OPImageUtils {

namespace {

int width(const QImage &image) { return image.width(); }
int height(const QImage &image) { return image.height(); }
int width(const RGBA32iImage &image) { return image.Width(); }
int height(const RGBA32iImage &image) { return image.Height(); }

/// @p limit is the extent of the image along the lines.
LineRecord record(int firstLine, int lastLine, int first, int last, int radius, int limit)
{
    Q_ASSERT(radius >= 0);
    return { firstLine, lastLine, first, last, int(std::max<qint64>(qint64(first) - radius - 1, 0)),
        int(std::min<qint64>(qint64(last) + radius, qint64(limit) - 1)) };
}

/// Whether @p bytes bytes from position @p start on end before the last of @p limit pixels. A stretch up to the end is
/// refused, which callers have come to rely on.
bool endsBefore(unsigned limit, unsigned start, unsigned bytes) { return quint64(bytes / 4) + start < limit; }

/// Copies the whole pixels of @p bytes bytes, @p fromStep and @p toStep bytes apart.
void copyPixels(const unsigned char *from, qptrdiff fromStep, unsigned char *to, qptrdiff toStep, unsigned bytes)
{
    for (unsigned left = bytes / 4; left > 0; --left, from += fromStep, to += toStep)
        std::memcpy(to, from, 4);
}

/// The column @p line of a flat image from row @p start on, and how many bytes of it there are; null out of range.
template <class Image>
auto column(Image &image, unsigned line, unsigned start, unsigned &bytes) -> decltype(image.Bits())
{
    if (image.IsTiled() || line >= unsigned(image.Width()) || start >= unsigned(image.Height()))
        return nullptr;
    bytes = unsigned(std::min<quint64>(bytes, quint64(unsigned(image.Height()) - start) * 4));
    return image.Bits() + size_t(start) * size_t(image.Width()) + line;
}

bool readRow(const QImage &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes)
{
    if (image.depth() != 32 || line >= unsigned(image.height()) || !endsBefore(unsigned(image.width()), start, bytes))
        return false;
    std::memcpy(buffer, pixels::borrow(image).Row(int(line)) + start, bytes);
    return true;
}

bool writeRow(QImage &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes)
{
    if (image.depth() != 32 || line >= unsigned(image.height()) || !endsBefore(unsigned(image.width()), start, bytes))
        return false;
    std::memcpy(static_cast<void *>(pixels::borrowForWriting(image).Row(int(line)) + start), buffer, bytes);
    return true;
}

bool readColumn(const QImage &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes)
{
    if (image.depth() != 32 || line >= unsigned(image.width()) || !endsBefore(unsigned(image.height()), start, bytes))
        return false;
    const auto rows = pixels::borrow(image);
    copyPixels(
        reinterpret_cast<const unsigned char *>(rows.Row(int(start)) + line), rows.strideBytes, buffer, 4, bytes);
    return true;
}

bool writeColumn(QImage &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes)
{
    if (image.depth() != 32 || line >= unsigned(image.width()) || !endsBefore(unsigned(image.height()), start, bytes))
        return false;
    const auto rows = pixels::borrowForWriting(image);
    copyPixels(buffer, 4, reinterpret_cast<unsigned char *>(rows.Row(int(start)) + line), rows.strideBytes, bytes);
    return true;
}

bool readRow(const RGBA32iImage &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes)
{
    return image.ReadRow(line, start, buffer, bytes);
}

bool writeRow(RGBA32iImage &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes)
{
    return image.WriteRow(line, start, buffer, bytes);
}

bool readColumn(const RGBA32iImage &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes)
{
    const OPRGBA32i *const pixels = column(image, line, start, bytes);
    if (!pixels)
        return false;
    copyPixels(reinterpret_cast<const unsigned char *>(pixels), qptrdiff(image.Width()) * 4, buffer, 4, bytes);
    return true;
}

bool writeColumn(RGBA32iImage &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes)
{
    OPRGBA32i *const pixels = column(image, line, start, bytes);
    if (!pixels)
        return false;
    copyPixels(buffer, 4, reinterpret_cast<unsigned char *>(pixels), qptrdiff(image.Width()) * 4, bytes);
    return true;
}

} // namespace

template <class Image>
HorizontalDirection<Image>::HorizontalDirection(const Image &image, const QRect &rect, int radius)
    : LineRecord(record(rect.top(), rect.bottom(), rect.left(), rect.right(), radius, width(image)))
{
}

template <class Image>
VerticalDirection<Image>::VerticalDirection(const Image &image, const QRect &rect, int radius)
    : LineRecord(record(rect.left(), rect.right(), rect.top(), rect.bottom(), radius, height(image)))
{
}

template <class Image>
bool HorizontalDirection<Image>::Read(
    const Image &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes) const
{
    return readRow(image, line, start, buffer, bytes);
}

template <class Image>
bool HorizontalDirection<Image>::Write(
    Image &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes) const
{
    return writeRow(image, line, start, buffer, bytes);
}

template <class Image>
bool VerticalDirection<Image>::Read(
    const Image &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes) const
{
    return readColumn(image, line, start, buffer, bytes);
}

template <class Image>
bool VerticalDirection<Image>::Write(
    Image &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes) const
{
    return writeColumn(image, line, start, buffer, bytes);
}

template class HorizontalDirection<QImage>;
template class VerticalDirection<QImage>;
template class HorizontalDirection<RGBA32iImage>;
template class VerticalDirection<RGBA32iImage>;

} // namespace OPImageUtils
