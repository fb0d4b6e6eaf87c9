#include "KXConverter.h"

#include "color/PixelFormulas.h"
#include "pixels/BorrowedImage.h"
#include "support/Log.h"

#include <QtGui/QImage>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace {

/// Pixels to read: @c count of them from @c pixels on, of an image of that size.
template <class Pixel>
struct Source {
    const Pixel *pixels;
    size_t count;
    int width, height;
};

template <class Pixel, int TileW, int TileH>
Source<Pixel> source(const KXImage<Pixel, TileW, TileH> &image)
{
    if (image.IsTiled())
        throw std::invalid_argument("only flat images are converted");
    return { image.Bits(), size_t(image.Width()) * size_t(image.Height()), image.Width(), image.Height() };
}

/// The format is not looked at, but its buffer is not read past its end.
Source<OPRGBA32i> source(const QImage &image)
{
    const size_t count = size_t(image.width()) * size_t(image.height());
    return { pixels::borrow(image).first, std::min(count, size_t(image.sizeInBytes()) / sizeof(OPRGBA32i)),
        image.width(), image.height() };
}

template <class Pixel, int TileW, int TileH>
Pixel *make(KXImage<Pixel, TileW, TileH> &image, int width, int height)
{
    image = KXImage<Pixel, TileW, TileH>(width, height, false);
    return image.Bits();
}

OPRGBA32i *make(QImage &image, int width, int height)
{
    image = QImage(width, height, QImage::Format_ARGB32);
    if (image.isNull() && width > 0 && height > 0)
        throw std::bad_alloc();
    return pixels::borrowForWriting(image).first;
}

/// Makes @p to an image of the size of @p from, each pixel the @p formula of the one it comes from.
template <class From, class To, class Formula>
void map(const From &from, To &to, Formula formula)
{
    const auto pixels = source(from);
    std::transform(pixels.pixels, pixels.pixels + pixels.count, make(to, pixels.width, pixels.height), formula);
}

template <class From, class To>
void copy(const From &from, To &to)
{
    const Source<OPRGBA32i> pixels = source(from);
    std::copy_n(pixels.pixels, pixels.count, make(to, pixels.width, pixels.height));
}

void convert(const RGB32iRawImage &from, RGBA32iImage &to)
{
    if (!from.pixels && from.width && from.height)
        throw std::invalid_argument("an image without pixels is not converted");
    OPRGBA32i *out = make(to, from.width, from.height);
    const unsigned char *in = from.pixels;
    for (size_t i = size_t(from.width) * from.height; i > 0; --i, in += from.pixelStride)
        *out++ = OPRGBA32i(in[2], in[1], in[0], 255);
}

template <class Pixel, int TileW, int TileH, class To>
void convert(const KXImage<Pixel, TileW, TileH> &from, To &to)
{
    map(from, to, [](const auto &pixel) { return color::toRgb(pixel); });
}

void convert(const RGBA32iImage &from, CMYKAImage &to)
{
    map(from, to, [](const auto &pixel) { return color::toCmyk(pixel); });
}
void convert(const RGBA32iImage &from, HSLAImage &to)
{
    map(from, to, [](const auto &pixel) { return color::toHsl(pixel); });
}
void convert(const RGBA32iImage &from, RGBA64iImage &to)
{
    map(from, to, [](const auto &pixel) { return color::to16Bit(pixel); });
}
void convert(const RGBA32iImage &from, RGBA64fImage &to)
{
    map(from, to, [](const auto &pixel) { return color::toHalf(pixel); });
}
void convert(const RGBA32iImage &from, QImage &to) { copy(from, to); }
void convert(const QImage &from, CMYKAImage &to)
{
    map(from, to, [](const auto &pixel) { return color::toCmyk(pixel); });
}
void convert(const QImage &from, RGBA32iImage &to) { copy(from, to); }

void makeGrey(OPRGBA32i *first, size_t count)
{
    pixels::mapWords(first, count, first, [](unsigned word) { return color::greyWord(word); });
}

} // namespace

template <class From, class To>
To ConvertImage(const From &image)
{
    To result;
    support::guarded({ "src/KXConverter", __LINE__ }, [&] { convert(image, result); });
    return result;
}

template KX_EXPORT RGBA32iImage ConvertImage<RGB32iRawImage, RGBA32iImage>(const RGB32iRawImage &);
template KX_EXPORT RGBA32iImage ConvertImage<CMYKAImage, RGBA32iImage>(const CMYKAImage &);
template KX_EXPORT QImage ConvertImage<CMYKAImage, QImage>(const CMYKAImage &);
template KX_EXPORT RGBA32iImage ConvertImage<HSLAImage, RGBA32iImage>(const HSLAImage &);
template KX_EXPORT CMYKAImage ConvertImage<RGBA32iImage, CMYKAImage>(const RGBA32iImage &);
template KX_EXPORT HSLAImage ConvertImage<RGBA32iImage, HSLAImage>(const RGBA32iImage &);
template KX_EXPORT RGBA64fImage ConvertImage<RGBA32iImage, RGBA64fImage>(const RGBA32iImage &);
template KX_EXPORT RGBA64iImage ConvertImage<RGBA32iImage, RGBA64iImage>(const RGBA32iImage &);
template KX_EXPORT QImage ConvertImage<RGBA32iImage, QImage>(const RGBA32iImage &);
template KX_EXPORT RGBA32iImage ConvertImage<RGBA64fImage, RGBA32iImage>(const RGBA64fImage &);
template KX_EXPORT RGBA32iImage ConvertImage<RGBA64iImage, RGBA32iImage>(const RGBA64iImage &);
template KX_EXPORT CMYKAImage ConvertImage<QImage, CMYKAImage>(const QImage &);
template KX_EXPORT RGBA32iImage ConvertImage<QImage, RGBA32iImage>(const QImage &);

void OPToGrayScaleImage::operator()(RGBA32iImage &image) const
{
    if (!image.IsTiled())
        makeGrey(image.Bits(), size_t(image.Width()) * size_t(image.Height()));
}

void OPToGrayScaleImage::operator()(QImage &image) const
{
    if (image.format() != QImage::Format_ARGB32) {
        QImage converted = image.convertToFormat(QImage::Format_ARGB32);
        if (converted.isNull() && !image.isNull())
            throw std::bad_alloc();
        image = std::move(converted);
    }
    const auto rows = pixels::borrowForWriting(image);
    for (int y = 0; y < image.height(); ++y)
        makeGrey(rows.Row(y), size_t(image.width()));
}
