#include "OPImagePainter.h"

#include "Suite.h"

#include <QtGui/QPainterPath>

#include <memory>

namespace bench {

namespace {

constexpr auto over = QPainter::CompositionMode_SourceOver;

/// An elliptic ring that covers a third of the picture.
const QPainterPath &ring()
{
    static const QPainterPath path = [] {
        QPainterPath result;
        for (const double radius : { 0.45, 0.3 })
            result.addEllipse(QPointF(width * 0.5, height * 0.5), width * radius, height * radius);
        return result;
    }();
    return path;
}

const QColor colour(230, 120, 40, 180);

QPen pen() { return QPen(colour, 12, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin); }

RGBA32iImage &image(bool isTiled)
{
    static RGBA32iImage flat = flatPicture(canvas), tiled = tiledPicture(canvas);
    return isTiled ? tiled : flat;
}

/// Ours on an image that begins as noise, and QPainter on two of its formats.
void addPainting(Suite &suite, const std::string &name, bool isTiled, const Goal &goal, std::function<void()> ours,
    const std::function<void(QPainter &)> &peer)
{
    suite.addRow(name, goal);
    suite.addOurs(
        name, 9, [isTiled] { writeRows(image(isTiled), canvas); }, std::move(ours));
    for (const Column column : { Column::PainterStraight, Column::PainterPremultiplied })
        addPainter(
            suite, name, column, canvas, [] {}, peer);
}

} // namespace

QImage::Format formatOf(Column painter)
{
    return painter == Column::PainterStraight ? QImage::Format_ARGB32 : QImage::Format_ARGB32_Premultiplied;
}

void addPainter(Suite &suite, const std::string &operation, Column column, Scene under,
    const std::function<void()> &prepare, const std::function<void(QPainter &)> &paint)
{
    struct Pictures {
        QImage destination, pristine;
    };
    const auto pictures = std::make_shared<Pictures>();
    suite.addPeer(
        operation, column, 5,
        [=] {
            prepare();
            if (pictures->pristine.isNull())
                pictures->pristine = paintedPicture(under, formatOf(column));
            pictures->destination = pictures->pristine.copy();
        },
        [=] {
            QPainter painter(&pictures->destination);
            paint(painter);
        });
}

void addPaintings(Suite &suite)
{
    for (const bool isTiled : { false, true })
        addPainting(
            suite, isTiled ? "fill a path in tiles" : "fill a path", isTiled,
            Goal { Column::PainterStraight, {}, isTiled ? 0 : 0.8 },
            [isTiled] { FillPath(image(isTiled), over, ring(), colour, true); },
            [](QPainter &painter) {
                painter.setRenderHint(QPainter::Antialiasing);
                painter.fillPath(ring(), colour);
                painter.strokePath(ring(), QPen(colour, 1, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
            });
    addPainting(
        suite, "stroke a path", false, { Column::PainterStraight, {}, 0.8 },
        [] { DrawPath(image(false), over, ring(), pen()); },
        [](QPainter &painter) { painter.strokePath(ring(), pen()); });
}

} // namespace bench
