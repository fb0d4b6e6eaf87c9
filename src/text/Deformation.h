#pragma once

#include "support/Arithmetic.h"

#include <QtCore/QPointF>
#include <QtCore/QRect>
#include <QtCore/QRectF>
#include <QtGui/QPainterPath>
#include <QtGui/QPolygonF>
#include <QtGui/QTransform>
#include <QtGui/QVector2D>

#include <algorithm>
#include <cmath>

/// Paths as polygons, cut into short pieces, and bent: the wave and the shear.
namespace text {

/// The corners of a rectangle, rounded.
inline QRect rounded(const QRectF &rect)
{
    using arithmetic::roundHalfUp, arithmetic::wrappingSubtract;
    return QRect(QPoint(roundHalfUp(rect.x()), roundHalfUp(rect.y())),
        QPoint(wrappingSubtract(roundHalfUp(rect.x() + rect.width()), 1),
            wrappingSubtract(roundHalfUp(rect.y() + rect.height()), 1)));
}

inline QPoint rounded(const QPointF &point)
{
    return QPoint(arithmetic::roundHalfUp(point.x()), arithmetic::roundHalfUp(point.y()));
}

inline QTransform stretch(int horizontalPercent, int verticalPercent)
{
    return QTransform::fromScale(horizontalPercent * 0.01, verticalPercent * 0.01);
}

/// Adds the outlines of @p path, mapped, as polygons.
inline void addPolygons(const QPainterPath &path, const QTransform &transform, QPainterPath &polygons)
{
    for (const QPolygonF &polygon : path.toSubpathPolygons(transform))
        polygons.addPolygon(polygon);
}
inline QPainterPath mapped(const QPainterPath &path, const QTransform &transform)
{
    QPainterPath polygons;
    addPolygons(path, transform, polygons);
    return polygons;
}

/// How many pieces @c cut makes of a path at most, besides the edges that it has.
constexpr int mostPieces = 1 << 22;

/// The longest piece to cut polygons into: @p longest, or more where that would give too many pieces.
inline float longestPiece(const QList<QPolygonF> &polygons, float longest)
{
    double length = 0;
    for (const QPolygonF &polygon : polygons)
        for (int i = 1; i < polygon.size(); ++i)
            if (const float edge = QVector2D(polygon[i] - polygon[i - 1]).length(); std::isfinite(edge))
                length += double(edge);
    return std::max(longest, float(length / mostPieces));
}

/// The outlines as polygons, of which each edge above @p longest is cut into pieces of that length, the last one up to
/// twice as long: so many that a bent path looks bent. With 0 or less nothing is cut.
inline QPainterPath cut(const QPainterPath &path, float longest)
{
    const QList<QPolygonF> polygons = path.toSubpathPolygons(QTransform());
    if (longest > 0)
        longest = longestPiece(polygons, longest);
    QPainterPath result;
    for (const QPolygonF &polygon : polygons) {
        QPolygonF pieces;
        for (int i = 0; i < polygon.size(); ++i) {
            const QVector2D edge(i > 0 ? polygon[i] - polygon[i - 1] : QPointF());
            const float length = edge.length();
            if (longest > 0 && length > longest && std::isfinite(length)) {
                const QPointF step = (edge.normalized() * longest).toPointF();
                QPointF point = polygon[i - 1];
                for (int n = arithmetic::truncate(length / longest); n > 1; --n)
                    pieces << (point += step);
            }
            pieces << polygon[i];
        }
        result.addPolygon(pieces);
    }
    return result;
}

/// Moves each element to where @p moved(point) says.
template <class Moved>
void moveElements(QPainterPath &path, const Moved &moved)
{
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPointF point = moved(QPointF(path.elementAt(i)));
        path.setElementPositionAt(i, point.x(), point.y());
    }
}

/// A sine wave of one period over twice @p halfSpan, with its zero in @p origin: up to @p height, first upwards or,
/// where it runs down, to the left.
inline void wave(QPainterPath &path, Qt::Orientation along, const QPointF &origin, float halfSpan, double height)
{
    const double frequency = halfSpan == 0 ? 0.0 : M_PI / double(halfSpan);
    moveElements(path, [=](const QPointF &p) {
        return along == Qt::Horizontal ? QPointF(p.x(), p.y() - std::sin((p.x() - origin.x()) * frequency) * height)
                                       : QPointF(p.x() - std::sin((p.y() - origin.y()) * frequency) * height, p.y());
    });
}

/// Which way @c shear moves.
enum ShearFlags { ShearDown = 1, ShearRight = 2 };

/// Moves the corners of a rectangle, given by its half sizes and centre, by a factor of these; what lies between moves
/// by its part. A half size of nothing moves nothing.
inline void shear(QPainterPath &path, int flags, float halfWidth, float halfHeight, float hFactor, float vFactor,
    const QPointF &centre)
{
    constexpr double nothing = 2.220446e-16;
    const bool down = (flags & ShearDown) && std::abs(double(halfWidth)) > nothing;
    const bool right = (flags & ShearRight) && std::abs(double(halfHeight)) > nothing;
    moveElements(path, [=](QPointF p) {
        const QPointF d = p - centre;
        if (down)
            p.ry() += double(hFactor) * d.x() * (d.y() / double(halfWidth));
        if (right)
            p.rx() += double(vFactor) * d.y() * (d.x() / double(halfHeight));
        return p;
    });
}

} // namespace text
