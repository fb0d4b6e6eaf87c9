#include "TestSupport.h"

#include "OPTransformImageColors.h"
#include "color/Blocks.h"

#include <QtCore/QThreadPool>

#include <stdexcept>
#include <thread>

namespace {

/// Workers of a walk; without any a walk over a KXImage changes nothing.
int workerCount() { return int(std::thread::hardware_concurrency()) - 1; }

/// Raises red by the entry of a table that every object owns, and at a position green too, pixel by pixel or in blocks.
/// Throws at pixels whose blue is 77 or 78.
class Raise : public BaseTransformation {
public:
    using BaseTransformation::operator();
    explicit Raise(bool hasKernel = false) { m_HasKernel = hasKernel; }

    void operator()(OPRGBA32i &pixel) const override
    {
        if (pixel.b == 77)
            throw std::runtime_error("bad pixel");
        if (pixel.b == 78)
            throw 42;
        pixel.r = uchar(pixel.r + by[0]);
    }
    void operator()(int x, int y, OPRGBA32i &pixel) const override
    {
        (*this)(pixel);
        pixel.g = uchar(x ^ y * 7);
    }
    void operator()(unsigned char *pixels, bool) const override
    {
        for (int i = 0; i < blocks::length; ++i)
            (*this)(reinterpret_cast<OPRGBA32i *>(pixels)[i]);
    }
    void operator()(int x, int y, unsigned char *pixels, bool) const override
    {
        for (int i = 0; i < blocks::length; ++i)
            (*this)(x + i, y, reinterpret_cast<OPRGBA32i *>(pixels)[i]);
    }

    std::vector<uchar> by { 1 };
};

enum Storage { Flat, Tiled };

/// Tiles are private, so that each pixel is one of its own.
RGBA32iImage image(Storage storage, int width, int height)
{
    RGBA32iImage result(width, height, storage == Tiled);
    for (int i = 0; i < result.TilesX() * result.TilesY(); ++i)
        result.TileData(i, true);
    return result;
}

unsigned at(const QImage &image, int x, int y) { return image.pixel(x, y); }
unsigned at(const RGBA32iImage &image, int x, int y)
{
    OPRGBA32i pixel;
    image.ReadRow(unsigned(y), unsigned(x), &pixel, 4);
    return pixel.word;
}

const std::atomic<bool> goOn { false };

enum Form { Plain, Iterative, Located };

/// A walk of that form, and of the workers that it leaves behind.
void walk(Form form, RGBA32iImage &image, const QRect &rect = QRect(), const std::atomic<bool> &cancel = goOn,
    const std::function<void()> &progress = nullptr, bool hasKernel = false)
{
    Raise raise(hasKernel);
    const OPTransformImageColors plain(raise, &image, rect);
    const OPIterativeTransformImageColors iterative(raise, &image, rect, cancel, progress);
    const OPPixelIterativeTransformImageColors located(raise, &image, rect, cancel, progress);
    raise.by[0] = 50; // they have copies
    form == Plain ? plain() : form == Iterative ? iterative() : located();
    QThreadPool::globalInstance()->waitForDone();
}

/// Checks that the pixels of @p area, and no others, were raised once.
template <class Image>
void checkRaised(const Image &image, const QRect &area, bool located)
{
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x) {
            const unsigned raised = 0x10000 | (located ? unsigned((x ^ y * 7) & 255) << 8 : 0);
            if (at(image, x, y) != (area.contains(x, y) ? raised : 0))
                QFAIL(qPrintable(QString("(%1, %2): %3").arg(x).arg(y).arg(at(image, x, y), 8, 16)));
        }
}

const OPRGBA32i bad(77u);
const QString badPixel = "[include/OPTransformImageColors] Unexpected exception bad pixel";

} // namespace

