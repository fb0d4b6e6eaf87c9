#include "../Failure.h"
#include "../Pictures.h"
#include "../ProgressBar.h"
#include "../Sheet.h"

#include <KXComposer.h>
#include <KXRefineSelectionProcessing.h>
#include <OPDropShadowProcessing.h>
#include <OPInnerShadowProcessing.h>

#include <QtCore/QtMath>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <cmath>
#include <functional>

namespace tour {

namespace {

using catalogue::Operation;
using Mask = KXRefineSelectionProcessing::KXRefineSelectionResult;

constexpr int magnification = 2; ///< of a cell, so that small reaches are seen
constexpr auto over = KXCompositionMode::SourceOver;

/// The part of @p picture within @p path, with smooth edges.
QImage cutOut(const QImage &picture, const QPainterPath &path)
{
    QImage part(picture.size(), QImage::Format_ARGB32);
    part.fill(Qt::transparent);
    QPainter painter(&part);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(path, QBrush(picture));
    return part;
}

/// A plate with a hole, through which light comes.
QPainterPath plate(const QSize &size)
{
    const double unit = size.height() / 32.0;
    QPainterPath path; // where two parts of it overlap is nothing
    path.addRoundedRect(
        QRectF(QPointF(), size).marginsRemoved({ 5 * unit, 4 * unit, 5 * unit, 4 * unit }), 4 * unit, 4 * unit);
    path.addEllipse(QPointF(0.66 * size.width(), 0.46 * size.height()), 6.5 * unit, 6.5 * unit);
    return path;
}

/// Where a shadow lies against what casts it. The light comes from the angle, counterclockwise from the right.
QPoint awayFromLight(const KXShadowParams &params)
{
    const double angle = qDegreesToRadians(double(params.angle));
    return QPoint(qRound(-std::cos(angle) * params.distance), qRound(std::sin(angle) * params.distance));
}

QString detailsOf(const KXShadowParams &params)
{
    return QString("radius %1, %2 pixels away, %3 %").arg(params.blurRadius).arg(params.distance).arg(params.opacity);
}

/// The shadows of a layer, as an application draws them: a filter makes the shadow, and it is composed with the layer.
class Shadows {
public:
    Shadows(const QImage &picture, const std::atomic<bool> &stop)
        : m_layer(imageOf(cutOut(picture, plate(picture.size()))))
        , m_all(m_layer.Rect())
        , m_stop(stop)
    {
        m_drop.distance = 16;
        m_drop.blurRadius = 12;
        m_inner.distance = 14;
        m_inner.blurRadius = 10;
    }

    QString DropDetails() const { return detailsOf(m_drop); }
    QString InnerDetails() const { return detailsOf(m_inner); }

    /// The shadow lies below the layer.
    RGBA32iImage Drop() const
    {
        OPDropShadowProcessing::DropShadowData data;
        data.image = m_layer;
        data.maskInverted = true; // the layer has no mask: all of it is seen
        data.params = m_drop;
        OPDropShadowProcessing filter(m_stop);
        const RGBA32iImage shadow = withProgress(filter, "Drop shadow", m_stop, [&] { return filter.run(data).image; });

        const QPoint margin(m_drop.blurRadius, m_drop.blurRadius);
        const QRect there = shadow.Rect().translated(awayFromLight(m_drop) - margin);
        RGBA32iImage canvas = Paper();
        Compose(shadow, shadow.Rect(), over, canvas, there, m_drop.opacity / 100.0, false);
        Compose(m_layer, m_all, over, canvas, m_all, fullOpacity, false);
        return canvas;
    }

    /// The shadow lies over the layer, through a mask that is moved away from the light.
    RGBA32iImage Inner() const
    {
        OPInnerShadowProcessing::InnerShadowData data;
        data.image = m_layer;
        data.maskInverted = true;
        data.params = m_inner;
        OPInnerShadowProcessing filter(m_stop);
        const auto shadow = withProgress(filter, "Inner shadow", m_stop, [&] { return filter.run(data); });

        const QRect inMask = m_all.translated(-shadow.origin - awayFromLight(m_inner));
        RGBA32iImage layer, canvas = Paper();
        m_layer.CopyTo(layer, false); // a flat buffer is shared by all copies
        ComposeMaskOn(shadow.color, m_all, over, layer, m_all, m_inner.opacity / 100.0, shadow.shape, inMask, true,
            true); // beyond the mask all is in the shadow; the layer keeps its alpha
        Compose(layer, m_all, over, canvas, m_all, fullOpacity, false);
        return canvas;
    }

private:
    RGBA32iImage Paper() const
    {
        RGBA32iImage paper(m_all.width(), m_all.height(), false);
        paper.Fill(OPRGBA32i(0xFFECE6DAu));
        return paper;
    }

