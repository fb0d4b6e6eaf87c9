#include "TestSupport.h"

#include "KXComposer.h"
#include "Pictures.h"

#include <QtCore/QThreadPool>

#include <limits>

using pictures::Storage;
using reference::Canvas;
using reference::Side;

namespace {

constexpr OPRGBA32i red { 0xFFFF0000u }, faint { 0x40102030u };
constexpr auto multiply = KXCompositionMode::Multiply;

QStringList logOf(const std::function<void()> &call)
{
    testing::LogCapture log;
    call();
    return log.texts();
}

} // namespace

class TestCompose : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }
    void places_data();
    void places();
    void tilesAfterwards_data();
    void tilesAfterwards();
    void onlyFakeTiles();
    void nullDestinationTiles();
    void windows_data();
    void windows();
    void fakeTilesThatAreContent();
    void wrongFormats();
    void nothingToDo();
    void opacitiesThatAreNone();
    void ontoItself();
    void onAPoolThread();
};

void TestCompose::places_data()
{
    QTest::addColumn<QSize>("sourceSize");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("sourceRect");
    QTest::addColumn<QRect>("rect");
    const QSize large(300, 270), odd(133, 129);
    QTest::newRow("all") << large << large << QRect(0, 0, 300, 270) << QRect(0, 0, 300, 270);
    QTest::newRow("inside, across the tiles") << large << large << QRect(100, 7, 150, 140) << QRect(33, 120, 150, 140);
    QTest::newRow("odd sizes") << odd << large << QRect(0, 0, 133, 129) << QRect(90, 100, 133, 129);
    QTest::newRow("one pixel") << odd << odd << QRect(128, 128, 1, 1) << QRect(127, 127, 1, 1);
    QTest::newRow("source over its start") << large << odd << QRect(-40, -9, 120, 60) << QRect(10, 20, 120, 60);
    QTest::newRow("source over its end") << odd << large << QRect(100, 90, 200, 200) << QRect(30, 40, 200, 200);
    QTest::newRow("destination over its start") << large << odd << QRect(5, 6, 200, 200) << QRect(-50, -60, 200, 200);
    QTest::newRow("destination over its end") << large << odd << QRect(5, 6, 200, 200) << QRect(100, 110, 200, 200);
    QTest::newRow("both over their start") << large << large << QRect(-70, -3, 200, 50) << QRect(-20, -30, 200, 50);
    QTest::newRow("rectangles of two sizes") << large << large << QRect(9, 9, 20, 200) << QRect(9, 99, 200, 20);
    QTest::newRow("nothing in common") << odd << odd << QRect(0, 0, 10, 10) << QRect(133, 0, 10, 10);
    QTest::newRow("empty") << odd << odd << QRect(0, 0, 0, 10) << QRect(0, 0, 10, 10);
    QTest::newRow("empty source") << QSize(0, 0) << odd << QRect(0, 0, 10, 10) << QRect(0, 0, 10, 10);
    QTest::newRow("far away") << odd << odd << QRect(QPoint(INT_MIN, INT_MIN), QSize(9, 9)) << QRect(0, 0, 9, 9);
}

/// Rectangles that hang over each edge, for all pairings of storages.
void TestCompose::places()
{
    QFETCH(QSize, sourceSize);
    QFETCH(QSize, size);
    QFETCH(QRect, sourceRect);
    QFETCH(QRect, rect);
    QRandomGenerator random(7);
    const RGBA32iImage source = pictures::noise(random, sourceSize, Storage::Flat);
    const RGBA32iImage destination = pictures::noise(random, size, Storage::Flat);
    Canvas expected(destination), copied = expected;
    reference::compose(expected, rect, { source, sourceRect }, int(multiply), 153, false);
    reference::compose(copied, rect, { source, sourceRect }, 0, 0, false, reference::Operation::Copy);
    const QImage sourceImage = pictures::toQImage(source), destinationImage = pictures::toQImage(destination);
    const auto check = [&](const auto &from, auto onto) {
        auto copy = onto;
        Compose(from, sourceRect, multiply, onto, rect, 0.6, false);
        VERIFY_SAME(pictures::difference(expected, onto));
        if constexpr (std::is_same_v<decltype(onto), RGBA32iImage>)
            if (!onto.IsTiled())
                destination.CopyTo(copy, false); // a flat buffer is shared by copies
        ComposeSource(from, sourceRect, copy, rect);
        VERIFY_SAME(pictures::difference(copied, copy));
    };
    for (const Storage storage : { Storage::Flat, Storage::Tiled }) {
        const RGBA32iImage from = pictures::stored(source, storage);
        check(from, pictures::stored(destination, Storage::Flat));
        check(from, pictures::stored(destination, Storage::Tiled));
        check(from, destinationImage);
        if (!sourceImage.isNull()) // a null one has no format, and so is refused
            check(sourceImage, pictures::stored(destination, storage));
    }
    if (!sourceImage.isNull())
        check(sourceImage, destinationImage);
}

