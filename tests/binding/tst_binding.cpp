#include "kit/Test.h"

#include "KXBlur.h"
#include "KXComposer.h"
#include "KXIterativeConvolution.h"
#include "KXRefineSelectionProcessing.h"
#include "KXResizeImage.h"
#include "OPAddNoiseProcessing.h"
#include "OPImageConvolution.h"
#include "OPImageTransformation.h"
#include "OPTransformImageColors.h"
#include "catalogue/Operation.h"
#include "lines/LineHandlers.h"

#include <QtGui/QTransform>

#include <mutex>
#include <set>
#include <string>

using Symbols = std::set<std::string>;

Symbols called; // which kernels ran
std::mutex calledLock; // the thread sanitizer does not know Qt's

/// What the kernels of the fake modules call, from any thread.
extern "C" Q_DECL_EXPORT void noteCall(const char *symbol)
{
    const std::lock_guard<std::mutex> lock(calledLock);
    called.insert(symbol);
}

namespace {

using lines::HorizontalDirection, lines::VerticalDirection;

struct Accelerated : BaseTransformation {
    Accelerated() { m_HasKernel = true; }
};

/// A line kernel of the type that is never given to a module.
struct PlainCopy : OPLineKernelBase {
    PlainCopy()
        : OPLineKernelBase(KernelPlain)
    {
    }
    void operator()(int i) { Target(i) = Clamped(i + m_sourceOffset); }
    int Left() const { return 0; }
};

/// What the calls below work on.
const QRect r;
const auto mode = KXCompositionMode::Source;
const std::atomic<bool> &cancel = kit::noCancel;
QImage qt(1, 1, QImage::Format_ARGB32);
QImage wide(qt.bits(), 1, 1, 8, QImage::Format_ARGB32); // its rows lie further apart than a kernel can be told
RGBA32iImage kx(1, 1, true), flat(4, 2, false);
unsigned char block[512];

template <class Direction>
void convolve()
{
    KXIterativeConvolutionFast1D<RGBA32iImage, Direction>({ 1, 2, 1 }, flat, r).Run(cancel, nullptr);
}

void convolveBoth()
{
    KXIterativeConvolutionFast2D<RGBA32iImage> both({ 1, 2, 1 }, flat, r);
    both.SetPremultiply(true);
    both.Run(cancel, nullptr);
}

/// Runs a filter of the catalogue on a row of a block and a pixel, perhaps with a selection of as many.
void filter(const char *name, bool isSelected = false)
{
    catalogue::Input input;
    input.image = input.selection = RGBA32iImage(129, 1, false);
    if (isSelected)
        input.selectionRect = input.selection.Rect();
    for (const catalogue::Operation &operation : catalogue::operations(catalogue::Kind::Filter))
        if (operation.name == name)
            operation.variants.front().run(input, { cancel, {}, {} });
}

template <class Handler, class Operation>
void runHandler(const Operation &operation)
{
    Handler(operation, flat, flat.Rect()).Run(cancel, nullptr);
}

void slideColumns(int radius)
{
    using Window = OPAlphaBlurAccumulator;
    runHandler<lines::LineHandler<Window, VerticalDirection>>(Window(radius));
}

template <class Direction>
void sharpen(int amount)
{
    using Kernel = OPSimpleSharpenKernel1D;
    runHandler<lines::LineHandlerConvolution<Kernel, Direction>>(Kernel(amount));
}

/// One place of the library that calls kernels.
struct Use {
    Symbols symbols;
    std::function<void()> call;
};

/// All of them but the adjustments. The composition entries come first, in the order in which they are looked up; they
/// compose nothing.
const Use uses[] = {
    { { "Compose_RGBA32iImage_RGBA32iImage_avx2" }, [] { Compose(kx, r, mode, kx, r, 1, false); } },
    { { "Compose_QImage_RGBA32iImage_avx2" }, [] { Compose(qt, r, mode, kx, r, 1, false); } },
    { { "Compose_RGBA32iImage_QImage_avx2" }, [] { Compose(kx, r, mode, qt, r, 1, false); } },
    { { "Compose_QImage_QImage_avx2" }, [] { Compose(qt, r, mode, qt, r, 1, false); } },
    { { "ComposeSource_RGBA32iImage_RGBA32iImage_avx2" }, [] { ComposeSource(kx, r, kx, r); } },
    { { "ComposeSource_QImage_RGBA32iImage_avx2" }, [] { ComposeSource(qt, r, kx, r); } },
    { { "ComposeSource_RGBA32iImage_QImage_avx2" }, [] { ComposeSource(kx, r, qt, r); } },
    { { "ComposeSource_QImage_QImage_avx2" }, [] { ComposeSource(qt, r, qt, r); } },
    { { "ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2" },
        [] { ComposeMaskOn(kx, r, mode, kx, r, 1, kx, r, false, false); } },
    { { "ComposeMaskOn_QImage_RGBA32iImage_avx2" }, [] { ComposeMaskOn(qt, r, mode, kx, r, 1, kx, r, false, false); } },
    { { "ComposeAlphaDarken_avx2" }, [] { ComposeAlphaDarken(qt, r, kx, r, 1, 1, 1); } },
    { { "ComposeDualBrush_avx2" }, [] { ComposeDualBrush(qt, r, qt, r, mode); } },
    { { "ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2" },
        [] { ComposeClippingMaskOn(kx, r, mode, kx, r, kx, r, kx, r, false, 1, false); } },
    { { "ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2" },
        [] { ComposeClippingMaskAndMaskOn(kx, r, mode, kx, r, 1, kx, r, kx, r, false, kx, r, false, false); } },
    { { "ComposeWithTransformation_RGBA32iImage_RGBA32iImage_avx2" },
        [] { ComposeWithTransformation(kx, r, mode, kx, r, nullptr, 1, false); } },
    { { "ComposeWithTransformationMaskOn_RGBA32iImage_RGBA32iImage_avx2" },
        [] { ComposeWithTransformationMaskOn(kx, r, mode, kx, r, 1, kx, r, false, nullptr, false); } },
    { { "ComposeWithTransformationClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2" },
        [] { ComposeWithTransformationClippingMaskOn(kx, r, mode, kx, r, kx, r, kx, r, false, nullptr, 1, false); } },
    { { "ComposeWithTransformationClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2" },
        [] {
            ComposeWithTransformationClippingMaskAndMaskOn(
                kx, r, mode, kx, r, 1, kx, r, kx, r, false, kx, r, false, nullptr, false);
        } },
    { { "VectorProcess" }, [] { OPTransformImageColors(BaseTransformation(), &flat, r)(); } },
    { { "VectorProcess" }, [] { OPTransformImageColors(BaseTransformation(), &qt, r)(); } },
    { {}, [] { OPTransformImageColors(BaseTransformation(), &wide, r)(); } },
    { {},
        [] { // on one processor
            const kit::Processors processors(1);
            OPTransformImageColors(BaseTransformation(), &qt, r)();
        } },
    { {}, [] { OPTransformImageColors(Accelerated(), &kx, r)(); } },
    { {}, [] { OPIterativeTransformImageColors(Accelerated(), &kx, r, cancel, nullptr)(); } },
    { {}, [] { OPIterativeTransformImageColors(BaseTransformation(), &flat, r, cancel, nullptr)(); } },
    { {}, [] { OPPixelIterativeTransformImageColors(BaseTransformation(), &flat, r, cancel, nullptr)(); } },
    { { "IterativeVectorProcess" },
        [] { OPIterativeTransformImageColors(Accelerated(), &flat, r, cancel, nullptr)(); } },
    { { "PixelTransformIterativeVectorProcess" },
        [] { OPPixelIterativeTransformImageColors(Accelerated(), &flat, r, cancel, nullptr)(); } },
    { { "LineHandlerAVX2" },
        [] { runHandler<lines::LineHandler<OPRGBABlurAccumulator, HorizontalDirection>>(OPRGBABlurAccumulator(1)); } },
    { { "LineHandlerAVX2" }, [] { slideColumns(256); } }, // too wide for the next one
    { { "SlideAlphaColumnsAVX2" }, [] { slideColumns(255); } },
    { { "LineHandlerConvolutionAVX2" }, [] { sharpen<HorizontalDirection>(3); } },
    { { "LineHandlerConvolutionAVX2" }, [] { sharpen<VerticalDirection>(1785); } }, // too much for the next one
    { { "SharpenColumnsAVX2" }, [] { sharpen<VerticalDirection>(-1784); } },
    { {}, [] { runHandler<lines::LineHandlerConvolution<PlainCopy, HorizontalDirection>>(PlainCopy()); } },
    { { "KXIterativeConvolutionFast1DAVX2Convolve" }, convolve<HorizontalDirection> },
    { { "KXIterativeConvolutionFast1DAVX2ConvolveColumns" }, convolve<VerticalDirection> },
    // All rows but the last one are premultiplied.
    { { "KXIterativeConvolutionFast1DAVX2ConvolvePremultiplied", "KXIterativeConvolutionFast1DAVX2Convolve",
          "KXIterativeConvolutionFast1DAVX2ConvolveColumns" },
        convolveBoth },
    { { "UniformNoiseAVX2" }, [] { OPUniformNoise(1)(block, false); } },
    { { "GaussianNoiseAVX2" }, [] { OPGaussianNoise(1)(block, false); } },
    { { "MersenneTwisterAVX2", "UniformNoiseAVX2", "BlendWithOpacityAVX2" }, [] { filter("Add noise"); } },
    { { "BrightMaskAVX2", "GaussianMaskRowAVX2", "GaussianMaskColumnsAVX2", "BlendWithOpacityAVX2" },
        [] { filter("Diffuse glow"); } },
    { { "PixelTransformIterativeVectorProcess" }, [] { filter("Vignette"); } },
    { { "PixelTransformIterativeVectorProcess", "MergeSelectionAVX2" }, [] { filter("Vignette", true); } },
    { { "ConvolveCellsAVX2" },
        [] {
            const double cell = 1;
            OPImageConvolution(&cell, QSize(1, 1))(qt);
        } },
    { { "ResizeRowAVX2", "ResizeColumnsAVX2" }, [] { KXResizeImage(flat, flat, KXResizeBox); } },
    { { "SumAlphaTapsAVX2" },
        [] {
            RGBA32iImage mask(1, 1, false);
            QRect rect = mask.Rect();
            FeatherAlphaMask(mask, rect, 1);
        } },
    { { "SampleBilinearAVX2" }, [] { BilinearTransformImage(flat, QTransform(), flat, r); } },
    { { "SampleBicubicAVX2" }, [] { BicubicTransformImage(flat, QTransform(), flat, r); } },
    { { "LineHandlerAVX2" }, [] { BicubicTransformImage(flat, QTransform::fromScale(0.5, 0.5), flat, r); } },
    { { "PremultiplyAlphaAVX2" }, [] { KXBlur::PremultiplyAlpha().Apply(flat.Bits(), 1); } },
    { { "ReturnAlphaAVX2" }, [] { KXBlur::ReturnAlpha().Apply(flat.Bits(), 1); } },
};

constexpr int compositions = 18;

/// An adjustment of the catalogue, which names its kernels.
Use useOf(const catalogue::Operation &adjustment)
{
    Symbols symbols;
    for (const QString &symbol : QString::fromStdString(adjustment.kernel).split(", ", Qt::SkipEmptyParts))
        symbols.insert(symbol.toStdString());
    return { symbols, [adjustment] {
                for (const catalogue::Variant &variant : adjustment.variants) {
                    const auto made = variant.make();
                    adjustment.promises.dependsOnPosition ? (*made)(0, 0, block, false) : (*made)(block, false);
                }
            } };
}

QString names(const Symbols &symbols)
{
    QStringList names;
    for (const std::string &symbol : symbols)
        names << QString::fromStdString(symbol);
    return names.join(' ');
}

/// What @p use called of the module of the moment, or of one before that it stays bound to.
Symbols calledBy(const Use &use)
{
    called.clear();
    use.call();
    return called;
}

} // namespace

