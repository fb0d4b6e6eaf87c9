#include "KXBlur.h"
#include "KXKernels.h"

#include "TestSupport.h"

using Line = std::vector<OPRGBA32i>;

namespace {

/// A line with these alphas. All channels are alike if it is @p grey, else the colour names the position.
Line lineOf(const QList<int> &alphas, bool grey)
{
    Line line;
    for (const int alpha : alphas)
        line.push_back(OPRGBA32i(grey ? unsigned(alpha) * 0x01010101u : unsigned(alpha) << 24 | unsigned(line.size())));
    return line;
}

/// Whether @p kernel makes @p expected of @p alphas.
template <class Kernel>
bool gives(Kernel kernel, const QList<int> &alphas, const QList<int> &expected, bool grey = false)
{
    const Line source = lineOf(alphas, grey);
    Line result(source.size(), OPRGBA32i(0xDEADBEEFu));
    kernel.SetSource(&source);
    kernel.SetDestination(&result);
    for (int i = 0; i < alphas.size(); ++i)
        kernel(i);
    return result == lineOf(expected, grey);
}

const double notANumber = qQNaN(), infinity = qInf();

} // namespace

/// What runs along lines: accumulators, kernels and the weights of convolutions.
class TestAccumulators : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void radii()
    {
        const OPRGBA32i color(7, 8, 9, 77);
        OPRGBA32i untouched = color;
        OPRGBABlurAccumulatorBase().Finalize(untouched);
        QCOMPARE(untouched, color);
        QCOMPARE(OPRGBABlurAccumulatorPremul(-1).GetRadius(), 0);
        const OPAlphaBlurAccumulator widest(INT_MAX);
        QCOMPARE(widest.GetRadius(), 4194303);
        QVERIFY(qint64(widest.Size()) * 255 <= INT_MAX);
        QCOMPARE(OPShiftEdge1D(INT_MIN).Left(), 4194303);
    }

    void kernels()
    {
        // The center lower than, equal to and higher than either neighbour, at the ends and between.
        const QList<int> edges { 5, 10, 12, 3, 10, 10, 4, 15, 10, 12, 10, 10, 20, 0 }, peaks { 90, 0, 0, 10, 0, 0, 80 };
        QVERIFY(gives(OPShiftEdge1D(1), edges, { 10, 12, 12, 12, 10, 10, 15, 15, 15, 12, 12, 20, 20, 20 }));
        QVERIFY(gives(OPShiftEdge1D(3), peaks, { 90, 90, 90, 90, 80, 80, 80 }));
        QVERIFY(gives(OPShiftEdge1D(2), peaks, { 90, 90, 90, 10, 80, 80, 80 }));
        QVERIFY(gives(OPShiftEdge1D(INT_MAX), { 20, 10, 0 }, { 20, 20, 20 }));
        QVERIFY(gives(OPShiftEdge1D(0), edges, edges));
        // Beyond the ends there is nothing.
        QVERIFY(gives(OPShiftEdge1D(-1), edges, { 0, 5, 3, 3, 3, 4, 4, 4, 10, 10, 10, 10, 0, 0 }));
        QVERIFY(gives(OPShiftEdge1D(-2), { 9, 10, 10, 10, 8 }, { 0, 0, 8, 0, 0 }));
        QVERIFY(gives(OPShiftEdge1D(INT_MIN), { 10, 10, 10 }, { 0, 0, 0 }));

        // exp(-d * d / 2) over their sum 2.50595: 0.399050, 0.242036, 0.054006, 0.004433; times 255 plus a half.
        QVERIFY(gives(OPGaussianAlpha1D(1), { 0, 0, 0, 0, 255, 0, 0, 0, 0 }, { 0, 1, 14, 62, 102, 62, 14, 1, 0 }));
        // The ends repeat: 255 * (0.399050 + 0.300475) = 178.4 beside 255 * 0.300475 = 76.6.
        QVERIFY(gives(OPGaussianAlpha1D(1), { 255, 0 }, { 178, 77 }));
        QVERIFY(gives(OPGaussianAlpha1D(40), { 77, 77, 77 }, { 77, 77, 77 }));
        QVERIFY(gives(OPGaussianAlpha1D(notANumber), { 0, 255 }, { 0, 0 }));

        QVERIFY(gives(OPSimpleSharpenKernel1D(0), { 10, 20, 40 }, { 10, 20, 40 }, true));
        // (10 * 1985 - 30 * 100 + 765) / 1785 = 9.8, (39700 - 5000 + 765) / 1785 = 19.8, (79400 - 6000 + 765) / 1785 = 41.5
        QVERIFY(gives(OPSimpleSharpenKernel1D(100), { 10, 20, 40 }, { 9, 19, 41 }, true));
        QVERIFY(gives(OPSimpleSharpenKernel1D(1000), { 0, 200, 0, 255, 0 }, { 0, 255, 0, 255, 0 }, true));
        // (10 * 1585 + 30 * 100 + 765) / 1785 = 10.99, (31700 + 5000 + 765) / 1785 = 20.99, (63400 + 6765) / 1785 = 39.3
        QVERIFY(gives(OPSimpleSharpenKernel1D(-100), { 10, 20, 40 }, { 10, 20, 39 }, true));
        gives(OPSimpleSharpenKernel1D(INT_MIN), { 10, 20 }, { 0, 0 }, true); // wraps, defined
    }

    void gaussianWeights()
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
        QVERIFY_EXCEPTION_THROWN(kernel.Init(4194304), std::length_error);
        kernel.Init(0);
        QCOMPARE(kernel.Weights(), std::vector<double>(1, 1.0));
        kernel.Init(3); // a sigma of 1
        QCOMPARE(kernel.Right(), 3u);
        QVERIFY(std::abs(kernel.Weights()[2] - 0.24203623) < 1e-8 && std::abs(kernel.Weights()[3] - 0.39905028) < 1e-8);
    }

    void shortKernels()
    {
        using namespace KXBlur;
        using Kernel = std::vector<short>;
        // 6538.04, 3965.52, 884.83, 72.63
        QCOMPARE(CreateGaussianKernel(1), (Kernel { 73, 885, 3966, 6538, 3966, 885, 73 }));
        QCOMPARE(CreateGaussianKernel(0.1), (Kernel { 0, 16384, 0 }));
        for (const double none : { 0.0, notANumber, infinity })
            QCOMPARE(CreateGaussianKernel(none), (Kernel { 0, 0, 0 }));
        QCOMPARE(CreateGaussianKernel(1e9), (Kernel { 5461, 5461, 5461 })); // a reach that does not fit counts as 1
        QCOMPARE(CreateGaussianKernel(13200), Kernel(79201, 0)); // all weights round to 0
        QCOMPARE(CreateSimpleBoxKernel(0), (Kernel { 0, 16384, 0 }));
        QCOMPARE(CreateSimpleBoxKernel(100), (Kernel { 2142, 12101, 2142 })); // 2141.7 and 12100.6
        QCOMPARE(CreateSimpleBoxKernel(255), (Kernel { 5461, 5461, 5461 }));
        QCOMPARE(CreateSimpleSharpenKernel(1), (Kernel { -63, 16513, -63 })); // -63.75 goes toward zero
        QCOMPARE(CreateSimpleSharpenKernel(100), (Kernel { -6424, 29234, -6424 })); // -6424.6 and 29234.7
    }
};

KXCORE_TEST_MAIN(TestAccumulators)
#include "tst_accumulators.moc"
