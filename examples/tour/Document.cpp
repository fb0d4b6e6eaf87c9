#include "Document.h"

#include "Failure.h"
#include "ProgressBar.h"

#include <KXBlend.h>
#include <KXComposer.h>
#include <OPGaussianBlurProcessing.h>

#include <QtCore/QElapsedTimer>
#include <QtGui/QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace tour {

namespace {

const QSize previewBox(1200, 900);

double since(const QElapsedTimer &timer) { return double(timer.nsecsElapsed()) / 1e6; }

/// 0 below @p from, 1 above @p to, smooth between.
double smoothStep(double from, double to, double v)
{
    const double t = std::clamp((v - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// Sets the pixels of @p area to the colour with the alpha alphaAt(x, y) in 0..1. Tiles outside the area stay as they
/// are.
template <class Alpha>
void cover(RGBA32iImage &image, const QRect &area, const QColor &color, Alpha alphaAt)
{
    const QRect part = area & image.Rect();
    std::vector<OPRGBA32i> row(size_t(std::max(part.width(), 0)));
    for (int y = part.y(); y < part.y() + part.height(); ++y) {
        for (int x = 0; x < part.width(); ++x)
            row[size_t(x)] = OPRGBA32i(uchar(color.blue()), uchar(color.green()), uchar(color.red()),
                uchar(std::lround(255 * alphaAt(part.x() + x, y))));
        image.WriteRow(unsigned(y), unsigned(part.x()), row.data(), unsigned(row.size() * sizeof(OPRGBA32i)));
    }
}

/// Coverage of a disc with an edge one pixel wide, at pixel centres.
double disc(double x, double y, QPointF centre, double radius)
{
    return std::clamp(radius + 0.5 - std::hypot(x + 0.5 - centre.x(), y + 0.5 - centre.y()), 0.0, 1.0);
}

} // namespace

Document::Document(const QImage &photo, const std::atomic<bool> &stop)
    : m_stop(stop)
    , m_input(photo)
    , m_unit(std::min(photo.width(), photo.height()))
{
}

QVector<Step> Document::run()
{
    QVector<Step> steps;
    for (Step (Document::*step)() : { &Document::bringIntoTiles, &Document::select, &Document::blurSelection,
             &Document::paint, &Document::growLayer, &Document::composePaint, &Document::composeMasked,
             &Document::composeGrown, &Document::composeClippingGroup, &Document::composeAll }) {
        steps << (this->*step)();
        std::printf("%9.2f ms  %s\n", steps.last().milliseconds, qPrintable(steps.last().title));
        std::fflush(stdout);
        if (m_stop)
            throw Stopped();
    }
    return steps;
}

Step Document::bringIntoTiles()
{
    Step step { "The photo, in tiles",
        "A layer is a table of tiles, 128 by 128 pixels each; an empty one costs a single tile, whatever its size.", {},
        {}, 0, "photo", {} };
    m_photo = RGBA32iImage(m_input.width(), m_input.height(), true);
    step.before = show(m_photo);
    QElapsedTimer timer;
    timer.start();
    ComposeSource(m_input, m_input.rect(), m_photo, rect());
    step.milliseconds = since(timer);
    step.after = show(m_photo);
    step.tiles = tilesOf(m_photo);
    m_input = QImage();
    return step;
}

Step Document::select()
{
    Step step { "A soft-edged selection",
        "Coverage is the alpha of an image of its own; what lies outside the ellipse (shown red) was never stored.",
        show(m_photo), {}, 0, "selection", {} };
    const QPointF centre(0.5 * rect().width(), 0.93 * rect().height());
    const double rx = 0.72 * rect().width(), ry = 0.46 * rect().height();
    QElapsedTimer timer;
    timer.start();
    m_selection = RGBA32iImage(rect().width(), rect().height(), true);
    m_selected = QRectF(centre.x() - rx, centre.y() - ry, 2 * rx, 2 * ry).toAlignedRect() & rect();
    cover(m_selection, m_selected, Qt::white, [&](int x, int y) {
        return 1 - smoothStep(0.72, 1.0, std::hypot((x + 0.5 - centre.x()) / rx, (y + 0.5 - centre.y()) / ry));
    });
    step.milliseconds = since(timer);

    const QImage coverage = preview(m_selection, previewBox);
    step.after = step.before;
    for (int y = 0; y < coverage.height(); ++y) {
        const QRgb *mask = reinterpret_cast<const QRgb *>(coverage.constScanLine(y));
        QRgb *line = reinterpret_cast<QRgb *>(step.after.scanLine(y));
        for (int x = 0; x < coverage.width(); ++x) {
            const int red = (255 - qAlpha(mask[x])) * 3 / 5, keep = 255 - red;
            line[x] = qRgb((qRed(line[x]) * keep + 226 * red) / 255, (qGreen(line[x]) * keep + 52 * red) / 255,
                (qBlue(line[x]) * keep + 60 * red) / 255);
        }
    }
    step.tiles = tilesOf(m_selection);
    return step;
}

Step Document::blurSelection()
{
    const double sigma = std::clamp(m_unit / 90.0, 1.0, 40.0);
    Step step { "Gaussian blur of the selected area",
        QString("Sigma %1; the copy shares its tiles with the photo until the blurred rows are written back.")
            .arg(sigma, 0, 'f', 1),
        show(m_photo), {}, 0, "blurred copy of the photo", {} };
    QElapsedTimer timer;
    timer.start();
    // Filters work on flat images: their passes down the columns reach nothing else.
    OPGaussianBlurProcessing::BlurData data;
    data.image = RGBA32iImage(rect().width(), rect().height(), false);
    ComposeSource(m_photo, rect(), data.image, rect());
    data.selection = m_selection;
    data.selectionRect = m_selected;
    data.params.sigma = sigma;
    OPGaussianBlurProcessing filter(m_stop);
    const RGBA32iImage blurred = withProgress(filter, "blur", m_stop, [&] { return filter.run(data); });
    m_retouched = m_photo;
    ComposeSource(blurred, m_selected, m_retouched, m_selected);
    step.milliseconds = since(timer);
    step.after = show(m_retouched);
    step.tiles = tilesOf(m_retouched);
    return step;
}

Step Document::paint()
{
    Step step { "A painted layer, mostly empty",
        "Lights painted with a soft brush: only the tiles under a stroke get memory of their own.", {}, {}, 0,
        "painted layer", {} };
    m_paint = RGBA32iImage(rect().width(), rect().height(), true);
    step.before = show(m_paint);
    QElapsedTimer timer;
    timer.start();
    // Fireflies above the lake: each a bright core in a soft glow, scattered along a bend.
    for (int i = 0; i < 18; ++i) {
        const double t = i / 17.0, scatter = std::sin(i * 2.4), r = m_unit * (0.022 + 0.016 * std::fabs(scatter));
        const QPointF centre(rect().width() * (0.36 + 0.42 * t),
            rect().height() * (0.82 - 0.11 * std::sin(t * 3.1) + 0.06 * std::sin(i * 4.1)));
        const int side = int(2 * r) + 2;
        RGBA32iImage dab(side, side, false);
        cover(dab, dab.Rect(), QColor(255, 205 + int(30 * scatter), 120 + int(50 * scatter)), [&](int x, int y) {
            const double d = std::hypot(x + 0.5 - side / 2.0, y + 0.5 - side / 2.0) / r;
            return std::min(1.0, 1.2 * std::exp(-60 * d * d) + 0.45 * std::exp(-5 * d * d))
                * (1 - smoothStep(0.7, 1.0, d));
        });
        const QPoint corner = (centre - QPointF(side, side) / 2).toPoint();
        Compose(dab, dab.Rect(), KXCompositionMode::SourceOver, m_paint, QRect(corner, dab.Rect().size()), fullOpacity,
            false);
    }
    step.milliseconds = since(timer);
    step.after = show(m_paint);
    step.tiles = tilesOf(m_paint);
    return step;
}

Step Document::growLayer()
{
    const double radius = std::max(1.0, m_unit * 0.085);
    const int side = int(std::ceil(2 * radius));
    Step step { "A layer that grows",
        "A moon in a layer as small as itself (dashed); runEx blurs it and grows the layer by the blur's reach.", {},
        {}, 0, "halo, back in tiles", {} };
    m_moonAt = QPoint(int(rect().width() * 0.84), int(rect().height() * 0.20)) - QPoint(side, side) / 2;
    m_moon = RGBA32iImage(side, side, false);
    const QPointF centre(side / 2.0, side / 2.0), shadow(side * 0.31, side * 0.40);
    cover(m_moon, m_moon.Rect(), QColor(255, 247, 224),
        [&](int x, int y) { return disc(x, y, centre, radius - 0.5) * (1 - disc(x, y, shadow, radius * 0.88)); });
    step.before = show(m_moon, m_moonAt);

    OPGaussianBlurProcessing::BlurDataEx data;
    m_moon.CopyTo(data.image, false); // a flat buffer is shared by all copies, and the filter writes into it
    data.params.sigma = std::clamp(m_unit * 0.030, 0.5, 90.0);
    data.region = rect().translated(-m_moonAt);
    data.origin = m_moonAt;
    QElapsedTimer timer;
    timer.start();
    OPGaussianBlurProcessing filter(m_stop);
    const auto grown = withProgress(filter, "grow", m_stop, [&] { return filter.runEx(data); });
    step.milliseconds = since(timer);
    step.after = show(grown.image, grown.origin);

    m_halo = RGBA32iImage(rect().width(), rect().height(), true);
    ComposeSource(grown.image, grown.image.Rect(), m_halo, QRect(grown.origin, grown.image.Rect().size()));
    step.tiles = tilesOf(m_halo);
    return step;
}

void Document::makeGrade()
{
    m_grade = RGBA32iImage(rect().width(), rect().height(), true);
    m_grade.Fill(OPRGBA32i(150, 60, 20, 255));
    m_grade.SetFakeIsContent(true); // the one uniform block is a colour to compose, not emptiness
    m_gradeMask = RGBA32iImage(rect().width(), rect().height(), true);
    const int height = std::max(1, rect().height() * 55 / 100);
    cover(m_gradeMask, QRect(0, 0, rect().width(), height), Qt::white,
        [=](int, int y) { return 1 - smoothStep(0.1, 1.0, (y + 1.0) / height); });
}

void Document::makeLens()
{
    const double radius = std::max(1.0, m_unit * 0.20), rim = std::max(0.5, m_unit * 0.008);
    const int side = int(std::ceil(2 * radius));
    m_lens = QRect(
        QPoint(int(rect().width() * 0.21), int(rect().height() * 0.29)) - QPoint(side, side) / 2, QSize(side, side));
    const QPointF centre = QRectF(m_lens).center();
    m_lensBase = RGBA32iImage(rect().width(), rect().height(), true);
    cover(m_lensBase, m_lens, Qt::white, [&](int x, int y) { return disc(x, y, centre, radius - 0.5); });
    m_lensMask = RGBA32iImage(side, side, false);
    cover(m_lensMask, m_lensMask.Rect(), Qt::white,
        [&](int x, int y) { return disc(x, y, QPointF(side / 2.0, side / 2.0), radius - 0.5 - rim); });

    // The close-up shows the middle right of the photo, three times as large.
    const int sourceSide = std::max(1, side / 3);
    const QRect source(
        QPoint(int(rect().width() * 0.64), int(rect().height() * 0.46)) - QPoint(sourceSide, sourceSide) / 2,
        QSize(sourceSide, sourceSide));
    QImage detail(source.size(), QImage::Format_ARGB32);
    detail.fill(Qt::black);
    ComposeSource(m_photo, source, detail, detail.rect());
    detail = detail.scaled(side, side, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                 .convertToFormat(QImage::Format_ARGB32);
    m_closeUp = RGBA32iImage(side, side, false);
    ComposeSource(detail, detail.rect(), m_closeUp, m_closeUp.Rect());
}

void Document::putPhoto()
{
    m_canvas.Fill(OPRGBA32i());
    Compose(m_retouched, rect(), KXCompositionMode::SourceOver, m_canvas, rect(), fullOpacity, false);
}

void Document::putPaint() { Compose(m_paint, rect(), KXCompositionMode::LinearDodge, m_canvas, rect(), 0.85, false); }

void Document::putGrade()
{
    ComposeMaskOn(
        m_grade, rect(), KXCompositionMode::SoftLight, m_canvas, rect(), 0.8, m_gradeMask, rect(), false, false);
}

void Document::putMoon()
{
    Compose(m_halo, rect(), KXCompositionMode::Screen, m_canvas, rect(), 0.9, false);
    Compose(m_moon, m_moon.Rect(), KXCompositionMode::SourceOver, m_canvas, QRect(m_moonAt, m_moon.Rect().size()),
        fullOpacity, false);
}

void Document::putLens()
{
    Compose(m_lensBase, rect(), KXCompositionMode::SourceOver, m_canvas, rect(), 0.92, false);
    ComposeClippingMaskOn(m_closeUp, m_closeUp.Rect(), KXCompositionMode::SourceOver, m_canvas, m_lens, m_lensBase,
        m_lens, m_lensMask, m_lensMask.Rect(), false, fullOpacity, false);
}

Step Document::composePaint()
{
    m_canvas = RGBA32iImage(rect().width(), rect().height(), false);
    putPhoto();
    return composed("Composing: the painted layer, LinearDodge",
        "Fake tiles are skipped, so an almost empty layer costs almost nothing.", "painted layer", m_paint,
        [this] { putPaint(); });
}

Step Document::composeMasked()
{
    makeGrade();
    return composed("Composing: a layer with a mask, SoftLight",
        "One blue for the whole canvas is one block that all tiles show; its mask fades out towards the horizon.",
        "blue layer", m_grade, [this] { putGrade(); });
}

Step Document::composeGrown()
{
    return composed("Composing: the grown layer, Screen", "The halo, and the moon once more on top of it.", "halo",
        m_halo, [this] { putMoon(); });
}

Step Document::composeClippingGroup()
{
    makeLens();
    return composed("Composing: a clipping group",
        "A close-up shows only where the white disc below it is opaque; the disc's mask keeps the rim free.",
        "base of the group", m_lensBase, [this] { putLens(); });
}

Step Document::composeAll()
{
    Step step = composed("Everything, composed anew", "What a redraw of the whole document onto the same canvas costs.",
        "blurred copy of the photo", m_retouched, [this] {
            putPhoto();
            putPaint();
            putGrade();
            putMoon();
            putLens();
        });
    step.before = show(m_photo);
    return step;
}

template <class Action>
Step Document::composed(
    const QString &title, const QString &caption, const QString &layer, const RGBA32iImage &image, Action action)
{
    Step step { title, caption, show(m_canvas), {}, 0, layer, tilesOf(image) };
    QElapsedTimer timer;
    timer.start();
    action();
    step.milliseconds = since(timer);
    step.after = show(m_canvas);
    return step;
}

QImage Document::show(const RGBA32iImage &image) const { return onCheckerboard(preview(image, previewBox)); }

/// @p part at @p position of the canvas, with its bounds.
QImage Document::show(const RGBA32iImage &part, const QPoint &position) const
{
    const QSize size = fitted(rect().size(), previewBox);
    const double scale = double(size.width()) / rect().width();
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(QColor(34, 38, 58));
    const QRectF bounds(position.x() * scale, position.y() * scale, part.Width() * scale, part.Height() * scale);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(bounds, preview(part, previewBox));
    painter.setPen(QPen(QColor(255, 190, 90), 1.5, Qt::DashLine));
    painter.drawRect(bounds.adjusted(-1, -1, 1, 1));
    return picture;
}

TileMap Document::tilesOf(const RGBA32iImage &image) const
{
    return tileMap(
        image, { &m_photo, &m_retouched, &m_selection, &m_paint, &m_grade, &m_gradeMask, &m_halo, &m_lensBase });
}

} // namespace tour
