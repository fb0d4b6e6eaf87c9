#include "Sheet.h"

#include "Failure.h"
#include "Pictures.h"

#include <KXConverter.h>

#include <QtCore/QElapsedTimer>
#include <QtGui/QPainter>

namespace tour {

QImage cellOf(const QImage &photo)
{
    // Cut first: a photo of one column, scaled as a whole to the width of a cell, would be millions of rows high.
    const QSize kept = cellSize.scaled(photo.size(), Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    const QPoint corner((photo.width() - kept.width()) / 2, (photo.height() - kept.height()) / 2);
    return photo.copy(QRect(corner, kept))
        .scaled(cellSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .convertToFormat(QImage::Format_ARGB32);
}

void addOperations(
    Sheet &sheet, catalogue::Kind kind, const QImage &below, const QImage &above, const std::atomic<bool> &stop)
{
    const auto image = [](const QImage &picture) { return ConvertImage<QImage, RGBA32iImage>(picture); };
    const catalogue::Watch watch { stop, [](int) {}, [] {} };
    for (const catalogue::Operation &operation : catalogue::operations(kind)) {
        const catalogue::Variant &variant = operation.variants.front();
        catalogue::Input input;
        input.image = image(below);
        if (!above.isNull())
            input.upper = image(above);
        QElapsedTimer timer;
        timer.start();
        const RGBA32iImage result = variant.run(input, watch);
        sheet.milliseconds += double(timer.nsecsElapsed()) / 1e6;
        if (stop)
            throw Stopped();
        QString caption = QString::fromStdString(operation.name);
        if (kind == catalogue::Kind::Mode)
            caption.prepend(QString("%1 ").arg(int(operation.mode)));
        if (operation.mode == KXCompositionMode::FillUnmasked)
            caption += ", through a mask";
        if (!variant.name.empty())
            caption += ", " + QString::fromStdString(variant.name);
        sheet.cells << Sheet::Cell { caption, ConvertImage<RGBA32iImage, QImage>(result) };
    }
}

QImage contactSheet(const Sheet &sheet)
{
    const int columns = std::min(7, int(sheet.cells.size())), gap = 6;
    const int rows = (sheet.cells.size() + columns - 1) / columns;
    const QSize step = cellSize + QSize(gap, gap);
    QImage picture(gap + columns * step.width(), gap + rows * step.height(), QImage::Format_RGB32);
    picture.fill(QColor(24, 26, 32));
    QPainter painter(&picture);
    for (int i = 0; i < sheet.cells.size(); ++i)
        painter.drawImage(gap + i % columns * step.width(), gap + i / columns * step.height(),
            onCheckerboard(sheet.cells[i].picture));
    return picture;
}

} // namespace tour
