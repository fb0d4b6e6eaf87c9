#include "TestSupport.h"
#include "fake_walks.h"

#include "OPTransformImageColors.h"
#include "support/Kernels.h"

#include <thread>

/// Adds 1 to red, or at a position to green. A class with a kernel, bound as every accelerated class binds its own.
class AddOne : public BaseTransformation {
public:
    using BaseTransformation::operator();

    AddOne() { m_HasKernel = kernels::bind(m_AddOneAVX2, "AddOneAVX2"); }
    void operator()(OPRGBA32i &pixel) const override { ++pixel.r; }
    void operator()(int, int, OPRGBA32i &pixel) const override { ++pixel.g; }
    void operator()(unsigned char *pixels, bool flag) const override
    {
        if (m_AddOneAVX2)
            m_AddOneAVX2(*this, pixels, flag);
    }

    static std::function<void(const AddOne &, unsigned char *, bool)> m_AddOneAVX2;
};
std::function<void(const AddOne &, unsigned char *, bool)> AddOne::m_AddOneAVX2;

/// The same without a kernel.
class PlainAddOne : public AddOne {
public:
    PlainAddOne() { m_HasKernel = false; }
};

/// Binding lasts as long as the process, so these tests build on one another, in this order: without a module, with it,
/// and without it once more.
class TestWalkKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void withoutModule();
    void classKernel();
    void plain();
    void qimage();
    void iterative();
    void positionAware();
    void tiledImagesStayHere();
    void boundStaysBound();

private:
    FakeWalks &fake() { return *m_fake; }

    FakeWalks *m_fake = nullptr;
    const std::atomic<bool> m_goOn { false };
    const QRect m_rect { 2, 1, 3, 4 }; // columns 2 to 4, rows 1 to 4
};

/// Where the red (or green) of a flat image was raised, as text: one line per row.
static QStringList raised(const OPRGBA32i *pixels, int width, int height, int shift = 16)
{
    QStringList rows;
    for (int y = 0; y < height; ++y) {
        QString row;
        for (int x = 0; x < width; ++x)
            row += QString::number(pixels[y * width + x].word >> shift & 255);
        rows << row;
    }
    return rows;
}

static const QStringList allRows { "000000", "001110", "001110", "001110", "001110", "000000" };
static const QStringList withoutLast { "000000", "001110", "001110", "001110", "000000", "000000" };

void TestWalkKernels::initTestCase()
{
    AVX2LIB::UseModule(FAKE_MODULE);
    if (!AVX2LIB::Instance())
        QSKIP("this processor runs no kernels");
    m_fake = static_cast<FakeWalks *>(AVX2LIB::Instance()->GetProcAddress("fakeWalks"));
    QVERIFY(m_fake);
}

void TestWalkKernels::withoutModule()
{
    AVX2LIB::UseModule(nullptr);
    const AddOne transformation;
    QVERIFY(!transformation.HasKernel());
    unsigned char block[32] = { 7 };
    transformation(block, true);
    QCOMPARE(int(block[0]), 7);
    OPRGBA32i pixel;
    transformation(pixel);
    QCOMPARE(int(pixel.r), 1);

    RGBA32iImage image(6, 6, false);
    OPIterativeTransformImageColors(transformation, &image, m_rect, m_goOn, nullptr)();
    QCOMPARE(fake().iterative, 0);
}

void TestWalkKernels::classKernel()
{
    AVX2LIB::UseModule(FAKE_MODULE);
    const AddOne transformation;
    QVERIFY(transformation.HasKernel());
    unsigned char block[32] = { 7 };
    transformation(block, true);
    QCOMPARE(int(block[0]), 99);
    QCOMPARE(fake().transformation, &transformation);
    QCOMPARE(fake().block, block);
    QVERIFY(fake().flag);
    transformation(block, false);
    QVERIFY(!fake().flag);

    const PlainAddOne plain;
    const PlainAddOne copy = plain; // takes the flag over and binds nothing
    QVERIFY(!copy.HasKernel());
    QVERIFY(AddOne(transformation).HasKernel());
}

void TestWalkKernels::plain()
{
    RGBA32iImage image(6, 6, false);
    OPTransformImageColors(PlainAddOne(), &image, m_rect)(); // taken whatever the transformation has
    QCOMPARE(fake().plain, 1);
    QCOMPARE(fake().data, image.Bits());
    QCOMPARE(fake().stride, 6);
    QCOMPARE(fake().rect, m_rect);
    QCOMPARE(raised(image.Bits(), 6, 6), withoutLast);

    OPTransformImageColors(AddOne(), &image, m_rect.adjusted(0, 0, 100, 100))(); // clipped for the kernel
    QCOMPARE(fake().rect, QRect(2, 1, 4, 5));
    OPTransformImageColors(AddOne(), &image)();
    QCOMPARE(fake().rect, QRect(0, 0, 6, 6));
    const int calls = fake().plain;
    OPTransformImageColors(AddOne(), &image, QRect(6, 0, 3, 3))(); // nothing to do
    QCOMPARE(fake().plain, calls);
}

