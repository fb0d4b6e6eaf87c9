#include "KXBlur.h"
#include "KXKernels.h"

#include "TestSupport.h"

#include <cmath>
#include <limits>
#include <stdexcept>

using Line = std::vector<OPRGBA32i>;
Q_DECLARE_METATYPE(std::vector<short>)

class TestAccumulators : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void accumulators();
    void radiusStaysInRange();
    void shiftEdge_data();
    void shiftEdge();
    void sharpen_data();
    void sharpen();
    void gaussianOfAlpha();
    void gaussianWeights();
    void shortKernels_data();
    void shortKernels();
    void premultiplication();
};

namespace {

/// A line of pixels with these alphas and a colour that names the position.
Line lineOf(const QList<int> &alphas)
{
    Line line;
    for (const int alpha : alphas)
        line.push_back(
            OPRGBA32i(static_cast<unsigned char>(line.size() + 1), 50, 60, static_cast<unsigned char>(alpha)));
    return line;
}

template <class Kernel>
Line applied(Kernel kernel, const Line &source, int offset = 0)
{
    Line destination(source.size() - size_t(offset), OPRGBA32i(0xDEADBEEFu));
    kernel.SetSource(&source);
    kernel.SetDestination(&destination);
    kernel.SetSourceOffset(offset);
    for (int i = 0; i < int(destination.size()); ++i)
        kernel(i);
    return destination;
}

template <class Accumulator>
OPRGBA32i meanOf(Accumulator window, std::initializer_list<OPRGBA32i> pixels, OPRGBA32i target = OPRGBA32i(1, 2, 3, 4))
{
    window.Add(OPRGBA32i(0xFFFFFFFFu)); // leaves no trace
    window.Reset();
    window.Add(OPRGBA32i(9, 8, 7, 6));
    for (const OPRGBA32i pixel : pixels)
        window.Add(pixel);
    window.Subtract(OPRGBA32i(9, 8, 7, 6));
    window.Finalize(target);
    return target;
}

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN(),
                 infinity = std::numeric_limits<double>::infinity();

} // namespace

void TestAccumulators::accumulators()
{
    const OPRGBA32i a(10, 20, 200, 100), b(11, 21, 100, 50), c(13, 22, 255, 1);
    // Blue (10 + 11 + 13) / 3, green 63 / 3, red 555 / 3, alpha 151 / 3.
    QCOMPARE(meanOf(OPRGBABlurAccumulator(1), { a, b, c }).word, OPRGBA32i(11, 21, 185, 50).word);
    // Weighted: blue 3 + 2 + 0 -> 1, green 7 + 4 + 0 -> 3, red 78 + 19 + 1 -> 32; then * 255 / 50.
    QCOMPARE(meanOf(OPRGBABlurAccumulatorPremul(1), { a, b, c }).word, OPRGBA32i(5, 15, 163, 50).word);
    // A mean alpha of 2 / 3 clears the pixel.
    QCOMPARE(meanOf(OPRGBABlurAccumulatorPremul(1), { c, c, OPRGBA32i() }).word, 0u);
    // A window of one loses colour: 100 * 128 / 255 = 50, 50 * 255 / 128 = 99.
    QCOMPARE(
        meanOf(OPRGBABlurAccumulatorPremul(0), { OPRGBA32i(100, 0, 255, 128) }).word, OPRGBA32i(99, 0, 255, 128).word);
    QCOMPARE(meanOf(OPAlphaBlurAccumulator(1), { a, b, c }).word, OPRGBA32i(1, 2, 3, 50).word);
    QCOMPARE(meanOf(OPAlphaBlurAccumulatorWithInvert(1), { a, b, c }).word, OPRGBA32i(1, 2, 3, 205).word);
    QCOMPARE(meanOf(OPAlphaBlurAccumulatorWithRGBColorize(1, OPRGBA32i(7, 8, 9, 77)), { a, b, c }).word,
        OPRGBA32i(7, 8, 9, 50).word);
    QCOMPARE(meanOf(OPRGBABlurAccumulatorBase(), { a, b, c }).word, OPRGBA32i(1, 2, 3, 4).word);

    unsigned char bytes[] = { 1, 2, 3, 4 }; // the hooks of the kernel module do nothing here
    OPRGBABlurAccumulatorPremul window(1);
    window.Add(bytes, true);
    window.Finalize(bytes, true);
    window.SubtractAddFinalize(bytes, bytes, bytes, bytes, bytes, bytes);
    QVERIFY(bytes[0] == 1 && bytes[1] == 2 && bytes[2] == 3 && bytes[3] == 4);

    const QList<int> types { OPRGBABlurAccumulator(1).Type(), OPRGBABlurAccumulatorPremul(1).Type(),
        OPAlphaBlurAccumulator(1).Type(), OPAlphaBlurAccumulatorWithInvert(1).Type(),
        OPAlphaBlurAccumulatorWithRGBColorize(1, a).Type(), OPGaussianAlpha1D(1).Type(), OPShiftEdge1D(1).Type(),
        OPSimpleSharpenKernel1D(1).Type() };
    QCOMPARE(types, (QList<int> { 1, 2, 3, 4, 5, 3, 2, 2 }));
}

