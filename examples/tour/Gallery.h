#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QImage>

namespace tour {

/// Every composition mode once, on the same two layers.
struct Gallery {
    struct Entry {
        int mode;
        QString name;
        bool masked; ///< has a masked form only, so it went through a mask
        QImage picture; ///< ARGB32
    };
    QImage below, above; ///< the two layers, ARGB32
    QVector<Entry> entries;
    double milliseconds; ///< all of them together
};

/// The lower layer is cut from @p photo and fades out to the right; the upper one is a fan of colours in a soft disc.
Gallery composeGallery(const QImage &photo);

/// All pictures of the gallery on one sheet, in the order of their modes.
QImage contactSheet(const Gallery &gallery);

} // namespace tour
