#include "TestSupport.h"

#include "OPTransformImageColors.h"

#include <QtCore/QThreadPool>

#include <stdexcept>
#include <thread>

namespace {

/// Workers of a walk; without any a walk over a KXImage changes nothing.
int workerCount() { return int(std::thread::hardware_concurrency()) - 1; }

/// Raises red by the entry of a table that every object owns. Throws at pixels whose blue is 77.
class Raise : public BaseTransformation {
public:
    using BaseTransformation::operator();

    explicit Raise(unsigned char by = 1)
        : m_by(1, by)
    {
    }
    void operator()(OPRGBA32i &pixel) const override
    {
        if (pixel.b == 77)
            throw std::runtime_error("bad pixel");
        pixel.r = static_cast<unsigned char>(pixel.r + m_by[0]);
    }
    void Set(unsigned char by) { m_by[0] = by; }

private:
    std::vector<unsigned char> m_by;
};

/// Writes down the position: x in blue, y in green; raises red as the others do.
class Locate : public Raise {
public:
    using Raise::operator();
    void operator()(OPRGBA32i &) const override { Q_ASSERT(false); }
    void operator()(int x, int y, OPRGBA32i &pixel) const override
    {
        Raise::operator()(pixel);
        pixel.b = static_cast<unsigned char>(x);
        pixel.g = static_cast<unsigned char>(y);
    }
};

class ThrowInt : public BaseTransformation {
public:
    using BaseTransformation::operator();
    void operator()(OPRGBA32i &) const override { throw 42; }
};

enum Storage { Flat, Tiled };

/// An image of 300 by 200; tiles are private, so that each pixel is one of its own.
RGBA32iImage image(Storage storage, int width = 300, int height = 200)
{
    RGBA32iImage result(width, height, storage == Tiled);
    for (int i = 0; i < result.TilesX() * result.TilesY(); ++i)
        result.TileData(i, true);
    return result;
}

OPRGBA32i at(const RGBA32iImage &image, int x, int y)
{
    OPRGBA32i pixel;
    image.ReadRow(unsigned(y), unsigned(x), &pixel, 4);
    return pixel;
}

void set(RGBA32iImage &image, int x, int y, OPRGBA32i pixel) { image.WriteRow(unsigned(y), unsigned(x), &pixel, 4); }

const std::atomic<bool> goOn { false };

} // namespace

class TestImageWalks : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rectangles_data();
    void rectangles();
    void qimage_data();
    void qimage();
    void qimageDetaches();
    void qimageOfAnotherDepth();
    void sharedTiles();
    void copyOfTheTransformation();
    void cancelBefore();
    void cancelInside_data();
    void cancelInside();
    void exceptionInAWorker_data();
    void exceptionInAWorker();
    void exceptionNobodyWaitsFor();
    void exceptionsOnTheCaller();
};

static void addRectangles()
{
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<QRect>("area");
    const QRect all(0, 0, 300, 200);
    QTest::newRow("invalid: all") << QRect() << all;
    QTest::newRow("negative size: all") << QRect(10, 10, -5, 3) << all;
    QTest::newRow("all") << all << all;
    QTest::newRow("across tiles") << QRect(100, 100, 60, 50) << QRect(100, 100, 60, 50);
    QTest::newRow("one pixel, last of a tile") << QRect(127, 127, 1, 1) << QRect(127, 127, 1, 1);
    QTest::newRow("one row") << QRect(5, 128, 290, 1) << QRect(5, 128, 290, 1);
    QTest::newRow("one column") << QRect(256, 0, 1, 200) << QRect(256, 0, 1, 200);
    QTest::newRow("over the top left corner") << QRect(-50, -50, 60, 70) << QRect(0, 0, 10, 20);
    QTest::newRow("over the bottom right corner") << QRect(290, 150, 400, 400) << QRect(290, 150, 10, 50);
    QTest::newRow("outside") << QRect(300, 0, 5, 5) << QRect(0, 0, 0, 0);
    QTest::newRow("as wide as numbers go")
        << QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX)) << QRect(0, 0, 300, 200);
}

void TestImageWalks::rectangles_data() { addRectangles(); }

