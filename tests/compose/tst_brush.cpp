#include "TestSupport.h"

#include "KXComposer.h"
#include "Pictures.h"

#include <cmath>

using pictures::Storage;
using reference::Canvas;

namespace {

/// One pixel of a stamp on a stroke, as the header and the formulas tell it.
OPRGBA32i stamped(OPRGBA32i s, OPRGBA32i d, double opacity, double average, double flow)
{
    if (s.a == 0)
        return d;
    const double eps = 2.220446049250313e-16, m = s.a * 0.00392156862745098, applied = m * opacity;
    OPRGBA32i result = s;
    double a = 0;
    if (d.a != 0) {
        const auto moved = [applied](int from, int to) {
            return static_cast<unsigned char>(std::round((from - to) * applied + to));
        };
        result = { moved(s.b, d.b), moved(s.g, d.g), moved(s.r, d.r), d.a };
        a = d.a * 0.00392156862745098;
    }
    double x = a;
    if (average + eps > opacity) {
        if (average + eps > a)
            x = (average - applied) * (a / average) + applied;
    } else if (opacity + eps > a) {
        x = (opacity - a) * m + a;
    }
    if (flow != 1.0) {
        const double single = static_cast<float>(a);
        x = (x - single) * flow + single;
    }
    result.a = static_cast<unsigned char>(std::round(x * 255.0));
    return result;
}

RGBA32iImage onePixel(OPRGBA32i pixel)
{
    RGBA32iImage image(1, 1, true);
    image.TileData(0, true)[0] = pixel;
    return image;
}

QImage imageOf(OPRGBA32i pixel, int width = 1)
{
    QImage image(width, 1, QImage::Format_ARGB32);
    image.fill(pixel.word);
    return image;
}

} // namespace

Q_DECLARE_METATYPE(OPRGBA32i)

class TestBrush : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }
    void stampByHand_data();
    void stampByHand();
    void stamps();
    void stampsResolveTiles();
    void dualBrushByHand_data();
    void dualBrushByHand();
    void dualBrush_data();
    void dualBrush();
    void functors_data();
    void functors();
    void functorOpacity();
};

void TestBrush::stampByHand_data()
{
    QTest::addColumn<OPRGBA32i>("stamp");
    QTest::addColumn<OPRGBA32i>("stroke");
    QTest::addColumn<double>("opacity");
    QTest::addColumn<double>("average");
    QTest::addColumn<double>("flow");
    QTest::addColumn<OPRGBA32i>("expected");
    const auto row = [](const char *name, OPRGBA32i stamp, OPRGBA32i stroke, double opacity, double average,
                         double flow, OPRGBA32i expected) {
        QTest::newRow(name) << stamp << stroke << opacity << average << flow << expected;
    };
    row("transparent stamp", 0x00FFFFFFu, 0x55112233u, 1, 1, 1, 0x55112233u);
    row("first stamp copies the colour", 0xFF102030u, 0x00FFFFFFu, 0.6, 0, 1, 0x99102030u); // 0.6 * 255 = 153
    row("first stamp, half covered", 0x80102030u, 0u, 0.6, 0, 1, 0x4D102030u); // 128 * 0.6 = 76.8
    // Colours: 200 towards 100 by 0.5 is 150, and 10.5 goes up to 11. Alpha: (0.5 - 0.2) * 1 + 0.2 = 127.5 up to 128.
    row("grows to the opacity", 0xFFC80015u, 0x33640000u, 0.5, 0, 1, 0x8096000Bu);
    row("does not grow beyond it", 0xFF640000u, 0xC8640000u, 0.5, 0, 1, 0xC8640000u); // 200 is more than 127.5
    // (0.8 - 0.4) * (0.2 / 0.8) + 0.4 = 0.5
    row("grows to the average", 0xFF640000u, 0x33640000u, 0.4, 0.8, 1, 0x80640000u);
    row("equal to the average", 0xFF640000u, 0x33640000u, 0.4, 0.4, 1, 0x66640000u); // (0) + 0.4 = 102
    row("beyond the average", 0xFF640000u, 0xFF640000u, 0.4, 0.8, 1, 0xFF640000u);
    row("half the flow", 0xFF640000u, 0x33640000u, 0.6, 0, 0.5, 0x66640000u); // 0.2 + (0.6 - 0.2) / 2 = 102
    row("no flow", 0xFF640000u, 0x33640000u, 0.6, 0, 0, 0x33640000u);
}

void TestBrush::stampByHand()
{
    QFETCH(OPRGBA32i, stamp);
    QFETCH(OPRGBA32i, stroke);
    QFETCH(double, opacity);
    QFETCH(double, average);
    QFETCH(double, flow);
    QFETCH(OPRGBA32i, expected);
    QCOMPARE(stamped(stamp, stroke, opacity, average, flow), expected);
    RGBA32iImage image = onePixel(stroke);
    ComposeAlphaDarken(imageOf(stamp), QRect(0, 0, 1, 1), image, QRect(0, 0, 1, 1), opacity, average, flow);
    QCOMPARE(pictures::at(image, 0, 0), expected);
}

