#include "kit/Kernels.h"

#include "OPCurvesTransformation.h"

#include <QtGui/QPainter>

namespace {

using Curve = QVector<QPoint>;

const Curve line { { 0, 0 }, { 255, 255 } };
const Curve bent { { 0, 0 }, { 100, 200 }, { 255, 255 } };
const Curve negative { { 0, 255 }, { 128, 127 }, { 255, 0 } };

struct Parts {
    explicit Parts(const Curve &points) { OPCurvesTransformation::BuildSplineParts(points, cubic, quadratic, linear); }
    QVector<double> cubic { 7 }, quadratic, linear { 7, 7, 7, 7 }; // to be replaced
};

int valueAt(int x, const Curve &points)
{
    const Parts parts(points);
    return OPCurvesTransformation::SplineValue(x, points, parts.cubic, parts.quadratic, parts.linear);
}

/// What curves make of the value @p i of each channel.
OPRGBA32i after(const std::vector<Curve> &four, int amount, int i)
{
    QVector<QPoint> curves[4];
    std::copy(four.begin(), four.end(), curves);
    OPRGBA32i pixel(0x5A000000u | unsigned(i) * 0x010101u);
    OPCurvesTransformation(curves, amount)(pixel);
    return pixel;
}

/// The curve through three points, whose bend in the middle one is three times the difference of the slopes over the
/// distance of the outer ones. As a table has it.
int throughThree(const Curve &p, int i)
{
    using Real = long double;
    const Real h0 = p[1].x() - p[0].x(), h1 = p[2].x() - p[1].x();
    const Real s0 = (p[1].y() - p[0].y()) / h0, s1 = (p[2].y() - p[1].y()) / h1, bend = 3 * (s1 - s0) / (h0 + h1);
    const Real t = i - p[0].x(), u = p[2].x() - i;
    const Real y = i < p[1].x() ? p[0].y() + s0 * t + bend / (6 * h0) * t * (t * t - h0 * h0)
                                : p[2].y() - s1 * u + bend / (6 * h1) * u * (u * u - h1 * h1);
    return qBound(0, int(std::floor(y + 0.5L)), 255);
}

} // namespace

class TestCurves : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void splines()
    {
        const Curve straight { { 0, 0 }, { 128, 128 }, { 255, 255 } };
        for (int x = -300; x < 600; ++x)
            QCOMPARE(valueAt(x, straight), x < 0 ? x + 1 : x); // 0.5 is added and the sum truncated
        QCOMPARE(valueAt(50, bent), 112);
        QCOMPARE(valueAt(150, bent), 246);
        QCOMPARE(valueAt(200, bent), 260);
        const Curve inner { { 64, 0 }, { 128, 128 }, { 192, 255 } };
        QCOMPARE(valueAt(0, inner), -127);
        QCOMPARE(valueAt(255, inner), 380);
        QCOMPARE(valueAt(20, { { 10, 20 }, { 30, 60 } }), 40);
        QCOMPARE(OPCurvesTransformation::SplineValue(5, {}, {}, {}, {}), 0);
    }

    /// Points with equal or falling x give a staircase. Of two with equal x the later one decides from there on, but
    /// the first pair takes the earlier's y, and the last one's second y is never reached.
    void staircases()
    {
        const Curve steps { { 10, 1 }, { 10, 2 }, { 50, 3 }, { 50, 4 }, { 90, 5 }, { 90, 6 } };
        const std::pair<int, int> expected[] = { { 0, 1 }, { 10, 1 }, { 11, 2 }, { 49, 2 }, { 50, 4 }, { 89, 4 },
            { 90, 5 }, { 255, 5 } };
        for (const auto &[x, y] : expected)
            QCOMPARE(valueAt(x, steps), y);
        const Parts parts(steps);
        for (const auto &part : { parts.cubic, parts.quadratic, parts.linear })
            QCOMPARE(part, QVector<double>(6, 0.0));
        QCOMPARE(valueAt(200, { { 0, 10 }, { 100, 20 }, { 50, 30 }, { 255, 40 } }), 30);
    }

    /// What makes a natural spline one: it goes through its points, slope and bend are continuous there, and it does
    /// not bend at its ends.
    void naturalSplines()
    {
        QRandomGenerator random = kit::random();
        for (int round = 0; round < 300; ++round) {
            Curve points;
            for (int x = random.bounded(60); points.size() < 2 || (x < 256 && random.bounded(6));
                 x += random.bounded(1, 60))
                points << QPoint(x, random.bounded(-20, 280));
            const Parts p(points);
            for (int k = 0; k + 1 < points.size(); ++k) {
                const double t = points[k + 1].x() - points[k].x();
                const double y = ((p.cubic[k] * t + p.quadratic[k]) * t + p.linear[k]) * t + points[k].y();
                QVERIFY(std::abs(y - points[k + 1].y()) < 1e-9);
                const double slope = (3 * p.cubic[k] * t + 2 * p.quadratic[k]) * t + p.linear[k];
                const double bend = 3 * p.cubic[k] * t + p.quadratic[k];
                const bool isLast = k + 2 == points.size();
                QVERIFY(std::abs(bend - (isLast ? 0 : p.quadratic[k + 1])) < 1e-9);
                QVERIFY(isLast || std::abs(slope - p.linear[k + 1]) < 1e-9);
            }
            QCOMPARE(p.quadratic[0], 0.0);
            QVERIFY(p.cubic.last() == 0 && p.quadratic.last() == 0 && p.linear.last() == 0);
        }
    }

    /// The channel's curve, cut, then the master's, then the amount; and each channel has its own.
    void tables()
    {
        const Curve inner { { 64, 30 }, { 100, 80 }, { 192, 215 } };
        const auto faded = [](int from, int to, int amount) {
            return uchar((to * amount + from * (100 - amount)) / 100);
        };
        for (const int amount : { 0, 1, 50, 100, 200, -40 })
            for (int i = 0; i < 256; ++i) {
                const int r = throughThree(bent, i), b = throughThree(inner, i);
                QCOMPARE(after({ line, bent, line, inner }, amount, i),
                    OPRGBA32i(faded(i, b, amount), uchar(i), faded(i, r, amount), 0x5A));
                QCOMPARE(after({ negative, bent, line, inner }, amount, i),
                    OPRGBA32i(faded(i, 255 - b, amount), faded(i, 255 - i, amount), faded(i, 255 - r, amount), 0x5A));
            }
        QCOMPARE(after({ negative, bent, line, line }, 100, 200).r, uchar(0)); // 260 counts as 255
    }

    /// A curve of two points gets a third one in the caller's vector, and nothing but that.
    void middles()
    {
        const auto changed = [](const Curve &curve) {
            QVector<QPoint> curves[4] = { bent, line, line, curve };
            const OPCurvesTransformation first(curves, 70);
            const QVector<QPoint> once = curves[3];
            const OPCurvesTransformation second(curves, 70);
            const bool same = curves[0] == bent && curves[3] == once && second.Tables().b == first.Tables().b;
            return same ? once : QVector<QPoint>();
        };
        QCOMPARE(changed(line), Curve({ { 0, 0 }, { 128, 128 }, { 255, 255 } }));
        QCOMPARE(changed({ { -3, 4 }, { 0, -9 } }), Curve({ { -3, 4 }, { -1, -2 }, { 0, -9 } })); // halves go up
        QCOMPARE(changed({ { INT_MIN, INT_MIN }, { INT_MIN, INT_MIN } }), Curve(3, { INT_MIN, INT_MIN }));
        QCOMPARE(changed({ { INT_MAX, INT_MAX }, { INT_MAX, INT_MAX } }), Curve(3, { INT_MAX, INT_MAX }));
        QCOMPARE(changed(bent), bent);
    }

    /// Whatever points and amounts are, nothing overflows.
    void farAway()
    {
        const Curve diagonal { { INT_MIN, INT_MIN }, { INT_MAX, INT_MAX } };
        const Curve peak { { INT_MIN, 0 }, { 5, INT_MAX }, { 6, INT_MIN }, { INT_MAX, INT_MIN } };
        for (const int i : { 0, 5, 255 }) {
            QCOMPARE(
                after({ diagonal, diagonal, line, line }, 100, i), OPRGBA32i(0x5A000000u | unsigned(i) * 0x010101u));
            for (const int amount : { INT_MIN, -1, 101, INT_MAX })
                after({ peak, diagonal, peak, line }, amount, i);
        }
        QCOMPARE(valueAt(INT_MIN, diagonal), INT_MIN + 1);
        QCOMPARE(valueAt(INT_MAX, diagonal), INT_MAX);
        QCOMPARE(valueAt(INT_MAX, { { 0, 0 }, { 1, 3 } }), INT_MIN); // does not fit
        QCOMPARE(valueAt(5, peak), INT_MAX);
    }

