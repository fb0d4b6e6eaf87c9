#include "kit/Test.h"

#include "KXCore.h"
#include "color/Blocks.h"
#include "kit/Picture.h"
#include "support/Workers.h"

#include <mutex>

using kit::Picture;

namespace {

/// Raises red by the entry of a table that every object owns, and at a position green too, pixel by pixel or in blocks.
/// Throws at pixels whose blue is 77 or 78.
struct Raise : BaseTransformation {
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

enum Form { Plain, Iterative, Located };

/// A walk of that form, and of the workers that it leaves behind.
void walk(Form form, RGBA32iImage &image, const QRect &rect = QRect(), const std::atomic<bool> &cancel = kit::noCancel,
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

/// A picture of 300 by 200 in which the pixels of @p area were raised once.
Picture raised(const QRect &area, bool located)
{
    Picture picture(300, 200);
    picture.fill(area, [located](int x, int y) { return OPRGBA32i(0, located ? uchar(x ^ y * 7) : 0, 1, 0); });
    return picture;
}

const QString badPixel = "[include/OPTransformImageColors] Unexpected exception bad pixel";

} // namespace

class TestImageWalks : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// A class may override what the one that it derives from does with a pixel.
    void derivedClasses()
    {
        struct Red : OPInvertAlphaTransformation {
            void operator()(OPRGBA32i &pixel) const override { pixel.r = 9; }
        };
        RGBA32iImage image(7, 5, false);
        OPIterativeTransformImageColors<OPInvertAlphaTransformation>({}, &image, QRect(), kit::noCancel, nullptr)();
        OPIterativeTransformImageColors<Red>({}, &image, QRect(), kit::noCancel, nullptr)();
        COMPARE_PICTURE(Picture::of(image), Picture(7, 5, 0xFF090000u));
    }

