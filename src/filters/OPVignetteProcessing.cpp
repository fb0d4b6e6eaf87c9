#include "OPVignetteProcessing.h"

#include "color/Walks.h"

#include "FilterFrame.h"
#include "ParamsStream.h"
#include "VignetteFormulas.h"

#include <cmath>
#include <memory>

namespace {

using Params = OPVignetteProcessing::Params;

constexpr filters::StreamSource source { "src\\filters\\OPVignetteProcessing", 506, 492 };
constexpr filters::ParamsStream older(
    "KXVignette 1.00000", "vignette", source, &Params::falloff, &Params::amount, &Params::shape);
constexpr filters::ParamsStream stream(
    "KXVignette 1.00001", "vignette", source, &Params::falloff, &Params::amount, &Params::shape, &Params::color);

/// A stage on a part of the layer: it is called with positions in the part, and adds where that begins in the layer.
template <class Stage>
class OnPart : public Stage {
public:
    OnPart(const Stage &stage, const QPoint &origin)
        : Stage(stage)
        , m_origin(origin)
    {
    }

    using BaseTransformation::operator();
    void operator()(int x, int y, unsigned char *pixels, bool flag) const override
    {
        Stage::operator()(m_origin.x() + x, m_origin.y() + y, pixels, flag);
    }
    void operator()(int x, int y, OPRGBA32i &pixel) const override
    {
        Stage::operator()(m_origin.x() + x, m_origin.y() + y, pixel);
    }

private:
    QPoint m_origin;
};

template <class Stage>
RGBA32iImage tinted(const filters::FilterRun &run, OPVignetteProcessing::VignetteData &data)
{
    const Params &params = data.params;
    const QRect layer = data.image.Rect();
    const Stage stage(layer.width() * 0.5, layer.height() * 0.5, (100.0 - params.amount) * 0.01, params.falloff,
        OPRGBA32i(params.color.rgba()));
    const QPoint origin = data.selectionRect.isEmpty() ? QPoint() : (filters::selectedRect(data) & layer).topLeft();
    return filters::runPasses(run, data, { 0, 0 }, [&](RGBA32iImage &image, const QRect &rect) {
        return filters::AdjustmentWalk(
            color::walkAtPositions, std::make_shared<OnPart<Stage>>(stage, origin), image, rect);
    });
}

} // namespace

KX_FILTER_STREAM_BUT_READ(OPVignetteProcessing, stream)

bool OPVignetteProcessing::Params::Read(QDataStream &from)
{
    const QByteArray signature = stream.ReadSignature(from); // both are equally long
    if (older.IsSignature(signature)) {
        color = Qt::black;
        return older.ReadFields(from, *this);
    }
    return stream.IsSignature(signature) && stream.ReadFields(from, *this);
}

OPVignetteProcessing::OPVignetteProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

OPVignetteProcessing::~OPVignetteProcessing() = default;

RGBA32iImage OPVignetteProcessing::run(VignetteData data)
{
    const filters::FilterRun run(*this, m_cancel);
    switch (data.params.shape) {
    case 0:
        return tinted<Linear>(run, data);
    case 1:
        return tinted<Parabolic>(run, data);
    default:
        return data.image;
    }
}

double OPVignetteProcessing::Distance(double a, double b, double x, double y)
{
    if (x == 0)
        return std::abs(y) - b;
    if (y == 0)
        return std::abs(x) - a;
    return vignette::beyond(vignette::Squares(a, b), x * x, y * y);
}
