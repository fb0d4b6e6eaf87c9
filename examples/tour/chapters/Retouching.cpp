#include "../Failure.h"
#include "../Pictures.h"
#include "../Sheet.h"

#include <KXComposer.h>
#include <KXConverter.h>
#include <OPFloodFillHelper.h>
#include <OPImageConvolution.h>
#include <OPInpaint.h>
#include <OPInpaintIterative.h>

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

namespace tour {

namespace {

constexpr int closer = 4; ///< the scratch against the picture
const OPRGBA32i tolerance(0xFF282828u); ///< 40 in each colour, anything in alpha
const OPRGBA32i paint(0xFF2FE0C0u);

/// @p picture with all pixels of the seed's colour tinted.
RGBA32iImage selectedByColour(const RGBA32iImage &picture, const QPoint &seed)
{
    RGBA32iImage selection, result;
    OPFloodFillHelper::ColorRangeFill(picture, selection, seed, tolerance, paint, nullptr);
    picture.CopyTo(result, false);
    Compose(selection, selection.Rect(), KXCompositionMode::SourceOver, result, result.Rect(), 0.7, false);
    return result;
}

/// @p picture with those of them painted that are joined to the seed.
RGBA32iImage filled(const RGBA32iImage &picture, const QPoint &seed)
{
    RGBA32iImage marked, result; // the source of a fill gets marks, and copies share pixels
    picture.CopyTo(marked, false);
    picture.CopyTo(result, false);
    OPFloodFillHelper::FloodFill(marked, result, seed, tolerance, paint, nullptr);
    return result;
}

RGBA32iImage embossed(QImage picture)
{
    const double cells[] = { -2, -1, 0, -1, 1, 1, 0, 1, 2 };
    OPImageConvolution(cells, QSize(3, 3))(picture);
    return imageOf(picture);
}

void drawCross(QImage &picture, const QPoint &at)
{
    QPainter painter(&picture);
    painter.setPen(Qt::white);
    painter.drawLine(at - QPoint(7, 0), at + QPoint(7, 0));
    painter.drawLine(at - QPoint(0, 7), at + QPoint(0, 7));
}

/// @p picture while its holes close from their corners, at first as it is.
QVector<QImage> closed(QImage picture)
{
    QVector<QImage> runs;
    do {
        runs << picture;
        OPInpaint fill(picture);
        fill(0);
    } while (picture != runs.last());
    return runs;
}

/// @p image while what @p mask marks is repaired through all stages, at first as it is. Writes into both.
QVector<QImage> repaired(RGBA32iImage image, const RGBA32iImage &mask)
{
    const auto picture = [&image] { return ConvertImage<RGBA32iImage, QImage>(image); };
    QVector<QImage> sweeps { picture() };
    for (int stage = 0; stage < OPInpaintIterative::GetIterationCount(); ++stage) {
        OPInpaintIterative sweep(image, mask, image.Rect(), image.Rect());
        while (sweep())
            sweeps << picture();
        sweep.NextIteration();
    }
    return sweeps;
}

/// @p picture with @p path in one colour, without soft edges.
QImage painted(QImage picture, const QPainterPath &path, const QColor &colour)
{
    QPainter painter(&picture);
    painter.setCompositionMode(QPainter::CompositionMode_Source); // a hole is transparent
    painter.fillPath(path, colour);
    return picture;
}

/// The first and the last of @p pictures and two between, enlarged.
void addStrip(Sheet &sheet, const QString &name, const QString &unit, const QVector<QImage> &pictures)
{
    const int last = pictures.size() - 1;
    sheet.cells << Sheet::Cell { name, "before", pictures[0].scaled(sheet.size) };
    for (int third = 1; third <= 3; ++third)
        sheet.cells << Sheet::Cell { name, QString("after %1 %2 of %3").arg(unit).arg(last * third / 3).arg(last),
            pictures[last * third / 3].scaled(sheet.size) };
}

} // namespace

Sheet retouchingSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const QImage picture = cellOf(photo, 2); // so that single pixels are small
    Sheet sheet { "retouching", "Filled, embossed and repaired",
        "All pixels like the one at the cross, those of them that are joined to it, and a small kernel. Then a scratch "
        "that begins at the upper edge, enlarged: cut out, and closed from its corners by one object of OPInpaint "
        "after the other; and marked in a mask, and repaired sweep by sweep.",
        {}, { { "The photo", {}, picture } }, picture.size(), 4 };
    const double w = picture.width(), h = picture.height();

    const RGBA32iImage image = imageOf(picture);
    const QPoint seed = QPointF(0.4 * w, 0.42 * h).toPoint();
    addTimed(sheet, "Selected by colour", "all pixels like the one at the cross", stop,
        [&] { return selectedByColour(image, seed); });
    addTimed(sheet, "Flood-filled", "what is joined to it", stop, [&] { return filled(image, seed); });
    for (int i = 1; i <= 2; ++i)
        drawCross(sheet.cells[i].picture, seed);
    addTimed(sheet, "Embossed", "a kernel of 3 × 3 cells", stop, [&] { return embossed(picture); });

    const QImage part = picture.copy(QRect(QPointF(0.52 * w, 0.33 * h).toPoint(), sheet.size / closer))
                            .convertToFormat(QImage::Format_RGB32) // so that the scratch is its only hole
                            .convertToFormat(QImage::Format_ARGB32);
    QPainterPath scratch;
    scratch.addPolygon(QPolygonF({ { 62, 0 }, { 68, 0 }, { 61, 52 }, { 58, 52 } }));
    QImage mask(part.size(), QImage::Format_ARGB32);
    mask.fill(Qt::transparent);
    addStrip(sheet, "A hole, closed by OPInpaint", "object", closed(painted(part, scratch, Qt::transparent)));
    addStrip(sheet, "A scratch, repaired by OPInpaintIterative", "sweep",
        repaired(imageOf(painted(part, scratch, Qt::white)), imageOf(painted(mask, scratch, Qt::black))));
    if (stop)
        throw Stopped();
    return sheet;
}

} // namespace tour
