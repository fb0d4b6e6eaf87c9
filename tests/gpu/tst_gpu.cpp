#include "KXGpuService.h"
#include "KXSelectiveColorsTransformation.h"
#include "kit/Images.h"

#include <QtGui/QOffscreenSurface>
#include <QtGui/QOpenGLContext>

using kit::Picture;
using Records = QList<SelectiveParams>;

constexpr int limit = 60000; // milliseconds that anything may take

struct Mask {
    Picture picture;
    QPoint offset;
};

/// Not null for a picture without pixels.
uint8_t *bytes(Picture &picture)
{
    static OPRGBA32i none;
    return reinterpret_cast<uint8_t *>(picture.pixels.empty() ? &none : picture.pixels.data());
}

/// Calls a slot of a processor, or the service's signal of this name.
template <class Gpu>
void process(Gpu &gpu, Picture &input, const Records &records, bool final, Mask *mask = nullptr, int mode = 1)
{
    gpu.process_selective_color(bytes(input), input.width, input.height, records, mode,
        mask ? bytes(mask->picture) : nullptr, mask ? mask->picture.width : 0, mask ? mask->picture.height : 0,
        mask ? mask->offset.x() : 0, mask ? mask->offset.y() : 0, final);
}

/// A processor on this thread, and what it has finished.
struct Gpu {
    explicit Gpu(bool hasSurface = true)
    {
        if (hasSurface)
            surface.create();
        processor.setSurface(&surface);
        QObject::connect(&processor, &KXGpuProcessor::finished, [this](const RGBA32iImage &i) { results << i; });
        QObject::connect(&processor, &KXGpuProcessor::initializedFailed, [this] { ++failures; });
    }

    /// The result of a call that is not final.
    Picture result(Picture &input, const Records &records, Mask *mask = nullptr, int mode = 1)
    {
        process(processor, input, records, false, mask, mode);
        return results.size() == 1 ? Picture::of(results.takeFirst()) : Picture(0, 0);
    }

    QOffscreenSurface surface;
    KXGpuProcessor processor;
    QList<RGBA32iImage> results;
    int failures = 0;
};

/// What the adjustment makes of a picture pixel by pixel, through a mask.
Picture adjusted(Picture picture, const Records &records, const Mask *mask = nullptr, int mode = 1)
{
    SelectiveParamsList list;
    list.m_Mode = mode;
    for (int i = 0; i < records.size(); ++i)
        list.m_Params[i] = records[i];
    const KXSelectiveColorsTransformation adjust(list);
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
            OPRGBA32i &pixel = picture.at(x, y), changed = pixel;
            adjust(changed);
            const QPoint place = mask ? QPoint(x, y) - mask->offset : QPoint();
            const bool isOutside = mask && !mask->picture.rect().contains(place);
            const int share = isOutside ? 0 : mask ? mask->picture.at(place.x(), place.y()).a : 255;
            // No half to round: n / 255 never is one.
            pixel = kit::pixelOf([&](int c) {
                const int sum = kit::channel(pixel, c) * (255 - share) + kit::channel(changed, c) * share;
                return (2 * sum + 255) / 510;
            });
        }
    return picture;
}

const Records strong { { 60, -40, 30, 5 }, { 10, 20, -70, 0 }, { -50, 30, 10, 0 }, { 35, 5, 5, 5 }, { 90, 10, -20, 0 },
    { 0, 80, 0, -30 }, { 20, 0, 40, 10 }, { -30, 25, 15, 5 }, { 0, 0, 60, -80 } };
const Records mild { { 10, 20, 30 }, { 0, 0, 40 } }; // the others lack