#ifdef QT_NO_DEBUG // a debug build asserts
    void tooFewPoints()
    {
        for (const int i : { 0, 1, 77, 255 })
            QCOMPARE(after({ {}, { { 9, 200 } }, negative, {} }, 100, i),
                OPRGBA32i(uchar(i), uchar(255 - i), uchar(i), 0x5A));
        QCOMPARE(valueAt(100, { { 7, 9 } }), 9);
        QCOMPARE(valueAt(100, {}), 0);
    }
#endif

    void examples()
    {
        QImage square(256, 256, QImage::Format_RGB32);
        square.fill(Qt::white);
        QPainter painter(&square);

        const QVector<QPoint> straight { { 0, 0 }, { 255, 255 } };
        const QVector<QPoint> bent { { 0, 0 }, { 64, 48 }, { 192, 210 }, { 255, 255 } };
        QVector<QPoint> curves[4] = { bent, straight, straight, straight };
        const OPCurvesTransformation contrast(curves, 100);

        QVector<double> cubic, quadratic, linear;
        OPCurvesTransformation::BuildSplineParts(curves[0], cubic, quadratic, linear);
        QPolygon line;
        for (int x = 0; x < 256; ++x) {
            const int y = OPCurvesTransformation::SplineValue(x, curves[0], cubic, quadratic, linear);
            line << QPoint(x, 255 - qBound(0, y, 255));
        }
        painter.drawPolyline(line);

        painter.end();
        for (int x = 0; x < 256; ++x) {
            QCOMPARE(line[x], QPoint(x, 255 - contrast.Tables().g[size_t(x)]));
            QCOMPARE(square.pixel(line[x]), 0xFF000000u);
        }
        OPRGBA32i pixels[2] = { 0x01404040u, 0x01C0C0C0u };
        OPIterativeCurvesTransformation indexed(curves, 100);
        indexed.SetProcessingBuffer(pixels);
        indexed(1);
        QVERIFY(pixels[0] == OPRGBA32i(0x01404040u) && pixels[1] == OPRGBA32i(0x01D2D2D2u));
    }
};

KXCORE_TEST_MAIN(TestCurves)
#include "tst_curves.moc"
