#pragma once

/// @file
/// Lines of an image: which there are, which stretch of each is written and which is read, and access to them.
///
/// A horizontal line is a row, a vertical one a column. The classes are values. Any number of threads may read lines of
/// one image, and may write different lines of a flat one.
///
/// Nothing here throws but std::bad_alloc: writing may have to copy a shared tile of a tiled image, or a QImage that is
/// shared or stands on a const buffer. A shared QImage is left as it was then; one that stands alone on a const buffer
/// is null, as Qt leaves it.

#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QRect>
#include <QtGui/QImage>

namespace OPImageUtils {

/// The lines that a pass over a rectangle visits. All bounds are inclusive.
///
/// What is read reaches one pixel further to the left than to the right: a sliding window subtracts the sample just
/// before it.
struct LineRecord {
    int firstLine, lastLine; ///< which lines
    int first, last; ///< what is written of each
    int readFirst, readLast; ///< what is read of each, within the image

    int LineCount() const { return lastLine - firstLine + 1; }
    int Length() const { return last - first + 1; }
    int ReadLength() const { return readLast - readFirst + 1; }
};

/// The rows of a rectangle.
template <class Image>
class HorizontalDirection : public LineRecord {
public:
    /// The record of @p rect, which is taken as it is and should lie within @p image, with a reach of @p radius >= 0.
    HorizontalDirection(const Image &image, const QRect &rect, int radius);

    /// Copies @p bytes bytes of row @p line, from pixel @p start on, to @p buffer. False, with nothing done, when that
    /// is out of range.
    ///
    /// In a QImage of 32-bit pixels it is also false when the stretch would end on the last pixel of the row: one pixel
    /// fewer is the most that can be read or written. In a @c KXImage the length is the caller's to keep; see
    /// @c KXImage::ReadRow and @c WriteRow.
    bool Read(const Image &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes) const;
    bool Write(Image &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes) const;
};

/// The columns of a rectangle.
template <class Image>
class VerticalDirection : public LineRecord {
public:
    /// As for rows.
    VerticalDirection(const Image &image, const QRect &rect, int radius);

    /// Copies @p bytes / 4 pixels of column @p line, from row @p start on, to @p buffer. False, with nothing done, when
    /// that is out of range.
    ///
    /// In a QImage a stretch that ends on the last row is out of range. A @c KXImage must be flat (false otherwise); a
    /// stretch past its last row ends there. With fewer than 4 bytes nothing is copied, and the result is true.
    bool Read(const Image &image, unsigned line, unsigned start, unsigned char *buffer, unsigned bytes) const;
    bool Write(Image &image, unsigned line, unsigned start, const unsigned char *buffer, unsigned bytes) const;
};

extern template class KX_EXPORT HorizontalDirection<QImage>;
extern template class KX_EXPORT VerticalDirection<QImage>;
extern template class KX_EXPORT HorizontalDirection<RGBA32iImage>;
extern template class KX_EXPORT VerticalDirection<RGBA32iImage>;

/// The rectangle of all of an image, whichever kind it is of.
inline QRect WholeRect(const QImage &image) { return image.rect(); }
template <class T, int TileW, int TileH>
QRect WholeRect(const KXImage<T, TileW, TileH> &image)
{
    return image.Rect();
}

} // namespace OPImageUtils

/// Borrows an image to blur.
template <class Image>
class KXBlurImageWrapper {
public:
    explicit KXBlurImageWrapper(Image &image)
        : m_image(&image)
    {
    }
    /// The rectangle of the whole image.
    QRect GetRect() const { return OPImageUtils::WholeRect(*m_image); }

private:
    Image *m_image;
};

/// Borrows an image that is only read.
template <class Image>
class KXBlurImageWrapperConst {
public:
    explicit KXBlurImageWrapperConst(const Image &image)
        : m_image(&image)
    {
    }
    /// The rectangle of the whole image.
    QRect GetRect() const { return OPImageUtils::WholeRect(*m_image); }

private:
    const Image *m_image;
};