void TestBrush::stamps()
{
    QRandomGenerator random(31);
    for (int round = 0; round < 60; ++round) {
        const RGBA32iImage tip = pictures::noise(random, { 150, 60 }, Storage::Flat);
        RGBA32iImage stroke = pictures::noise(random, { 260, 140 }, Storage::Tiled);
        const QRect tipRect(random.bounded(-20, 40), random.bounded(-20, 20), 140, 55);
        const QRect rect(random.bounded(-60, 200), random.bounded(-30, 120), 150, 50);
        const double opacity = random.generateDouble(), average = round % 4 ? random.generateDouble() : opacity;
        const double flow = round % 3 ? random.generateDouble() : 1.0;
        Canvas expected(stroke);
        const reference::Side side { tip, tipRect };
        reference::forEachPlace(expected, rect, { &side }, [&](QPoint offset, QPoint p) {
            const OPRGBA32i s = *reference::stored(tip, offset + tipRect.topLeft());
            expected.At(p) = stamped(s, expected.At(p), opacity, average, flow);
        });
        ComposeAlphaDarken(pictures::toQImage(tip), tipRect, stroke, rect, opacity, average, flow);
        VERIFY_SAME(pictures::difference(expected, stroke));
    }
}

/// Tiles are made private before a pixel of the stamp is looked at; a null image and empty rectangles do nothing.
void TestBrush::stampsResolveTiles()
{
    RGBA32iImage stroke(400, 200, true);
    const QRect all(0, 0, 100, 1);
    ComposeAlphaDarken(QImage(), all, stroke, all, 1, 1, 1);
    ComposeAlphaDarken(imageOf(0xFFFFFFFFu, 100), all, stroke, QRect(400, 0, 100, 1), 1, 1, 1);
    for (int i = 0; i < 8; ++i)
        QVERIFY(stroke.IsFakeTile(i));
    ComposeAlphaDarken(imageOf(0u, 100), all, stroke, QRect(200, 130, 100, 1), 1, 1, 1);
    for (int i = 0; i < 8; ++i)
        QCOMPARE(stroke.IsFakeTile(i), i != 5 && i != 6);
    QCOMPARE(pictures::at(stroke, 230, 130), OPRGBA32i());

    QImage premultiplied = imageOf(0xFF102030u).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    ComposeAlphaDarken(premultiplied, QRect(0, 0, 1, 1), stroke, QRect(0, 0, 1, 1), 1, 1, 1); // no test of formats
    QCOMPARE(pictures::at(stroke, 0, 0), OPRGBA32i(0xFF102030u));
}

void TestBrush::dualBrushByHand_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("destination");
    QTest::addColumn<int>("expected");
    const int rows[][4] = { { 13, 200, 100, 78 }, { 13, 255, 255, 255 }, { 16, 200, 100, 100 }, { 16, 3, 100, 3 },
        { 15, 100, 127, 99 }, { 15, 100, 200, 189 }, { 15, 0, 128, 1 }, { 56, 255, 1, 255 }, { 56, 255, 0, 0 },
        { 56, 254, 0, 0 }, { 56, 0, 77, 77 }, { 56, 100, 60, 98 }, { 56, 200, 60, 255 }, { 19, 0, 255, 0 },
        { 19, 255, 100, 100 }, { 19, 1, 254, 0 }, { 50, 100, 154, 0 }, { 50, 100, 155, 0 }, { 50, 100, 156, 1 },
        { 50, 255, 255, 255 }, { 54, 2, 127, 0 }, { 54, 3, 127, 255 }, { 54, 255, 128, 255 }, { 54, 0, 0, 0 },
        { 0, 200, 100, 100 }, { 18, 200, 100, 100 }, { 48, 200, 100, 100 }, { -1, 200, 100, 100 } };
    for (const auto &row : rows)
        QTest::addRow("%d: %d on %d", row[0], row[1], row[2]) << row[0] << row[1] << row[2] << row[3];
}

void TestBrush::dualBrushByHand()
{
    QFETCH(int, mode);
    QFETCH(int, source);
    QFETCH(int, destination);
    QFETCH(int, expected);
    QImage image = imageOf(unsigned(destination) << 24 | 0x112233u, 11);
    ComposeDualBrush(
        imageOf(unsigned(source) << 24 | 0x998877u, 11), image.rect(), image, image.rect(), KXCompositionMode(mode));
    for (int x = 0; x < 11; ++x) // colours stay
        QCOMPARE(pictures::at(image, x, 0), OPRGBA32i(unsigned(expected) << 24 | 0x112233u));
}

void TestBrush::dualBrush_data()
{
    QTest::addColumn<int>("mode");
    for (const int mode : { 13, 15, 16, 19, 50, 54, 56 })
        QTest::addRow("%d", mode) << mode;
}