/// That the library binds each kernel of the module, to the place that must call it.
class TestBinding : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        AVX2LIB::UseModule(nullptr);
        loadAVX2Functions(false); // leaves the slots empty
        for (int number = 1; number <= 14; ++number)
            QVERIFY_EXCEPTION_THROWN(uses[number - 1].call(), std::bad_function_call);
        for (int number = 15; number <= compositions; ++number)
            uses[number - 1].call();
        QVERIFY(!KXBlur::PremultiplyAlpha().HasKernel() && !KXBlur::ReturnAlpha().HasKernel());
#if defined(__x86_64__)
        if (!__builtin_cpu_supports("avx2"))
#endif
            QSKIP("modules are not loaded on this processor");
    }

    /// A module that has nothing for columns side by side gets each of them, and the walks around both passes.
    void linesOnly()
    {
        AVX2LIB::UseModule(fake_lines_only_path);
        const Symbols line { "KXIterativeConvolutionFast1DAVX2Convolve" };
        QVERIFY(calledBy({ {}, convolve<VerticalDirection> }) == line);
        QVERIFY(calledBy({ {}, convolveBoth }) == (Symbols { "VectorProcess", *line.begin() }));
        QVERIFY(calledBy({ {}, [] { sharpen<VerticalDirection>(3); } }) == Symbols { "LineHandlerConvolutionAVX2" });
        AVX2LIB::UseModule(nullptr);
        QVERIFY(calledBy({ {}, convolve<VerticalDirection> }) == line); // what is bound stays bound
    }

    /// Every kernel of the list is called by some place, and by no other one.
    void everyKernelIsReached()
    {
        AVX2LIB::UseModule(fake_all_path);
        loadAVX2Functions(true);
        std::atomic<int> bound { 0 };
        QVERIFY(kit::onPool(4, 4, [&bound] { // what is empty is looked up again, on any thread
            bound += KXBlur::PremultiplyAlpha().HasKernel() && KXBlur::ReturnAlpha().HasKernel();
        }));
        QCOMPARE(bound.load(), 4);

        Symbols reached;
        const auto check = [&reached](const Use &use) {
            const Symbols called = calledBy(use);
            QCOMPARE(names(called), names(use.symbols));
            reached.insert(called.begin(), called.end());
        };
        std::for_each(std::begin(uses), std::end(uses), check);
        for (const catalogue::Operation &adjustment : catalogue::operations(catalogue::Kind::Adjustment))
            check(useOf(adjustment));
        Symbols listed;
#define KX_KERNEL(symbol, ...) listed.insert(#symbol);
#include "support/KernelList.h"
#undef KX_KERNEL
        QCOMPARE(names(reached), names(listed));
    }

    /// Each load takes what the module of the moment has: the first 14 symbols all or none, the others one by one.
    /// Found ones replace those of the load before, missing ones clear them.
    void compositionModules()
    {
        constexpr int none = 0, first14 = -1, all = -2, module = -3;
        QFile whole(fake_all_path);
        QTemporaryFile cut; // what is left of a module that was not written to its end
        QVERIFY(whole.open(QIODevice::ReadOnly) && cut.open() && cut.write(whole.read(4096)) == 4096 && cut.flush());
        const QByteArray cutPath = QFile::encodeName(cut.fileName());
        const std::pair<const char *, int> whatIsMissing[] = { { fake_all_path, none }, { fake_without_10_path, 10 },
            { fake_without_16_path, 16 }, { fake_empty_path, all }, { fake_last_four_path, first14 },
            { nullptr, module }, { "", module }, { "/nowhere/libkxcore_avx2.so", module }, { "/", module },
            { cutPath.constData(), module } };
        for (const auto &[path, missing] : whatIsMissing) {
            AVX2LIB::UseModule(path);
            const AVX2LIB *const found = AVX2LIB::Instance();
            QVERIFY(missing == module ? !found : found && !found->GetProcAddress(nullptr));
            kit::LogCapture log;
            loadAVX2Functions(true);
            loadAVX2Functions(false);
            QCOMPARE(log.texts().join(' '),
                QString(missing ? "[src/KXComposer] AVX2 functions cannot be loaded, use default" : ""));
            for (int number = 1; number <= compositions; ++number) {
                const bool isReached = missing == none || (number > 14 && missing >= first14 && missing != number);
                const Use &use = uses[number - 1];
                QVERIFY(calledBy(use) == (isReached ? use.symbols : Symbols()));
            }
        }
    }
};

KXCORE_TEST_MAIN(TestBinding)
#include "tst_binding.moc"
