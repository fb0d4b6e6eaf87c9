#include "KXGpuService.h"
#include "KXSelectiveColorsTransformation.h"
#include "kit/Images.h"

#include <QtCore/QPointer>

#include <cerrno>
#include <dlfcn.h>
#include <pthread.h>

static std::atomic<bool> refusesThreads { false };

extern "C" Q_DECL_EXPORT int pthread_create(
    pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument) noexcept
{
    const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return refusesThreads ? EAGAIN : create(thread, attributes, start, argument);
}

/// What a service does that cannot start: for want of a display, or for what the environment says.
class TestNoGpu : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void destroysItself()
    {
        const QString failure = qEnvironmentVariable("KXCORE_TEST_GPU_FAILURE", "Failed to create GL 3.3 context");
        if (QGuiApplication::platformName() == "offscreen")
            qunsetenv("DISPLAY"); // this platform finds OpenGL there
        kit::Picture input = kit::Picture::random(20, 10, 1);
        const kit::Picture before = input;
        RGBA32iImage image = input.image(false);
        SelectiveParamsList list;
        list.m_Params[SelectiveParamsList::Neutrals].black = 50;
        KXSelectiveColorsTransformation adjust(list);
        for (int round = 0; round < 20; ++round) {
            kit::LogCapture log;
            QVERIFY(!KXGpuService::get_instance());
            KXGpuService::make_instance();
            const QPointer<KXGpuService> gpu = KXGpuService::get_instance();
            QVERIFY(gpu);
            connect(gpu, &KXGpuService::finished, this, [] { QFAIL("nothing was done"); });
            adjust(image, image.Rect(), true);
            gpu->process_selective_color(
                reinterpret_cast<uint8_t *>(input.pixels.data()), 20, 10, list.m_Params, 0, nullptr, 0, 0, 0, 0, false);
            if (round % 2) {
                QTRY_VERIFY_WITH_TIMEOUT(!gpu, 60000);
                QVERIFY2(log.texts().contains("[src/KXGpuProcessor] " + failure), qPrintable(log.texts().join('\n')));
            }
            KXGpuService::destroy(); // also while it is failing
            QVERIFY(!gpu && !KXGpuService::get_instance());
            QCoreApplication::processEvents();
        }
        adjust(image, image.Rect(), true);
        COMPARE_PICTURE(kit::Picture::of(image), before);
        COMPARE_PICTURE(input, before);
    }

    void refusedThread()
    {
        refusesThreads = true;
        KXGpuService::make_instance();
        refusesThreads = false;
        QVERIFY(KXGpuService::get_instance());
        QTRY_VERIFY(!KXGpuService::get_instance());
    }

    void otherImages()
    {
        QImage image(5, 5, QImage::Format_ARGB32);
        image.fill(0xFF336699);
        const QImage before = image;
        KXSelectiveColorsTransformation()(image, image.rect(), true);
        QCOMPARE(image, before);
    }
};

KXCORE_TEST_MAIN(TestNoGpu)
#include "tst_nogpu.moc"
