#pragma once

#include <QtGui/QPainterPath>

inline QPainterPath polyline(const QVector<QPointF> &points)
{
    QPainterPath path;
    path.addPolygon(points);
    return path;
}