/// Every pixel of the area once, and no other; but for the plain form, which leaves the last row of a flat image.
void TestImageWalks::rectangles()
{
    QFETCH(QRect, rect);
    QFETCH(QRect, area);
    for (const Storage storage : { Flat, Tiled }) {
        std::atomic<int> progress { 0 };
        const auto count = [&progress] { ++progress; };
        auto plain = image(storage), iterative = image(storage), located = image(storage);
        OPTransformImageColors(Raise(), &plain, rect)();
        OPIterativeTransformImageColors(Raise(), &iterative, rect, goOn, count)();
        const int rows = workerCount() > 0 && !area.isEmpty() ? area.height() : 0;
        QCOMPARE(int(progress), rows);
        OPPixelIterativeTransformImageColors(Locate(), &located, rect, goOn, count)(); // gone before its workers
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(int(progress), 2 * rows);

        const QRect lessOneRow = storage == Flat ? area.adjusted(0, 0, 0, -1) : area;
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 300; ++x) {
                const bool inside = rows > 0 && area.contains(x, y);
                const OPRGBA32i red(inside ? 0x00010000u : 0u);
                const OPRGBA32i position(inside ? 0x00010000u | unsigned(y & 255) << 8 | unsigned(x & 255) : 0u);
                const OPRGBA32i plainRed(inside && lessOneRow.contains(x, y) ? 0x00010000u : 0u);
                if (at(plain, x, y) != plainRed || at(iterative, x, y) != red || at(located, x, y) != position)
                    QFAIL(qPrintable(QString("storage %1, (%2, %3): plain %4, iterative %5, located %6")
                                         .arg(storage)
                                         .arg(x)
                                         .arg(y)
                                         .arg(at(plain, x, y).word, 8, 16)
                                         .arg(at(iterative, x, y).word, 8, 16)
                                         .arg(at(located, x, y).word, 8, 16)));
            }
    }
}

void TestImageWalks::qimage_data() { addRectangles(); }

/// All rows, the last too, and on any machine.
void TestImageWalks::qimage()
{
    QFETCH(QRect, rect);
    QFETCH(QRect, area);
    QImage image(300, 200, QImage::Format_ARGB32);
    image.fill(0);
    OPTransformImageColors(Raise(), &image, rect)();
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x)
            if (image.pixel(x, y) != (area.contains(x, y) ? 0x00010000u : 0u))
                QFAIL(qPrintable(QString("(%1, %2): %3").arg(x).arg(y).arg(image.pixel(x, y), 8, 16)));
}

void TestImageWalks::qimageDetaches()
{
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(0xFF000000u);
    const QImage before = image;
    OPTransformImageColors(Raise(), &image)();
    QCOMPARE(image.pixel(2, 2), 0xFF010000u);
    QCOMPARE(before.pixel(2, 2), 0xFF000000u);
    QImage none;
    OPTransformImageColors(Raise(), &none)();
    QVERIFY(none.isNull());
}

void TestImageWalks::qimageOfAnotherDepth()
{
    QImage grey(3, 3, QImage::Format_Grayscale8);
    grey.fill(8);
    const QImage before = grey.copy();
    OPTransformImageColors(Raise(), &grey)();
    QCOMPARE(grey, before);
}

/// A new image is one block under all its entries. A pixel of the block changes once for every place that shows it, and
/// the tiles stay shared, with the image itself and with its copies.
void TestImageWalks::sharedTiles()
{
    if (workerCount() < 1)
        QSKIP("no workers on this machine");
    RGBA32iImage image(300, 200, true); // tiles 128, 128 and 44 wide, 128 and 72 high
    const RGBA32iImage copy = image;
    OPTransformImageColors(Raise(), &image)(); // one worker, so that nothing is lost
    for (int i = 0; i < 6; ++i)
        QVERIFY(image.IsFakeTile(i) && copy.TileData(i) == image.TileData(0));
    QCOMPARE(int(at(image, 43, 71).r), 6);
    QCOMPARE(int(at(image, 44, 71).r), 4);
    QCOMPARE(int(at(image, 43, 72).r), 3);
    QCOMPARE(int(at(image, 127, 127).r), 2);
}

void TestImageWalks::copyOfTheTransformation()
{
    if (workerCount() < 1)
        QSKIP("no workers on this machine");
    auto pixels = image(Flat, 4, 4);
    Raise by(3);
    const OPIterativeTransformImageColors walk(by, &pixels, QRect(), goOn, nullptr);
    by.Set(50);
    walk();
    walk();
    QCOMPARE(int(at(pixels, 3, 3).r), 6);
}

void TestImageWalks::cancelBefore()
{
    const std::atomic<bool> cancelled { true };
    std::atomic<int> progress { 0 };
    for (const Storage storage : { Flat, Tiled }) {
        auto pixels = image(storage, 40, 40);
        OPIterativeTransformImageColors(Raise(), &pixels, QRect(), cancelled, [&] { ++progress; })();
        OPPixelIterativeTransformImageColors(Locate(), &pixels, QRect(), cancelled, [&] { ++progress; })();
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(int(progress), 0);
        for (int y = 0; y < 40; ++y)
            QCOMPARE(at(pixels, 20, y).word, 0u);
    }
}

