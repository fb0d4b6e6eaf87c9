#include "kit/Test.h"

#include "KXComposer.h"
#include "Reference.h"
#include "kit/Images.h"

using reference::Canvas;

namespace {

/// One pixel of a stamp on a stroke, as the header and the formulas tell it.
OPRGBA32i stamped(OPRGBA32i s, OPRGBA32i d, double opacity, double average, double flow)
{
    if (s.a == 0)
        return d;
    const double eps = 2.220446049250313e-16, m = s.a * 0.00392156862745098, applied = m * opacity;
    const auto moved = [applied](int from, int to) { return reference::byte(std::round((from - to) * applied + to)); };
    const double a = d.a * 0.00392156862745098, single = static_cast<float>(a);
    double x = a;
    if (average + eps > opacity) {
        if (average + eps > a)
            x = (average - applied) * (a / average) + applied;
    } else if (opacity + eps > a) {
        x = (opacity - a) * m + a;
    }
    if (flow != 1.0)
        x = (x - single) * flow + single;
    const OPRGBA32i colours = d.a == 0 ? s : OPRGBA32i(moved(s.b, d.b), moved(s.g, d.g), moved(s.r, d.r), 0);
    return reference::withAlpha(colours, reference::Word(std::round(x * 255.0)));
}

} // namespace

