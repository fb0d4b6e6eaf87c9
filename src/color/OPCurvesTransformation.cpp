#include "OPCurvesTransformation.h"

#include "Spline.h"
#include "Tables.h"
#include "support/Kernels.h"

namespace {

int middle(int a, int b) { return arithmetic::roundHalfUp((double(a) + double(b)) * 0.5); }

/// What @p curve makes of each value. If it has two points alone, it gets a third one in the middle.
KXChannelTables::Table tableOfCurve(QVector<QPoint> &curve)
{
    Q_ASSERT_X(curve.size() >= 2, "OPCurvesTransformation", "a curve has two points or more");
    if (curve.size() < 2)
        return color::tableOf([](int i) { return i; });
    if (curve.size() == 2) {
        const QPoint first = curve.constFirst(), last = curve.constLast();
        curve.insert(1, QPoint(middle(first.x(), last.x()), middle(first.y(), last.y())));
    }
    QVector<double> cubic, quadratic, linear;
    OPCurvesTransformation::BuildSplineParts(curve, cubic, quadratic, linear);
    return color::tableOf([&](int i) {
        return arithmetic::clamp8(OPCurvesTransformation::SplineValue(i, curve, cubic, quadratic, linear));
    });
}

KXChannelTables curvesTables(QVector<QPoint> *curves, int amount)
{
    const KXChannelTables::Table master = tableOfCurve(curves[0]);
    return color::throughMaster(
        { tableOfCurve(curves[1]), tableOfCurve(curves[2]), tableOfCurve(curves[3]) }, master, amount);
}

} // namespace

std::function<void(const OPCurvesTransformation &, unsigned char *, bool)> OPCurvesTransformation::m_CurvesAVX2;

OPCurvesTransformation::OPCurvesTransformation(QVector<QPoint> *const curves, int amount)
    : KXTableTransformation(curvesTables(curves, amount))
{
    m_HasKernel = kernels::bind(m_CurvesAVX2, KX_SYMBOL(CurvesTransformationAVX2));
}

void OPCurvesTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_CurvesAVX2, *this, pixels, flag);
}

void OPCurvesTransformation::BuildSplineParts(
    const QVector<QPoint> &points, QVector<double> &cubic, QVector<double> &quadratic, QVector<double> &linear)
{
    Q_ASSERT_X(points.size() >= 2, "OPCurvesTransformation", "a curve has two points or more");
    for (QVector<double> *const part : { &cubic, &quadratic, &linear })
        part->fill(0.0, points.size());
    color::buildSpline(points, cubic.data(), quadratic.data(), linear.data());
}

int OPCurvesTransformation::SplineValue(int x, const QVector<QPoint> &points, const QVector<double> &cubic,
    const QVector<double> &quadratic, const QVector<double> &linear)
{
    if (cubic.isEmpty())
        return 0;
    Q_ASSERT(cubic.size() == points.size() && quadratic.size() == points.size() && linear.size() == points.size());
    return color::splineValue(x, points, cubic.constData(), quadratic.constData(), linear.constData());
}
