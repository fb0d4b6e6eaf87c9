#include <KXCore.h>

#include <QtGui/QColorSpace>
#include <QtGui/QPainter>
#include <QtGui/QRadialGradient>

#include <algorithm>
#include <atomic>
#include <functional>
#include <vector>

constexpr double fullOpacity = 255.0 / 256; // 1.0 does not suit mode SourceOver; see docs/behaviour/composition.md

QImage readPhoto(const QString &path) { return QImage(path).convertToFormat(QImage::Format_ARGB32); }

KXCMSProfile profileOf(const QImage &photo)
{
    KXCMSProfile profile;
    profile.Load(photo.colorSpace().iccProfile());
    return profile;
}

RGBA32iImage inTiles(const QImage &picture)
{
    RGBA32iImage layer(picture.width(), picture.height(), true);
    ComposeSource(picture, picture.rect(), layer, layer.Rect());
    layer.MakeTransparentTilesFake(); // of a picture that is empty in parts
    return layer;
}

/// A photo as the canvas of a document, with its profile.
RGBA32iImage canvasOf(const QImage &photo)
{
    RGBA32iImage canvas = inTiles(photo);
    canvas.SetColorProfile(profileOf(photo));
    return canvas;
}

RGBA32iImage flat(const RGBA32iImage &layer)
{
    RGBA32iImage result(layer.Width(), layer.Height(), false); // transparent
    ComposeSource(layer, layer.Rect(), result, result.Rect());
    return result; // a buffer of its own, even if the layer was flat
}

/// What lies in @p area of @p from replaces what lies there in the layer, in whichever storage.
void putBack(const RGBA32iImage &from, const QRect &area, RGBA32iImage &layer)
{
    ComposeSource(from, area, layer, area);
}

QImage picture(const RGBA32iImage &canvas)
{
    QImage result(canvas.Width(), canvas.Height(), QImage::Format_ARGB32);
    result.fill(Qt::transparent); // empty tiles are skipped: without this their pixels would be undefined
    ComposeSource(canvas, canvas.Rect(), result, result.rect());
    return result;
}

RGBA32iImage softEllipse(const QSize &size, const QRect &bounds)
{
    QImage coverage(size, QImage::Format_ARGB32);
    coverage.fill(Qt::transparent);
    QRadialGradient fade(QPointF(0, 0), 1);
    fade.setColorAt(0.7, Qt::white);
    fade.setColorAt(1, Qt::transparent);
    QPainter painter(&coverage);
    painter.translate(QRectF(bounds).center());
    painter.scale(bounds.width() / 2.0, bounds.height() / 2.0);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fade);
    painter.drawEllipse(QPointF(0, 0), 1, 1);
    painter.end();
    return inTiles(coverage);
}

class Warmer : public BaseTransformation {
public:
    explicit Warmer(int amount)
        : m_amount(amount)
    {
    }
    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override // straight colour; alpha stays
    {
        pixel.r = uchar(std::clamp(pixel.r + m_amount, 0, 255));
        pixel.b = uchar(std::clamp(pixel.b - m_amount, 0, 255));
    }

private:
    int m_amount;
};

template <class Adjustment>
void adjustmentLayer(const Adjustment &adjustment, const RGBA32iImage &mask, RGBA32iImage &canvas,
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    RGBA32iImage adjusted;
    canvas.CopyTo(adjusted, false); // pixels of its own: a walk writes shared tiles as they are
    OPIterativeTransformImageColors<Adjustment>(adjustment, &adjusted, adjusted.Rect(), cancel, progress)();
    if (!cancel)
        ComposeMaskOn(adjusted, adjusted.Rect(), KXCompositionMode::SourceOver, canvas, canvas.Rect(), fullOpacity,
            mask, mask.Rect(), false, true);
}