void TestAccumulators::radiusStaysInRange()
{
    QCOMPARE(OPRGBABlurAccumulatorBase().GetRadius(), 0);
    QCOMPARE(OPRGBABlurAccumulator(7).GetRadius(), 7);
    QCOMPARE(OPRGBABlurAccumulatorPremul(-1).GetRadius(), 0);
    const OPAlphaBlurAccumulator widest(INT_MAX);
    QCOMPARE(widest.GetRadius(), 4194303);
    QVERIFY(qint64(widest.Size()) * 255 <= INT_MAX);
    QCOMPARE(OPShiftEdge1D(INT_MIN).Left(), 4194303);
}

void TestAccumulators::shiftEdge_data()
{
    QTest::addColumn<int>("shift");
    QTest::addColumn<QList<int>>("alphas");
    QTest::addColumn<int>("at");
    QTest::addColumn<int>("expected");
    // Growing: the tracked sides begin at nothing. Left of the center lower, equal, higher; right likewise.
    QTest::newRow("+ c > L, R > c") << 1 << QList<int> { 5, 10, 12 } << 1 << 12;
    QTest::newRow("+ c > L, R = c") << 1 << QList<int> { 5, 10, 10 } << 1 << 10;
    QTest::newRow("+ c > L, R < c") << 1 << QList<int> { 5, 10, 3 } << 1 << 10;
    QTest::newRow("+ c = L, R > c") << 1 << QList<int> { 10, 10, 12 } << 1 << 12;
    QTest::newRow("+ c = L, R <= c") << 1 << QList<int> { 10, 10, 4 } << 1 << 10;
    QTest::newRow("+ c < L, R > c, left larger") << 1 << QList<int> { 15, 10, 12 } << 1 << 15;
    QTest::newRow("+ c < L, R > c, right larger") << 1 << QList<int> { 12, 10, 15 } << 1 << 15;
    QTest::newRow("+ c < L, R <= c") << 1 << QList<int> { 12, 10, 10 } << 1 << 12;
    QTest::newRow("+ first pixel, nothing to the left") << 1 << QList<int> { 10, 12 } << 0 << 12;
    QTest::newRow("+ last pixel") << 1 << QList<int> { 12, 10 } << 1 << 12;
    QTest::newRow("+ further out") << 3 << QList<int> { 90, 0, 0, 10, 0, 0, 80 } << 3 << 90;
    QTest::newRow("+ not as far as that") << 2 << QList<int> { 90, 0, 0, 10, 0, 0, 80 } << 3 << 10;
    QTest::newRow("+ past both ends") << INT_MAX << QList<int> { 20, 10, 0 } << 1 << 20;
    // Shrinking: both sides begin at the center, so neither can exceed it.
    QTest::newRow("- c > L, R = c") << -1 << QList<int> { 5, 10, 12 } << 1 << 5;
    QTest::newRow("- c > L, R < c, left smaller") << -1 << QList<int> { 5, 10, 7 } << 1 << 5;
    QTest::newRow("- c > L, R < c, right smaller") << -1 << QList<int> { 7, 10, 5 } << 1 << 5;
    QTest::newRow("- c = L, R < c") << -1 << QList<int> { 10, 10, 5 } << 1 << 5;
    QTest::newRow("- c = L, R = c") << -1 << QList<int> { 12, 10, 10 } << 1 << 10;
    QTest::newRow("- nothing lies before the first pixel") << -1 << QList<int> { 10, 10 } << 0 << 0;
    QTest::newRow("- nor behind the last") << -1 << QList<int> { 10, 10 } << 1 << 0;
    QTest::newRow("- further out") << -2 << QList<int> { 9, 10, 10, 10, 8 } << 2 << 8;
    QTest::newRow("- past both ends") << INT_MIN << QList<int> { 10, 10, 10 } << 1 << 0;
    QTest::newRow("0 copies") << 0 << QList<int> { 1, 10, 20 } << 1 << 10;
}

