#include "KXBlur.h"
#include "KXComposer.h"
#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"

#include "TestSupport.h"
#include "lines/Pictures.h"
#include "support/Workers.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QMutex>
#include <QtCore/QThreadPool>

#include <cmath>
#include <stdexcept>
#include <thread>

using testing::Picture;

class TestBlurs : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void metaObject();
    void progressCounts();
    void blurs_data();
    void blurs();
    void emptyImage();
    void oddParameters();
    void cancels_data();
    void cancels();
    void fromAPoolThread();
    void grows_data();
    void grows();
    void grownBlurFadesOut();
};

namespace {

const std::atomic<bool> goOn { false };

enum Filter { Gaussian, Box };

/// The filter itself: without a selection if there is none in @p data. @p connect may watch the filter.
RGBA32iImage blurred(
    Filter filter, const KXFilterData &head, double strength, const std::atomic<bool> &cancel = goOn,
    const std::function<void(OPAdjustmentProcessing &)> &connect = [](OPAdjustmentProcessing &) {})
{
    if (filter == Gaussian) {
        OPGaussianBlurProcessing processing(cancel);
        connect(processing);
        OPGaussianBlurProcessing::BlurData data;
        static_cast<KXFilterData &>(data) = head;
        data.params.sigma = strength;
        return processing.run(data);
    }
    OPBoxBlurProcessing processing(cancel);
    connect(processing);
    OPBoxBlurProcessing::BlurData data;
    static_cast<KXFilterData &>(data) = head;
    data.params.radius = int(strength);
    return processing.run(data);
}

/// The same by plain loops over the whole of @p picture clipped to @p rect.
void blur(Filter filter, Picture &picture, const QRect &rect, double strength)
{
    if (filter == Box) {
        testing::premultipliedMean(picture, rect, Qt::Horizontal, int(strength));
        testing::premultipliedMean(picture, rect, Qt::Vertical, int(strength));
        return;
    }
    const std::vector<short> kernel = KXBlur::CreateGaussianKernel(strength);
    const auto allButTheLastRow = [&](const std::function<int(int, int)> &channel) {
        for (int y = rect.top(); y < rect.bottom(); ++y)
            for (int x = rect.left(); x <= rect.right(); ++x) {
                OPRGBA32i &pixel = picture.at(x, y);
                pixel = testing::pixelOf(
                    [&, p = pixel](int c) { return c == 3 ? p.a : channel(testing::channel(p, c), p.a); });
            }
    };
    allButTheLastRow([](int c, int a) { return (c * a + 127) / 255; });
    testing::convolve(picture, rect, Qt::Horizontal, kernel);
    testing::convolve(picture, rect, Qt::Vertical, kernel);
    allButTheLastRow([](int c, int a) { return a == 0 ? 0 : (c * 255 + a / 2) / a; });
}

template <class Processing>
struct Of {
    using Type = Processing;
};

int marginOf(Filter filter, double strength) { return filter == Gaussian ? qMax(int(strength * 3), 1) : 0; }

} // namespace

void TestBlurs::initTestCase()
{
    if (std::thread::hardware_concurrency() < 2)
        QSKIP("premultiplication does nothing with one processor");
    loadAVX2Functions(true);
}

void TestBlurs::metaObject()
{
    const QMetaObject &meta = OPAdjustmentProcessing::staticMetaObject;
    QCOMPARE(meta.className(), "OPAdjustmentProcessing");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    const QMetaMethod range = meta.method(meta.methodOffset()), progress = meta.method(meta.methodOffset() + 1);
    QCOMPARE(range.methodSignature(), QByteArray("RangeChanged(int,int)"));
    QCOMPARE(range.parameterNames(), (QByteArrayList { "minimum", "maximum" }));
    QCOMPARE(progress.methodSignature(), QByteArray("ProgressChanged(int)"));
    QCOMPARE(progress.parameterNames(), QByteArrayList { "value" });
    QVERIFY(range.methodType() == QMetaMethod::Signal && progress.methodType() == QMetaMethod::Signal);
    QCOMPARE(meta.propertyCount() + meta.enumeratorCount() + meta.classInfoCount(),
        QObject::staticMetaObject.propertyCount());
    QVERIFY(OPGaussianBlurProcessing(goOn).metaObject() == &meta);
}

