#include "../../TextTool.h"
#include "../Pictures.h"
#include "../Sheet.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <cmath>
#include <utility>

namespace tour {

namespace {

constexpr int larger = 4; ///< the layer of shapes against its picture

QFont font(int pixels)
{
    QFont result("DejaVu Serif");
    result.setPixelSize(pixels);
    return result;
}

/// A text in a box in the middle of a picture, with the caret at its end.
TextTool inBox(const QSize &picture, const QSize &box, int fontSize, const QString &text,
    const QList<TextParagraphParams> &paragraphs)
{
    TextTool tool(font(fontSize), box, paragraphs);
    const int x = (picture.width() - box.width()) / 2, y = (picture.height() - box.height()) / 2;
    tool.place(QTransform::fromTranslate(x, y));
    tool.type(text);
    return tool;
}

TextTool letterInBox(const QSize &picture)
{
    TextParagraphParams title, story, quote, place;
    title.alignment = OPTextHelper::Centre;
    title.spaceAfter = 18;
    story.firstLineIndent = 36;
    quote.spaceBefore = 12;
    quote.leftIndent = 50;
    quote.rightIndent = -50; // moves the lines as far again, and makes them shorter
    quote.spaceAfter = 6;
    place.alignment = OPTextHelper::Right;
    place.spaceBefore = 22;
    return inBox(picture, picture - QSize(72, 56), 20,
        "Dusk\nThe lights across the lake come on one after the other, and each of them stands twice in the water.\n"
        "Nobody has counted them; they do not keep still for it.\nFrom a letter, in October",
        { title, story, quote, place });
}

TextTool linesInBox(const QSize &picture)
{
    TextParagraphParams centred;
    centred.alignment = OPTextHelper::Centre;
    return inBox(
        picture, QSize(360, 180), 46, "Lights across\nthe lake come\non at dusk", { centred, centred, centred });
}

/// The text on paper, with its box.
void addPage(Sheet &sheet, TextTool &tool, const QString &name, const QString &details, const std::atomic<bool> &stop)
{
    addTimed(sheet, name, details, stop, [&] {
        RGBA32iImage paper(sheet.size.width(), sheet.size.height(), false);
        paper.Fill(OPRGBA32i(0xFFFAF6ECu));
        tool.draw(paper, QColor(38, 44, 66), KXCompositionMode::SourceOver);
        return paper;
    });
    QPainter painter(&sheet.cells.last().picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.strokePath(tool.box(), QPen(QColor(150, 150, 160), 1, Qt::DashLine));
}

/// The same, edited: what lies between two clicks is selected, and the caret is at the second one.
void addEdited(Sheet &sheet, TextTool &tool, const QString &name, const QPointF &from, const QPointF &to,
    const std::atomic<bool> &stop)
{
    addPage(sheet, tool, name, "selected from click to click; the caret, and the underline", stop);
    tool.click(from, false);
    tool.click(to, true);
    QPainter painter(&sheet.cells.last().picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(tool.selection(), QColor(70, 130, 230, 90));
    painter.strokePath(tool.underline(), QPen(QColor(226, 140, 40), 1.5));
    painter.strokePath(tool.caret(), QPen(QColor(210, 30, 50), 2));
}

void addTexts(Sheet &sheet, const std::atomic<bool> &stop)
{
    const double w = sheet.size.width(), h = sheet.size.height();
    TextTool letter = letterInBox(sheet.size);
    addPage(sheet, letter, "Paragraphs in a box", "alignment, indents and spacing of each its own", stop);
    addEdited(sheet, letter, "Edited", QPointF(0.45 * w, 0.42 * h), QPointF(0.52 * w, 0.66 * h), stop);

    TextTool lines = linesInBox(sheet.size);
    const std::pair<const char *, TextTool::Deformation> deformations[] = {
        { "A wave along the lines", { 110 } },
        { "A wave down the lines", { 40, Qt::Vertical } },
        { "Sheared to the right", { 0, Qt::Horizontal, 45 } },
        { "Sheared to the bottom", { 0, Qt::Horizontal, 0, 25 } },
    };
    for (const auto &[name, deformation] : deformations) {
        lines.deform(deformation);
        addPage(sheet, lines, name, {}, stop);
    }
    lines.deform({ 90, Qt::Horizontal, 35, -15 });
    addEdited(sheet, lines, "A wave and both shears", QPointF(0.5 * w, 0.3 * h), QPointF(0.6 * w, 0.65 * h), stop);
}

/// @p picture under a turned title, which changes its colours.
RGBA32iImage titled(const RGBA32iImage &picture)
{
    RGBA32iImage result;
    picture.CopyTo(result, false);
    QFont large = font(picture.Height() * 3 / 8);
    large.setBold(true);
    TextTool tool(large, QSize());
    tool.place(QTransform::fromTranslate(0.1 * picture.Width(), 0.3 * picture.Height()).rotate(-12));
    tool.type("Dusk");
    tool.draw(result, Qt::white, KXCompositionMode::Overlay);
    return result;
}

/// Strokes a path in a tiled layer, by way of a flat image that is as large as the stroke.
void stroke(RGBA32iImage &layer, const QPainterPath &path, const QPen &pen)
{
    const int reach = int(std::ceil(pen.widthF()));
    const QRect area = path.boundingRect().toAlignedRect().adjusted(-reach, -reach, reach, reach);
    RGBA32iImage part(area.width(), area.height(), false);
    DrawPath(part, QPainter::CompositionMode_SourceOver, path.translated(-area.topLeft()), pen);
    DrawImage(layer, KXCompositionMode::SourceOver, area.topLeft(), part, fullOpacity, false);
}

/// The sun, and a paper plane that has come around it.
void drawShapes(RGBA32iImage &layer)
{
    const QTransform scale = QTransform::fromScale(layer.Width() / 480.0, layer.Height() / 320.0);
    QPainterPath sun, left, right, fold, flight;
    sun.addEllipse(QPointF(110, 96), 46, 46);
    left.addPolygon(QPolygonF({ { 420, 130 }, { 312, 132 }, { 348, 158 } }));
    right.addPolygon(QPolygonF({ { 420, 130 }, { 348, 158 }, { 372, 206 } }));
    fold.addPolygon(QPolygonF({ { 420, 130 }, { 348, 158 }, { 350, 186 } }));
    flight.moveTo(40, 290);
    flight.cubicTo(150, 250, 330, 220, 300, 100);
    flight.cubicTo(280, 20, 190, 60, 220, 130);
    flight.cubicTo(236, 168, 290, 176, 340, 164);
    QLinearGradient glow(scale.map(QPointF(110, 50)), scale.map(QPointF(110, 142)));
    glow.setColorAt(0, QColor(255, 226, 120));
    glow.setColorAt(1, QColor(244, 120, 70));
    const std::pair<const QPainterPath *, QBrush> filled[] = { { &sun, glow }, { &left, QColor(250, 250, 255) },
        { &fold, QColor(150, 160, 190) }, { &right, QColor(214, 222, 240) } };
    for (const auto &[path, brush] : filled)
        FillPath(layer, QPainter::CompositionMode_SourceOver, scale.map(*path), brush, true);
    stroke(layer, scale.map(flight), QPen(QColor(255, 255, 255), 10, Qt::DashLine, Qt::FlatCap));
}

/// @p layer under a veil of the colours of its tiles.
Sheet::Cell tileCell(const char *name, const RGBA32iImage &layer, const QSize &size)
{
    const TileMap map = tileMap(layer, {});
    Sheet::Cell result = cell(name, layer, size);
    result.details = QString("%1 tiles private, %2 fake").arg(map.count(Tile::Private)).arg(map.count(Tile::Fake));
    QPainter painter(&result.picture);
    const QSizeF step(double(RGBA32iImage::TileWidth) * size.width() / layer.Width(),
        double(RGBA32iImage::TileHeight) * size.height() / layer.Height());
    for (int i = 0; i < map.tiles.size(); ++i) {
        const int column = i % map.columns, row = i / map.columns;
        const QRectF tile(QPointF(column * step.width(), row * step.height()), step);
        QColor colour = colourOf(map.tiles[i]);
        painter.setPen(colour);
        colour.setAlpha(90);
        painter.setBrush(colour);
        painter.drawRect(tile.adjusted(1, 1, -1, -1));
    }
    return result;
}

} // namespace

Sheet textSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const QImage picture = cellOf(photo, 2); // so that letters are large enough
    Sheet sheet { "text", "Text and shapes",
        "A text in a box, and what an editing view draws over it, which follows when the text is bent. A title that is "
        "laid on the photo in a blend mode. Then shapes in a tiled layer: filling them makes every tile private, and "
        "those that stayed empty can be given back.",
        { { "The photo", {}, picture } }, {}, picture.size(), 3 };
    addTexts(sheet, stop);
    const RGBA32iImage image = imageOf(picture);
    addTimed(sheet, "A turned text, Overlay", "white, on the photo", stop, [&] { return titled(image); });

    RGBA32iImage layer(sheet.size.width() * larger, sheet.size.height() * larger, true);
    addTimed(sheet, "Shapes in a tiled layer", "filled with FillPath, and stroked by way of a flat image", stop, [&] {
        drawShapes(layer);
        return layer;
    });
    sheet.cells << tileCell("Its tiles", layer, sheet.size);
    layer.MakeTransparentTilesFake();
    sheet.cells << tileCell("After MakeTransparentTilesFake", layer, sheet.size);
    return sheet;
}

} // namespace tour
