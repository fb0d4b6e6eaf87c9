#pragma once

#include <QtGui/QImage>

namespace tour {

/// A lake at dusk, drawn with paths and arithmetic (no fonts), for those who bring no photo.
QImage drawScene(const QSize &size);

} // namespace tour
