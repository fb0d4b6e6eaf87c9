#include "KXIterativeConvolution.h"
#include "OPTransformImageColors.h"
#include "kit/Test.h"
#include "lines/LineHandlers.h"

using lines::HorizontalDirection, lines::LineHandler, lines::VerticalDirection;

/// A kernel of the type that is never given to a module.
struct PlainCopy : OPLineKernelBase {
    PlainCopy()
        : OPLineKernelBase(KernelPlain)
    {
    }
    void operator()(int i) { Target(i) = Clamped(i + m_sourceOffset); }
    int Left() const { return 0; }
};

/// That walks and passes call the kernels of a module, and with what.
class TestKernelBinding : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        AVX2LIB::UseModule(FAKE_MODULE);
        if (!AVX2LIB::Instance())
            QSKIP("modules are not loaded on this processor");
        m_notes = static_cast<QString *>(AVX2LIB::Instance()->GetProcAddress("kernelNotes"));
    }
    void init() { qputenv("KXCORE_TEST_PROCESSORS", "1"); } // one line after the other

    void walks()
    {
        struct Nothing : BaseTransformation {
            explicit Nothing(bool hasKernel) { m_HasKernel = hasKernel; }
        };
        const QRect rect(2, 1, 9, 3);
        const auto notesOf = [&](RGBA32iImage &image, bool hasKernel) {
            OPTransformImageColors(Nothing(hasKernel), &image, rect)();
            OPIterativeTransformImageColors(Nothing(hasKernel), &image, rect, kit::noCancel, nullptr)();
            OPPixelIterativeTransformImageColors(Nothing(hasKernel), &image, rect, kit::noCancel, nullptr)();
            return takeNotes();
        };
        RGBA32iImage flat(6, 6, false), tiled(6, 6, true);
        AVX2LIB::UseModule(nullptr);
        QCOMPARE(notesOf(flat, true), "");
        AVX2LIB::UseModule(FAKE_MODULE);
        const QString all = "plain 6: 2, 1, 4 by 3; iterative 6: 2, 1, 4 by 3; located 6: 2, 1, 4 by 3; ";
        QCOMPARE(notesOf(flat, true), all);
        QCOMPARE(flat.Bits()[0], OPRGBA32i(0xFF332211u));
        AVX2LIB::UseModule(nullptr);
        QCOMPARE(notesOf(flat, true), all); // what is bound stays bound
        QCOMPARE(notesOf(flat, false), "plain 6: 2, 1, 4 by 3; "); // which is taken whatever the transformation has
        QCOMPARE(notesOf(tiled, true), "");
        AVX2LIB::UseModule(FAKE_MODULE);

        qputenv("KXCORE_TEST_PROCESSORS", "2"); // on one the kernel is not used for a QImage
        for (const int stride : { 6, 8 }) { // eight is not what the kernel's stride can say
            OPRGBA32i pixels[6 * 8];
            QImage image(reinterpret_cast<unsigned char *>(pixels), 6, 6, stride * 4, QImage::Format_ARGB32);
            OPTransformImageColors(Nothing(true), &image, rect)();
            QCOMPARE(takeNotes(), stride == 6 ? "plain 6: 2, 1, 4 by 3; " : "");
        }
    }

    void passes()
    {
        RGBA32iImage image(9, 3, false);
        const auto notesOf = [this](auto &&pass) {
            pass.Run(kit::noCancel, nullptr);
            return takeNotes();
        };
        using Window = OPRGBABlurAccumulatorPremul;
        const QRect rect(4, 1, 3, 2), column(4, 1, 1, 2);
        QCOMPARE(notesOf(LineHandler<Window, HorizontalDirection>(Window(2), image, rect)),
            "slide 2: 1-8 4-6 2; slide 2: 1-8 4-6 2; ");
        QCOMPARE(image.Bits()[9 + 4], OPRGBA32i(0xFF332211u));
        QCOMPARE(notesOf(LineHandler<Window, VerticalDirection>(Window(2), image, column)), "slide 2: 0-2 1-2 2; ");

        using Kernel = OPSimpleSharpenKernel1D;
        QCOMPARE(notesOf(lines::LineHandlerConvolution<Kernel, HorizontalDirection>(Kernel(3), image, rect)),
            "kernel 2; kernel 2; ");
        QCOMPARE(notesOf(lines::LineHandlerConvolution<PlainCopy, HorizontalDirection>(PlainCopy(), image, rect)), "");

        // Zeros at the ends of a kernel add nothing and are not handed on.
        image.Fill(OPRGBA32i(0xFF000005u));
        QCOMPARE(notesOf(KXIterativeConvolutionFast1D<RGBA32iImage, HorizontalDirection>(
                     { 0, 1, -2, 3, 0 }, image, QRect(0, 0, 6, 1))),
            "convolve 6 by 1 -2 3; ");
        QCOMPARE(image.Bits()[0], OPRGBA32i(0xFF332211u));
        // A module that has nothing for columns side by side gets each of them.
        RGBA32iImage wide(20, 3, false);
        QCOMPARE(notesOf(KXIterativeConvolutionFast1D<RGBA32iImage, VerticalDirection>({ 1, -2, 1 }, wide, QRect())),
            QString("convolve 3 by 1 -2 1; ").repeated(20));

        // Nor is it deprived of the walks around both passes.
        qputenv("KXCORE_TEST_PROCESSORS", "2");
        RGBA32iImage pixel(1, 1, false);
        KXIterativeConvolutionFast2D<RGBA32iImage> both({ 1, -2, 1 }, pixel, QRect());
        both.SetPremultiply(true);
        const QString walk = "plain 1: 0, 0, 1 by 1; ";
        QCOMPARE(notesOf(both), walk + "convolve 1 by 1 -2 1; convolve 1 by 1 -2 1; " + walk);
    }

private:
    QString takeNotes() { return std::exchange(*m_notes, QString()); }

    QString *m_notes = nullptr;
};

KXCORE_TEST_MAIN(TestKernelBinding)
#include "tst_kernelbinding.moc"
