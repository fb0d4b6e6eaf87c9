#include "OPImageTransformation.h"

#include "OPColorTransformBase.h"

#include "pixels/BorrowedImage.h"
#include "pixels/Tiles.h"
#include "support/Arithmetic.h"
#include "support/Log.h"
#include "transform/Samplers.h"

#include <QtGui/QImage>
#include <QtGui/QPainter>

#include <climits>
#include <cmath>
#include <type_traits>

// The transforms without a filter: every pixel of the destination takes one of the source's, or stays.

namespace {

using pixels::Rows;

constexpr char path[] = "src/KXImage"; // as the log says it

/// A position counts as column or row 0 from here on.
constexpr double justBelowZero = -1e-10;

/// The source as its storage has it. Null pixels are left out.
template <class Pixel>
struct FlatReader {
    const Rows<const Pixel> rows;

    explicit FlatReader(const Rows<const Pixel> &source)
        : rows(source)
    {
    }
    const Pixel *At(int x, int y) const { return rows.Row(y) + x; }
};

template <class Image>
struct TileReader {
    const Image &image;

    const typename Image::Pixel *At(int x, int y) const
    {
        // A position may lie beyond the tiles. That is then reported, by an index that fits an int.
        const qint64 tile = qint64(y / Image::TileHeight) * image.TilesX() + x / Image::TileWidth;
        const auto *const block = image.TileData(int(std::min<qint64>(tile, INT_MAX)));
        return block ? block + pixels::placeOf(image, x, y).offset : nullptr;
    }
};

/// A pixel of the source as one of the destination.
constexpr OPRGBA32i converted(OPRGBA32i pixel, const OPRGBA32i *) { return pixel; }
constexpr OPCMYKA converted(OPCMYKA pixel, const OPCMYKA *) { return pixel; }

OPRGBA32i converted(OPCMYKA pixel, const OPRGBA32i *)
{
    constexpr double per65535 = 1.5259021896696422e-05;
    const double black = pixel.k * 256 * per65535;
    const auto channel = [black](int ink) {
        const double value = (1 - (ink * 256 * per65535 * (1 - black) + black)) * 65535;
        return static_cast<unsigned char>(arithmetic::roundHalfUp(value) >> 8);
    };
    return OPRGBA32i(channel(pixel.y), channel(pixel.m), channel(pixel.c), pixel.a);
}

/// Gives each pixel of @p target the one that @p reader has at its position, where that lies in @p clip.
template <class Reader, class To>
void copyPixels(const Reader &reader, const QRect &clip, const QTransform &inverse, const QPoint &offset,
    const Rows<To> &target, transform::Order order)
{
    if (clip.isEmpty())
        return;
    const transform::Inside inside { { justBelowZero, 0, clip.left(), clip.right() },
        { justBelowZero, 0, clip.top(), clip.bottom() } };
    transform::forEachRun(inverse, offset, QRect(0, 0, target.width, target.height), inside, order,
        [&](int x, int y, const double *sourceX, const double *sourceY, int count) {
            To *const row = target.Row(y) + x;
            for (int i = 0; i < count; ++i)
                if (const auto *const pixel =
                        reader.At(arithmetic::truncate(sourceX[i]), arithmetic::truncate(sourceY[i])))
                    row[i] = converted(*pixel, row);
        });
}

template <class Image, class To>
void copyFlat(
    const Image &source, const QRect &clip, const QTransform &inverse, const QPoint &offset, const Rows<To> &target)
{
    const auto rows = pixels::rowsOf(source);
    if (!rows.first || !target.first)
        return;
    Q_ASSERT_X(source.Rect().contains(clip), "TransformImage", "the rectangle lies in the source");
    copyPixels(
        FlatReader(rows), ClippedTo(source.Rect(), clip), inverse, offset, target, transform::orderOf(rows, target));
}

template <class Pixel, int TileW, int TileH>
void copyTo(KXImage<Pixel, TileW, TileH> &destination, const KXImage<Pixel, TileW, TileH> &source, const QRect &clip,
    const QTransform &inverse)
{
    copyFlat(source, clip, inverse, QPoint(), pixels::rowsOf(destination));
}

template <class Image>
void copyTo(QImage &destination, const Image &source, const QRect &clip, const QTransform &inverse)
{
    if (destination.depth() != 32)
        return;
    const auto borrowed = pixels::borrowForWriting(destination);
    const Rows<OPRGBA32i> target { borrowed.first, int(borrowed.Stride()), destination.width(), destination.height() };
    if (!source.IsTiled())
        return copyFlat(source, clip, inverse, QPoint(), target);
    const QRect whereTilesMayBe(0, 0, INT_MAX, INT_MAX);
    const bool mayReport = !source.Rect().contains(clip); // which is then done row by row
    copyPixels(TileReader<Image> { source }, ClippedTo(whereTilesMayBe, clip), inverse, QPoint(), target,
        mayReport ? transform::Order::Rows : transform::Order::Strips);
}

/// Calls @p copy with the inverse of @p transform. False if there is none, or if @p copy returns it.
template <class Copy>
bool inverted(int line, const QTransform &transform, Copy copy)
{
    bool result = false;
    support::guarded({ path, line }, [&] {
        const QTransform inverse = transform.inverted(&result);
        result = result && copy(inverse);
    });
    return result;
}

/// Clears @p destination and draws @p source into it.
void drawScaled(const RGBA32iImage &source, const QPointF &position, double scale, QImage &destination)
{
    pixels::borrowForWriting(destination); // QImage::fill would drop the image where there is no memory for its own
    destination.fill(0);
    if (source.IsTiled() || source.Rect().isEmpty() || destination.isNull() || !std::isfinite(position.x())
        || !std::isfinite(position.y()) || !std::isfinite(scale))
        return;
    const auto *const bytes = reinterpret_cast<const uchar *>(source.Bits());
    const QImage picture(bytes, source.Width(), source.Height(), QImage::Format_ARGB32);
    QPainter painter;
    if (!painter.begin(&destination))
        return;
    QTransform transform;
    transform.translate(-position.x(), -position.y());
    transform.scale(scale, scale);
    painter.setTransform(transform, false);
    painter.drawImage(position, picture);
    painter.end();
}

} // namespace

