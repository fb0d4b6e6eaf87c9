#include "kit/Test.h"

#include "KXComposer.h"
#include "Reference.h"
#include "kit/Images.h"

using kit::Picture, reference::Canvas;

namespace {

/// What @p found must be where a stamp's pixel is laid on a stroke's: the nearest bytes to these real numbers, or
/// either of two that are equally near, as far as single precision can tell.
OPRGBA32i stamped(OPRGBA32i s, OPRGBA32i d, OPRGBA32i found, double opacity, double average, double flow)
{
    if (s.a == 0)
        return d;
    const auto nearest = [](unsigned char byte, double exact) {
        return reference::byte(std::abs(byte - exact) < 0.50001 ? byte : reference::Word(exact + 0.5));
    };
    const double share = s.a * opacity / 255;
    const auto colour = [&](int c) {
        const int from = kit::channel(s, c), to = kit::channel(d, c);
        return nearest(kit::channel(found, c), d.a == 0 ? from : from * share + to * (1 - share));
    };
    // Towards the larger of the two limits, and never back: by the opacity's own share of what the average left over,
    // or by the stamp's share of what is left of the opacity.
    const double missing = average >= opacity ? opacity * (1 - d.a / (255 * average)) : opacity - d.a / 255.0;
    const double alpha = d.a + flow * s.a * std::max(missing, 0.0);
    return kit::pixelOf([&](int c) { return c < 3 ? colour(c) : nearest(found.a, alpha); });
}

} // namespace

class TestBrush : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    /// What decides between two bytes, and numbers that lead out of their range.
    void stampsByHand()
    {
        const struct {
            unsigned stamp, stroke;
            double opacity, average, flow;
            unsigned expected;
        } rows[] = {
            { 0xFF0100FF, 0x64000164, 0.5, 0.5, 1, 0x800101B2 }, // halves go up
            { 0x80C8641E, 0x64F01482, 0.5, 0.8, 1, 0x85E62869 }, // 100 + 64 * (1 - 100 / 204) = 132.6
            { 0x80C8641E, 0x64F01482, 0.8, 0.5, 0.25, 0x71E0345A }, // 100 + (204 - 100) * 128 / 255 / 4 = 113.05
            { 0x80C8641E, 0xDCF01482, 0.8, 0.5, 1, 0xDCE0345A }, // over both limits
            { 0x80C8641E, 0x00010203, 0.5, 0.8, 1, 0x40C8641E }, // nothing there: the stamp's colour
            // Halves but for the last bits: equal strengths go by the average, and flow by single precision.
            { 0x2DFFFFFF, 0x55FFFFFF, 0.5, 0.5, 1, 0x5CFFFFFF }, { 0x33FFFFFF, 0x2DFFFFFF, 0.5, 0.5, 1, 0x3EFFFFFF },
            { 0xFF000000, 0x10000000, 17 / 255.0, 0, 0.5, 0x11000000 },
            { 0xFF000000, 0x0F000000, 18 / 255.0, 0, 0.5, 0x11000000 },
            { 0xFFFF0A00, 0xFF000AFF, 2, 2, 1, 0xFEFE0A01 }, // 510, 10 and -255, and their low bytes
            { 0xFF0000FF, 0x00C80000, 0, 0, 1, 0x000000FF }, // no number
        };
        for (const auto &row : rows) {
            const Picture tip(19, 1, OPRGBA32i(row.stamp)), expected(19, 1, OPRGBA32i(row.expected));
            RGBA32iImage stroke = Picture(19, 1, OPRGBA32i(row.stroke)).image(true);
            const auto stamp = ConvertImage<RGBA32iImage, QImage>(tip.image(false));
            ComposeAlphaDarken(stamp, tip.rect(), stroke, tip.rect(), row.opacity, row.average, row.flow);
            COMPARE_PICTURE(Picture::of(stroke), expected);
        }
    }

    void stamps()
    {
        QRandomGenerator random = kit::random();
        for (int round = 0; round < 60; ++round) {
            RGBA32iImage noise = kit::noise(random, { 150, 60 }, false);
            const reference::Side tip { noise, QRect(random.bounded(-20, 40), random.bounded(-20, 20), 140, 55) };
            RGBA32iImage stroke = kit::noise(random, { 260, 140 }, true);
            const QRect rect(random.bounded(-60, 200), random.bounded(-30, 120), 150, 50);
            const double opacity = random.generateDouble(), average = round % 4 ? random.generateDouble() : opacity;
            const double flow = round % 3 ? random.generateDouble() : 1.0;
            if (round % 7 == 0)
                noise.Fill(0u); // tiles are made private whatever lies over them
            const RGBA32iImage before = stroke;
            const auto stamp = ConvertImage<RGBA32iImage, QImage>(noise);
            ComposeAlphaDarken(stamp, tip.rect, stroke, rect, opacity, average, flow);
            Canvas expected(before);
            const Picture found = Picture::of(stroke);
            for (int i = 0; i < 260 * 140; ++i)
                if (const QPoint p(i % 260, i / 260); rect.contains(p))
                    if (const auto from = tip.Place(p - rect.topLeft())) {
                        expected.touched.insert(p.y() / 128 * 3 + p.x() / 128);
                        expected.At(p) =
                            stamped(*tip.Stored(*from), expected.At(p), found.at(p.x(), p.y()), opacity, average, flow);
                    }
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