void TestAccumulators::shiftEdge()
{
    QFETCH(int, shift);
    QFETCH(QList<int>, alphas);
    QFETCH(int, at);
    QFETCH(int, expected);
    const Line line = lineOf(alphas);
    OPRGBA32i pixel = line[size_t(at)]; // the colour stays
    pixel.a = static_cast<unsigned char>(expected);
    QCOMPARE(applied(OPShiftEdge1D(shift), line)[size_t(at)].word, pixel.word);
    QCOMPARE(applied(OPShiftEdge1D(shift), line, at)[0].word, pixel.word);
}

void TestAccumulators::sharpen_data()
{
    QTest::addColumn<int>("amount");
    QTest::addColumn<QList<int>>("alphas");
    QTest::addColumn<QList<int>>("expected");
    QTest::newRow("none") << 0 << QList<int> { 10, 20, 40 } << QList<int> { 10, 20, 40 };
    // (10 * 1985 - 30 * 100 + 765) / 1785 = 9.8, (20 * 1985 - 50 * 100 + 765) / 1785 = 19.8, (79400 - 6000 + 765) = 41.5
    QTest::newRow("leans downward") << 100 << QList<int> { 10, 20, 40 } << QList<int> { 9, 19, 41 };
    QTest::newRow("flat white") << 100 << QList<int> { 255, 255, 255 } << QList<int> { 255, 255, 255 };
    QTest::newRow("clamped") << 1000 << QList<int> { 0, 200, 0, 255, 0 } << QList<int> { 0, 255, 0, 255, 0 };
    // (10 * 1585 + 30 * 100 + 765) / 1785 = 10.99, (31700 + 5000 + 765) = 20.99, (63400 + 6000 + 765) = 39.3
    QTest::newRow("negative blurs") << -100 << QList<int> { 10, 20, 40 } << QList<int> { 10, 20, 39 };
}

void TestAccumulators::sharpen()
{
    QFETCH(int, amount);
    QFETCH(QList<int>, alphas);
    QFETCH(QList<int>, expected);
    Line line;
    for (const int alpha : alphas)
        line.push_back(OPRGBA32i(unsigned(alpha) * 0x01010101u)); // all four channels are treated alike
    const Line result = applied(OPSimpleSharpenKernel1D(amount), line);
    for (int i = 0; i < alphas.size(); ++i)
        QCOMPARE(result[size_t(i)].word, unsigned(expected[i]) * 0x01010101u);
    applied(OPSimpleSharpenKernel1D(INT_MIN), line); // wraps, defined
    applied(OPSimpleSharpenKernel1D(INT_MAX), line);
}

void TestAccumulators::gaussianOfAlpha()
{
    const auto alphas = [](const Line &line) {
        QList<int> result;
        for (const OPRGBA32i pixel : line)
            result << pixel.a;
        return result;
    };
    // exp(-d * d / 2) over their sum 2.50595: 0.399050, 0.242036, 0.054006, 0.004433; times 255 plus a half.
    const Line peak = lineOf({ 0, 0, 0, 0, 255, 0, 0, 0, 0 });
    QCOMPARE(alphas(applied(OPGaussianAlpha1D(1), peak)), (QList<int> { 0, 1, 14, 62, 102, 62, 14, 1, 0 }));
    QCOMPARE(applied(OPGaussianAlpha1D(1), peak)[3].b, peak[3].b);
    // The ends repeat: 255 * (0.399050 + 0.300475) = 178.4 beside 255 * 0.300475 = 76.6.
    QCOMPARE(alphas(applied(OPGaussianAlpha1D(1), lineOf({ 255, 0 }))), (QList<int> { 178, 77 }));
    QCOMPARE(alphas(applied(OPGaussianAlpha1D(40), lineOf({ 77, 77, 77 }))), (QList<int> { 77, 77, 77 }));
    QCOMPARE(alphas(applied(OPGaussianAlpha1D(notANumber), peak)), (QList<int> { 0, 0, 0, 0, 0, 0, 0, 0, 0 }));
    const OPGaussianAlpha1D kernel(5);
    QCOMPARE(QList<int>({ kernel.Left(), kernel.Right(), kernel.GetRadius() }), (QList<int> { 15, 15, 15 }));
}

