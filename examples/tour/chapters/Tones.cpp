#include "../Pictures.h"
#include "../Sheet.h"

#include <KXRGBHistogram.h>
#include <KXWBTransformation.h>
#include <OPCurvesTransformation.h>
#include <OPHistogrammCalculator.h>
#include <OPLevelsTransformation.h>
#include <OPTransformImageColors.h>

#include <QtGui/QPainter>

#include <algorithm>
#include <utility>
#include <vector>

namespace tour {

namespace {

constexpr QSize panel(396, 264);
constexpr int magnification = 6; ///< of what is adjusted, so that the times mean something
constexpr int margin = 8; ///< around a drawing

/// How often each value occurs in each channel of an image.
struct Histogram {
    unsigned red[256] = {}, green[256] = {}, blue[256] = {};

    explicit Histogram(const RGBA32iImage &flat)
    {
        const OPRGBA32i *const pixels = flat.Bits();
        std::for_each(pixels, pixels + qptrdiff(flat.Width()) * flat.Height(), KXRGBHistogram(red, green, blue));
    }
};

/// The range of each channel, stretched to the whole one.
OPLevelsTransformation automaticLevels(const Histogram &histogram)
{
    int input[4][2] = { { 0, 255 } }, output[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    double gammas[4] = { 1, 1, 1, 1 };
    int channel = 1;
    for (const unsigned *const counts : { histogram.red, histogram.green, histogram.blue }) {
        const std::vector<int> ends = OPHistogrammCalculator::Threshold(counts);
        std::copy(ends.begin(), ends.end(), input[channel++]);
    }
    return OPLevelsTransformation(input, output, gammas, 100);
}

/// All hues, from light to dark, above a ramp of greys, behind a warm veil.
QImage chartWithCast(const QSize &size)
{
    QImage picture(size, QImage::Format_ARGB32);
    QRectF hues = picture.rect(), greys = picture.rect();
    hues.setBottom(0.75 * size.height());
    greys.setTop(hues.bottom());
    QLinearGradient around(hues.topLeft(), hues.topRight()), darker(hues.topLeft(), hues.bottomLeft()),
        ramp(greys.topLeft(), greys.topRight());
    for (int hue = 0; hue <= 360; hue += 60)
        around.setColorAt(hue / 360.0, QColor::fromHsv(hue % 360, 130, 240));
    darker.setColorAt(0, Qt::transparent);
    darker.setColorAt(1, QColor(0, 0, 0, 200));
    ramp.setColorAt(0, QColor(10, 10, 10));
    ramp.setColorAt(1, Qt::white);
    QPainter painter(&picture);
    painter.fillRect(hues, around);
    painter.fillRect(hues, darker);
    painter.fillRect(greys, ramp);
    painter.fillRect(picture.rect(), QColor(255, 150, 40, 80));
    return picture;
}

/// Where a value before and a value after lie in a drawing of a panel's size.
QPointF placeOf(double x, double y)
{
    return QPointF(margin + (x + 0.5) * (panel.width() - 2 * margin) / 256,
        panel.height() - margin - (y + 0.5) * (panel.height() - 2 * margin) / 256);
}

/// The three histograms over one another, light where they meet. The tallest bins are cut: a black or white area is one
/// bin that would leave the others flat.
QImage drawn(const Histogram &histogram)
{
    QImage picture(panel, QImage::Format_ARGB32);
    picture.fill(QColor(16, 18, 24));
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QColor(48, 53, 66));
    for (const double at : { -0.5, 63.5, 127.5, 191.5, 255.5 }) {
        painter.drawLine(placeOf(at, -0.5), placeOf(at, 255.5));
        painter.drawLine(placeOf(-0.5, at), placeOf(255.5, at));
    }
    std::vector<unsigned> sorted;
    for (const unsigned *const counts : { histogram.red, histogram.green, histogram.blue })
        sorted.insert(sorted.end(), counts, counts + 256);
    const auto tall = sorted.end() - 12;
    std::nth_element(sorted.begin(), tall, sorted.end());
    const double scale = 240.0 / std::max(*tall, 1u);
    painter.setCompositionMode(QPainter::CompositionMode_Screen);
    painter.setPen(Qt::NoPen);
    for (const auto &[counts, colour] : { std::pair(histogram.red, QColor(210, 60, 60)),
             std::pair(histogram.green, QColor(50, 160, 70)), std::pair(histogram.blue, QColor(60, 90, 220)) }) {
        QPolygonF outline;
        outline << placeOf(-0.5, -0.5);
        for (int i = 0; i < 256; ++i)
            outline << placeOf(i, std::min(counts[i] * scale, 255.0));
        outline << placeOf(255.5, -0.5);
        painter.setBrush(colour);
        painter.drawPolygon(outline);
    }
    return picture;
}

/// The curve through @p points, as the adjustment applies it, over a histogram.
void drawCurve(QImage &picture, const QVector<QPoint> &points)
{
    QVector<double> cubic, quadratic, linear;
    OPCurvesTransformation::BuildSplineParts(points, cubic, quadratic, linear);
    QPolygonF line;
    for (int x = 0; x < 256; ++x) {
        const int y = OPCurvesTransformation::SplineValue(x, points, cubic, quadratic, linear);
        line << placeOf(x, std::clamp(y, 0, 255));
    }
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(130, 138, 152), 1, Qt::DashLine));
    painter.drawLine(placeOf(0, 0), placeOf(255, 255)); // what leaves values as they are
    painter.setPen(QPen(Qt::white, 2.5));
    painter.drawPolyline(line);
    painter.setBrush(QColor(255, 180, 84));
    for (const QPoint &point : points)
        painter.drawEllipse(placeOf(point.x(), point.y()), 5, 5);
}

} // namespace

