#include "OPImagePainter.h"

#include "KXComposer.h"
#include "pixels/BorrowedImage.h"
#include "pixels/Tiles.h"
#include "support/Arithmetic.h"
#include "support/Log.h"
#include "support/Workers.h"

#include <QtCore/QMutexLocker>
#include <QtGui/QBrush>
#include <QtGui/QFont>
#include <QtGui/QPainterPath>
#include <QtGui/QPen>
#include <QtGui/QTextOption>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <mutex>
#include <utility>

namespace {

template <class Body>
void guarded(int line, const Body &body)
{
    support::guarded({ "src/OPImagePainter", line }, body, support::OnException::Swallow);
}

size_t pixelCount(const RGBA32iImage &image) { return size_t(image.Width()) * size_t(image.Height()); }

/// Makes @p dst a mask of the pixels that @p wordOf makes of those of a flat @p src.
template <class WordOf>
void createMask(RGBA32iImage &dst, const RGBA32iImage &src, WordOf wordOf)
{
    RGBA32iImage mask(src.Width(), src.Height(), false);
    if (!src.IsTiled())
        pixels::mapWords(src.Bits(), pixelCount(src), mask.Bits(), wordOf);
    dst = std::move(mask);
}

void createUniformMask(RGBA32iImage &dst, const RGBA32iImage &src, OPRGBA32i pixel)
{
    RGBA32iImage mask(src.Width(), src.Height(), false);
    mask.Fill(pixel);
    dst = std::move(mask);
}

template <class Source>
void drawImage(RGBA32iImage &dst, KXCompositionMode mode, const QPoint &at, const Source &src, const QRect &srcRect,
    double opacity, bool lockAlpha)
{
    const auto last = [](int first, int length) {
        return int(qBound<qint64>(INT_MIN, qint64(first) + length - 1, INT_MAX));
    };
    const QRect dstRect(at, QPoint(last(at.x(), dst.Width()), last(at.y(), dst.Height())));
    Compose(src, srcRect, mode, dst, dstRect, opacity, lockAlpha);
}

/// Qt looks modes up in a table, without a test.
bool isKnown(QPainter::CompositionMode mode) { return unsigned(mode) <= QPainter::RasterOp_NotDestination; }

/// Whether no number of @p path is NaN or further from 0 than @p limit.
bool isWithin(double limit, const QPainterPath &path)
{
    for (int i = 0; i < path.elementCount(); ++i)
        if (const QPainterPath::Element element = path.elementAt(i);
            !(std::abs(element.x) <= limit && std::abs(element.y) <= limit))
            return false;
    return true;
}

bool isFinite(const QPainterPath &path) { return isWithin(DBL_MAX, path); }

bool isFinite(const QRectF &rect)
{
    return std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height());
}

/// Qt steps from dash to dash, and with numbers that are large or none it does not get any further.
bool canStroke(const QPainterPath &path, const QPen &pen)
{
    const bool isDashed = pen.style() > Qt::SolidLine;
    const double limit = isDashed ? 1000000 : DBL_MAX;
    const auto fits = [limit](double number) { return std::abs(number) <= limit; };
    if (!fits(pen.widthF()) || !isWithin(limit, path))
        return false;
    const QVector<qreal> dashes = pen.dashPattern();
    return !isDashed || (fits(pen.dashOffset()) && std::all_of(dashes.begin(), dashes.end(), fits));
}

/// QPainter keeps what it works out about a path, and QPen its dashes, in what all copies of it share, and without a
/// lock. Several calls may draw one path with one pen at once, so each takes copies that share nothing.
QPainterPath unshared(QPainterPath path)
{
    if (path.elementCount() > 0) {
        const QPainterPath::Element first = path.elementAt(0);
        path.setElementPositionAt(0, first.x, first.y);
    }
    return path;
}

QPen unshared(QPen pen)
{
    pen.setMiterLimit(pen.miterLimit());
    return pen;
}

/// Calls @p paint with a painter on @p bits, which may be null: then there is nothing to paint on.
template <class Paint>
void paintOn(OPRGBA32i *bits, int width, int height, QPainter::CompositionMode mode, const Paint &paint)
{
    if (!bits)
        return;
    QImage canvas = pixels::lend(bits, width, height);
    QPainter painter;
    if (!painter.begin(&canvas))
        return;
    painter.setCompositionMode(mode);
    paint(painter);
}

template <class Paint>
void paintFlat(RGBA32iImage &dst, QPainter::CompositionMode mode, const Paint &paint)
{
    if (!dst.IsTiled())
        paintOn(dst.Bits(), dst.Width(), dst.Height(), mode, paint);
}

