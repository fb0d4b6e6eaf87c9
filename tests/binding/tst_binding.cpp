#include "TestSupport.h"

#include "KXComposer.h"
#include "support/Kernels.h"

namespace {

/// Calls the composition entry behind the @p number -th slot, 1 to 18, on images of one pixel.
void callEntry(int number)
{
    const QRect r(0, 0, 1, 1);
    const auto mode = KXCompositionMode::Source;
    QImage image(r.size(), QImage::Format_ARGB32), onto = image;
    image.fill(0u);
    onto.fill(0u);
    RGBA32iImage src(1, 1, false), dst = src, tiled(1, 1, true), clip = src, mask = src;
    const std::function<void()> entries[] = {
        [&] { Compose(src, r, mode, dst, r, 1, false); },
        [&] { Compose(image, r, mode, dst, r, 1, false); },
        [&] { Compose(src, r, mode, onto, r, 1, false); },
        [&] { Compose(image, r, mode, onto, r, 1, false); },
        [&] { ComposeSource(src, r, dst, r); },
        [&] { ComposeSource(image, r, dst, r); },
        [&] { ComposeSource(src, r, onto, r); },
        [&] { ComposeSource(image, r, onto, r); },
        [&] { ComposeMaskOn(src, r, mode, dst, r, 1, mask, r, false, false); },
        [&] { ComposeMaskOn(image, r, mode, dst, r, 1, mask, r, false, false); },
        [&] { ComposeAlphaDarken(image, r, tiled, r, 1, 1, 1); },
        [&] { ComposeDualBrush(image, r, onto, r, mode); },
        [&] { ComposeClippingMaskOn(src, r, mode, dst, r, clip, r, mask, r, false, 1, false); },
        [&] { ComposeClippingMaskAndMaskOn(src, r, mode, dst, r, 1, clip, r, clip, r, false, mask, r, false, false); },
        [&] { ComposeWithTransformation(src, r, mode, dst, r, nullptr, 1, false); },
        [&] { ComposeWithTransformationMaskOn(src, r, mode, dst, r, 1, mask, r, false, nullptr, false); },
        [&] {
            ComposeWithTransformationClippingMaskOn(src, r, mode, dst, r, clip, r, mask, r, false, nullptr, 1, false);
        },
        [&] {
            ComposeWithTransformationClippingMaskAndMaskOn(
                src, r, mode, dst, r, 1, clip, r, clip, r, false, mask, r, false, nullptr, false);
        },
    };
    entries[number - 1]();
}

/// The number of the fake function that the entry called, of this module or the one before; 0 for none.
int calledBy(int number)
{
    AVX2LIB *const module = AVX2LIB::Instance();
    static int none = 0, *called = &none;
    called = module ? static_cast<int *>(module->GetProcAddress("called")) : called;
    *called = 0;
    callEntry(number);
    return *called;
}

} // namespace

class TestBinding : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Before loadAVX2Functions(true).
    void initTestCase()
    {
        loadAVX2Functions(false); // leaves the slots as they are
        for (int number = 1; number <= 14; ++number)
            QVERIFY_EXCEPTION_THROWN(callEntry(number), std::bad_function_call);
        for (int number = 15; number <= 18; ++number)
            callEntry(number);
    }

    void init()
    {
#if defined(__x86_64__)
        if (__builtin_cpu_supports("avx2"))
            return;
#endif
        QSKIP("modules are not loaded on this processor");
    }

    /// Each load takes what the module of the moment has: the first 14 symbols all or none, the others one by one.
    /// Found ones replace those of the load before, missing ones clear them.
    void modules()
    {
        constexpr int all = -1, first14 = -2;
        const struct {
            const char *path;
            int missing; // a number, or 0 for none
            bool isModule = true;
        } rows[] = { { fake_all_path, 0 }, { fake_without_10_path, 10 }, { fake_without_16_path, 16 },
            { fake_empty_path, all }, { fake_last_four_path, first14 }, { nullptr, all, false }, { "", all, false },
            { "/nowhere/libkxcore_avx2.so", all, false }, { "/", all, false } };
        for (const auto &row : rows) {
            AVX2LIB::UseModule(row.path);
            QCOMPARE(AVX2LIB::Instance() != nullptr, row.isModule);
            testing::LogCapture log;
            loadAVX2Functions(true);
            loadAVX2Functions(false);
            QCOMPARE(log.texts().join(' '),
                QString(row.missing ? "[src/KXComposer] AVX2 functions cannot be loaded, use default" : ""));
            for (int number = 1; number <= 18; ++number) {
                const bool isReached = row.missing == 0 || (number > 14 && row.missing != all && number != row.missing);
                QCOMPARE(calledBy(number), isReached ? number : 0);
            }
        }
    }

    /// The look-up that all other kernels share.
    void lookUp()
    {
        AVX2LIB::UseModule(fake_without_16_path);
        AVX2LIB *const module = AVX2LIB::Instance();
        QVERIFY(!module->GetProcAddress("NoSuchKernel") && !module->GetProcAddress(nullptr));
        QVERIFY(!kernels::find(nullptr, "called") && kernels::find(module, "called"));

        const char *const name = "ComposeSource_RGBA32iImage_RGBA32iImage_avx2";
        std::function<decltype(ComposeSource<RGBA32iImage, RGBA32iImage>)> slot;
        QVERIFY(!kernels::bind(slot, "NoSuchKernel") && !slot && kernels::bind(slot, name));
        RGBA32iImage image(1, 1, false);
        slot(image, QRect(), image, QRect());
        QCOMPARE(*static_cast<int *>(module->GetProcAddress("called")), 5);
        AVX2LIB::UseModule(nullptr);
        QVERIFY(kernels::bind(slot, name)); // what is bound stays bound
        kernels::rebind(slot, AVX2LIB::Instance(), name);
        QVERIFY(!slot);
    }
};

KXCORE_TEST_MAIN(TestBinding)
#include "tst_binding.moc"