void TestBlurs::progressCounts()
{
    struct Open : OPAdjustmentProcessing {
        using OPAdjustmentProcessing::SetRange;
    } frame;
    QList<QList<int>> seen;
    connect(&frame, &OPAdjustmentProcessing::RangeChanged, [&](int low, int high) {
        seen << QList<int> { low, high };
    });
    connect(&frame, &OPAdjustmentProcessing::ProgressChanged, [&](int value) { seen << QList<int> { value }; });
    frame.IncrementProgress();
    frame.SetProgress(41);
    frame.SetRange(7); // leaves the progress where it is
    frame.IncrementProgress();
    QCOMPARE(seen, (QList<QList<int>> { { 1 }, { 41 }, { 0, 7 }, { 42 } }));
}

void TestBlurs::blurs_data()
{
    QTest::addColumn<int>("filter");
    QTest::addColumn<double>("strength");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("selectionRect");
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<QRect>("merged"); // what of the image is touched
    QTest::addColumn<QPoint>("from"); // the selection's pixel that lies on its top left corner
    const auto rows = [](const char *name, double strength, QSize size, QRect rect, QPoint offset, QRect merged,
                          QPoint from) {
        QTest::addRow("gaussian, %s", name) << int(Gaussian) << strength << size << rect << offset << merged << from;
        QTest::addRow("box, %s", name) << int(Box) << strength << size << rect << offset << merged << from;
    };
    const QPoint none;
    rows("whole image", 2, { 47, 39 }, {}, none, {}, none);
    rows("an offset without a rectangle", 2, { 20, 20 }, {}, { 5, 5 }, {}, none);
    rows("further than the image", 9, { 20, 13 }, {}, none, {}, none);
    rows("one pixel", 1, { 1, 1 }, {}, none, {}, none);
    rows("one row", 1, { 40, 1 }, {}, none, {}, none);
    rows("one column", 1, { 1, 40 }, {}, none, {}, none);
    // The selection's image is 60 by 50.
    rows("selection inside", 2, { 70, 60 }, { 10, 9, 20, 15 }, none, { 10, 9, 20, 15 }, { 10, 9 });
    rows("selection moved", 2, { 70, 60 }, { 10, 9, 20, 15 }, { 7, 11 }, { 17, 20, 20, 15 }, { 10, 9 });
    rows("selection moved over the left edge", 2, { 70, 60 }, { 0, 0, 20, 15 }, { -6, 0 }, { 0, 0, 14, 15 }, { 6, 0 });
    // Moved up and left, the selection's own rectangle is moved by as much, whatever was cut off.
    rows("selection moved within", 2, { 70, 60 }, { 10, 9, 20, 15 }, { -3, -4 }, { 7, 5, 20, 15 }, { 13, 13 });
    rows("selection over the right edge", 2, { 40, 60 }, { 30, 9, 20, 15 }, none, { 30, 9, 10, 15 }, { 30, 9 });
    rows("selection larger than its image", 2, { 90, 90 }, { 50, 40, 30, 30 }, none, { 50, 40, 10, 10 }, { 50, 40 });
    rows("selection outside", 2, { 30, 30 }, { 40, 0, 9, 9 }, none, {}, none);
    rows("selection far outside", 2, { 30, 30 }, { 1, 1, 9, 9 }, { INT_MAX, INT_MIN }, {}, none);
}