class TestBrush : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    void stamps()
    {
        QRandomGenerator random = kit::random();
        for (int round = 0; round < 60; ++round) {
            RGBA32iImage noise = kit::noise(random, { 150, 60 }, false);
            const reference::Side tip { noise, QRect(random.bounded(-20, 40), random.bounded(-20, 20), 140, 55) };
            RGBA32iImage stroke = kit::noise(random, { 260, 140 }, true);
            const QRect rect(random.bounded(-60, 200), random.bounded(-30, 120), 150, 50);
            const bool halfway = round % 5 == 1; // between two bytes, which the rounding to single precision decides
            const double opacity = halfway ? random.bounded(256) / 255.0 : random.generateDouble();
            const double average = halfway ? 0 : round % 4 ? random.generateDouble() : opacity;
            const double flow = halfway ? 0.5 : round % 3 ? random.generateDouble() : 1.0;
            if (round % 7 == 0)
                noise.Fill(0u); // tiles are made private whatever lies over them
            const RGBA32iImage before = stroke;
            Canvas expected(stroke);
            for (int i = 0; i < 260 * 140; ++i)
                if (const QPoint p(i % 260, i / 260); rect.contains(p))
                    if (const auto from = tip.Place(p - rect.topLeft())) {
                        expected.touched.insert(p.y() / 128 * 3 + p.x() / 128);
                        expected.At(p) = stamped(*tip.Stored(*from), expected.At(p), opacity, average, flow);
                    }
            const auto stamp = ConvertImage<RGBA32iImage, QImage>(noise);
            ComposeAlphaDarken(stamp, tip.rect, stroke, rect, opacity, average, flow);
            QCOMPARE(reference::difference(expected, stroke), QString());
            QCOMPARE(reference::tileDifference(expected, before, stroke), QString());
        }
    }

    /// Nothing is done without a picture, and formats are not looked at.
    void stampsOfAnyFormat()
    {
        RGBA32iImage stroke(1, 1, true);
        QImage premultiplied(1, 1, QImage::Format_ARGB32_Premultiplied);
        premultiplied.fill(0xFF102030u);
        ComposeAlphaDarken(QImage(), stroke.Rect(), stroke, stroke.Rect(), 1, 1, 1);
        QVERIFY(stroke.IsFakeTile(0));
        ComposeAlphaDarken(premultiplied, stroke.Rect(), stroke, stroke.Rect(), 1, 1, 1);
        QCOMPARE(Canvas(stroke).At({ 0, 0 }), OPRGBA32i(0xFF102030u));
    }

    /// All pairs of alphas, and rectangles over the edges. Colours stay.
    void dualBrush()
    {
        const auto expectedFor = [](int mode, int s, int d) {
            if (mode == 56)
                return s > 254 ? (d > 0 ? 255 : 0) : d == 0 ? 0 : std::min(d * 255 / (255 - s), 255);
            if (mode == 50)
                return d + s < 255 ? 0 : (d + s + 1) & 255;
            return QList<int> { 13, 15, 16, 19, 54 }.contains(mode) ? int(reference::mixes().at(mode)(s, d)) : d;
        };
        RGBA32iImage over(256, 256, false), under(256, 256, false);
        for (int i = 0; i < 256 * 256; ++i) {
            over.Bits()[i] = OPRGBA32i(unsigned(i % 256) << 24 | 0xABCDEFu);
            under.Bits()[i] = OPRGBA32i(unsigned(i / 256) << 24 | 0x102030u);
        }
        const auto source = ConvertImage<RGBA32iImage, QImage>(over), onto = ConvertImage<RGBA32iImage, QImage>(under);
        for (const int mode : { -1, 0, 13, 15, 16, 18, 19, 48, 50, 54, 56 })
            for (const QPoint &to : { QPoint(0, 0), QPoint(-9, -7), QPoint(13, 5) }) {
                Canvas expected(under);
                for (int i = 0; i < 256 * 256; ++i)
                    if (const QPoint p(i % 256, i / 256); source.rect().contains(p - to))
                        expected.At(p).a = reference::clamped(expectedFor(mode, p.x() - to.x(), p.y()));
                QImage result = onto;
                ComposeDualBrush(source, source.rect(), result, QRect(to, QSize(300, 300)), KXCompositionMode(mode));
                QCOMPARE(reference::difference(expected, result), QString());
            }
        QCOMPARE(reference::difference(Canvas(under), onto), QString()); // what shared it stays
    }

    void functors()
    {
        const OPRGBA32i source(0xC8F0641Eu), destination(0x963CC880u), mask(0x4DFFFFFFu);
        const auto apply = [](const auto &functor, OPRGBA32i s, OPRGBA32i d, auto... masks) {
            functor(s, d, masks...);
            return d.word;
        };
        using namespace OPBlend;
        OPSourceOver<0> over(0);
        over.SetOpacity(128);
        QCOMPARE(apply(over, source, destination), 0xBF9A934Cu); // as mode 0: sa is 100
        QCOMPARE(apply(OPSourceOver<1>(128), source, destination), 0x969A934Cu);
        QCOMPARE(apply(OPSourceOver<0>(256), 0xFF0080FFu, 0xFF404000u), 0xFF0080FFu);
        QCOMPARE(apply(OPSourceOver<0>(256), 0x00FFFFFFu, 0x00112233u), 0u);
        // sa 100, da 150; red ((240 * 105 + 60 * 155) * 255 + 60 * 15000) / 65025 is 149.1
        QCOMPARE(apply(OPDestinationOver<0>(128), source, destination), 0xBF95D077u);
        QCOMPARE(apply(OPDestinationOver<1>(128), source, destination), 0x9695D077u);
        QCOMPARE(apply(OPDestinationOver<0>(256), 0x00FF80FFu, 0x00FFFF01u), 0x00FFFFFFu); // saturated
        QCOMPARE(apply(OPSource<0>(3), source, destination), source.word);
        QCOMPARE(apply(OPSource<1>(3), source, destination), 0x96F0641Eu);
        QCOMPARE(apply(OPSourceAtop<0>(3), source, destination), 0x9676471Eu); // darkens: no opaque destination
        QCOMPARE(apply(OPSourceAtop<1>(3), source, destination), 0x96C97933u);
        QCOMPARE(apply(OPSourceAtopByMask(), source, destination, mask), 0x9666B068u); // by 60
        QCOMPARE(apply(OPSourceByMask(), source, destination, mask), 0xA572A962u);
        QCOMPARE(apply(OPSourceBySelection(), source, destination, mask), 0xA572A962u);
        QCOMPARE(apply(OPSubtractRGBDstBySrc(10), source, destination), 0x96006E6Cu);
        QCOMPARE(apply(OPSubtractRGBSrcByDst(10), source, destination), 0x96BE0000u);
    }
};

KXCORE_TEST_MAIN(TestBrush)
#include "tst_brush.moc"