void TestCompose::tilesAfterwards_data()
{
    QTest::addColumn<bool>("withWindow");
    QTest::addColumn<bool>("copies");
    for (const bool withWindow : { false, true })
        for (const bool copies : { false, true })
            QTest::addRow("%s%s", copies ? "ComposeSource" : "Compose", withWindow ? " with a window" : "")
                << withWindow << copies;
}

/// Sources with private, fake and null tiles: which tiles of the destination leave sharing, and the picture.
void TestCompose::tilesAfterwards()
{
    QFETCH(bool, withWindow);
    QFETCH(bool, copies);
    QRandomGenerator random(11);
    for (int round = 0; round < 20; ++round) {
        RGBA32iImage source = pictures::patchy(random, { 500, 400 }, Storage::Tiled);
        const QRect sourceRect(random.bounded(-50, 200), random.bounded(-50, 200), 300, 250);
        if (withWindow) // near the area or far from it
            pictures::addWindow(random, source,
                QRect(sourceRect.center() - QPoint(random.bounded(90, 210), random.bounded(70, 130)), QSize(220, 140))
                    .translated(round % 4 == 3 ? 5000 : 0, 0));
        const QRect rect(QPoint(random.bounded(-50, 90), random.bounded(-50, 90)), sourceRect.size());
        for (const Storage storage : { Storage::Flat, Storage::Tiled }) {
            const RGBA32iImage before = pictures::noise(random, { 390, 420 }, storage);
            RGBA32iImage after = storage == Storage::Flat ? pictures::stored(before, storage) : before;
            Canvas expected(before);
            reference::compose(expected, rect, { source, sourceRect }, int(multiply), 256, false,
                copies ? reference::Operation::Copy : reference::Operation::Compose);
            if (copies)
                ComposeSource(source, sourceRect, after, rect);
            else
                Compose(source, sourceRect, multiply, after, rect, 1.0, false);
            VERIFY_SAME(pictures::difference(expected, after));
            VERIFY_SAME(pictures::tileDifference(expected, before, after));
        }
    }
}

void TestCompose::onlyFakeTiles()
{
    RGBA32iImage source(300, 300, true), destination(300, 300, true);
    source.Fill(red);
    destination.Fill(faint);
    Compose(source, source.Rect(), multiply, destination, destination.Rect(), 1.0, false);
    for (int i = 0; i < 9; ++i)
        QVERIFY(destination.IsFakeTile(i));
    source.TileData(4, true)[5] = red;
    Compose(source, source.Rect(), multiply, destination, destination.Rect(), 1.0, false);
    for (int i = 0; i < 9; ++i)
        QCOMPARE(destination.IsFakeTile(i), i != 4);
}

void TestCompose::nullDestinationTiles()
{
    QRandomGenerator random(3);
    RGBA32iImage source = pictures::noise(random, { 300, 20 }, Storage::Flat), destination(300, 20, true);
    destination.ReleaseTile(1);
    for (const Storage storage : { Storage::Flat, Storage::Tiled }) {
        const RGBA32iImage from = pictures::stored(source, storage);
        Compose(from, source.Rect(), KXCompositionMode::Source, destination, source.Rect(), 1.0, false);
        ComposeSource(from, source.Rect(), destination, source.Rect());
        ComposeMaskOn(from, source.Rect(), KXCompositionMode::Source, destination, source.Rect(), 1.0, from,
            source.Rect(), true, false);
        QVERIFY(!destination.TileData(1));
    }
    QVERIFY(!destination.IsFakeTile(0) && !destination.IsFakeTile(2));
}

void TestCompose::windows_data()
{
    QTest::addColumn<QRect>("window"); // in the image's coordinates
    QTest::newRow("around the area") << QRect(-10, -10, 400, 400);
    QTest::newRow("begins inside the area") << QRect(60, 50, 300, 300);
    QTest::newRow("ends inside the area") << QRect(-20, -30, 170, 170);
    QTest::newRow("inside the area") << QRect(40, 45, 201, 33);
    QTest::newRow("a column") << QRect(128, -5, 1, 500);
    QTest::newRow("outside") << QRect(0, 300, 20, 20);
}