/// The kernel leaves out the last row of its rectangle; a QImage is changed in all of them.
void TestWalkKernels::qimage()
{
    if (std::thread::hardware_concurrency() < 2)
        QSKIP("the kernel is not used for a QImage on a single processor");
    QImage image(6, 6, QImage::Format_ARGB32);
    image.fill(0);
    const int calls = fake().plain;
    OPTransformImageColors(AddOne(), &image, m_rect)();
    QCOMPARE(fake().plain, calls + 1);
    QCOMPARE(fake().data, reinterpret_cast<const OPRGBA32i *>(image.constBits()));
    QCOMPARE(fake().stride, 6);
    QCOMPARE(fake().rect, m_rect);
    QCOMPARE(raised(reinterpret_cast<const OPRGBA32i *>(image.constBits()), 6, 6), allRows);

    OPRGBA32i wide[6 * 8]; // rows of six pixels, eight pixels apart: not what the kernel's stride can say
    QImage padded(reinterpret_cast<unsigned char *>(wide), 6, 6, 8 * 4, QImage::Format_ARGB32);
    OPTransformImageColors(AddOne(), &padded, m_rect)();
    QCOMPARE(fake().plain, calls + 1);
    for (int y = 0; y < 6; ++y)
        QCOMPARE(raised(wide + y * 8, 8, 1).first(), allRows[y] + "00");
}

void TestWalkKernels::iterative()
{
    RGBA32iImage image(6, 6, false);
    int progress = 0;
    OPIterativeTransformImageColors(AddOne(), &image, m_rect, m_goOn, [&] { ++progress; })();
    QCOMPARE(fake().iterative, 1);
    QCOMPARE(fake().data, image.Bits());
    QCOMPARE(fake().stride, 6);
    QCOMPARE(fake().rect, m_rect);
    QCOMPARE(progress, 4);
    QCOMPARE(raised(image.Bits(), 6, 6), allRows);

    OPIterativeTransformImageColors(PlainAddOne(), &image, m_rect, m_goOn, nullptr)();
    QCOMPARE(fake().iterative, 1);
    std::atomic<bool> cancel { true };
    RGBA32iImage untouched(6, 6, false);
    OPIterativeTransformImageColors(AddOne(), &untouched, m_rect, cancel, nullptr)(); // the caller's own flag
    QCOMPARE(fake().iterative, 2);
    QCOMPARE(untouched.Bits()[8].word, 0u);
}

void TestWalkKernels::positionAware()
{
    RGBA32iImage image(6, 6, false);
    int progress = 0;
    OPPixelIterativeTransformImageColors(AddOne(), &image, m_rect, m_goOn, [&] { ++progress; })();
    QCOMPARE(fake().positionAware, 1);
    QCOMPARE(fake().rect, m_rect);
    QCOMPARE(progress, 4);
    QCOMPARE(raised(image.Bits(), 6, 6, 8), allRows);
    QCOMPARE(image.Bits()[8].word, 0x00000100u);

    OPPixelIterativeTransformImageColors(PlainAddOne(), &image, m_rect, m_goOn, nullptr)();
    QCOMPARE(fake().positionAware, 1);
}

void TestWalkKernels::tiledImagesStayHere()
{
    RGBA32iImage image(6, 6, true);
    const FakeWalks before = fake();
    OPTransformImageColors(AddOne(), &image)();
    OPIterativeTransformImageColors(AddOne(), &image, QRect(), m_goOn, nullptr)();
    OPPixelIterativeTransformImageColors(AddOne(), &image, QRect(), m_goOn, nullptr)();
    QThreadPool::globalInstance()->waitForDone();
    QCOMPARE(fake().plain, before.plain);
    QCOMPARE(fake().iterative, before.iterative);
    QCOMPARE(fake().positionAware, before.positionAware);
}

void TestWalkKernels::boundStaysBound()
{
    AVX2LIB::UseModule(nullptr);
    const AddOne transformation;
    QVERIFY(transformation.HasKernel());
    const int calls = fake().iterative;
    RGBA32iImage image(6, 6, false);
    OPIterativeTransformImageColors(transformation, &image, QRect(), m_goOn, nullptr)();
    QCOMPARE(fake().iterative, calls + 1);
}

KXCORE_TEST_MAIN(TestWalkKernels)
#include "tst_walkkernels.moc"