void TestBlurs::blurs()
{
    QFETCH(int, filter);
    QFETCH(double, strength);
    QFETCH(QSize, size);
    QFETCH(QRect, selectionRect);
    QFETCH(QPoint, offset);
    QFETCH(QRect, merged);
    QFETCH(QPoint, from);
    const Picture picture = Picture::random(size.width(), size.height(), 41), selection = Picture::random(60, 50, 42);

    for (const bool tiledSelection : { false, true }) {
        KXFilterData data;
        data.image = picture.image(false);
        data.selection = selection.image(tiledSelection);
        data.selectionRect = selectionRect;
        data.selectionOffset = offset;

        QMutex mutex;
        QList<int> ranges, steps;
        const RGBA32iImage result = blurred(Filter(filter), data, strength, goOn, [&](OPAdjustmentProcessing &p) {
            connect(&p, &OPAdjustmentProcessing::RangeChanged, [&](int, int maximum) { ranges << maximum; });
            connect(
                &p, &OPAdjustmentProcessing::ProgressChanged, &p,
                [&](int value) {
                    const QMutexLocker lock(&mutex);
                    steps << value;
                },
                Qt::DirectConnection);
        });

        Picture expected = picture;
        const int margin = marginOf(Filter(filter), strength);
        QRect area = picture.rect();
        if (!selectionRect.isEmpty())
            area = offset.x() == INT_MAX
                ? QRect()
                : selectionRect.translated(offset).adjusted(-margin, -margin, margin, margin) & picture.rect();
        blur(Filter(filter), expected, area, strength);
        int lineCount = area.width() + area.height();
        if (!selectionRect.isEmpty()) {
            Picture filtered = picture;
            std::swap(filtered, expected);
            for (int y = 0; y < merged.height(); ++y)
                for (int x = 0; x < merged.width(); ++x) {
                    const int m = selection.at(from.x() + x, from.y() + y).a;
                    OPRGBA32i &pixel = expected.at(merged.x() + x, merged.y() + y);
                    const OPRGBA32i f = filtered.at(merged.x() + x, merged.y() + y);
                    pixel = testing::pixelOf([&, u = pixel](int c) {
                        return ((testing::channel(f, c) - testing::channel(u, c)) * m + testing::channel(u, c) * 255)
                            / 255;
                    });
                }
            lineCount += merged.isEmpty() ? 0 : merged.height();
        }
        COMPARE_PICTURE(Picture::of(result), expected);
        QCOMPARE(result.Bits(), data.image.Bits()); // it is the caller's buffer that was written
        QCOMPARE(ranges, QList<int> { lineCount });
        std::sort(steps.begin(), steps.end());
        QCOMPARE(steps.size(), lineCount);
        for (int i = 0; i < lineCount; ++i)
            QCOMPARE(steps[i], i + 1);
    }
}

void TestBlurs::emptyImage()
{
    for (const auto filter : { Gaussian, Box }) {
        KXFilterData data;
        int range = -1;
        const auto watch = [&](OPAdjustmentProcessing &p) {
            connect(&p, &OPAdjustmentProcessing::RangeChanged, [&](int, int maximum) { range = maximum; });
        };
        QCOMPARE(blurred(filter, data, 3, goOn, watch).Rect(), QRect(0, 0, 0, 0));
        QCOMPARE(range, 0);
        data.selectionRect = QRect(0, 0, 9, 9);
        QCOMPARE(blurred(filter, data, 3, goOn, watch).Rect(), QRect(0, 0, 0, 0));
        QCOMPARE(range, 0);
    }
}

void TestBlurs::oddParameters()
{
    const Picture picture = Picture::random(20, 20, 43), opaque = [] {
        Picture p = Picture::random(20, 20, 44);
        for (OPRGBA32i &pixel : p.pixels)
            pixel.a = 255;
        return p;
    }();
    const auto run = [](Filter filter, const Picture &p, double strength) {
        KXFilterData data;
        data.image = p.image(false);
        return Picture::of(blurred(filter, data, strength));
    };
    COMPARE_PICTURE(run(Gaussian, opaque, 0.1), opaque);
    COMPARE_PICTURE(run(Box, opaque, 0), opaque);
    COMPARE_PICTURE(run(Box, picture, -7), run(Box, picture, 0));
    COMPARE_PICTURE(run(Gaussian, picture, 0), Picture(20, 20)); // a kernel of zeros
    COMPARE_PICTURE(run(Gaussian, picture, std::nan("")), Picture(20, 20));
    COMPARE_PICTURE(run(Gaussian, picture, 20000), Picture(20, 20)); // as wide as that all weights round to 0
    QVERIFY_EXCEPTION_THROWN(run(Gaussian, picture, 1e7), std::length_error);
    // A window far wider than the image holds the edges almost alone.
    Picture edges(3, 1);
    edges.at(0, 0) = edges.at(1, 0) = OPRGBA32i(0xFF000000u);
    edges.at(2, 0) = OPRGBA32i(0xFFFFFFFFu);
    QCOMPARE(run(Box, edges, INT_MAX).at(1, 0).word, OPRGBA32i(127, 127, 127, 255).word);

    KXFilterData data; // tiled images are blurred along their rows, in tiles of their own
    data.image = opaque.image(true);
    Picture expected = opaque;
    testing::premultipliedMean(expected, opaque.rect(), Qt::Horizontal, 3);
    COMPARE_PICTURE(Picture::of(blurred(Box, data, 3)), expected);
    COMPARE_PICTURE(Picture::of(data.image), opaque);
}