template <class From, class To>
bool TransformImage(const From &source, const QTransform &transform, To &destination, const QRect &sourceRect)
{
    return inverted(__LINE__, transform, [&](const QTransform &inverse) {
        if constexpr (std::is_same_v<From, CMYKAImage> && std::is_same_v<To, QImage>)
            if (destination.format() != QImage::Format_ARGB32)
                return false;
        copyTo(destination, source, sourceRect.isEmpty() ? source.Rect() : sourceRect, inverse);
        return true;
    });
}

template KX_EXPORT bool TransformImage<RGBA32iImage, RGBA32iImage>(
    const RGBA32iImage &, const QTransform &, RGBA32iImage &, const QRect &);
template KX_EXPORT bool TransformImage<RGBA32iImage, QImage>(
    const RGBA32iImage &, const QTransform &, QImage &, const QRect &);
template KX_EXPORT bool TransformImage<CMYKAImage, CMYKAImage>(
    const CMYKAImage &, const QTransform &, CMYKAImage &, const QRect &);
template KX_EXPORT bool TransformImage<CMYKAImage, QImage>(
    const CMYKAImage &, const QTransform &, QImage &, const QRect &);

bool TransformImageWithOffset(
    const RGBA32iImage &source, const QTransform &transform, RGBA32iImage &destination, const QPoint &offset)
{
    return inverted(__LINE__, transform, [&](const QTransform &inverse) {
        copyFlat(source, source.Rect(), inverse, offset, pixels::rowsOf(destination));
        return true;
    });
}

template <class From, class To>
bool ScaleImage(const From &source, const QPointF &position, double scale, To &destination)
{
    drawScaled(source, position, scale, destination);
    return true;
}

template <class From, class To>
bool ScaleImage(const From &source, const QPointF &position, double scale, To &destination,
    const OPColorTransformBase &colorTransform)
{
    drawScaled(source, position, scale, destination);
    if (destination.depth() != 32)
        return true;
    const auto rows = pixels::borrowForWriting(destination);
    for (int y = 0; y < destination.height(); ++y)
        for (OPRGBA32i *pixel = rows.Row(y), *const end = pixel + destination.width(); pixel != end; ++pixel)
            colorTransform(*pixel);
    return true;
}

template KX_EXPORT bool ScaleImage<RGBA32iImage, QImage>(const RGBA32iImage &, const QPointF &, double, QImage &);
template KX_EXPORT bool ScaleImage<RGBA32iImage, QImage>(
    const RGBA32iImage &, const QPointF &, double, QImage &, const OPColorTransformBase &);
