#include "kit/Test.h"

#include "color/Hsl.h"
#include "color/Spline.h"

#include <QtGui/QColor>

namespace {

struct Parts {
    explicit Parts(const QVector<QPoint> &points)
        : cubic(points.size())
        , quadratic(points.size())
        , linear(points.size())
    {
        color::buildSpline(points, cubic.data(), quadratic.data(), linear.data());
    }
    QVector<double> cubic, quadratic, linear;
};

int valueAt(int x, const QVector<QPoint> &points)
{
    const Parts parts(points);
    return color::splineValue(
        x, points, parts.cubic.constData(), parts.quadratic.constData(), parts.linear.constData());
}

} // namespace

/// What the adjustments of colours are computed with.
class TestColorFormulas : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Every colour, by QColor.
    void toHsl()
    {
        for (unsigned word = 0; word < 1u << 24; ++word) {
            int h = 0, s = 0, l = 0;
            QColor(QRgb(0xFF000000u | word)).getHsl(&h, &s, &l);
            const color::Hsl hsl = color::hslOf(OPRGBA32i(word));
            if (hsl.h != h || hsl.s != s || hsl.l != l)
                QFAIL(qPrintable(
                    QString::asprintf("%06x is %d %d %d, not %d %d %d", word, h, s, l, hsl.h, hsl.s, hsl.l)));
        }
    }

    /// Every hue, saturation and lightness, by QColor, and hues beyond.
    void fromHsl()
    {
        const auto check = [](int h, int s, int l) {
            QColor color;
            color.setHsl(h, s, l, 0x5A);
            return color::pixelOf({ h, s, l }, 0x5A) == OPRGBA32i(color.rgba());
        };
        for (int h = -1; h < 360; ++h)
            for (int s = 0; s < 256; ++s)
                for (int l = 0; l < 256; ++l)
                    if (!check(h, s, l))
                        QFAIL(qPrintable(QString::asprintf("%d, %d, %d", h, s, l)));
        const kit::LogCapture log; // QColor warns
        for (const int h : { 360, 361, 719, 720, 100000, INT_MAX, -2, -360, INT_MIN })
            for (int s = 0; s < 256; s += 15)
                QVERIFY(check(h, s, 100));
    }

    void splines()
    {
        const QVector<QPoint> line { { 0, 0 }, { 128, 128 }, { 255, 255 } },
            bent { { 0, 0 }, { 100, 200 }, { 255, 255 } };
        for (int x = -300; x < 600; ++x)
            QCOMPARE(valueAt(x, line), x < 0 ? x + 1 : x); // 0.5 is added and the sum truncated
        QCOMPARE(valueAt(50, bent), 112);
        QCOMPARE(valueAt(150, bent), 246);
        QCOMPARE(valueAt(200, bent), 260);
        const QVector<QPoint> inner { { 64, 0 }, { 128, 128 }, { 192, 255 } };
        QCOMPARE(valueAt(0, inner), -127);
        QCOMPARE(valueAt(255, inner), 380);
        const QVector<QPoint> pair { { 10, 20 }, { 30, 60 } }, single { { 7, 9 } };
        QCOMPARE(valueAt(20, pair), 40);
        QCOMPARE(valueAt(100, single), 9);
    }

    /// Points with equal or falling x give a staircase. Of two with equal x the later one decides from there on, but
    /// the first pair takes the earlier's y, and the last one's second y is never reached.
    void staircases()
    {
        const QVector<QPoint> steps { { 10, 1 }, { 10, 2 }, { 50, 3 }, { 50, 4 }, { 90, 5 }, { 90, 6 } };
        const std::pair<int, int> expected[] = { { 0, 1 }, { 10, 1 }, { 11, 2 }, { 49, 2 }, { 50, 4 }, { 89, 4 },
            { 90, 5 }, { 255, 5 } };
        for (const auto &[x, y] : expected)
            QCOMPARE(valueAt(x, steps), y);
    }

    /// What makes a natural spline one: it goes through its points, slope and bend are continuous there, and it does
    /// not bend at its ends.
    void naturalSplines()
    {
        QRandomGenerator random = kit::random();
        for (int round = 0; round < 300; ++round) {
            QVector<QPoint> points;
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
        }
    }
};

KXCORE_TEST_MAIN(TestColorFormulas)
#include "tst_colorformulas.moc"