/// The flat window of an empty source, worked out without the model: what it covers is copied, all else stays.
void TestCompose::windows()
{
    QFETCH(QRect, window);
    QRandomGenerator random(5);
    RGBA32iImage source(300, 290, true);
    pictures::addWindow(random, source, window);
    const QPoint from(20, 30), to(11, 3);
    for (const Storage storage : { Storage::Flat, Storage::Tiled }) {
        RGBA32iImage destination(280, 270, storage == Storage::Tiled);
        destination.Fill(faint);
        Compose(source, QRect(from, QSize(250, 240)), KXCompositionMode::Source, destination,
            QRect(to, QSize(250, 240)), 1.0, false);
        for (int y = 0; y < 270; ++y)
            for (int x = 0; x < 280; ++x) {
                const QPoint p = QPoint(x, y) - to + from, w = p - window.topLeft();
                const bool shows = window.contains(p) && QRect(from, QSize(250, 240)).contains(p);
                const OPRGBA32i expected = shows ? source.Bits()[w.y() * window.width() + w.x()] : faint;
                QVERIFY2(pictures::at(destination, x, y) == expected, qPrintable(QString("%1 %2").arg(x).arg(y)));
            }
    }
}

void TestCompose::fakeTilesThatAreContent()
{
    RGBA32iImage source(300, 20, true);
    source.Fill(red);
    source.SetFakeIsContent(true);
    for (const bool tiled : { false, true }) {
        RGBA32iImage destination(300, 20, tiled);
        ComposeSource(source, source.Rect(), destination, source.Rect());
        QCOMPARE(pictures::at(destination, 299, 19), red);
    }
}

void TestCompose::wrongFormats()
{
    RGBA32iImage image(20, 20, false), tiled(20, 20, true);
    const RGBA32iImage mask(20, 20, false);
    const QRect r(0, 0, 20, 20);
    for (const auto format : { QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied, QImage::Format_Indexed8,
             QImage::Format_RGBA8888 }) {
        QImage wrong(20, 20, format), right(20, 20, QImage::Format_ARGB32), alsoWrong(20, 20, QImage::Format_RGB16);
        wrong.fill(1);
        right.fill(0x11223344u);
        alsoWrong.fill(0);
        const QImage wrongBefore = wrong.copy(), rightBefore = right.copy();
        const QString line = "[src/KXComposer] Wrong input qimage format %1";
        const QStringList once { line.arg(format) };
        QCOMPARE(logOf([&] { Compose(wrong, r, multiply, right, r, 1.0, false); }), once);
        QCOMPARE(logOf([&] { Compose(right, r, multiply, wrong, r, 1.0, false); }), once);
        QCOMPARE(logOf([&] { Compose(wrong, r, multiply, image, r, 1.0, false); }), once);
        QCOMPARE(logOf([&] { Compose(wrong, r, multiply, tiled, r, 1.0, false); }), once);
        QCOMPARE(logOf([&] { Compose(image, r, multiply, wrong, r, 1.0, false); }), once);
        QCOMPARE(logOf([&] { Compose(tiled, r, multiply, wrong, r, 1.0, false); }), once);
        QCOMPARE(logOf([&] { ComposeSource(wrong, r, right, r); }), once);
        QCOMPARE(logOf([&] { ComposeSource(right, r, wrong, r); }), once);
        QCOMPARE(logOf([&] { ComposeSource(wrong, r, image, r); }), once);
        QCOMPARE(logOf([&] { ComposeSource(image, r, wrong, r); }), once);
        QCOMPARE(logOf([&] { ComposeMaskOn(wrong, r, multiply, image, r, 1.0, mask, r, true, false); }), once);
        QCOMPARE(logOf([&] { ComposeMaskOn(wrong, r, multiply, tiled, r, 1.0, mask, r, true, false); }), once);

        // Before every other test: the rectangles, the mode, the opacity.
        QCOMPARE(logOf([&] { Compose(wrong, QRect(), KXCompositionMode::Destination, image, r, 0, false); }), once);
        QCOMPARE(logOf([&] { ComposeMaskOn(wrong, QRect(), multiply, image, r, 0, mask, r, true, false); }), once);
        // Both are refused, the source first.
        const QStringList twice { line.arg(format), line.arg(QImage::Format_RGB16) };
        QCOMPARE(logOf([&] { Compose(wrong, r, multiply, alsoWrong, r, 1.0, false); }), twice);
        QCOMPARE(logOf([&] { ComposeSource(wrong, r, alsoWrong, r); }), twice);

        QCOMPARE(wrong, wrongBefore);
        QCOMPARE(right, rightBefore);
        QVERIFY(tiled.IsFakeTile(0) && image.Bits()[0] == OPRGBA32i());
    }
    QImage right(20, 20, QImage::Format_ARGB32);
    right.fill(Qt::red);
    QCOMPARE(logOf([&] { Compose(right, r, KXCompositionMode::Source, image, r, 1.0, false); }), QStringList());
    QCOMPARE(image.Bits()[0], red);
    const QString null = "[src/KXComposer] Wrong input qimage format 0";
    QCOMPARE(logOf([&] { Compose(QImage(), r, multiply, image, r, 1.0, false); }), QStringList(null));
}

