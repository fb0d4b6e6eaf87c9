#include "Sheet.h"

#include "Failure.h"
#include "Pictures.h"

#include <QtCore/QElapsedTimer>
#include <QtGui/QPainter>

#include <algorithm>
#include <utility>

namespace tour {

QImage cellOf(const QImage &photo, int magnification)
{
    // Cut first: a photo of one column, scaled as a whole to the width of a cell, would be millions of rows high.
    const QSize kept = cellSize.scaled(photo.size(), Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    const QPoint corner((photo.width() - kept.width()) / 2, (photo.height() - kept.height()) / 2);
    return photo.copy(QRect(corner, kept))
        .scaled(cellSize * magnification, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .convertToFormat(QImage::Format_ARGB32);
}

Sheet::Cell cell(const QString &name, const RGBA32iImage &picture, const QSize &size)
{
    return { name, {}, preview(picture, size) };
}

void addTimed(Sheet &sheet, const QString &name, const QString &details, const std::atomic<bool> &stop,
    const std::function<RGBA32iImage()> &make)
{
    QElapsedTimer timer;
    timer.start();
    const RGBA32iImage picture = make();
    const double milliseconds = double(timer.nsecsElapsed()) / 1e6;
    if (stop)
        throw Stopped();
    sheet.cells << Sheet::Cell { name, details, preview(picture, sheet.size), milliseconds };
}

void addOperations(
    Sheet &sheet, catalogue::Kind kind, const QImage &below, const QImage &above, const std::atomic<bool> &stop)
{
    const catalogue::Watch watch { stop, [](int) {}, [] {} };
    for (const catalogue::Operation &operation : catalogue::operations(kind)) {
        catalogue::Input input;
        input.image = imageOf(below);
        if (!above.isNull())
            input.upper = imageOf(above);
        QString name = QString::fromStdString(operation.name);
        if (kind == catalogue::Kind::Mode)
            name.prepend(QString("%1 ").arg(int(operation.mode)));
        if (operation.mode == KXCompositionMode::FillUnmasked)
            name += ", through a mask";
        const catalogue::Variant &variant = operation.variants.front();
        addTimed(sheet, name, QString::fromStdString(variant.name), stop, [&] { return variant.run(input, watch); });
    }
}

QImage contactSheet(const Sheet &sheet)
{
    constexpr int gap = 8, lineHeight = 17;
    const QVector<Sheet::Cell> cells = sheet.sources + sheet.cells;
    const bool hasDetails =
        std::any_of(cells.begin(), cells.end(), [](const Sheet::Cell &each) { return !each.details.isEmpty(); });
    const int columns = std::min(sheet.columns, int(cells.size()));
    const int rows = (cells.size() + columns - 1) / columns;
    const QSize step = sheet.size + QSize(gap, gap + lineHeight * (hasDetails ? 2 : 1));
    QImage picture(gap + columns * step.width(), gap + rows * step.height(), QImage::Format_RGB32);
    picture.fill(QColor(24, 26, 32));
    QPainter painter(&picture);
    QFont font = painter.font();
    font.setPixelSize(12);
    painter.setFont(font);
    for (int i = 0; i < cells.size(); ++i) {
        const Sheet::Cell &each = cells[i];
        const QPoint corner(gap + i % columns * step.width(), gap + i / columns * step.height());
        painter.drawImage(corner, onCheckerboard(each.picture));
        QRect line(corner + QPoint(0, sheet.size.height()), QSize(sheet.size.width(), lineHeight));
        for (const auto &[text, colour] :
            { std::pair(each.name, QColor(230, 232, 236)), std::pair(each.details, QColor(154, 163, 178)) }) {
            painter.setPen(colour);
            painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter,
                painter.fontMetrics().elidedText(text, Qt::ElideRight, line.width()));
            line.translate(0, lineHeight);
        }
    }
    return picture;
}

} // namespace tour
