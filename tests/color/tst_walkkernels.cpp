#include "TestSupport.h"
#include "fake_walks.h"

#include "OPTransformImageColors.h"

#include <thread>

/// Adds 1 to blue, and says of itself whether it has a kernel.
class AddOne : public BaseTransformation {
public:
    using BaseTransformation::operator();

    explicit AddOne(bool kernel = true) { m_HasKernel = kernel; }
    void operator()(OPRGBA32i &pixel) const override { ++pixel.b; }
    void operator()(int, int, OPRGBA32i &pixel) const override { ++pixel.b; }
};

/// Binding lasts as long as the process, so these tests build on one another, in this order: without a module, with it,
/// and without it once more.
class TestWalkKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        AVX2LIB::UseModule(FAKE_MODULE);
        if (!AVX2LIB::Instance())
            QSKIP("this processor runs no kernels");
        m_fake = static_cast<FakeWalks *>(AVX2LIB::Instance()->GetProcAddress("fakeWalks"));
        QVERIFY(m_fake);
    }

    void withoutModule()
    {
        AVX2LIB::UseModule(nullptr);
        iterate(AddOne());
        QCOMPARE(calls(), "");
        AVX2LIB::UseModule(FAKE_MODULE);
    }

    void flatImages()
    {
        m_image.Fill(OPRGBA32i());
        m_progress = 0;
        OPTransformImageColors(AddOne(false), &m_image, m_rect)(); // taken whatever the transformation has
        QVERIFY(m_fake->data == m_image.Bits() && m_fake->stride == 6 && m_fake->rect == m_rect);
        OPTransformImageColors(AddOne(), &m_image, m_rect.adjusted(0, 0, 100, 100))();
        QCOMPARE(m_fake->rect, QRect(2, 1, 4, 5)); // clipped for the kernel
        OPTransformImageColors(AddOne(), &m_image)();
        QCOMPARE(m_fake->rect, QRect(0, 0, 6, 6));
        OPTransformImageColors(AddOne(), &m_image, QRect(6, 0, 3, 3))(); // nothing to do
        QCOMPARE(calls(), "PPP");

        for (const bool located : { false, true }) {
            iterate(AddOne(), located);
            QVERIFY(m_fake->data == m_image.Bits() && m_fake->stride == 6 && m_fake->rect == m_rect);
            QVERIFY(m_fake->cancel == &m_goOn && m_progress == 1 + located);
        }
        QCOMPARE(calls(), "IL");
        QCOMPARE(m_image.Bits()[8].word, 0u); // the kernels have done it all
        iterate(AddOne(false));
        iterate(AddOne(false), true);
        QCOMPARE(calls(), "");
    }

    /// The kernel leaves out the last row of its rectangle; a QImage is changed in all of them.
    void qimages()
    {
        if (std::thread::hardware_concurrency() < 2)
            QSKIP("the kernel is not used for a QImage on a single processor");
        OPRGBA32i pixels[6 * 8];
        for (const int stride : { 6, 8 }) { // eight is not what the kernel's stride can say
            std::fill(std::begin(pixels), std::end(pixels), OPRGBA32i());
            QImage image(reinterpret_cast<unsigned char *>(pixels), 6, 6, stride * 4, QImage::Format_ARGB32);
            OPTransformImageColors(AddOne(), &image, m_rect)();
            QCOMPARE(calls(), stride == 6 ? "P" : "");
            for (int y = 0; y < 6; ++y)
                for (int x = 0; x < 6; ++x)
                    QCOMPARE(image.pixel(x, y), unsigned(m_rect.contains(x, y) && (stride == 8 || y == 4)));
        }
        QVERIFY(m_fake->data == pixels && m_fake->stride == 6 && m_fake->rect == m_rect);
    }

    void tiledImagesAndWhatIsBound()
    {
        AVX2LIB::UseModule(nullptr);
        iterate(AddOne());
        QCOMPARE(calls(), "I"); // stays bound
        m_image = RGBA32iImage(6, 6, true);
        OPTransformImageColors(AddOne(), &m_image)();
        iterate(AddOne());
        iterate(AddOne(), true);
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(calls(), "");
    }

private:
    void iterate(const AddOne &transformation, bool located = false)
    {
        const auto progress = [this] { ++m_progress; };
        if (located)
            OPPixelIterativeTransformImageColors(transformation, &m_image, m_rect, m_goOn, progress)();
        else
            OPIterativeTransformImageColors(transformation, &m_image, m_rect, m_goOn, progress)();
    }

    /// The calls since the last time.
    QString calls() { return QString(std::exchange(m_fake->calls, QByteArray())); }

    FakeWalks *m_fake = nullptr;
    RGBA32iImage m_image = RGBA32iImage(6, 6, false);
    const std::atomic<bool> m_goOn { false };
    const QRect m_rect { 2, 1, 3, 4 }; // columns 2 to 4, rows 1 to 4
    std::atomic<int> m_progress { 0 };
};

KXCORE_TEST_MAIN(TestWalkKernels)
#include "tst_walkkernels.moc"
