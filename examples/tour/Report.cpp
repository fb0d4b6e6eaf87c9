#include "Report.h"

#include "Failure.h"
#include "OutputFolder.h"
#include "QuietErrors.h"

#include <QtCore/QBuffer>
#include <QtCore/QFile>
#include <QtGui/QPainter>

namespace tour {

namespace {

void save(OutputFolder &folder, const QString &name, const QImage &image)
{
    const QuietErrors quiet;
    if (!image.save(folder.fileFor(name), "PNG"))
        throw Failure(QString("cannot write '%1/%2'").arg(folder.path(), name));
}

/// The picture as part of a page: JPEG for photos, as far as Qt has it, and PNG for what is small or has hard edges.
QString embedded(const QImage &image, const char *format = "JPG")
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, format, qstrcmp(format, "JPG") == 0 ? 88 : -1))
        return embedded(image, "PNG");
    return QString("data:image/%1;base64,%2")
        .arg(qstrcmp(format, "JPG") == 0 ? "jpeg" : "png", QString::fromLatin1(bytes.toBase64()));
}

QString milliseconds(double value) { return QString::number(value, 'f', value < 9.995 ? 2 : value < 99.95 ? 1 : 0); }

/// The tile table as a picture, a small square per tile; of large tables one pixel per tile.
QImage tilePicture(const TileMap &map)
{
    const int rows = map.tiles.size() / map.columns, cell = map.tiles.size() <= 1024 ? 9 : 1, gap = cell > 1;
    QImage picture(map.columns * (cell + gap) - gap, rows * (cell + gap) - gap, QImage::Format_ARGB32);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    for (int i = 0; i < map.tiles.size(); ++i) {
        painter.fillRect(
            i % map.columns * (cell + gap), i / map.columns * (cell + gap), cell, cell, colourOf(map.tiles[i]));
    }
    return picture;
}

QString figure(const QString &name, const QImage &image, const QString &more = {}, const QString &style = {})
{
    return QString("<figure%1><img src=\"%2\" alt=\"%3\"><figcaption>%3%4</figcaption></figure>\n")
        .arg(style, embedded(image), name.toHtmlEscaped(), more);
}

QString cellFigure(const Sheet::Cell &cell, const QString &style = {})
{
    QString more;
    if (!cell.details.isEmpty())
        more += "<span>" + cell.details.toHtmlEscaped() + "</span>";
    if (cell.milliseconds > 0)
        more += "<i>" + milliseconds(cell.milliseconds) + " ms</i>";
    return figure(cell.name, onCheckerboard(cell.picture), more, style);
}

QString tileLine(const Step &step)
{
    return QString("<div class=\"tiles\"><img src=\"%1\" alt=\"tiles\"><span>%2</span>"
                   "<span><i class=\"private\"></i><b>%3</b> private</span>"
                   "<span><i class=\"shared\"></i><b>%4</b> shared</span>"
                   "<span><i class=\"fake\"></i><b>%5</b> fake</span></div>\n")
        .arg(embedded(tilePicture(step.tiles), "PNG"), step.layer)
        .arg(step.tiles.count(Tile::Private))
        .arg(step.tiles.count(Tile::Shared))
        .arg(step.tiles.count(Tile::Fake));
}

QString stepCard(int number, const Step &step)
{
    return QString(
        "<section class=\"step\"><header><span class=\"number\">%1</span><h3>%2</h3>"
        "<span class=\"cost\">%3 ms</span></header>\n<p>%4</p>\n<div class=\"pair\">\n%5%6</div>\n%7</section>\n")
        .arg(number)
        .arg(step.title.toHtmlEscaped(), milliseconds(step.milliseconds), step.caption.toHtmlEscaped(),
            figure("before", step.before), figure("after", step.after), tileLine(step));
}

QString chapter(const Sheet &sheet)
{
    QString html = QString("<h2>%1</h2>\n<p>%2</p>\n<div class=\"cells\" style=\"--width: %3px\">\n")
                       .arg(sheet.title, sheet.text)
                       .arg(sheet.size.width() * 5 / 8);
    for (const Sheet::Cell &source : sheet.sources)
        html += cellFigure(source, " class=\"source\"");
    for (const Sheet::Cell &cell : sheet.cells)
        html += cellFigure(cell);
    return html + "</div>\n";
}

QString fact(const QString &name, const QString &value)
{
    return QString("<span>%1 <b>%2</b></span>").arg(name, value.toHtmlEscaped());
}

} // namespace

void writeReport(OutputFolder &folder, const Summary &summary, const QVector<Step> &steps, const QImage &result,
    const QVector<Sheet> &sheets)
{
    QString cards, chapters;
    for (int i = 0; i < steps.size(); ++i) {
        cards += stepCard(i + 1, steps[i]);
        save(folder, QString("step-%1-before.png").arg(i + 1, 2, 10, QChar('0')), steps[i].before);
        save(folder, QString("step-%1-after.png").arg(i + 1, 2, 10, QChar('0')), steps[i].after);
    }
    for (const Sheet &sheet : sheets) {
        chapters += chapter(sheet);
        save(folder, sheet.file + ".png", contactSheet(sheet));
    }
    save(folder, "result.png", result);

    QFile page(":/tour/page.html");
    page.open(QIODevice::ReadOnly);
    QString html = QString::fromUtf8(page.readAll());
    html.replace("{{before}}", embedded(steps.first().after));
    html.replace("{{after}}", embedded(steps.last().after));
    html.replace("{{steps}}", cards);
    html.replace("{{chapters}}", chapters);
    html.replace("{{facts}}", // last, as a photo may be called like one of the places
        fact("photo", summary.photo)
            + fact("pixels", QString("%1 × %2").arg(summary.size.width()).arg(summary.size.height()))
            + fact("kernels", summary.module ? "AVX2 module" : "plain code")
            + fact("redraw of all layers", milliseconds(steps.last().milliseconds) + " ms"));
    QFile file(folder.fileFor("index.html"));
    const QByteArray bytes = html.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
        throw Failure(QString("cannot write '%1/index.html'").arg(folder.path()));
}

} // namespace tour