void TestBlurs::cancels_data()
{
    QTest::addColumn<int>("stopAfter");
    QTest::addColumn<bool>("selected");
    // 40 rows and 50 columns. With a selection of 30 by 20: the Gaussian takes 3 more on each side, so 26 rows and 36
    // columns, the box 20 and 30; then both merge 20 rows.
    for (const int step : { 0, 1, 20, 40, 41, 70, 89, 90 })
        QTest::addRow("after %d", step) << step << false;
    for (const int step : { 0, 1, 30, 50, 51, 60, 69, 81 })
        QTest::addRow("selected, after %d", step) << step << true;
}

void TestBlurs::cancels()
{
    QFETCH(int, stopAfter);
    QFETCH(bool, selected);
    const Picture picture = Picture::random(50, 40, 45);
    Picture opaque(50, 40);
    std::fill(opaque.pixels.begin(), opaque.pixels.end(), OPRGBA32i(0xFFFFFFFFu));
    for (const auto filter : { Gaussian, Box }) {
        KXFilterData data;
        data.image = picture.image(false);
        data.selection = opaque.image(false);
        data.selectionRect = selected ? QRect(10, 10, 30, 20) : QRect();
        std::atomic<bool> cancel { stopAfter == 0 };
        std::atomic<int> steps { 0 };
        const int total = !selected ? 90 : filter == Gaussian ? 26 + 36 + 20 : 20 + 30 + 20;
        const RGBA32iImage result =
            blurred(filter, data, filter == Gaussian ? 1 : 3, cancel, [&](OPAdjustmentProcessing &p) {
                connect(
                    &p, &OPAdjustmentProcessing::ProgressChanged, &p,
                    [&](int) {
                        if (++steps == stopAfter)
                            cancel = true;
                    },
                    Qt::DirectConnection);
            });
        QCOMPARE(result.Rect(), picture.rect());
        if (stopAfter >= total)
            continue;
        // Each worker finishes at most the line in hand.
        QVERIFY(steps >= stopAfter && steps <= stopAfter + int(std::thread::hardware_concurrency()));
        const Picture after = Picture::of(result);
        int changedRows = 0;
        for (int y = 0; y < 40; ++y)
            changedRows += !std::equal(
                &after.pixels[size_t(y) * 50], &after.pixels[size_t(y) * 50] + 50, &picture.pixels[size_t(y) * 50]);
        if (filter == Box && !selected && stopAfter < 40)
            QCOMPARE(changedRows, steps.load());
        if (filter == Box && selected)
            QCOMPARE(changedRows, qMax(0, steps.load() - 50)); // only what was merged shows
    }
}

void TestBlurs::fromAPoolThread()
{
    // Every pool thread waits for workers of its own: those that have not started are run by who waits.
    const Picture picture = Picture::random(64, 64, 47);
    Picture expected = picture;
    blur(Gaussian, expected, picture.rect(), 2);
    QThreadPool *const pool = QThreadPool::globalInstance();
    std::vector<Picture> results(size_t(pool->maxThreadCount()) * 2, Picture(1, 1));
    workers::run(int(results.size()), [&, next = std::make_shared<std::atomic<size_t>>(0)] {
        const size_t mine = next->fetch_add(1);
        KXFilterData data;
        data.image = picture.image(false);
        results[mine] = Picture::of(blurred(Gaussian, data, 2));
    });
    for (const Picture &result : results)
        COMPARE_PICTURE(result, expected);
}