/// All pairs of alphas, and rectangles over the edges.
void TestBrush::dualBrush()
{
    QFETCH(int, mode);
    const auto expectedFor = [mode](int s, int d) {
        if (mode == 56)
            return s > 254 ? (d > 0 ? 255 : 0) : d == 0 ? 0 : std::min(d * 255 / (255 - s), 255);
        if (mode == 50)
            return d + s < 255 ? 0 : (d + s + 1) & 255;
        return int(reference::mixed(mode, s, d));
    };
    QImage source(256, 256, QImage::Format_ARGB32), onto(256, 256, QImage::Format_ARGB32);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            source.setPixel(x, y, unsigned(x) << 24 | 0xABCDEFu);
            onto.setPixel(x, y, unsigned(y) << 24 | 0x102030u);
        }
    const QImage before = source.copy(), kept = onto;
    for (const QPoint &to : { QPoint(0, 0), QPoint(-9, -7), QPoint(13, 5) }) {
        QImage result = onto;
        ComposeDualBrush(source, source.rect(), result, QRect(to, QSize(300, 300)), KXCompositionMode(mode));
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x) {
                const QPoint from = QPoint(x, y) - to;
                const int expected = source.rect().contains(from) ? expectedFor(from.x(), y) : y;
                QVERIFY2(pictures::at(result, x, y) == OPRGBA32i(unsigned(expected) << 24 | 0x102030u),
                    qPrintable(QString("%1 on %2").arg(from.x()).arg(y)));
            }
    }
    QCOMPARE(source, before);
    QCOMPARE(onto, kept); // a shared QImage is detached before it is written
}

void TestBrush::functors_data()
{
    QTest::addColumn<OPRGBA32i>("result");
    QTest::addColumn<OPRGBA32i>("expected");
    const OPRGBA32i source(0xC8F0641Eu), destination(0x963CC880u), mask(0x33FFFFFFu);
    const auto row = [](const char *name, OPRGBA32i result, OPRGBA32i expected) {
        QTest::newRow(name) << result << expected;
    };
    const auto apply = [](const auto &functor, OPRGBA32i s, OPRGBA32i d) {
        functor(s, d);
        return d;
    };
    const auto applyMasked = [](const auto &functor, OPRGBA32i s, OPRGBA32i d, OPRGBA32i m) {
        functor(s, d, m);
        return d;
    };
    using namespace OPBlend;
    row("source over", apply(OPSourceOver<0>(128), source, destination), 0xBF9A934Cu); // as mode 0: sa is 100
    row("source over, locked", apply(OPSourceOver<1>(128), source, destination), 0x969A934Cu);
    row("source over, opaque", apply(OPSourceOver<0>(256), 0xFF0080FFu, 0xFF404000u), 0xFF0080FFu);
    row("source over, nothing", apply(OPSourceOver<0>(256), 0x00FFFFFFu, 0x00112233u), 0u);
    row("source over, nothing, locked", apply(OPSourceOver<1>(256), 0x00FFFFFFu, 0x00112233u), 0u);
    // sa 100, da 150; red ((240 * 105 + 60 * 155) * 255 + 60 * 15000) / 65025 is 149.1
    row("destination over", apply(OPDestinationOver<0>(128), source, destination), 0xBF95D077u);
    row("destination over, locked", apply(OPDestinationOver<1>(128), source, destination), 0x9695D077u);
    row("destination over, saturated", apply(OPDestinationOver<0>(256), 0x00FF80FFu, 0x00FFFF01u), 0x00FFFFFFu);
    row("source", apply(OPSource<0>(3), source, destination), source);
    row("source, locked", apply(OPSource<1>(3), source, destination), 0x96F0641Eu);
    row("source atop", apply(OPSourceAtop<0>(3), source, destination), 0x9676471Eu); // darkens: no opaque destination
    row("source atop, locked", apply(OPSourceAtop<1>(3), source, destination), 0x96C97933u);
    row("source atop by mask", applyMasked(OPSourceAtopByMask(), source, destination, mask), 0x9658B870u); // by 40
    row("source by mask", applyMasked(OPSourceByMask(), source, destination, mask), 0xA060B46Cu);
    row("source by selection", applyMasked(OPSourceBySelection(), source, destination, mask), 0xA060B46Cu);
    row("subtract the source", apply(OPSubtractRGBDstBySrc(10), source, destination), 0x96006E6Cu);
    row("subtract the destination", apply(OPSubtractRGBSrcByDst(10), source, destination), 0x96BE0000u);
}

void TestBrush::functors()
{
    QFETCH(OPRGBA32i, result);
    QTEST(result, "expected");
}

void TestBrush::functorOpacity()
{
    OPBlend::OPSourceOver<0> functor(0);
    const std::unique_ptr<OPBlend::GenericRGBABlendFunction> base(new OPBlend::OPSourceOver<0>(functor));
    OPRGBA32i pixel(0x55112233u);
    functor(0xFFFFFFFFu, pixel);
    QCOMPARE(pixel, OPRGBA32i(0x55112233u));
    functor.SetOpacity(256);
    functor(0xFFFFFFFFu, pixel);
    QCOMPARE(pixel, OPRGBA32i(0xFFFFFFFFu));
}

KXCORE_TEST_MAIN(TestBrush)
#include "tst_brush.moc"