/// An opacity that truncates to 0, and modes that change nothing, leave even the tiles as they are.
void TestCompose::nothingToDo()
{
    QRandomGenerator random(9);
    const QRect r(0, 0, 300, 20);
    const RGBA32iImage before = pictures::noise(random, r.size(), Storage::Tiled);
    const Canvas expected(before);
    const struct {
        int mode;
        double opacity;
    } rows[] = { { 0, 0 }, { 0, 0.0039 }, { 13, 0.0001 }, { 4, 1 }, { 4, 0.5 }, { 0, -0.003 } };
    for (const auto &row : rows)
        for (const Storage storage : { Storage::Flat, Storage::Tiled }) {
            const RGBA32iImage source = pictures::noise(random, r.size(), storage);
            const auto mode = KXCompositionMode(row.mode);
            RGBA32iImage tiled = before, flat = pictures::stored(before, Storage::Flat);
            for (RGBA32iImage *const image : { &tiled, &flat }) {
                QCOMPARE(logOf([&] {
                    Compose(source, r, mode, *image, r, row.opacity, false);
                    ComposeMaskOn(source, r, mode, *image, r, row.opacity, source, r, true, false);
                }),
                    QStringList());
                VERIFY_SAME(pictures::difference(expected, *image));
            }
            VERIFY_SAME(pictures::tileDifference(expected, before, tiled));
        }
}

/// Not a number, below 0 and infinite: nothing breaks, and what clamps takes them for 0 or 1.
void TestCompose::opacitiesThatAreNone()
{
    QRandomGenerator random(13);
    const QRect r(0, 0, 140, 20);
    const RGBA32iImage source = pictures::noise(random, r.size(), Storage::Flat);
    const RGBA32iImage before = pictures::noise(random, r.size(), Storage::Flat);
    const double infinity = std::numeric_limits<double>::infinity();
    for (int mode = 0; mode < 60; ++mode)
        for (const double opacity :
            { std::numeric_limits<double>::quiet_NaN(), -1.0, -1e300, -infinity, infinity, 1e18 })
            for (const bool lock : { false, true }) {
                Canvas expected(before), masked = expected;
                const auto opacity256 = reference::opacity256(opacity, true);
                const auto mode_ = KXCompositionMode(mode);
                if (reference::hasPlainForm(mode))
                    reference::compose(expected, r, { source, r }, mode, opacity256, lock);
                reference::composeMaskOn(masked, r, { source, r }, { source, r }, mode, opacity256, lock);
                RGBA32iImage flat = pictures::stored(before, Storage::Flat), tiled(140, 20, true), throughMask;
                before.CopyTo(throughMask, false);
                Compose(source, r, mode_, flat, r, opacity, lock);
                Compose(source, r, mode_, tiled, r, opacity, lock); // any picture will do
                ComposeMaskOn(source, r, mode_, throughMask, r, opacity, source, r, false, lock);
                VERIFY_SAME(pictures::difference(expected, flat));
                VERIFY_SAME(pictures::difference(masked, throughMask));
            }
}

/// A source that shares its tiles with the destination is read as it was.
void TestCompose::ontoItself()
{
    QRandomGenerator random(17);
    const QRect r(0, 0, 200, 140);
    const RGBA32iImage source = pictures::noise(random, r.size(), Storage::Tiled);
    RGBA32iImage destination = source;
    Canvas expected(source);
    reference::compose(expected, r.translated(9, 2), { source, r }, 12, 200, false);
    Compose(source, r, KXCompositionMode::Plus, destination, r.translated(9, 2), 200 / 256.0, false);
    VERIFY_SAME(pictures::difference(expected, destination));
}

/// The caller may itself sit on a thread of the pool that it waits for, with no other thread free.
void TestCompose::onAPoolThread()
{
    QRandomGenerator random(19);
    const QRect r(0, 0, 90, 70);
    RGBA32iImage source = pictures::noise(random, r.size(), Storage::Flat), clip = source, none;
    RGBA32iImage destination = pictures::noise(random, r.size(), Storage::Flat);
    Canvas expected(destination);
    reference::compose(expected, r, { source, r }, int(multiply), 256, false);
    reference::composeClipped(expected, r, { source, r }, { clip, r }, nullptr, nullptr, int(multiply), 256, false);
    QThreadPool *const pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    pool->setMaxThreadCount(1);
    pool->start(QRunnable::create([&] {
        Compose(source, r, multiply, destination, r, 1.0, false);
        ComposeClippingMaskOn(source, r, multiply, destination, r, clip, r, none, QRect(), false, 1.0, false);
    }));
    const bool finished = pool->waitForDone(60000);
    pool->setMaxThreadCount(threads);
    QVERIFY(finished);
    VERIFY_SAME(pictures::difference(expected, destination));
}

KXCORE_TEST_MAIN(TestCompose)
#include "tst_compose.moc"