    /// Every pixel of the area once, and no other; but for the plain form, which leaves the last row of a flat image.
    /// On one processor nobody walks an image, and the caller a QImage.
    void rectangles()
    {
        const QRect all(0, 0, 300, 200), none(0, 0, 0, 0);
        const QRect cases[][2] = {
            { QRect(), all }, // what is asked for, and what is walked
            { { 100, 100, 129, 50 }, { 100, 100, 129, 50 } }, // across tiles
            { { 127, 127, 1, 1 }, { 127, 127, 1, 1 } },
            { { -50, -50, 60, 70 }, { 0, 0, 10, 20 } },
            { { 290, 150, 400, 400 }, { 290, 150, 10, 50 } },
            { { 300, 0, 5, 5 }, none },
            { { { INT_MIN, INT_MIN }, QPoint(INT_MAX, INT_MAX) }, all },
        };
        for (const int count : { 1, workers::hardware() })
            for (const auto &[rect, wanted] : cases) {
                const kit::Processors processors(count);
                const QRect area = count == 1 ? none : wanted;
                for (const bool tiled : { false, true })
                    for (const Form form : { Plain, Iterative, Located })
                        for (const bool hasKernel : { false, true }) {
                            RGBA32iImage image = Picture(300, 200).image(tiled);
                            std::atomic<int> progress { 0 };
                            const auto step = [&progress] { ++progress; };
                            walk(form, image, rect, kit::noCancel, step, hasKernel);
                            const QRect lessOneRow = area.adjusted(0, 0, 0, -1);
                            const Picture expected =
                                raised(form == Plain && !tiled ? lessOneRow : area, form == Located);
                            VERIFY_SAME_AT(kit::difference(Picture::of(image), expected),
                                QString("form %1, tiled %2, from %3").arg(form).arg(tiled).arg(rect.x()));
                            QCOMPARE(int(progress), form == Plain ? 0 : area.height());
                        }
                Picture memory(300, 200);
                QImage image(reinterpret_cast<uchar *>(memory.pixels.data()), 300, 200, QImage::Format_ARGB32);
                OPTransformImageColors(Raise(), &image, rect)();
                COMPARE_PICTURE(memory, raised(wanted, false)); // all rows
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
        const Picture picture = Picture::of(image);
        QVERIFY(picture.at(43, 71).r == 6 && picture.at(44, 71).r == 4);
        QVERIFY(picture.at(43, 72).r == 3 && picture.at(127, 127).r == 2);
        RGBA32iImage holed = picture.image(true); // with blocks of its own: several workers may write them
        holed.ReleaseTile(1);
        for (const Form form : { Plain, Iterative, Located })
            walk(form, holed); // passes over what is not there
        QVERIFY(!holed.TileData(1) && !holed.IsFakeTile(0));
    }

    /// A row is done wholly, with one call of progress, or not at all; others that are under way may still be done.
    void cancel()
    {
        for (const int afterRows : { 0, 1, 20, 40 })
            for (const Form form : { Iterative, Located })
                for (const bool tiled : { false, true })
                    for (const bool hasKernel : { false, true }) {
                        std::atomic<bool> cancel { afterRows == 0 };
                        std::atomic<int> progress { 0 };
                        std::mutex mutex; // no row is counted between the last one that is wanted and the flag
                        RGBA32iImage image = Picture(150, 40).image(tiled);
                        const auto countRow = [&] {
                            const std::lock_guard<std::mutex> lock(mutex);
                            if (++progress == afterRows)
                                cancel = true;
                        };
                        walk(form, image, QRect(), cancel, countRow, hasKernel);
                        const Picture picture = Picture::of(image);
                        int done = 0;
                        for (int y = 0; y < 40; ++y) {
                            for (int x = 0; x < 150; ++x)
                                QCOMPARE(picture.at(x, y).r, picture.at(0, y).r);
                            done += picture.at(0, y).r;
                        }
                        QCOMPARE(done, int(progress));
                        const int workerCount = afterRows ? workers::hardware() - 1 : 0;
                        QVERIFY(done >= afterRows && done < std::max(1, afterRows + workerCount));
                    }
    }

    /// The worker that throws ends, the others do what remains. Then the caller, if it waits, gets the exception.
    void exceptionsInAWorker()
    {
        for (const Form form : { Plain, Iterative, Located })
            for (const bool tiled : { false, true }) {
                Picture picture(40, 40);
                picture.at(10, 5).b = 77;
                RGBA32iImage image = picture.image(tiled);
                const kit::LogCapture log;
                if (form == Located && tiled)
                    walk(form, image);
                else
                    QVERIFY_EXCEPTION_THROWN(walk(form, image), std::exception);
                QCOMPARE(log.texts(), QStringList(badPixel));
                const int workerCount = form == Plain && tiled ? 1 : workers::hardware() - 1;
                const int rows = workerCount == 1 ? 6 : form == Plain && !tiled ? 39 : 40;
                picture = Picture::of(image);
                for (int y = 0; y < 40; ++y)
                    for (int x = 0; x < 40; ++x)
                        QCOMPARE(int(picture.at(x, y).r), int(y < rows && !(y == 5 && x >= 10)));
            }
    }

    /// What the header shows.
    void adjustmentsOfAnApplication()
    {
        QImage photo(301, 7, QImage::Format_ARGB32);
        photo.fill(0x80FF4101);
        RGBA32iImage slow = ConvertImage<QImage, RGBA32iImage>(photo), fast = ConvertImage<QImage, RGBA32iImage>(photo);
#include "BaseTransformation-1.inc"
#include "BaseTransformation-2.inc"
        OPIterativeTransformImageColors(Darken(), &slow, QRect(), kit::noCancel, nullptr)();
        OPIterativeTransformImageColors(FastDarken(), &fast, QRect(), kit::noCancel, nullptr)();
        const Picture expected(301, 7, OPRGBA32i(0x807F2000u));
        COMPARE_PICTURE(Picture::of(ConvertImage<QImage, RGBA32iImage>(photo)), expected);
        COMPARE_PICTURE(Picture::of(slow), expected);
        COMPARE_PICTURE(Picture::of(fast), expected);
    }

    /// The caller does the last row in any case, so exceptions keep their type. A shared image gets its own pixels.
    void qimagesAreWalkedOnTheCaller()
    {
        QImage image(2, 1, QImage::Format_ARGB32), none, grey(3, 3, QImage::Format_Grayscale8);
        grey.fill(77);
        OPTransformImageColors(Raise(), &none)();
        OPTransformImageColors(Raise(), &grey)(); // of another depth
        image.fill(0);
        const QImage before = image;
        OPTransformImageColors(Raise(), &image)();
        QVERIFY(image.pixel(0, 0) == 0x10000 && before.pixel(0, 0) == 0);
        const kit::LogCapture log;
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