void TestAccumulators::gaussianWeights()
{
    QCOMPARE(KXGaussianBase::Reach(5.0), 15);
    QCOMPARE(KXGaussianBase::Reach(0.7), 2); // 2.1
    for (const double sigma : { 0.0, 0.3, -4.0, notANumber, infinity, -infinity, 1e9, 1e300 })
        QCOMPARE(KXGaussianBase::Reach(sigma), 1);
    QCOMPARE(KXGaussianBase::Reach(1398101.0), 4194303);
    QVERIFY_EXCEPTION_THROWN(KXGaussianBase::Reach(1398101.4), std::length_error);
    QVERIFY_EXCEPTION_THROWN(OPGaussianAlpha1D(7e8), std::length_error);
    QVERIFY_EXCEPTION_THROWN(KXBlur::CreateGaussianKernel(7e8), std::length_error);

    KXGaussianKernel kernel;
    QCOMPARE(kernel.Left(), 0u);
    kernel.Init(3); // a sigma of 1
    QCOMPARE(kernel.Left(), 3u);
    QCOMPARE(kernel.Right(), 3u);
    const double expected[] = { 0.00443305, 0.05400558, 0.24203623, 0.39905028, 0.24203623, 0.05400558, 0.00443305 };
    QCOMPARE(kernel.Weights().size(), size_t(7));
    for (size_t i = 0; i < 7; ++i)
        QVERIFY(std::abs(kernel.Weights()[i] - expected[i]) < 1e-8);
    kernel.Init(0);
    QCOMPARE(kernel.Weights(), std::vector<double> { 1.0 });
    QVERIFY_EXCEPTION_THROWN(kernel.Init(4194304), std::length_error);
    QCOMPARE(KXGaussianBase::PI, 3.141592653589793);
}

void TestAccumulators::shortKernels_data()
{
    QTest::addColumn<std::vector<short>>("kernel");
    QTest::addColumn<std::vector<short>>("expected");
    using Kernel = std::vector<short>;
    const auto row = [](const char *name, const Kernel &kernel, const Kernel &expected) {
        QTest::newRow(name) << kernel << expected;
    };
    // 6538.04, 3965.52, 884.83, 72.63
    row("sigma 1", KXBlur::CreateGaussianKernel(1), { 73, 885, 3966, 6538, 3966, 885, 73 });
    row("a narrow one is the identity", KXBlur::CreateGaussianKernel(0.1), { 0, 16384, 0 });
    row("sigma 0", KXBlur::CreateGaussianKernel(0), { 0, 0, 0 });
    row("no number", KXBlur::CreateGaussianKernel(notANumber), { 0, 0, 0 });
    row("infinite", KXBlur::CreateGaussianKernel(infinity), { 0, 0, 0 });
    row("a reach that does not fit counts as 1", KXBlur::CreateGaussianKernel(1e9), { 5461, 5461, 5461 });
    row("very wide: all weights round to 0", KXBlur::CreateGaussianKernel(13200), Kernel(79201, 0));
    row("box, none", KXBlur::CreateSimpleBoxKernel(0), { 0, 16384, 0 });
    row("box, 2141.7 and 12100.6", KXBlur::CreateSimpleBoxKernel(100), { 2142, 12101, 2142 });
    row("box, flat", KXBlur::CreateSimpleBoxKernel(255), { 5461, 5461, 5461 });
    row("sharpen, none", KXBlur::CreateSimpleSharpenKernel(0), { 0, 16384, 0 });
    row("sharpen, -63.75 goes toward zero", KXBlur::CreateSimpleSharpenKernel(1), { -63, 16513, -63 });
    row("sharpen, -6424.6 and 29234.7", KXBlur::CreateSimpleSharpenKernel(100), { -6424, 29234, -6424 });
}

void TestAccumulators::shortKernels()
{
    QFETCH(std::vector<short>, kernel);
    QFETCH(std::vector<short>, expected);
    QCOMPARE(kernel, expected);
}

void TestAccumulators::premultiplication()
{
    const auto changed = [](const BaseTransformation &transformation, OPRGBA32i pixel) {
        transformation(pixel);
        return pixel;
    };
    // 100 * 128 = 12800, (12800 + 127) / 255 = 50.7; 255 -> 128; 1 * 128 + 127 = 255 -> 1; 0 -> 0
    QCOMPARE(changed(KXBlur::PremultiplyAlpha(), OPRGBA32i(100, 255, 1, 128)).word, OPRGBA32i(50, 128, 1, 128).word);
    QCOMPARE(changed(KXBlur::PremultiplyAlpha(), OPRGBA32i(100, 255, 1, 0)).word, 0u);
    // (50 * 255 + 64) / 128 = 100.1; 255; (255 + 64) / 128 = 2
    QCOMPARE(changed(KXBlur::ReturnAlpha(), OPRGBA32i(50, 128, 1, 128)).word, OPRGBA32i(100, 255, 2, 128).word);
    QCOMPARE(changed(KXBlur::ReturnAlpha(), OPRGBA32i(50, 128, 1, 0)).word, 0u);
    // Above its alpha a colour wraps: (11 * 255 + 5) / 10 = 281 = 256 + 25.
    QCOMPARE(changed(KXBlur::ReturnAlpha(), OPRGBA32i(11, 10, 9, 10)).word, OPRGBA32i(25, 255, 230, 10).word);
}

KXCORE_TEST_MAIN(TestAccumulators)
#include "tst_accumulators.moc"