class TestImageWalks : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (workerCount() < 1)
            QSKIP("no workers on this machine");
    }

    /// Every pixel of the area once, and no other; but for the plain form, which leaves the last row of a flat image.
    void rectangles()
    {
        const QRect all(0, 0, 300, 200), none(0, 0, 0, 0);
        const QRect cases[][2] = {
            // what is asked for, and what is walked
            { QRect(), all },
            { { 100, 100, 129, 50 }, { 100, 100, 129, 50 } }, // across tiles
            { { 127, 127, 1, 1 }, { 127, 127, 1, 1 } },
            { { 7, 3, 128, 2 }, { 7, 3, 128, 2 } },
            { { 256, 0, 1, 200 }, { 256, 0, 1, 200 } },
            { { -50, -50, 60, 70 }, { 0, 0, 10, 20 } },
            { { 290, 150, 400, 400 }, { 290, 150, 10, 50 } },
            { { 300, 0, 5, 5 }, none },
            { { { INT_MIN, INT_MIN }, QPoint(INT_MAX, INT_MAX) }, all },
        };
        for (const auto &[rect, area] : cases) {
            for (const Storage storage : { Flat, Tiled })
                for (const Form form : { Plain, Iterative, Located })
                    for (const bool hasKernel : { false, true }) {
                        auto pixels = image(storage, 300, 200);
                        std::atomic<int> progress { 0 };
                        walk(
                            form, pixels, rect, goOn, [&progress] { ++progress; }, hasKernel);
                        const bool lessOneRow = form == Plain && storage == Flat;
                        checkRaised(pixels, lessOneRow ? area.adjusted(0, 0, 0, -1) : area, form == Located);
                        QCOMPARE(int(progress), form == Plain ? 0 : area.height());
                    }
            QImage picture(300, 200, QImage::Format_ARGB32);
            picture.fill(0);
            const QImage before = picture;
            OPTransformImageColors(Raise(), &picture, rect)();
            checkRaised(picture, area, false); // all rows
            checkRaised(before, QRect(), false);
        }
    }

    /// A new image is one block under all its entries. A pixel of the block changes once for every place that shows it,
    /// and the tiles stay shared, with the image itself and with its copies.
    void sharedTiles()
    {
        RGBA32iImage image(300, 200, true); // tiles 128, 128 and 44 wide, 128 and 72 high
        const RGBA32iImage copy = image;
        walk(Plain, image); // one worker, so that nothing is lost
        for (int i = 0; i < 6; ++i)
            QVERIFY(image.IsFakeTile(i) && copy.TileData(i) == image.TileData(0));
        QVERIFY(at(image, 43, 71) == 0x60000 && at(image, 44, 71) == 0x40000);
        QVERIFY(at(image, 43, 72) == 0x30000 && at(image, 127, 127) == 0x20000);
    }

    /// A row is done wholly, with one call of progress, or not at all; one that is under way elsewhere may still be done.
    void cancel()
    {
        for (const int afterRows : { 0, 1, 20, 40 })
            for (const Form form : { Iterative, Located })
                for (const Storage storage : { Flat, Tiled })
                    for (const bool hasKernel : { false, true }) {
                        std::atomic<bool> cancel { afterRows == 0 };
                        std::atomic<int> progress { 0 };
                        auto pixels = image(storage, 150, 40);
                        const auto countRow = [&] { cancel = ++progress == afterRows || cancel; };
                        walk(form, pixels, QRect(), cancel, countRow, hasKernel);
                        int done = 0;
                        for (int y = 0; y < 40; ++y) {
                            for (int x = 0; x < 150; ++x)
                                QCOMPARE(at(pixels, x, y) >> 16, at(pixels, 0, y) >> 16);
                            done += at(pixels, 0, y) >> 16;
                        }
                        QCOMPARE(done, int(progress));
                        QVERIFY(done >= afterRows && done < std::max(1, afterRows + workerCount() * (afterRows > 0)));
                    }
    }

    /// The worker that throws ends; the others do what remains. The caller gets the exception after all of them, unless
    /// it does not wait for them.
    void exceptionsInAWorker()
    {
        for (const Form form : { Plain, Iterative, Located })
            for (const Storage storage : { Flat, Tiled }) {
                auto pixels = image(storage, 40, 40);
                pixels.WriteRow(5, 10, &bad, 4);
                const testing::LogCapture log;
                if (form == Located && storage == Tiled)
                    walk(form, pixels);
                else
                    QVERIFY_EXCEPTION_THROWN(walk(form, pixels), std::exception);
                QCOMPARE(log.texts(), QStringList(badPixel));
                const int workers = form == Plain && storage == Tiled ? 1 : workerCount();
                const int rows = workers == 1 ? 6 : form == Plain && storage == Flat ? 39 : 40;
                for (int y = 0; y < 40; ++y)
                    for (int x = 0; x < 40; ++x)
                        QCOMPARE(at(pixels, x, y) >> 16, unsigned(y < rows && !(y == 5 && x >= 10)));
            }
    }

    /// The last row of a QImage is done on the caller's thread in any case: exceptions keep their type.
    void qimagesAreWalkedOnTheCaller()
    {
        QImage image(2, 1, QImage::Format_ARGB32), none, grey(3, 3, QImage::Format_Grayscale8);
        grey.fill(77);
        OPTransformImageColors(Raise(), &none)();
        OPTransformImageColors(Raise(), &grey)(); // of another depth
        const testing::LogCapture log;
        image.fill(77);
        QVERIFY_EXCEPTION_THROWN(OPTransformImageColors(Raise(), &image)(), std::runtime_error);
        image.fill(78);
        QVERIFY_EXCEPTION_THROWN(OPTransformImageColors(Raise(), &image)(), int);
        const QString unknown = "[include/OPTransformImageColors] Unexpected unknown exception";
        QCOMPARE(log.texts(), QStringList({ badPixel, unknown }));
    }
};

KXCORE_TEST_MAIN(TestImageWalks)
#include "tst_imagewalks.moc"
