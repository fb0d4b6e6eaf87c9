#include "OPVignetteProcessing.h"

#include "kit/Filters.h"
#include "kit/Kernels.h"

#include <cfloat>
#include <cmath>

using kit::Picture, kit::after;
using Vignette = OPVignetteProcessing;

namespace {

/// What a channel becomes before it is truncated, by the angle of the ray from the centre. Not a number where that
/// leaps and rounding decides.
double mixed(double channel, double color, double dx, double dy, double a, double b, const Vignette::Params &params)
{
    const double angle = std::atan2(dy, dx), inside = std::hypot(std::sin(angle) / b, std::cos(angle) / a);
    const double distance = std::hypot(dx, dy) - 1 / inside, there = distance / params.falloff;
    if (params.falloff == 0 && std::abs(distance) < 1e-9)
        return qQNaN();
    if (distance <= 0)
        return channel;
    const double t = 1 - params.amount / 100.0 * (params.shape == 1 ? there * there : there);
    const double kept = params.falloff == 0 ? 0 : std::max(t, 0.0);
    return channel * kept + color * (1 - kept);
}

} // namespace

class TestVignette : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Every channel lies within a half of what it is to be. The ellipse is that of the layer whatever is selected.
    void pictures()
    {
        for (const QSize size : { QSize(300, 140), QSize(151, 200), QSize(1, 1), QSize(9, 2), QSize(1, 40) })
            for (const int falloff : { 1, 25, 0 })
                for (const int amount : { 100, 40, 0, 170 })
                    for (const int shape : { 0, 1, 2 }) {
                        const Picture before = Picture::random(size.width(), size.height(), 3);
                        const Vignette::Params params { falloff, amount, QColor(250, 128, 3, 7), shape };
                        kit::Watch watch;
                        const Picture all = Picture::of(kit::filtered<Vignette>(kit::onLayer(before), params, watch));
                        check(all, before, params);
                        QCOMPARE(watch.ranges.load(), shape == 2 ? 0 : 1);
                        const KXFilterData part = kit::onLayer(before, QRect(4, -1, 200, 90));
                        const Picture expected = kit::merged(part, all);
                        COMPARE_PICTURE(Picture::of(kit::filtered<Vignette>(part, params)), expected);
                    }
    }

    void singlePixels()
    {
        const OPRGBA32i white(0x70FFFFFFu), color(0xFF0A64C8u);
        const auto same = [](unsigned grey) { return OPRGBA32i(0x70000000u | grey << 16 | grey << 8 | grey); };
        // At (0, 0) the distance is sqrt(8) - 2 = 0.8284: of 255 stay 43.75 in a line, and 79.996 along a parabola.
        QCOMPARE(after(Vignette::Linear(2, 2, 0, 1, 0xFF000000u), white, 0, 0), same(44));
        QCOMPARE(after(Vignette::Parabolic(2, 2, 0, 1, 0xFF000000u), white, 0, 0), same(80));
        // On the axes, 1 and 3 pixels beyond: 3/4 and 1/4 stay of 255, or 15/16 and 7/16.
        QCOMPARE(after(Vignette::Linear(2, 3, 0, 4, 0xFF000000u), white, 2, 7), same(191));
        QCOMPARE(after(Vignette::Linear(2, 3, 0, 4, 0xFF000000u), white, -3, 3), same(64));
        QCOMPARE(after(Vignette::Parabolic(2, 3, 0, 4, 0xFF000000u), white, 2, -1), same(239));
        QCOMPARE(after(Vignette::Parabolic(2, 3, 0, 4, 0xFF000000u), white, 7, 3), same(112));
        // The centre, the ellipse itself, and a center of no coordinates, of which all but the axes is no number.
        for (const QPoint at : { QPoint(2, 3), QPoint(0, 3), QPoint(2, 6) })
            QCOMPARE(after(Vignette::Linear(2, 3, 0, 0, color), white, at.x(), at.y()), white);
        QCOMPARE(after(Vignette::Linear(0, 0, 0, 1, color), white, 3, 4), white);
        QCOMPARE(after(Vignette::Linear(0, 0, 0, 1, color), white, 0, 4), OPRGBA32i(0x700A64C8u));
        // Slopes: -infinity, not a number, infinity (then so is t, and no channel is a number), and a share of 3, for
        // which 200 * 3 - 2 * 200, 120 * 3 - 2 * 100 and 5 * 3 - 2 * 10 = -5 are 200, 160, and -4 with the half.
        QCOMPARE(after(Vignette::Parabolic(2, 2, 0, 0, color), white, 2, 5), OPRGBA32i(0x700A64C8u));
        QCOMPARE(after(Vignette::Linear(2, 2, 1, 0, color), white, 2, 5), OPRGBA32i(0x700A64C8u));
        QCOMPARE(after(Vignette::Linear(2, 2, 2, 0, color), OPRGBA32i(0x70010203u), 2, 5), same(255));
        QCOMPARE(after(Vignette::Linear(2, 2, 3, 1, color), OPRGBA32i(0x700578C8u), 2, 5), OPRGBA32i(0x70FCA0C8u));
        QCOMPARE(Vignette::Distance(5, 2, -9, 0), 4.0);
        QCOMPARE(Vignette::Distance(5, 2, 0, 1), -1.0);
        // The ray goes along (0.6, -0.8), and meets the ellipse where t / 25 squared is a half.
        QCOMPARE(Vignette::Distance(15, 20, 24, -32), 40 - 25 / std::sqrt(2));
    }

    /// Near the ellipse, where the kernel leaves out what it need not look at, and with stages of any kind.
    void blocksOfOddStages()
    {
        SKIP_WITHOUT_MODULE();
        auto random = kit::random();
        const double odd[] = { 0, -7, 0.25, 0.5, 1e-200, 1e9, 1e200, qQNaN(), qInf(), 3, 512, 333.5 };
        for (int round = 0; round < 20000; ++round) {
            const auto any = [&] {
                const int kind = random.bounded(24);
                return kind < 12 ? odd[kind] : random.bounded(1 << (kind - 5)) * 0.5;
            };
            const double a = any(), b = any(), end = random.bounded(3) * 0.5, falloff = random.bounded(4);
            const double angle = random.bounded(6.3), x = a + a * std::cos(angle), y = b + b * std::sin(angle);
            const auto near = [](double v) { return std::abs(v) < 1e8 ? int(v) : 5; };
            const Vignette::Linear linear(a, b, end, falloff, random.generate());
            const Vignette::Parabolic parabolic(a, b, end, falloff, random.generate());
            const KXVignette &stage = round % 2 ? static_cast<const KXVignette &>(linear) : parabolic;
            kit::Line pixels(blocks::length);
            std::generate(pixels.begin(), pixels.end(), [&] { return random.generate(); });
            VERIFY_SAME_AT(kit::blockDifference(stage, pixels, near(x) - random.bounded(blocks::length), near(y)),
                QString("round %1: %2, %3").arg(round).arg(a).arg(b));
        }
    }

    /// From a point of the ellipse a straight way: outwards as far as one likes, inwards as far as the tightest curve's
    /// middle, and the point is the closest one.
    void closestPoints()
    {
        auto random = kit::random();
        for (int round = 0; round < 20000; ++round) {
            const double a = 0.01 + random.bounded(100.0), b = 0.01 + random.bounded(100.0);
            const double angle = random.bounded(6.3), c = std::cos(angle), s = std::sin(angle);
            const double length = std::hypot(b * c, a * s), most = std::max(a, b), least = std::min(a, b);
            const double way = round % 2 ? random.bounded(300.0) : -random.bounded(0.9) * least * least / most;
            const double x = a * c, y = b * s, px = x + way * b * c / length, py = y + way * a * s / length;
            const bool isOrdered = a >= b && px >= 0 && py >= 0;
            const auto found =
                (isOrdered ? Vignette::DistancePointEllipseSpecial : Vignette::DistancePointEllipse)(a, b, px, py);
            const double off =
                std::max({ std::abs(found[0] - std::abs(way)), std::abs(found[1] - x), std::abs(found[2] - y) });
            QVERIFY2(off < 1e-9 * most, qPrintable(QString("%1, %2, %3: %4").arg(a).arg(b).arg(way).arg(off)));
        }
        using Numbers = std::vector<double>;
        QCOMPARE(Vignette::DistancePointEllipse(3, 5, 0, 0), (Numbers { 3, 3, 0 }));
        QCOMPARE(Vignette::DistancePointEllipse(5, 3, -9, 0), (Numbers { 4, -5, 0 }));
        QCOMPARE(Vignette::DistancePointEllipse(5, 3, 0, -1), (Numbers { 2, 0, -3 }));
        QCOMPARE(Vignette::DistancePointEllipse(-5, 4, 1.8, 0)[1], 5.0); // where the closest points meet: 9 / 5
        const Numbers within = Vignette::DistancePointEllipse(5, 4, 0.9, 0); // its x is 25 * 0.9 / 9
        QVERIFY(qFuzzyCompare(within[1], 2.5) && qFuzzyCompare(within[2], 4 * std::sqrt(0.75)));
        QCOMPARE(Vignette::DistancePointEllipse(4, 0, 1, 3), (Numbers { 3, 1, 0 }));
        const double values[] = { 0, 1, -3, 5e-324, DBL_MIN, 1e-60, 1e60, 1e200, -DBL_MAX, DBL_MAX };
        for (const double a : values)
            for (const double b : values)
                for (const double x : values)
                    for (const double y : values)
                        for (const auto &form :
                            { Vignette::DistancePointEllipse, Vignette::DistancePointEllipseSpecial })
                            for (const double number : form(a, b, x, y))
                                QVERIFY(std::isfinite(number));
    }

private:
    static void check(const Picture &after, const Picture &before, const Vignette::Params &params)
    {
        const double a = before.width * 0.5, b = before.height * 0.5, color[] = { 3, 128, 250 };
        for (int y = 0; y < before.height; ++y)
            for (int x = 0; x < before.width; ++x)
                for (int c = 0; c < 4; ++c) {
                    const double old = kit::channel(before.at(x, y), c);
                    const bool stays = c == 3 || params.shape == 2;
                    const double expected = stays ? old : mixed(old, color[c], x - a, y - b, a, b, params);
                    QVERIFY(!(std::abs(kit::channel(after.at(x, y), c) - expected) > 0.5 + 1e-6));
                }
    }
};

KXCORE_TEST_MAIN(TestVignette)
#include "tst_vignette.moc"
