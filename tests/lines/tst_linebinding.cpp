#include "KXIterativeConvolution.h"
#include "TestSupport.h"
#include "lines/LineHandlers.h"

using HorizontalDirection = OPImageUtils::HorizontalDirection<RGBA32iImage>;
using VerticalDirection = OPImageUtils::VerticalDirection<RGBA32iImage>;

/// That passes call the module's kernels, and with what.
class TestLineBinding : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        AVX2LIB::UseModule(fake_lines_path);
        const AVX2LIB *const module = AVX2LIB::Instance();
        if (!module)
            QSKIP("modules are not loaded on this processor");
        m_takeNotes = reinterpret_cast<const char *(*)()>(module->GetProcAddress("takeNotes"));
        qputenv("KXCORE_TEST_PROCESSORS", "1"); // one line after the other
    }

    void slides()
    {
        RGBA32iImage image(9, 3, false);
        const OPRGBABlurAccumulatorPremul window(2);
        lines::LineHandler<OPRGBABlurAccumulatorPremul, HorizontalDirection>(window, image, QRect(4, 1, 3, 2))
            .Run(m_goOn, nullptr);
        QCOMPARE(m_takeNotes(), "slide 2: 1-8 4-6 2;slide 2: 1-8 4-6 2;");
        QCOMPARE(image.Bits()[9 + 4], OPRGBA32i(0xFF332211u));
        lines::LineHandler<OPRGBABlurAccumulatorPremul, VerticalDirection>(window, image, QRect(4, 1, 1, 2))
            .Run(m_goOn, nullptr);
        QCOMPARE(m_takeNotes(), "slide 2: 0-2 1-2 2;");
    }

    void runsKernels()
    {
        RGBA32iImage image(5, 2, false);
        lines::LineHandlerConvolution<OPSimpleSharpenKernel1D, HorizontalDirection>(
            OPSimpleSharpenKernel1D(3), image, QRect())
            .Run(m_goOn, nullptr);
        QCOMPARE(m_takeNotes(), "kernel 2;kernel 2;");
    }

    /// Zeros at the ends of a kernel add nothing and are not handed on.
    void convolves()
    {
        RGBA32iImage image(6, 1, false);
        image.Fill(OPRGBA32i(0xFF000005u));
        KXIterativeConvolutionFast1D<RGBA32iImage, HorizontalDirection>({ 0, 1, -2, 3, 0 }, image, QRect())
            .Run(m_goOn, nullptr);
        QCOMPARE(m_takeNotes(), "convolve 6 by 1 -2 3;");
        QCOMPARE(image.Bits()[0], OPRGBA32i(0xFF332211u));
    }

private:
    const std::atomic<bool> m_goOn { false };
    const char *(*m_takeNotes)() = nullptr;
};

KXCORE_TEST_MAIN(TestLineBinding)
#include "tst_linebinding.moc"
