#include "../Failure.h"
#include "../Sheet.h"

#include <KXConverter.h>
#include <KXRGBHistogram.h>
#include <KXWBTransformation.h>
#include <OPCurvesTransformation.h>
#include <OPHistogrammCalculator.h>
#include <OPLevelsTransformation.h>
#include <OPTransformImageColors.h>

#include <QtCore/QElapsedTimer>
#include <QtGui/QPainter>

#include <algorithm>
#include <utility>
#include <vector>

namespace tour {

namespace {

constexpr QSize panel(480, 320);
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
    constexpr int magnification = 6;
    const auto original = ConvertImage<QImage, RGBA32iImage>(cellOf(photo, magnification));
    Sheet sheet { "tones", "Histograms and curves",
        "Automatic levels stretch what each channel makes use of to its whole range, a white balance takes the colour "
        "of the light off. A curve is drawn over the "
        "histogram of what it acts on.",
        {}, {}, panel, 4 };
    const auto adjusted = [&](const char *name, const QString &details, const auto &adjustment) {
        RGBA32iImage image;
        original.CopyTo(image, false);
        QElapsedTimer timer;
        timer.start();
        OPIterativeTransformImageColors(adjustment, &image, image.Rect(), stop, {})();
        sheet.cells << cell(name, image, panel);
        sheet.cells.last().details = details;
        sheet.cells.last().milliseconds = double(timer.nsecsElapsed()) / 1e6;
        if (stop)
            throw Stopped();
        return image;
    };
    const auto draw = [&](const char *name, const QImage &picture) {
        sheet.cells << Sheet::Cell { name, {}, picture };
    };

    const Histogram before(original);
    QVector<QPoint> curves[4] = { { { 0, 0 }, { 70, 48 }, { 170, 205 }, { 255, 255 } }, { { 0, 0 }, { 255, 255 } },
        { { 0, 0 }, { 255, 255 } }, { { 0, 0 }, { 255, 255 } } };
    const OPCurvesTransformation curve(curves, 100);
    sheet.cells << cell("The photo", original, panel);
    const RGBA32iImage levelled = adjusted("Automatic levels", "each channel by itself", automaticLevels(before));
    const RGBA32iImage balanced = adjusted("White balance", "automatic, measured on the photo",
        KXWBTransformation(original, KXWBTransformation::BalanceFunction::Auto, 100));
    adjusted("Curves", "one S for all channels", curve);
    for (const RGBA32iImage &image : { original, levelled, balanced })
        draw("Its histogram", drawn(Histogram(image)));
    QImage drawing = drawn(before);
    drawCurve(drawing, curves[0]);
    draw("The curve, over the histogram of the photo", drawing);
    return sheet;
}

} // namespace tour
