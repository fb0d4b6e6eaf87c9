#pragma once

#include "catalogue/Operation.h"

#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QImage>

#include <atomic>
#include <functional>
#include <optional>

namespace tour {

constexpr QSize cellSize(240, 160);

/// Pictures of one kind, side by side: a chapter of the report, and a PNG.
struct Sheet {
    struct Cell {
        QString name;
        QString details; ///< such as parameters; may be empty
        QImage picture; ///< ARGB32, of the sheet's size
        double milliseconds = 0; ///< what it took to make it; 0: not shown
    };

    QString file; ///< without its ending
    QString title, text; ///< what the chapter shows
    QVector<Cell> sources; ///< what the pictures are made of
    QVector<Cell> cells {};
    QSize size = cellSize; ///< of all pictures
    int columns = 7; ///< of the PNG
};

/// The middle of @p photo, in the proportions of a cell and @p magnification times as large as one.
QImage cellOf(const QImage &photo, int magnification = 1);

/// @p picture, averaged down to @p size.
Sheet::Cell cell(const QString &name, const RGBA32iImage &picture, const QSize &size = cellSize);

/// Adds what @p make returns to @p sheet, averaged down to its size, with the time it took. Throws Stopped when @p stop
/// is set.
void addTimed(Sheet &sheet, const QString &name, const QString &details, const std::atomic<bool> &stop,
    const std::function<RGBA32iImage()> &make);

/// Every operation of @p kind once, as its first variant, on @p below and, for modes, under @p above. The pictures are
/// added to @p sheet. Throws Stopped when @p stop is set.
void addOperations(
    Sheet &sheet, catalogue::Kind kind, const QImage &below, const QImage &above, const std::atomic<bool> &stop);

/// All pictures of the sheet with their names, the sources first, in rows, on a checkerboard.
QImage contactSheet(const Sheet &sheet);

// The chapters, one file each.
Sheet modesSheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet adjustmentsSheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet tonesSheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet filtersSheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet geometrySheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet retouchingSheet(const QImage &photo, const std::atomic<bool> &stop);
Sheet textSheet(const QImage &photo, const std::atomic<bool> &stop);
std::optional<Sheet> gpuSheet(const QImage &photo, const std::atomic<bool> &stop); ///< none without OpenGL 3.3

} // namespace tour