void TestBlurs::grows_data()
{
    QTest::addColumn<QRect>("region");
    QTest::addColumn<QRect>("selectionRect");
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<QRect>("grown");
    const QRect full(0, 0, 30, 20), none;
    const QPoint zero;
    // The image is 30 by 20, the reach 4.
    QTest::newRow("region is the layer") << full << none << zero << full;
    QTest::newRow("plenty of room") << QRect(-100, -100, 300, 300) << none << zero << QRect(-4, -4, 38, 28);
    QTest::newRow("room on the left only") << QRect(-100, 5, 40, 5) << none << zero << QRect(-4, 0, 34, 20);
    QTest::newRow("some room") << QRect(-1, -2, 33, 30) << none << zero << QRect(-1, -2, 33, 26);
    QTest::newRow("a region inside the layer") << QRect(3, 3, 5, 5) << none << zero << full;
    QTest::newRow("no region") << none << none << zero << full;
    QTest::newRow("room cut by the selection")
        << QRect(-100, -100, 300, 300) << QRect(0, 0, 20, 20) << QPoint(-2, -9) << QRect(-2, -4, 32, 24);
    QTest::newRow("selection elsewhere") << QRect(-100, -100, 90, 90) << QRect(0, 0, 20, 20) << zero << full;
    QTest::newRow("region without end") << QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX)) << none << zero
                                        << QRect(-4, -4, 38, 28);
}

void TestBlurs::grows()
{
    QFETCH(QRect, region);
    QFETCH(QRect, selectionRect);
    QFETCH(QPoint, offset);
    QFETCH(QRect, grown);
    const Picture picture = Picture::random(30, 20, 48), selection = Picture::random(60, 60, 49);
    const QPoint origin(1000, -1000);

    KXFilterData head;
    head.selection = selection.image(false);
    head.selectionRect = selectionRect;
    head.selectionOffset = offset;

    // Grown by hand, then filtered by the plain run.
    Picture canvas(grown.width(), grown.height());
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x)
            canvas.at(x - grown.x(), y - grown.y()) = picture.at(x, y);
    KXFilterData byHand = head;
    byHand.selectionOffset = offset - grown.topLeft();

    const auto check = [&](auto processing, const auto &setParams, Filter which) {
        using Processing = typename decltype(processing)::Type;
        typename Processing::BlurDataEx data;
        static_cast<KXFilterData &>(data) = head;
        data.image = picture.image(false);
        data.region = region;
        data.origin = origin;
        setParams(data.params);
        const KXFilterResult result = Processing(goOn).runEx(data);
        byHand.image = canvas.image(false);
        COMPARE_PICTURE(Picture::of(result.image), Picture::of(blurred(which, byHand, which == Gaussian ? 1.4 : 4)));
        QCOMPARE(result.origin, origin + grown.topLeft());
        QVERIFY(!result.image.IsTiled());
    };
    check(
        Of<OPGaussianBlurProcessing>(), [](auto &params) { params.sigma = 1.4; }, Gaussian); // reaches 4.2
    check(
        Of<OPBoxBlurProcessing>(), [](auto &params) { params.radius = 4; }, Box);
}

void TestBlurs::grownBlurFadesOut()
{
    OPBoxBlurProcessing filter(goOn);
    OPBoxBlurProcessing::BlurDataEx data;
    data.image = RGBA32iImage(10, 10, true); // a tiled layer becomes a flat canvas
    data.image.Fill(OPRGBA32i(10, 20, 30, 255));
    data.image.TileData(0, true); // a tile that counts as content
    data.region = QRect(-50, -50, 200, 200);
    data.params.radius = 2;
    const KXFilterResult result = filter.runEx(data);
    QCOMPARE(result.origin, QPoint(-2, -2));
    QCOMPARE(result.image.Rect(), QRect(0, 0, 14, 14));
    for (int x = 0; x < 5; ++x) { // a fifth more of the window is covered with each pixel; the colour stays
        const int alpha = 255 * (x + 1) / 5;
        QCOMPARE(result.image.Bits()[7 * 14 + x].word, OPRGBA32i(10, 20, 30, static_cast<unsigned char>(alpha)).word);
    }
}

KXCORE_TEST_MAIN(TestBlurs)
#include "tst_blurs.moc"
