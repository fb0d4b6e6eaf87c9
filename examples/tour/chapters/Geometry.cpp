#include "../Pictures.h"
#include "../Sheet.h"

#include <KXResizeImage.h>

#include <QtGui/QPainter>
#include <QtGui/QTransform>

#include <utility>

namespace tour {

namespace {

using catalogue::Kind, catalogue::Operation;

constexpr int closer = 6; ///< a close-up against the picture
constexpr int more = 10; ///< an enlargement
constexpr int less = 16; ///< a reduction
constexpr QSize detailSize(24, 24);

QString titled(const char *what, const Operation &operation)
{
    return QString("%1: %2").arg(what, QString::fromStdString(operation.name));
}

/// A detail with edges in all directions: in the built-in scene the top of a tree.
QPoint detailIn(const QSize &size) { return QPointF(0.068 * size.width(), 0.47 * size.height()).toPoint(); }

RGBA32iImage transformed(
    const RGBA32iImage &source, const Operation &sampler, const QTransform &transform, const QSize &size)
{
    RGBA32iImage own, result(size.width(), size.height(), false); // transparent where the source does not reach
    source.CopyTo(own, false); // where it is reduced to a half or less, a sampler leaves it blurred
    sampler.sample(own, transform, result, QRect());
    return result;
}

RGBA32iImage resized(const RGBA32iImage &source, const Operation &resizing, const QSize &size)
{
    RGBA32iImage result(size.width(), size.height(), false);
    KXResizeImage(source, result, resizing.resizeType);
    return result;
}

/// @p picture with what surrounds @p place in its upper right corner, enlarged. Both are framed.
QImage withCloseUp(QImage picture, const QPoint &place)
{
    QRect detail(QPoint(), detailSize);
    detail.moveCenter(place);
    const QImage large = picture.copy(detail).scaled(detail.size() * closer);
    const QPoint corner(picture.width() - large.width() - 2, 1);
    QPainter painter(&picture);
    painter.setCompositionMode(QPainter::CompositionMode_Source); // transparent pixels show as such
    painter.drawImage(corner, large);
    painter.setPen(Qt::white);
    for (const QRect &frame : { detail, QRect(corner, large.size()) })
        painter.drawRect(frame.adjusted(-1, -1, 0, 0));
    return picture;
}

void addEnlarged(Sheet &sheet, const QImage &picture, const std::atomic<bool> &stop)
{
    QRect detail(QPoint(), sheet.size / more);
    detail.moveCenter(detailIn(sheet.size));
    const RGBA32iImage part = imageOf(picture.copy(detail));
    for (const Operation &resizing : catalogue::operations(Kind::Resizing))
        addTimed(sheet, titled("Enlarged", resizing), QString("a detail, %1 times as large").arg(more), stop,
            [&] { return resized(part, resizing, sheet.size); });
}

void addTransformed(Sheet &sheet, const QImage &picture, const std::atomic<bool> &stop)
{
    const double w = picture.width(), h = picture.height();
    const auto onTheLeft = [&](const QTransform &transform) { // which leaves room for the close-up
        const QRectF around = transform.mapRect(QRectF(0, 0, w, h));
        return transform * QTransform::fromTranslate(-around.left(), (h - around.height()) / 2 - around.top());
    };
    const QPolygonF wall({ { 0, 0.03 * h }, { 0.68 * w, 0.25 * h }, { 0.68 * w, 0.8 * h }, { 0, 0.97 * h } });
    QTransform ontoWall;
    QTransform::squareToQuad(wall, ontoWall);
    const std::pair<const char *, QTransform> transforms[] = {
        { "Rotated", onTheLeft(QTransform::fromScale(0.7, 0.7).rotate(17)) },
        { "Sheared", onTheLeft(QTransform::fromScale(0.75, 0.75).shear(0.3, 0.15)) },
        { "In perspective", QTransform::fromScale(1 / w, 1 / h) * ontoWall }
    };

    const RGBA32iImage source = imageOf(picture);
    for (const auto &transform : transforms)
        for (const Operation &sampler : catalogue::operations(Kind::Sampler)) {
            addTimed(sheet, titled(transform.first, sampler), {}, stop,
                [&] { return transformed(source, sampler, transform.second, sheet.size); });
            QImage &shown = sheet.cells.last().picture;
            shown = withCloseUp(shown, transform.second.map(detailIn(sheet.size)));
        }
}

void addReduced(Sheet &sheet, const QImage &large, const std::atomic<bool> &stop)
{
    const RGBA32iImage source = imageOf(large);
    const QSize size = large.size() / less;
    const auto add = [&](const Operation &operation, const auto &make) {
        addTimed(sheet, titled("Reduced", operation), QString("to a %1th").arg(less), stop, make);
        QImage &shown = sheet.cells.last().picture;
        shown = shown.scaled(sheet.size);
    };
    const Operation nearest = catalogue::operations(Kind::Sampler).front();
    add(nearest, [&] { return transformed(source, nearest, QTransform::fromScale(1.0 / less, 1.0 / less), size); });
    for (const Operation &resizing : catalogue::operations(Kind::Resizing))
        add(resizing, [&] { return resized(source, resizing, size); });
}

} // namespace

Sheet geometrySheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const QImage picture = cellOf(photo, 2); // so that single pixels are small
    Sheet sheet { "geometry", "Rotated, sheared, in perspective, and resized",
        QString("Each sampler on the same photo, with what lies in the small frame %1 times as large. Each way "
                "to resize, and a sampler that only leaves pixels out; here the pixels are shown larger.")
            .arg(closer),
        {}, { { "The photo", {}, picture } }, picture.size(), 3 };
    addEnlarged(sheet, picture, stop);
    addTransformed(sheet, picture, stop);
    addReduced(sheet, cellOf(photo, 6), stop);
    return sheet;
}

} // namespace tour