void TestImageWalks::cancelInside_data()
{
    QTest::addColumn<int>("afterRows");
    QTest::newRow("first row") << 1;
    QTest::newRow("in the middle") << 20;
    QTest::newRow("last row") << 40;
}

/// A row is done wholly, with one call of progress, or not at all; a row that is under way elsewhere may still be done.
void TestImageWalks::cancelInside()
{
    QFETCH(int, afterRows);
    if (workerCount() < 1)
        QSKIP("no workers on this machine");
    for (const bool located : { false, true })
        for (const Storage storage : { Flat, Tiled }) {
            std::atomic<bool> cancel { false };
            std::atomic<int> progress { 0 };
            const auto count = [&] {
                if (++progress == afterRows)
                    cancel = true;
            };
            auto pixels = image(storage, 150, 40);
            if (located)
                OPPixelIterativeTransformImageColors(Locate(), &pixels, QRect(), cancel, count)();
            else
                OPIterativeTransformImageColors(Raise(), &pixels, QRect(), cancel, count)();
            QThreadPool::globalInstance()->waitForDone();
            int done = 0;
            for (int y = 0; y < 40; ++y) {
                for (int x = 0; x < 150; ++x)
                    QCOMPARE(at(pixels, x, y).r, at(pixels, 0, y).r);
                done += at(pixels, 0, y).r;
            }
            QCOMPARE(done, int(progress));
            QVERIFY(done >= afterRows && done < afterRows + workerCount());
        }
}

void TestImageWalks::exceptionInAWorker_data()
{
    QTest::addColumn<int>("storage");
    QTest::addColumn<bool>("plain");
    QTest::newRow("plain, flat") << int(Flat) << true;
    QTest::newRow("plain, tiled") << int(Tiled) << true;
    QTest::newRow("iterative, flat") << int(Flat) << false;
    QTest::newRow("iterative, tiled") << int(Tiled) << false;
}

/// The worker that throws ends; the others do what remains. The caller gets the exception after all of them.
void TestImageWalks::exceptionInAWorker()
{
    QFETCH(int, storage);
    QFETCH(bool, plain);
    const int workers = plain && storage == Tiled ? std::min(workerCount(), 1) : workerCount();
    if (workers < 1)
        QSKIP("no workers on this machine");
    auto pixels = image(Storage(storage), 40, 40);
    set(pixels, 10, 5, OPRGBA32i(77u));
    const testing::LogCapture log;
    QString text;
    try {
        if (plain)
            OPTransformImageColors(Raise(), &pixels)();
        else
            OPIterativeTransformImageColors(Raise(), &pixels, QRect(), goOn, nullptr)();
    } catch (const std::exception &e) {
        text = e.what();
    }
    QCOMPARE(text, "bad pixel");
    QCOMPARE(log.texts(), QStringList { "[include/OPTransformImageColors] Unexpected exception bad pixel" });
    const int lastRow = plain && storage == Flat ? 39 : 40;
    for (int y = 0; y < 40; ++y) {
        const bool begun = y <= 5 || workers > 1;
        for (int x = 0; x < 40; ++x)
            QCOMPARE(int(at(pixels, x, y).r), int(begun && y < lastRow && !(y == 5 && x >= 10)));
    }
}

void TestImageWalks::exceptionNobodyWaitsFor()
{
    if (workerCount() < 1)
        QSKIP("no workers on this machine");
    auto pixels = image(Tiled, 40, 40);
    set(pixels, 10, 39, OPRGBA32i(77u));
    const testing::LogCapture log;
    OPPixelIterativeTransformImageColors(Locate(), &pixels, QRect(), goOn, nullptr)();
    QThreadPool::globalInstance()->waitForDone();
    QCOMPARE(log.texts(), QStringList { "[include/OPTransformImageColors] Unexpected exception bad pixel" });
    QCOMPARE(int(at(pixels, 39, 38).r), 1);
    QCOMPARE(int(at(pixels, 11, 39).r), 0);
}

/// The last row of a QImage is done on the caller's thread in any case: exceptions keep their type.
void TestImageWalks::exceptionsOnTheCaller()
{
    QImage image(2, 1, QImage::Format_ARGB32);
    const testing::LogCapture log;
    image.fill(77);
    QVERIFY_EXCEPTION_THROWN(OPTransformImageColors(Raise(), &image)(), std::runtime_error);
    int thrown = 0;
    try {
        OPTransformImageColors(ThrowInt(), &image)();
    } catch (int value) {
        thrown = value;
    }
    QCOMPARE(thrown, 42);
    QCOMPARE(log.texts(),
        (QStringList { "[include/OPTransformImageColors] Unexpected exception bad pixel",
            "[include/OPTransformImageColors] Unexpected unknown exception" }));
}

KXCORE_TEST_MAIN(TestImageWalks)
#include "tst_imagewalks.moc"
