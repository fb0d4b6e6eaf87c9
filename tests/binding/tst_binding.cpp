#include "kit/Test.h"

#include "KXComposer.h"

namespace {

/// Calls the composition entry behind the @p number -th slot, 1 to 18; nothing is composed.
void callEntry(int number)
{
    const QRect r;
    const auto mode = KXCompositionMode::Source;
    QImage qt(1, 1, QImage::Format_ARGB32);
    RGBA32iImage kx(1, 1, true);
    const std::function<void()> entries[] = {
        [&] { Compose(kx, r, mode, kx, r, 1, false); },
        [&] { Compose(qt, r, mode, kx, r, 1, false); },
        [&] { Compose(kx, r, mode, qt, r, 1, false); },
        [&] { Compose(qt, r, mode, qt, r, 1, false); },
        [&] { ComposeSource(kx, r, kx, r); },
        [&] { ComposeSource(qt, r, kx, r); },
        [&] { ComposeSource(kx, r, qt, r); },
        [&] { ComposeSource(qt, r, qt, r); },
        [&] { ComposeMaskOn(kx, r, mode, kx, r, 1, kx, r, false, false); },
        [&] { ComposeMaskOn(qt, r, mode, kx, r, 1, kx, r, false, false); },
        [&] { ComposeAlphaDarken(qt, r, kx, r, 1, 1, 1); },
        [&] { ComposeDualBrush(qt, r, qt, r, mode); },
        [&] { ComposeClippingMaskOn(kx, r, mode, kx, r, kx, r, kx, r, false, 1, false); },
        [&] { ComposeClippingMaskAndMaskOn(kx, r, mode, kx, r, 1, kx, r, kx, r, false, kx, r, false, false); },
        [&] { ComposeWithTransformation(kx, r, mode, kx, r, nullptr, 1, false); },
        [&] { ComposeWithTransformationMaskOn(kx, r, mode, kx, r, 1, kx, r, false, nullptr, false); },
        [&] { ComposeWithTransformationClippingMaskOn(kx, r, mode, kx, r, kx, r, kx, r, false, nullptr, 1, false); },
        [&] {
            ComposeWithTransformationClippingMaskAndMaskOn(
                kx, r, mode, kx, r, 1, kx, r, kx, r, false, kx, r, false, nullptr, false);
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
    void initTestCase()
    {
        loadAVX2Functions(false); // leaves the slots empty
        for (int number = 1; number <= 14; ++number)
            QVERIFY_EXCEPTION_THROWN(callEntry(number), std::bad_function_call);
        for (int number = 15; number <= 18; ++number)
            callEntry(number);
#if defined(__x86_64__)
        if (!__builtin_cpu_supports("avx2"))
#endif
            QSKIP("modules are not loaded on this processor");
    }

    /// Each load takes what the module of the moment has: the first 14 symbols all or none, the others one by one.
    /// Found ones replace those of the load before, missing ones clear them.
    void modules()
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
            for (int number = 1; number <= 18; ++number) {
                const bool isReached = missing == none || (number > 14 && missing >= first14 && missing != number);
                QCOMPARE(calledBy(number), isReached ? number : 0);
            }
        }
    }
};

KXCORE_TEST_MAIN(TestBinding)
#include "tst_binding.moc"
