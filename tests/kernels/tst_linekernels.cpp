#include "KXKernels.h"
#include "TestSupport.h"
#include "kernels/Rows.h"

#include <memory>

using testing::Row;
using Line = std::vector<OPRGBA32i>;

/// The line kernels of the module against the classes that they stand in for.
class TestLineKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void slide_data();
    void slide();
    void weightedMeansOverTheirDomain();
    void windowMeansOverTheirDomain();
    void kernels();
    void kernelsWithoutLines();

private:
    using Slide = void(OPRGBABlurAccumulatorBase *, OPRGBA32i *, OPRGBA32i *, int, int, int, int, int);
    using Convolve = void(OPKernelBase *);
    Slide *m_slide = nullptr;
    Convolve *m_convolve = nullptr;
};

namespace {

using AccumulatorPointer = std::shared_ptr<OPRGBABlurAccumulatorBase>;
using MakeAccumulator = AccumulatorPointer (*)(int radius);

template <class Accumulator>
AccumulatorPointer make(int radius)
{
    return std::make_shared<Accumulator>(radius);
}

/// An accumulator of an application: what it derives from must not be taken for it.
class Halved : public OPRGBABlurAccumulator {
public:
    using OPRGBABlurAccumulator::Finalize;
    using OPRGBABlurAccumulator::OPRGBABlurAccumulator;
    void Finalize(OPRGBA32i &target) const override
    {
        OPRGBABlurAccumulator::Finalize(target);
        target.word = target.word >> 1 & 0x7F7F7F7F;
    }
};

OPRGBA32i *pixels(Row &row) { return reinterpret_cast<OPRGBA32i *>(row.data()); }

/// Each window summed by itself, by the accumulator's own arithmetic, where the pixels @p first to @p last are made of
/// @p source, which begins at @p readFirst.
std::vector<unsigned> windows(
    OPRGBABlurAccumulatorBase &accumulator, Row &source, Row &destination, int readFirst, int first, int last)
{
    const int radius = accumulator.GetRadius();
    std::vector<unsigned> result;
    for (int x = first; x <= last; ++x) {
        accumulator.Reset();
        for (int k = -radius; k <= radius; ++k)
            accumulator.Add(pixels(source)[std::clamp(x + k - readFirst, 0, source.length() - 1)]);
        OPRGBA32i pixel = pixels(destination)[x - first];
        accumulator.Finalize(pixel);
        result.push_back(pixel.word);
    }
    return result;
}

} // namespace

Q_DECLARE_METATYPE(MakeAccumulator)

void TestLineKernels::initTestCase()
{
    m_slide = testing::kernel<Slide>("LineHandlerAVX2");
    m_convolve = testing::kernel<Convolve>("LineHandlerConvolutionAVX2");
    if (!m_slide || !m_convolve)
        QSKIP("no kernel module, or no AVX2");
}

void TestLineKernels::slide_data()
{
    QTest::addColumn<MakeAccumulator>("make");
    QTest::addColumn<int>("radius");
    const std::pair<const char *, MakeAccumulator> accumulators[] = {
        { "plain", make<OPRGBABlurAccumulator> },
        { "premultiplied", make<OPRGBABlurAccumulatorPremul> },
        { "alpha", make<OPAlphaBlurAccumulator> },
        { "inverted", make<OPAlphaBlurAccumulatorWithInvert> },
        { "coloured",
            [](int radius) -> AccumulatorPointer {
                return std::make_shared<OPAlphaBlurAccumulatorWithRGBColorize>(radius, OPRGBA32i(0xFF8001FE));
            } },
        { "an application's", make<Halved> },
    };
    for (const auto &[name, make] : accumulators)
        for (int radius : { 0, 1, 2, 5, 31, 50, 127, 128, 129, 300 })
            QTest::addRow("%s, radius %d", name, radius) << make << radius;
}

void TestLineKernels::slide()
{
    QFETCH(MakeAccumulator, make);
    QFETCH(int, radius);
    const AccumulatorPointer accumulator = make(radius);
    QRandomGenerator random(20240609);
    for (int length = 1; length <= 67; length += radius > 50 ? 6 : 1)
        for (int offset = 0; offset < 8; ++offset) {
            // At one end, at both ends, and among neighbours.
            const int before = random.bounded(3) * random.bounded(radius + 3);
            const int after = random.bounded(3) * random.bounded(radius + 3);
            const int last = before + length - 1, readFirst = std::max(before - radius - 1, 0);
            const int readLast = std::min(last + radius, last + after);
            Row source = Row::random(offset, readLast - readFirst + 1, random);
            Row destination = Row::random(7 - offset, length, random); // some accumulators keep its colours
            const auto expected = windows(*accumulator, source, destination, readFirst, before, last);
            m_slide(accumulator.get(), pixels(source), pixels(destination), readFirst, readLast, before, last, radius);
            COMPARE_ROW(destination, expected, QString("length %1, offset %2").arg(length).arg(offset));
            QVERIFY(source.isGuardIntact());
        }
}

