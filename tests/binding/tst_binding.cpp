#include "TestSupport.h"

#include "Entries.h"
#include "support/Kernels.h"

namespace {

const QString refusal = "[src/KXComposer] AVX2 functions cannot be loaded, use default";

QStringList load()
{
    testing::LogCapture log;
    loadAVX2Functions(true);
    return log.texts();
}

/// The number of the fake function that the entry called; 0 for none.
int calledBy(int number)
{
    const AVX2LIB *const module = AVX2LIB::Instance();
    int *const called = module ? static_cast<int *>(module->GetProcAddress("called")) : nullptr;
    if (called)
        *called = 0;
    callEntry(number);
    return called ? *called : 0;
}

bool processorHasAvx2()
{
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

} // namespace

class TestBinding : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        if (!processorHasAvx2())
            QSKIP("modules are not loaded on this processor");
    }
    void cleanup() { AVX2LIB::UseModule(nullptr); }
    void modules_data();
    void modules();
    void noModule_data();
    void noModule();
    void loadingAgain();
    void lookUp();
};

void TestBinding::modules_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<bool>("complete");
    QTest::addColumn<QVector<int>>("lastFour"); // which of the entries 15 to 18 reach the module
    QTest::newRow("all symbols") << QByteArray(fake_all_path) << true << QVector<int> { 15, 16, 17, 18 };
    QTest::newRow("one missing of those with a default")
        << QByteArray(fake_without_10_path) << false << QVector<int> { 15, 16, 17, 18 };
    QTest::newRow("one missing of those without")
        << QByteArray(fake_without_16_path) << false << QVector<int> { 15, 17, 18 };
    QTest::newRow("only the last four") << QByteArray(fake_last_four_path) << false << QVector<int> { 15, 16, 17, 18 };
    QTest::newRow("none") << QByteArray(fake_none_path) << false << QVector<int>();
}

void TestBinding::modules()
{
    QFETCH(QByteArray, path);
    QFETCH(bool, complete);
    QFETCH(QVector<int>, lastFour);
    AVX2LIB::UseModule(path.constData());
    QVERIFY(AVX2LIB::Instance());
    QCOMPARE(load(), complete ? QStringList() : QStringList(refusal));
    for (int number = 1; number <= 14; ++number) { // all or nothing
        QCOMPARE(calledBy(number), complete ? number : 0);
        QCOMPARE(callEntry(number), !complete); // the default form works, the fake one does nothing
    }
    for (int number = 15; number <= 18; ++number) {
        QCOMPARE(calledBy(number), lastFour.contains(number) ? number : 0);
        QVERIFY(!callEntry(number));
    }
}

void TestBinding::noModule_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("told to use none") << QByteArray();
    QTest::newRow("empty path") << QByteArray("");
    QTest::newRow("no such file") << QByteArray("/nowhere/libkxcore_avx2.so");
    QTest::newRow("not a module") << QFile::encodeName(QCoreApplication::applicationDirPath());
}

void TestBinding::noModule()
{
    QFETCH(QByteArray, path);
    AVX2LIB::UseModule(path.isNull() ? nullptr : path.constData());
    QVERIFY(!AVX2LIB::Instance());
    QCOMPARE(load(), QStringList(refusal));
    for (int number = 1; number <= 18; ++number)
        QCOMPARE(callEntry(number), number <= 14);
}

/// Each load takes what the module of the moment has: found symbols replace the old ones, missing ones clear them.
void TestBinding::loadingAgain()
{
    AVX2LIB::UseModule(fake_all_path);
    load();
    AVX2LIB::UseModule(fake_none_path);
    loadAVX2Functions(false); // leaves the slots as they are
    AVX2LIB::UseModule(fake_all_path);
    QCOMPARE(calledBy(3), 3);
    QCOMPARE(calledBy(17), 17);

    AVX2LIB::UseModule(fake_none_path);
    load();
    AVX2LIB::UseModule(fake_all_path); // to see what is called
    QCOMPARE(calledBy(3), 0);
    QCOMPARE(calledBy(17), 0);
}

/// The look-up that all other kernels share.
void TestBinding::lookUp()
{
    AVX2LIB::UseModule(fake_last_four_path);
    AVX2LIB *const module = AVX2LIB::Instance();
    QCOMPARE(AVX2LIB::Instance(), module); // one handle
    QVERIFY(!module->GetProcAddress("ComposeAlphaDarken_avx2") && !module->GetProcAddress(nullptr));
    QVERIFY(!kernels::find(nullptr, "called") && kernels::find(module, "called"));

    const char *const name = "ComposeWithTransformation_RGBA32iImage_RGBA32iImage_avx2";
    using Call = void(const RGBA32iImage &, const QRect &, KXCompositionMode, RGBA32iImage &, const QRect &,
        BaseTransformation *, double, bool);
    std::function<Call> slot;
    QVERIFY(!kernels::bind(slot, "NoSuchKernel") && !slot);
    QVERIFY(kernels::bind(slot, name));
    RGBA32iImage image(1, 1, false);
    slot(image, QRect(), KXCompositionMode::Source, image, QRect(), nullptr, 1, false);
    QCOMPARE(*static_cast<int *>(module->GetProcAddress("called")), 15);

    AVX2LIB::UseModule(nullptr);
    QVERIFY(kernels::bind(slot, name)); // what is bound stays bound
    kernels::rebind(slot, AVX2LIB::Instance(), name);
    QVERIFY(!slot);
}

KXCORE_TEST_MAIN(TestBinding)
#include "tst_binding.moc"
