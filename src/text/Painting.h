#pragma once

#include "KXImage.h"

#include <QtCore/QMap>
#include <QtCore/QRect>
#include <QtGui/QColor>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

namespace text {

/// A path, filled and stroked with one colour, in a flat image of its own: what lies in @p area. An area without width
/// or height gives an image of size 0.
RGBA32iImage paint(
    const QPainterPath &path, const QRect &area, const QColor &color, const QMap<QPainter::RenderHint, bool> &hints);

} // namespace text