/// Paints each tile, in rows of tiles. @p paint is called by one worker at a time.
template <class Paint>
void paintTiles(RGBA32iImage &dst, QPainter::CompositionMode mode, const Paint &paint)
{
    constexpr int width = RGBA32iImage::TileWidth, height = RGBA32iImage::TileHeight;
    std::mutex painting;
    workers::forEachRow(workers::besidesCaller(workers::ideal()), dst.TilesY(), [&](int tileY) {
        const QRect row = ClippedTo(dst.Rect(), QRect(0, tileY * height, dst.Width(), height));
        pixels::forEachTile(dst, row, [&](const pixels::TilePart &part) {
            OPRGBA32i *block = nullptr;
            {
                const QMutexLocker lock(&dst.Mutex());
                block = dst.TileData(part.tile, true);
            }
            paintOn(block, width, height, mode, [&](QPainter &painter) {
                painter.translate(-part.x, -part.y);
                const std::lock_guard<std::mutex> lock(painting);
                paint(painter);
            });
        });
    });
}

} // namespace

void CreateFromSourceMask(RGBA32iImage &dst, const RGBA32iImage &src)
{
    guarded(__LINE__, [&] {
        createMask(dst, src,
            [](unsigned word) { return arithmetic::grey(word >> 16 & 255, word >> 8 & 255, word & 255) << 24; });
    });
}

void CreateFromTransparancyMask(RGBA32iImage &dst, const RGBA32iImage &src)
{
    guarded(__LINE__, [&] { createMask(dst, src, [](unsigned word) { return word & 0xFF000000u; }); });
}

void CreateHideAllMask(RGBA32iImage &dst, const RGBA32iImage &src)
{
    guarded(__LINE__, [&] { createUniformMask(dst, src, OPRGBA32i(0u)); });
}

void CreateRevealAllMask(RGBA32iImage &dst, const RGBA32iImage &src)
{
    guarded(__LINE__, [&] { createUniformMask(dst, src, OPRGBA32i(0xFF000000u)); });
}

void DrawImage(RGBA32iImage &dst, KXCompositionMode mode, const QPoint &at, const RGBA32iImage &src, double opacity,
    bool lockAlpha)
{
    guarded(__LINE__, [&] { drawImage(dst, mode, at, src, src.Rect(), opacity, lockAlpha); });
}

void DrawImage(
    RGBA32iImage &dst, KXCompositionMode mode, const QPoint &at, const QImage &src, double opacity, bool lockAlpha)
{
    guarded(__LINE__, [&] { drawImage(dst, mode, at, src, src.rect(), opacity, lockAlpha); });
}

void DrawPath(RGBA32iImage &dst, QPainter::CompositionMode mode, const QPainterPath &path, const QPen &pen)
{
    guarded(__LINE__, [&] {
        const QPainterPath ownPath = unshared(path);
        const QPen ownPen = unshared(pen);
        if (!isKnown(mode) || !canStroke(ownPath, ownPen))
            return;
        paintFlat(dst, mode, [&](QPainter &painter) {
            painter.setBrush(Qt::NoBrush);
            painter.setPen(ownPen);
            painter.drawPath(ownPath);
        });
    });
}

void InvertImage(RGBA32iImage &img, unsigned channels)
{
    if (img.IsTiled())
        return;
    const auto bits = [channels](unsigned channel) { return static_cast<unsigned char>(channels & channel ? 255 : 0); };
    const unsigned inverted = OPRGBA32i(bits(4), bits(2), bits(1), bits(8)).word;
    pixels::mapWords(img.Bits(), pixelCount(img), img.Bits(), [inverted](unsigned word) { return word ^ inverted; });
}

void FillPath(
    RGBA32iImage &dst, QPainter::CompositionMode mode, const QPainterPath &path, const QBrush &brush, bool withOutline)
{
    guarded(__LINE__, [&] {
        if (!isKnown(mode) || !isFinite(path))
            return;
        const QPainterPath own = unshared(path);
        const auto paint = [&](QPainter &painter) {
            painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
            painter.fillPath(own, brush);
            if (withOutline) {
                painter.setPen(QPen(brush, 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
                painter.drawPath(own);
            }
        };
        if (dst.IsTiled())
            paintTiles(dst, mode, paint);
        else
            paintFlat(dst, mode, paint);
    });
}

void DrawTextW(RGBA32iImage &dst, QPainter::CompositionMode mode, double opacity, const QRectF &rect,
    const QString &text, const QBrush &brush, const QFont &font, double angle, const QTextOption &option)
{
    guarded(__LINE__, [&] {
        if (!isKnown(mode) || !isFinite(rect) || !std::isfinite(angle))
            return;
        QRectF box = rect;
        const QPointF centre = rect.center();
        if (angle != 0) {
            QTransform turn;
            turn.translate(centre.x(), centre.y());
            turn.rotate(angle);
            turn.translate(-centre.x(), -centre.y());
            box = turn.mapRect(rect);
        }
        paintFlat(dst, mode, [&](QPainter &painter) {
            painter.setFont(font);
            painter.setOpacity(opacity);
            painter.setPen(QPen(brush, 1.0));
            painter.translate(centre);
            painter.rotate(angle);
            painter.translate(-centre);
            painter.drawText(box, text, option);
        });
    });
}