template <class Adjustment>
void drawAdjustmentLayer(Adjustment adjustment, const RGBA32iImage &mask, RGBA32iImage &canvas)
{
    const std::atomic<bool> never { false };
    if (!AVX2LIB::Instance())
        return adjustmentLayer(adjustment, mask, canvas, never, {});
    const RGBA32iImage below = canvas; // shares its tiles until they are written
    ComposeWithTransformationMaskOn(below, below.Rect(), KXCompositionMode::SourceOver, canvas, canvas.Rect(),
        fullOpacity, mask, mask.Rect(), false, &adjustment, true);
}

/// Levels that stretch the tones of each channel of the photo, which is flat, to the whole range.
OPLevelsTransformation automaticLevels(const RGBA32iImage &photo)
{
    unsigned counts[3][256] = {};
    const KXRGBHistogram count(counts[0], counts[1], counts[2]);
    for (const OPRGBA32i *pixel = photo.Bits(), *end = pixel + photo.Width() * photo.Height(); pixel != end; ++pixel)
        count(*pixel);

    int input[4][2] = { { 0, 255 } }; // the master's; the other rows follow
    int output[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    for (int channel = 0; channel < 3; ++channel) {
        const std::vector<int> ends = OPHistogrammCalculator::Threshold(counts[channel]);
        std::copy(ends.begin(), ends.end(), input[channel + 1]);
    }
    double gammas[4] = { 1, 1, 1, 1 };
    return OPLevelsTransformation(input, output, gammas, 100);
}

OPCurvesTransformation curve(const QVector<QPoint> &points)
{
    const QVector<QPoint> straight { { 0, 0 }, { 255, 255 } };
    QVector<QPoint> curves[4] = { points, straight, straight, straight }; // for all channels, red, green, blue
    return OPCurvesTransformation(curves, 100);
}

/// As a dialog draws it, in a square of 256 pixels; x increases from point to point.
QPolygon outline(const QVector<QPoint> &points)
{
    QVector<double> cubic, quadratic, linear;
    OPCurvesTransformation::BuildSplineParts(points, cubic, quadratic, linear);
    QPolygon line;
    for (int x = 0; x < 256; ++x) {
        const int y = OPCurvesTransformation::SplineValue(x, points, cubic, quadratic, linear);
        line << QPoint(x, 255 - std::clamp(y, 0, 255));
    }
    return line;
}

using ShowProgress = std::function<void(int step, int steps)>;

/// Blurs what is selected of the layer. After a cancel the layer stays as it was.
void blurSelected(RGBA32iImage &layer, const RGBA32iImage &selection, double sigma, const std::atomic<bool> &cancel,
    const ShowProgress &show)
{
    OPGaussianBlurProcessing blur(cancel);
    std::atomic<int> steps { 0 };
    QObject::connect(&blur, &OPGaussianBlurProcessing::RangeChanged, [&](int, int maximum) { steps = maximum; });
    QObject::connect(&blur, &OPGaussianBlurProcessing::ProgressChanged, [&](int step) { show(step, steps); });

    OPGaussianBlurProcessing::BlurData data;
    data.image = flat(layer);
    data.selection = selection;
    data.selectionRect = selection.Rect(); // or the bounds of what is selected, which costs less
    data.params.sigma = sigma;
    const RGBA32iImage blurred = blur.run(data);
    if (!cancel)
        putBack(blurred, blurred.Rect(), layer);
}

void convert(RGBA32iImage &canvas, const KXCMSProfile &from, const KXCMSProfile &to, const std::atomic<bool> &cancel,
    const std::function<void()> &progress)
{
    RGBA32iImage converted;
    canvas.CopyTo(converted, false);
    const KXCMSTransform transform(from, to);
    OPIterativeTransformImageColors<KXCMSTransform>(transform, &converted, converted.Rect(), cancel, progress)();
    if (cancel)
        return;
    converted.SetColorProfile(to);
    canvas = converted;
}

bool save(const RGBA32iImage &canvas, const QString &path)
{
    QImage result = picture(canvas);
    const QByteArray profile = canvas.ColorProfile().ToByteArray();
    if (!profile.isEmpty()) // Qt would warn
        result.setColorSpace(QColorSpace::fromIccProfile(profile));
    return result.save(path);
}