    const RGBA32iImage m_layer;
    const QRect m_all;
    const std::atomic<bool> &m_stop;
    OPDropShadowProcessing::Params m_drop;
    OPInnerShadowProcessing::Params m_inner;
};

/// An ellipse in the middle of a picture, with an edge that was feathered and moved inward.
Mask softEllipse(const QSize &size, const char *label, const std::atomic<bool> &stop)
{
    QImage white(size, QImage::Format_ARGB32);
    white.fill(Qt::white);
    QPainterPath path;
    path.addEllipse(QRectF(QPointF(0.08 * size.width(), 0.08 * size.height()), 0.84 * QSizeF(size)));
    KXRefineSelectionProcessing::RefineSelectionData data;
    data.image = imageOf(cutOut(white, path));
    data.canvas = size;
    data.params.feather = 6;
    data.params.contract = -4;
    KXRefineSelectionProcessing filter(stop);
    return withProgress(filter, label, stop, [&] { return filter.run(data); });
}

/// What is seen of @p image through a mask that lies on a rectangle of it.
RGBA32iImage seenThrough(const Mask &mask, const RGBA32iImage &image)
{
    RGBA32iImage seen(image.Width(), image.Height(), false);
    ComposeMaskOn(
        image, mask.rect, KXCompositionMode::Source, seen, mask.rect, 1.0, mask.image, mask.image.Rect(), false, false);
    return seen;
}

/// The first variant of a filter.
RGBA32iImage filtered(const Operation &operation, const catalogue::Input &input, const std::atomic<bool> &stop)
{
    ProgressBar bar(operation.name);
    std::atomic<int> steps { 0 };
    const RGBA32iImage result = operation.variants.front().run(
        input, { stop, [&bar](int maximum) { bar.setRange(maximum); }, [&] { bar.setValue(++steps); } });
    if (stop)
        throw Stopped();
    return result;
}

} // namespace

Sheet filtersSheet(const QImage &photo, const std::atomic<bool> &stop)
{
    const QImage picture = cellOf(photo, magnification);
    Sheet sheet { "filters", "Every filter",
        "What makes a pixel from those around it, once on the photo, most of them in a selection. A shadow is composed "
        "with its layer, on paper.",
        {}, { { "the photo", {}, picture } } };
    sheet.size = picture.size();
    sheet.columns = 4;

    const Shadows shadows(picture, stop);
    const Mask ellipse = softEllipse(sheet.size, "a selection", stop);
    for (const Operation &operation : catalogue::operations(catalogue::Kind::Filter)) {
        const auto is = [&operation](const char *className) { return operation.className == className; };
        catalogue::Input input;
        input.image = imageOf(picture);
        if (!is("OPVignetteProcessing") && !is("OPDiffuseGlowProcessing")) { // whose effect is on the whole picture
            input.selection = ellipse.image;
            input.selectionRect = ellipse.image.Rect();
            input.selectionOffset = ellipse.rect.topLeft();
        }
        QString details = QString::fromStdString(operation.variants.front().name);
        std::function<RGBA32iImage()> make = [&] { return filtered(operation, input, stop); };
        if (is("OPDropShadowProcessing")) {
            details = shadows.DropDetails();
            make = [&] { return shadows.Drop(); };
        } else if (is("OPInnerShadowProcessing")) {
            details = shadows.InnerDetails();
            make = [&] { return shadows.Inner(); };
        } else if (is("KXRefineSelectionProcessing")) {
            details = "an ellipse: feather 6, 4 pixels inward";
            make = [&] { return seenThrough(softEllipse(sheet.size, "Refine selection", stop), input.image); };
        }
        addTimed(sheet, QString::fromStdString(operation.name), details, stop, make);
    }
    return sheet;
}

} // namespace tour