class TestGpu : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(!KXGpuService::get_instance()); }
    void cleanup() { KXGpuService::destroy(); }

    /// One channel value in a hundred thousand may differ, by 1.
    void sameAsOnProcessor()
    {
        QRandomGenerator random = kit::random();
        Picture picture = Picture::random(512, 512, 1); // many channels at which weights begin and end
        for (size_t i = 0; i < picture.pixels.size(); i += 2)
            picture.pixels[i].word = random.generate();
        Gpu gpu;
        gpu.processor.begin_filter(512, 512);
        int values = 0, differences = 0;
        for (int set = 0; set < 24; ++set) {
            const float most[] = { 1000, 100, 10 };
            const auto ink = [&] { return float(random.bounded(-9000, 9001)) / 9000 * most[set % 3]; };
            Records records;
            for (int range = 0; range < 9; ++range)
                records << SelectiveParams { ink(), ink(), ink(), set % 5 ? ink() : 0 };
            const int mode = set % 2 ? set - 8 : 0;
            const Picture result = gpu.result(picture, records, nullptr, mode);
            const Picture expected = adjusted(picture, records, nullptr, mode);
            QCOMPARE(result.rect(), expected.rect());
            values += int(expected.pixels.size()) * 3;
            for (size_t i = 0; i < expected.pixels.size(); ++i)
                for (int c = 0; result.pixels[i] != expected.pixels[i] && c < 4; ++c) {
                    const int off = kit::channel(result.pixels[i], c) - kit::channel(expected.pixels[i], c);
                    QVERIFY2(std::abs(off) <= (c < 3 ? 1 : 0), qPrintable(QString("pixel %1").arg(i)));
                    differences += std::abs(off);
                }
        }
        qInfo("%d of %d channel values differ", differences, values);
        QVERIFY(differences <= values / 100000);
    }

    /// Inside, beyond each edge, around the picture, beside it, and at the ends of the numbers. The first call of a run
    /// puts the picture around the mask into the results.
    void masks()
    {
        const QRect places[] = { { 5, 7, 11, 6 }, { -3, -4, 9, 9 }, { 30, 14, 20, 20 }, { -1, -1, 50, 50 },
            { 0, 0, 37, 23 }, { 36, 22, 1, 1 }, { 37, 0, 5, 5 }, { -5, 0, 5, 23 }, { 3, 3, 0, 4 },
            { INT_MAX - 9, 0, 9, 9 }, { -2000000000, -2000000000, 9, 9 } };
        quint32 sequence = 0;
        for (const QRect &place : places) {
            const Picture picture = Picture::random(37, 23, ++sequence);
            Mask mask { Picture::random(place.width(), place.height(), 100 + sequence), place.topLeft() };
            const Picture expected = adjusted(picture, strong, &mask);
            Picture input = picture;
            Gpu gpu;
            gpu.processor.begin_filter(37, 23);
            const QByteArray where = QByteArray::number(sequence);
            VERIFY_SAME_AT(kit::difference(gpu.result(input, strong, &mask), expected), where);
            VERIFY_SAME_AT(kit::difference(input, picture), where);
            process(gpu.processor, input, strong, true, &mask);
            VERIFY_SAME_AT(kit::difference(input, expected), where);
            QVERIFY(gpu.results.isEmpty()); // a final call has no signal
            QVERIFY(!QOpenGLContext::currentContext()); // each call releases it
        }
    }

    /// One upload in each run; results are the receiver's own. Around a mask lies the picture if the first call of the
    /// run has a mask, a final one too; otherwise the earlier result, which each begin_filter empties.
    void runs()
    {
        const Picture picture = Picture::random(40, 30, 1), other = Picture::random(40, 30, 2);
        Mask mask { Picture(10, 10, OPRGBA32i(0xFF000000)), { 4, 4 } };
        Picture input = picture;
        Gpu gpu;
        KXGpuProcessor &processor = gpu.processor;
        processor.begin_filter(40, 30);
        process(processor, input, strong, false);
        input = other; // too late
        process(processor, input, mild, false, nullptr, 0);
        process(processor, input, strong, false, &mask);
        process(processor, input, {}, false);
        process(processor, input, strong + mild, true);
        QCOMPARE(gpu.results.size(), 4);
        gpu.results[0].Fill(OPRGBA32i(1));
        const Picture once = adjusted(picture, mild, nullptr, 0), inside = adjusted(picture, strong);
        COMPARE_PICTURE(Picture::of(gpu.results[1]), once);
        const auto masked = [](Picture around, const Picture &middle) {
            for (int y = 4; y < 14; ++y)
                std::copy_n(&middle.at(4, y), 10, &around.at(4, y));
            return around;
        };
        COMPARE_PICTURE(Picture::of(gpu.results[2]), masked(once, inside));
        COMPARE_PICTURE(Picture::of(gpu.results[3]), picture);
        COMPARE_PICTURE(input, inside); // a tenth record does not count
        gpu.results.clear();

        input = other;
        processor.begin_filter(40, 30); // anew, with the same size
        process(processor, input, strong, true);
        COMPARE_PICTURE(gpu.result(input, strong, &mask), masked(Picture(40, 30), adjusted(other, strong)));
        input = picture;
        processor.begin_filter(40, 30);
        process(processor, input, mild, true, &mask);
        COMPARE_PICTURE(gpu.result(input, strong, &mask), masked(picture, inside));
        processor.end_filter();
        processor.begin_filter(50, 20);
        Picture third = Picture::random(50, 20, 3);
        COMPARE_PICTURE(gpu.result(third, strong), adjusted(third, strong));
    }

    /// What cannot be drawn leaves all pixels as they are, and is answered all the same.
    void nothingToDraw()
    {
        const QString incomplete = "FBO incomplete", beyond = "Size %1 x %2 is beyond the limit",
                      nothing = "Nothing to draw: no pixels, or another size than in begin_filter";
        const struct {
            QList<QSize> begun;
            QSize size;
            int maskWidth;
            QStringList lines;
        } rows[] = { { { { 0, 0 } }, { 0, 0 }, 0, { incomplete, nothing } },
            { { { INT_MIN, 5 } }, { INT_MIN, 5 }, 0, { incomplete, nothing } },
            { { { 9, 9 } }, { 9, 8 }, 0, { nothing } }, { { { 9, 9 } }, { 10, 9 }, 0, { nothing } },
            { { { 9, 9 }, { 9, 8 } }, { 9, 8 }, 0, { nothing } }, // too late for another size
            { { { 9, 9 }, { 9, 8 } }, { 9, 9 }, 0, { nothing } },
            { { { 1, INT_MAX } }, { 1, INT_MAX }, 0, { beyond.arg(1).arg(INT_MAX), incomplete, nothing } },
            { { { 9, 9 } }, { 9, 9 }, INT_MAX, { beyond.arg(INT_MAX).arg(1) } } };
        const Picture picture = Picture::random(9, 9, 1);
        for (const auto &[begun, size, maskWidth, lines] : rows) {
            Picture input = picture;
            Gpu gpu;
            gpu.processor.ensureInitialized();
            kit::LogCapture log;
            for (const QSize &each : begun)
                gpu.processor.begin_filter(each.width(), each.height());
            const auto call = [&, width = size.width(), height = size.height(), mask = maskWidth](bool final) {
                gpu.processor.process_selective_color(
                    bytes(input), width, height, strong, 1, mask > 0 ? bytes(input) : nullptr, mask, 1, 0, 0, final);
            };
            call(false);
            QCOMPARE(gpu.results.size(), 1);
            QStringList texts = log.texts().replaceInStrings(QRegularExpression(" of \\d+$"), "");
            QCOMPARE(texts.replaceInStrings("[src/KXGpuProcessor] ", ""), lines);
            call(true);
            COMPARE_PICTURE(input, picture);
        }
        Gpu gpu;
        gpu.processor.begin_filter(9, 9);
        Picture mask(1, 1);
        gpu.processor.process_selective_color(nullptr, 9, 9, strong, 1, bytes(mask), 1, 1, 0, 0, true);
    }

    void outsideOfRun()
    {
        Picture input = Picture::random(9, 9, 1), before = input;
        Gpu gpu;
        gpu.processor.end_filter();
        QTest::ignoreMessage(QtWarningMsg, "Call beginFilter() first!");
        process(gpu.processor, input, strong, true);
        gpu.processor.begin_filter(9, 9);
        gpu.processor.end_filter();
        QTest::ignoreMessage(QtWarningMsg, "Call beginFilter() first!");
        process(gpu.processor, input, strong, false);
        COMPARE_PICTURE(input, before);
        QVERIFY(gpu.results.isEmpty() && gpu.failures == 0);
    }

    /// Each slot tries again, and nothing of the attempt before is left.
    void noSurface()
    {
        QOffscreenSurface surface;
        surface.create();
        Gpu gpu(false);
        kit::LogCapture log;
        gpu.processor.ensureInitialized();
        gpu.processor.begin_filter(9, 9);
        QCOMPARE(log.texts().filter("[src/KXGpuProcessor] makeCurrent failed").size(), 2);
        QCOMPARE(gpu.failures, 2);
        gpu.processor.setSurface(&surface);
        gpu.processor.begin_filter(9, 9);
        Picture input = Picture::random(9, 9, 1);
        COMPARE_PICTURE(gpu.result(input, strong), adjusted(input, strong));
        gpu.processor.setSurface(nullptr); // the context is lost
        process(gpu.processor, input, strong, false);
        QCOMPARE(log.texts().last(), QString("makeCurrent failed"));
        QVERIFY(gpu.results.isEmpty());
        gpu.processor.setSurface(&surface);
    }

    /// Through the signals, on the thread of the service.
    void service()
    {
        KXGpuService::make_instance();
        KXGpuService *const gpu = KXGpuService::get_instance();
        KXGpuService::make_instance();
        QCOMPARE(KXGpuService::get_instance(), gpu);
        QList<RGBA32iImage> results;
        connect(gpu, &KXGpuService::finished, this, [&](const RGBA32iImage &image) {
            QCOMPARE(QThread::currentThread(), qApp->thread());
            results << image;
        });
        auto dying = std::make_unique<QObject>();
        connect(gpu, &KXGpuService::finished, dying.get(), [] { QFAIL("nobody is there"); });

        const Picture picture = Picture::random(200, 100, 1);
        RGBA32iImage image = picture.image(false), tiled(200, 100, true);
        QRandomGenerator random = kit::random();
        kit::addWindow(random, tiled, QRect(0, 0, 200, 50)); // a flat buffer, but not of the image's size
        const Picture tiledBefore = Picture::of(tiled);
        SelectiveParamsList list;
        list.m_Mode = 1;
        list.m_Params = strong;
        KXSelectiveColorsTransformation adjust(list);
        adjust(image, QRect(7, 7, 200, 100), true); // where it lies does not count
        adjust(image, QRect(0, 0, 200, 100), false);
        adjust(image, QRect(0, 0, 200, 101), true); // more than there is
        adjust(tiled, QRect(0, 0, 200, 100), true);
        Picture input = Picture::random(120, 80, 2); // another size, as the run before has ended
        gpu->begin_filter(120, 80);
        process(*gpu, input, mild, false);
        process(*gpu, input, strong, false);
        gpu->end_filter();
        dying.reset();
        QTRY_COMPARE_WITH_TIMEOUT(results.size(), 2, limit);
        COMPARE_PICTURE(Picture::of(results[0]), adjusted(input, mild));
        COMPARE_PICTURE(Picture::of(results[1]), adjusted(input, strong));
        COMPARE_PICTURE(Picture::of(image), adjusted(picture, strong)); // an earlier call, so it is done
        COMPARE_PICTURE(Picture::of(tiled), tiledBefore);
    }

    /// At once, when it has started, and while work is waiting.
    void madeAndDestroyed()
    {
        Picture input = Picture::random(300, 300, 1);
        for (int round = 0; round < 100; ++round) {
            KXGpuService::make_instance();
            KXGpuService *const gpu = KXGpuService::get_instance();
            int results = 0;
            connect(gpu, &KXGpuService::finished, this, [&] { ++results; });
            if (round % 4 != 0)
                gpu->begin_filter(300, 300);
            for (int call = 0; call < round % 4; ++call)
                process(*gpu, input, strong, call == 1);
            if (round % 4 == 1)
                QTRY_COMPARE_WITH_TIMEOUT(results, 1, limit);
            KXGpuService::destroy();
            results = 0;
            QCoreApplication::processEvents();
            QCOMPARE(results, 0);
        }
    }

    /// Applications connect by name, and queued connections carry the types by theirs.
    void metaObjects()
    {
        const QByteArray call =
            "process_selective_color(uint8_t*,int,int,QList<SelectiveParams>,int,uint8_t*,int,int,int,int,bool)";
        const auto methods = [](const QMetaObject &of) {
            QByteArrayList names;
            for (int i = of.methodOffset(); i < of.methodCount(); ++i)
                names << of.method(i).methodSignature();
            return names;
        };
        const QByteArrayList slots { "begin_filter(int,int)", "end_filter()", call };
        QCOMPARE(methods(KXGpuService::staticMetaObject), QByteArrayList { "finished(RGBA32iImage)" } + slots);
        QCOMPARE(methods(KXGpuProcessor::staticMetaObject),
            (QByteArrayList { "finished(RGBA32iImage)", "initializedFailed()" } + slots));
        const KXGpuProcessor registers;
        const int list = QMetaType::type("QList<SelectiveParams>");
        QVERIFY(QMetaType::type("RGBA32iImage") && QMetaType::type("SelectiveParams") && list);
        QVERIFY(
            QMetaType::hasRegisteredConverterFunction(list, qMetaTypeId<QtMetaTypePrivate::QSequentialIterableImpl>()));
    }
};

KXCORE_TEST_MAIN(TestGpu)
#include "tst_gpu.moc"