/// Every colour under every alpha, alone in its window: the weighting and each quotient q * 255 / m with q <= m.
void TestLineKernels::weightedMeansOverTheirDomain()
{
    OPRGBABlurAccumulatorPremul accumulator(0);
    Row source(0, 65536), destination(0, 65536);
    for (unsigned i = 0; i < 65536; ++i)
        source.data()[i] = (i & 0xFF) << 24 | (i >> 8) << 16 | (255 - (i >> 8)) << 8 | (i >> 8);
    m_slide(&accumulator, pixels(source), pixels(destination), 0, 65535, 0, 65535, 0);
    std::vector<unsigned> expected;
    for (unsigned i = 0; i < 65536; ++i) {
        const unsigned a = i & 0xFF;
        const auto straight = [a](unsigned c) { return c * a / 255 * 255 / a; };
        const unsigned rb = a ? straight(i >> 8) : 0, g = a ? straight(255 - (i >> 8)) : 0;
        expected.push_back(a << 24 | rb << 16 | g << 8 | rb);
    }
    COMPARE_ROW(destination, expected, QString("every colour and alpha"));
}

/// Samples that grow by 1 every window's length: the sum takes every value from 0 to 255 times the length.
void TestLineKernels::windowMeansOverTheirDomain()
{
    // Sums of 16 bits, then larger ones up to what is too large for the kernel's arithmetic.
    std::vector<int> radii { 129, 511, 1000, 2047, 4095, 8100, 8190, 8191, 8192 };
    for (int radius = 0; radius <= 128; ++radius)
        radii.push_back(radius);
    for (const int radius : radii) {
        const int size = 2 * radius + 1, length = 255 * size + 1;
        OPRGBABlurAccumulator accumulator(radius);
        Row source(0, length + 2 * radius), destination(0, length);
        for (int i = 0; i < source.length(); ++i)
            source.data()[i] = unsigned(std::clamp((i - 1) / size, 0, 255)) * 0x01010101u;
        m_slide(&accumulator, pixels(source), pixels(destination), 0, source.length() - 1, radius, radius + length - 1,
            radius);
        qint64 sum = 0;
        for (int i = 0; i < size; ++i)
            sum += source.data()[i] & 0xFF;
        std::vector<unsigned> expected;
        for (int i = 0; i < length; ++i) {
            expected.push_back(unsigned(sum / size) * 0x01010101u);
            sum += qint64(source.data()[std::min(i + size, source.length() - 1)] & 0xFF) - (source.data()[i] & 0xFF);
        }
        COMPARE_ROW(destination, expected, QString("radius %1").arg(radius));
    }
}

/// Runs @p kernel over a line, by itself and by the module's @p convolve.
template <class Kernel, class Convolve>
static void compare(Kernel kernel, Convolve *convolve, const QString &name)
{
    QRandomGenerator random(20240610);
    for (int length = 0; length <= 67; ++length)
        for (int repeat = 0; repeat < 6; ++repeat) {
            const int beside = std::min(kernel.Left() + 2, 200);
            const int offset = random.bounded(2) * random.bounded(beside);
            const int after = random.bounded(2) * random.bounded(beside);
            Line source(size_t(offset + length + after));
            const bool sparse = repeat % 2; // few alphas differ, so that edges have room to move
            for (OPRGBA32i &pixel : source) {
                pixel = testing::pixelOf([&](int) { return testing::saltedByte(random); });
                if (sparse && random.bounded(16))
                    pixel.a = repeat == 1 ? 255 : 0;
            }
            Line expected(size_t(length), OPRGBA32i(0x12345678u)), actual = expected;
            kernel.SetSource(&source);
            kernel.SetSourceOffset(offset);
            kernel.SetDestination(&expected);
            for (int i = 0; i < length; ++i)
                kernel(i);
            kernel.SetDestination(&actual);
            convolve(&kernel);
            const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin());
            if (a != actual.end())
                QFAIL(qPrintable(name
                    + QString::asprintf(": pixel %d of %d, offset %d: expected %08x, got %08x", int(a - actual.begin()),
                        length, offset, e->word, a->word)));
        }
}

void TestLineKernels::kernels()
{
    for (const double sigma : { 0.0, 0.3, 0.5, 1.0, 2.7, 10.0, 30.0 })
        compare(OPGaussianAlpha1D(sigma), m_convolve, QString("gaussian alpha, sigma %1").arg(sigma));
    for (const int shift : { 0, 1, 2, 3, 7, 15, 16, 31, 40, 100, 4000000 })
        for (const int sign : { 1, -1 })
            compare(OPShiftEdge1D(sign * shift), m_convolve, QString("shift by %1").arg(sign * shift));
    // Amounts that share no factor with 1785 reach every remainder of the division.
    for (const int amount : { 0, 1, 11, 137, -1, -299, 100000, 8000000, INT_MAX, INT_MIN })
        compare(OPSimpleSharpenKernel1D(amount), m_convolve, QString("sharpen by %1").arg(amount));
}

void TestLineKernels::kernelsWithoutLines()
{
    OPSimpleSharpenKernel1D kernel(10);
    Line line(4, OPRGBA32i(0xFF102030u));
    m_convolve(&kernel); // no line at all
    kernel.SetDestination(&line);
    m_convolve(&kernel); // nothing to read
    OPKernelBase other(KernelAlpha);
    m_convolve(&other); // nothing that the module knows
    QVERIFY(line == Line(4, OPRGBA32i(0xFF102030u)));
}

KXCORE_TEST_MAIN(TestLineKernels)
#include "tst_linekernels.moc"
