#pragma once

#include "catalogue/Operation.h"

#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QImage>

#include <atomic>

namespace tour {

/// Small pictures of one kind, side by side: a chapter of the report, and a PNG.
struct Sheet {
    struct Cell {
        QString caption;
        QImage picture; ///< ARGB32, of the size cell
    };

    QString file; ///< without its ending
    QString title, text; ///< what the chapter shows
    QVector<Cell> sources; ///< what the pictures are made of
    QVector<Cell> cells;
    double milliseconds = 0; ///< for all cells together
};

constexpr QSize cellSize(240, 160);

/// The middle of @p photo, as large as a cell.
QImage cellOf(const QImage &photo);

/// Every operation of @p kind once, as its first variant, on @p below and, for modes, under @p above. The pictures are
/// added to @p sheet. Throws Stopped when @p stop is set.
void addOperations(
    Sheet &sheet, catalogue::Kind kind, const QImage &below, const QImage &above, const std::atomic<bool> &stop);

/// All pictures of the sheet in rows, on a checkerboard.
QImage contactSheet(const Sheet &sheet);

// The chapters, one file each.
Sheet modesSheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet adjustmentsSheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet filtersSheet(const QImage &photo, const std::atomic<bool> &stop);

} // namespace tour
