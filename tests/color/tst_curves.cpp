#include "kit/Test.h"

#include "OPCurvesTransformation.h"

namespace {

using Curve = QVector<QPoint>;

const Curve line { { 0, 0 }, { 255, 255 } };
const Curve bent { { 0, 0 }, { 100, 200 }, { 255, 255 } };
const Curve inner { { 64, 0 }, { 128, 128 }, { 192, 255 } };
const Curve negative { { 0, 255 }, { 128, 127 }, { 255, 0 } };
const Curve diagonal { { INT_MIN, INT_MIN }, { INT_MAX, INT_MAX } };
const Curve peak { { INT_MIN, 0 }, { 5, INT_MAX }, { 6, INT_MIN }, { INT_MAX, INT_MIN } };

struct Parts {
    explicit Parts(const Curve &points) { OPCurvesTransformation::BuildSplineParts(points, cubic, quadratic, linear); }
    QVector<double> cubic { 7 }, quadratic, linear { 7, 7, 7, 7 }; // to be replaced
};

int valueAt(int x, const Curve &points)
{
    const Parts parts(points);
    return OPCurvesTransformation::SplineValue(x, points, parts.cubic, parts.quadratic, parts.linear);
}

KXChannelTables tablesOf(const std::vector<Curve> &four, int amount)
{
    QVector<QPoint> curves[4];
    std::copy(four.begin(), four.end(), curves);
    return OPCurvesTransformation(curves, amount).Tables();
}

} // namespace

class TestCurves : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void values()
    {
        const Curve stairs { { 10, 1 }, { 10, 2 }, { 50, 3 }, { 50, 4 }, { 90, 5 }, { 90, 6 } };
        const struct {
            Curve points;
            std::vector<std::pair<int, int>> values;
        } cases[] = { { bent, { { 50, 112 }, { 150, 246 }, { 200, 260 } } }, { inner, { { 0, -127 }, { 255, 380 } } },
            { { { 10, 20 }, { 30, 60 } }, { { 20, 40 } } },
            { stairs, { { 0, 1 }, { 10, 1 }, { 11, 2 }, { 49, 2 }, { 50, 4 }, { 89, 4 }, { 90, 5 }, { 255, 5 } } },
            { { { 0, 10 }, { 100, 20 }, { 50, 30 }, { 255, 40 } }, { { 200, 30 } } },
            { diagonal, { { INT_MIN, INT_MIN + 1 }, { INT_MAX, INT_MAX } } }, { peak, { { 5, INT_MAX } } },
            { { { 0, 0 }, { 1, 3 } }, { { INT_MAX, INT_MIN } } } }; // does not fit
        for (const auto &[points, values] : cases)
            for (const auto &[x, y] : values)
                QCOMPARE(valueAt(x, points), y);
        for (int x = -300; x < 600; ++x) // 0.5 is added and the sum truncated
            QCOMPARE(valueAt(x, { { 0, 0 }, { 128, 128 }, { 255, 255 } }), x < 0 ? x + 1 : x);
        QCOMPARE(OPCurvesTransformation::SplineValue(5, {}, {}, {}, {}), 0);
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
            const int last = points.size() - 1;
            for (int k = 0; k < last; ++k) {
                const double t = points[k + 1].x() - points[k].x();
                const double y = ((p.cubic[k] * t + p.quadratic[k]) * t + p.linear[k]) * t + points[k].y();
                const double slope = (3 * p.cubic[k] * t + 2 * p.quadratic[k]) * t + p.linear[k];
                const double bend = 3 * p.cubic[k] * t + p.quadratic[k];
                QVERIFY(std::abs(y - points[k + 1].y()) < 1e-9);
                QVERIFY(std::abs(bend - p.quadratic[k + 1]) < 1e-9);
                QVERIFY(k + 1 == last || std::abs(slope - p.linear[k + 1]) < 1e-9);
            }
            QVERIFY(p.quadratic[0] == 0 && p.cubic[last] == 0 && p.quadratic[last] == 0 && p.linear[last] == 0);
        }
    }

    /// The channel's curve, cut, then the master's, then the amount; and each channel has its own.
    void tables()
    {
        // An input, and where the two curves, cut, lead from there; worked out by hand.
        const int cases[][3] = { { 0, 0, 0 }, { 50, 112, 0 }, { 96, 194, 64 }, { 128, 231, 128 }, { 150, 246, 172 },
            { 160, 251, 192 }, { 200, 255, 255 }, { 255, 255, 255 } };
        for (const int amount : { 0, 1, 50, 100, 200, -40 }) { // a result out of range takes its low byte
            const KXChannelTables tables = tablesOf({ negative, bent, line, inner }, amount);
            for (const auto &[i, red, blue] : cases) {
                const auto faded = [amount, from = i](
                                       int to) { return uchar((to * amount + from * (100 - amount)) / 100); };
                const auto at = size_t(i);
                QCOMPARE(tables.r[at], faded(255 - red));
                QCOMPARE(tables.g[at], faded(255 - i));
                QCOMPARE(tables.b[at], faded(255 - blue));
            }
        }
        for (const int amount : { INT_MIN, -1, 101, INT_MAX }) // overflows nothing
            tablesOf({ peak, diagonal, peak, line }, amount);
        QCOMPARE(tablesOf({ diagonal, line, diagonal, line }, 100).g, tablesOf({ line, line, line, line }, 100).g);
    }

    /// A curve of two points gets a third one in the caller's vector, and nothing but that.
    void middles()
    {
        const Curve cases[] = { { { 0, 0 }, { 128, 128 }, { 255, 255 } }, { { 0, 0 }, { 2, 1 }, { 3, 1 } },
            { { -3, 4 }, { -1, -2 }, { 0, -9 } }, // halves go up
            Curve(3, { INT_MIN, INT_MIN }), Curve(3, { INT_MAX, INT_MAX }) };
        for (const Curve &three : cases) {
            const Curve ends { three[0], three[2] };
            QVector<QPoint> curves[4] = { ends, bent, ends, ends };
            const OPCurvesTransformation adjustment(curves, 70);
            QVERIFY(curves[0] == three && curves[1] == bent && curves[2] == three && curves[3] == three);
            QCOMPARE(adjustment.Tables().b, tablesOf({ three, bent, three, three }, 70).b);
        }
    }

#ifdef QT_NO_DEBUG // a debug build asserts
    void tooFewPoints()
    {
        const KXChannelTables tables = tablesOf({ {}, { { 9, 200 } }, negative, {} }, 100);
        for (size_t i = 0; i < 256; ++i)
            QVERIFY(tables.r[i] == i && tables.g[i] == 255 - i && tables.b[i] == i);
        QVERIFY(valueAt(100, { { 7, 9 } }) == 9 && valueAt(100, {}) == 0);
    }
#endif

    void example()
    {
#include "OPCurvesTransformation-1.inc"

        OPRGBA32i pixels[] = { 0x01404040u, 0x01C0C0C0u };
        contrast(pixels[0]);
        OPIterativeCurvesTransformation indexed(curves, 100);
        indexed.SetProcessingBuffer(pixels);
        indexed(1);
        QVERIFY(pixels[0].word == 0x01303030u && pixels[1].word == 0x01D2D2D2u);
    }
};

KXCORE_TEST_MAIN(TestCurves)
#include "tst_curves.moc"