Sheet tonesSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const RGBA32iImage original = imageOf(cellOf(photo, magnification));
    const RGBA32iImage chart = imageOf(chartWithCast(cellSize * magnification));
    Sheet sheet { "tones", "Histograms, curves and white balance",
        "Automatic levels stretch what each channel makes use of to its whole range. A curve is drawn over the "
        "histogram "
        "of what it acts on. A white balance takes a colour cast off.",
        {}, {}, panel, 5 };
    const auto show = [&](const char *name, const RGBA32iImage &image) { sheet.cells << cell(name, image, panel); };
    const auto adjusted = [&](const char *name, const QString &details, const RGBA32iImage &source,
                              const auto &adjustment) {
        RGBA32iImage image;
        source.CopyTo(image, false);
        addTimed(sheet, name, details, stop, [&] {
            OPIterativeTransformImageColors(adjustment, &image, image.Rect(), stop, {})();
            return image;
        });
        return image;
    };
    const auto draw = [&](const char *name, const QImage &picture) {
        sheet.cells << Sheet::Cell { name, "the tallest bins cut", picture };
    };

    const Histogram before(original);
    QVector<QPoint> curves[4] = { { { 0, 0 }, { 70, 48 }, { 170, 205 }, { 255, 255 } }, { { 0, 0 }, { 255, 255 } },
        { { 0, 0 }, { 255, 255 } }, { { 0, 0 }, { 255, 255 } } };
    show("The photo", original);
    const RGBA32iImage levelled =
        adjusted("Automatic levels", "each channel by itself", original, automaticLevels(before));
    adjusted("Curves", "one S for all channels", original, OPCurvesTransformation(curves, 100));
    show("A chart with a warm cast", chart);
    const RGBA32iImage balanced = adjusted("White balance", "automatic, measured on the chart", chart,
        KXWBTransformation(chart, KXWBTransformation::BalanceFunction::Auto, 100));

    draw("Its histogram", drawn(before));
    draw("Its histogram", drawn(Histogram(levelled)));
    QImage drawing = drawn(before);
    drawCurve(drawing, curves[0]);
    draw("The curve, over the histogram of the photo", drawing);
    draw("Its histogram", drawn(Histogram(chart)));
    draw("Its histogram", drawn(Histogram(balanced)));
    return sheet;
}

} // namespace tour
