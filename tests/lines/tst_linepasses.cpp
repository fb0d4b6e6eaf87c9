#include "KXIterativeConvolution.h"

#include "lines/Convolve.h"
#include "lines/LineHandlers.h"
#include "lines/Transpose.h"

#include "TestSupport.h"
#include "lines/Pictures.h"

#include <QtCore/QMutex>

#include <stdexcept>

using lines::HorizontalDirection;
using lines::VerticalDirection;
using testing::Picture;
using Kernel = std::vector<short>;
Q_DECLARE_METATYPE(Kernel)

class TestLinePasses : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void transposes();
    void convolvesLines();
    void visitsEachLineOnce_data();
    void visitsEachLineOnce();
    void stopsBetweenLines_data();
    void stopsBetweenLines();
    void finishesWhenAWorkerThrows();
    void slidesWindows_data();
    void slidesWindows();
    void slidesWindowsOfAlpha();
    void runsLineKernels();
    void convolvesImages_data();
    void convolvesImages();
    void premultipliesAllButTheLastRow();
    void isStraightAgainAfterAnException();
    void tiledImagesInRows();
    void columnsOfTiledImagesStay();
};

static const std::atomic<bool> goOn { false };

/// A pass that reads whole lines and adds 1 to each word.
template <class Direction>
static void addOne(RGBA32iImage &image, int workers, const std::atomic<bool> &cancel, const lines::Progress &progress)
{
    const Direction all(image, image.Rect(), 0);
    const lines::PassShape shape { all.firstLine, all.lastLine, all.first, all.Length(), 2, all.Length() + 2, all.first,
        all.Length() };
    lines::runPass<Direction>(image, shape, workers, cancel, progress, [] {
        return [](int, std::vector<OPRGBA32i> &source, OPRGBA32i *target) {
            for (size_t i = 2; i < source.size(); ++i)
                target[i - 2] = OPRGBA32i(source[i].word + 1);
        };
    });
}

static void addOne(RGBA32iImage &image, Qt::Orientation lines, int workers, const std::atomic<bool> &cancel,
    const lines::Progress &progress)
{
    if (lines == Qt::Horizontal)
        addOne<HorizontalDirection>(image, workers, cancel, progress);
    else
        addOne<VerticalDirection>(image, workers, cancel, progress);
}

void TestLinePasses::transposes()
{
    for (int columns = 1; columns <= 37; columns += columns < 20 ? 1 : 17)
        for (int rows = 1; rows <= 35; rows += rows < 18 ? 1 : 17) {
            const Picture from = Picture::random(columns + 3, rows, 1);
            Picture to(rows + 2, columns), expected(rows + 2, columns);
            lines::transpose(&from.pixels[2], from.width, &to.pixels[0], to.width, columns, rows);
            for (int y = 0; y < rows; ++y)
                for (int x = 0; x < columns; ++x)
                    expected.at(y, x) = from.at(x + 2, y);
            COMPARE_PICTURE(to, expected); // what lies around it stays 0
        }
}

void TestLinePasses::convolvesLines()
{
    QRandomGenerator random(5);
    for (int round = 0; round < 400; ++round) {
        const int length = random.bounded(1, 23);
        Kernel kernel(size_t(random.bounded(0, 40)));
        const int extreme = round % 4 == 0 ? 32767 : 3000; // the largest wrap, alike in every form
        for (short &entry : kernel)
            entry = random.bounded(3) == 0 ? short(0) : short(random.bounded(-extreme - 1, extreme + 1));
        const Picture in = Picture::random(length + int(kernel.size()), 1, random.generate());
        Picture out(length, 1), expected(length, 1);
        lines::convolve(in.pixels.data(), out.pixels.data(), length, lines::Taps(kernel));
        for (int i = 0; i < length; ++i)
            expected.at(i, 0) = testing::pixelOf([&](int c) {
                qint64 sum = 8192;
                for (int j = 0; j < int(kernel.size()); ++j)
                    sum += qint64(testing::channel(in.at(i + j, 0), c)) * kernel[size_t(j)];
                return qBound(0, int(sum) >> 14, 255);
            });
        COMPARE_PICTURE(out, expected);
        lines::convolvePixels(in.pixels.data(), out.pixels.data(), 0, length, lines::Taps(kernel));
        COMPARE_PICTURE(out, expected);
    }
}

void TestLinePasses::visitsEachLineOnce_data()
{
    QTest::addColumn<Qt::Orientation>("lines");
    QTest::addColumn<int>("workers");
    for (const int workers : { 0, 1, 3 }) {
        QTest::addRow("rows, %d workers", workers) << Qt::Horizontal << workers;
        QTest::addRow("columns, %d workers", workers) << Qt::Vertical << workers;
    }
}

void TestLinePasses::visitsEachLineOnce()
{
    QFETCH(Qt::Orientation, lines);
    QFETCH(int, workers);
    for (const QSize size : { QSize(1, 1), QSize(1, 40), QSize(31, 2), QSize(32, 33), QSize(150, 7) }) {
        Picture picture = Picture::random(size.width(), size.height(), 3);
        RGBA32iImage image = picture.image(false);
        std::atomic<int> calls { 0 };
        addOne(image, lines, workers, goOn, [&] { ++calls; });
        for (OPRGBA32i &pixel : picture.pixels)
            pixel = OPRGBA32i(pixel.word + 1);
        COMPARE_PICTURE(Picture::of(image), picture);
        QCOMPARE(calls.load(), lines == Qt::Horizontal ? size.height() : size.width());
        addOne(image, lines, workers, goOn, nullptr);
    }
}

void TestLinePasses::stopsBetweenLines_data()
{
    QTest::addColumn<Qt::Orientation>("lines");
    QTest::addColumn<int>("stopAfter");
    for (const int stopAfter : { 0, 1, 31, 40, 69, 70 }) {
        QTest::addRow("rows, after %d", stopAfter) << Qt::Horizontal << stopAfter;
        QTest::addRow("columns, after %d", stopAfter) << Qt::Vertical << stopAfter;
    }
}

void TestLinePasses::stopsBetweenLines()
{
    QFETCH(Qt::Orientation, lines);
    QFETCH(int, stopAfter);
    // On one thread the lines come in order: what was reported is finished, everything after it as it was.
    Picture picture = Picture::random(70, 70, 3);
    RGBA32iImage image = picture.image(false);
    std::atomic<bool> cancel { stopAfter == 0 };
    int calls = 0;
    addOne(image, lines, 0, cancel, [&] { cancel = ++calls == stopAfter; });
    QCOMPARE(calls, stopAfter);
    for (int line = 0; line < stopAfter; ++line)
        for (int i = 0; i < 70; ++i)
            picture.on(lines, line, i) = OPRGBA32i(picture.on(lines, line, i).word + 1);
    COMPARE_PICTURE(Picture::of(image), picture);

    // With several workers each finishes the line in hand: the finished ones are as many as were reported.
    const Picture before = Picture::random(70, 70, 4);
    image = before.image(false);
    cancel = false;
    std::atomic<int> reported { 0 };
    addOne(image, lines, 3, cancel, [&] {
        if (++reported == stopAfter)
            cancel = true;
    });
    Picture after = Picture::of(image);
    int finished = 0;
    for (int line = 0; line < 70; ++line) {
        const unsigned step = after.on(lines, line, 0).word - Picture(before).on(lines, line, 0).word;
        QVERIFY(step <= 1);
        finished += int(step);
        for (int i = 0; i < 70; ++i)
            QCOMPARE(after.on(lines, line, i).word, Picture(before).on(lines, line, i).word + step);
    }
    QCOMPARE(finished, reported.load());
    QVERIFY(stopAfter == 0 || finished >= stopAfter);
}

void TestLinePasses::finishesWhenAWorkerThrows()
{
    for (const auto lines : { Qt::Horizontal, Qt::Vertical })
        for (const int workers : { 0, 2 }) {
            const Picture before = Picture::random(96, 96, 9);
            RGBA32iImage image = before.image(false);
            QMutex mutex;
            int calls = 0;
            QString text;
            try {
                addOne(image, lines, workers, goOn, [&] {
                    const QMutexLocker lock(&mutex);
                    if (++calls == 5)
                        throw std::runtime_error("five is enough");
                });
            } catch (const std::exception &e) {
                text = e.what();
            }
            QCOMPARE(text, QString("five is enough"));
            // The line that was reported is written; the other worker, if there is one, goes on to the end.
            Picture after = Picture::of(image);
            int finished = 0;
            for (int line = 0; line < 96; ++line)
                finished += after.on(lines, line, 50) != Picture(before).on(lines, line, 50);
            QCOMPARE(finished, calls);
            if (workers == 0)
                QCOMPARE(calls, 5);
            else
                QVERIFY(calls > 5);
        }
}

void TestLinePasses::slidesWindows_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<int>("radius");
    QTest::newRow("whole") << QSize(45, 37) << QRect() << 3;
    QTest::newRow("no window") << QSize(20, 20) << QRect() << 0;
    QTest::newRow("real neighbours around a rectangle") << QSize(50, 40) << QRect(20, 12, 9, 8) << 4;
    QTest::newRow("over the edges") << QSize(40, 40) << QRect(-5, 30, 200, 200) << 2;
    QTest::newRow("wider than the image") << QSize(17, 35) << QRect(3, 3, 10, 30) << 50;
    QTest::newRow("one column") << QSize(1, 9) << QRect() << 2;
    QTest::newRow("one row") << QSize(9, 1) << QRect() << 2;
    QTest::newRow("outside") << QSize(9, 9) << QRect(9, 0, 5, 5) << 2;
}

template <class Direction, class Accumulator>
static int slide(const Accumulator &window, RGBA32iImage &image, const QRect &rect)
{
    const lines::LineHandler<Accumulator, Direction> handler(window, image, rect);
    std::atomic<int> calls { 0 };
    handler.Run(goOn, [&] { ++calls; });
    return calls == handler.LineCount() ? calls.load() : -1;
}

void TestLinePasses::slidesWindows()
{
    QFETCH(QSize, size);
    QFETCH(QRect, rect);
    QFETCH(int, radius);
    const Picture picture = Picture::random(size.width(), size.height(), 11);
    const QRect area = rect.isValid() ? rect & picture.rect() : picture.rect();

    RGBA32iImage image = picture.image(false), plain = picture.image(false);
    Picture expected = picture, expectedPlain = picture;
    const auto byte = [](OPRGBA32i p, int c) { return int(testing::channel(p, c)); };
    const auto pixel = [](const int *means) { return testing::pixelOf([=](int c) { return means[c]; }); };

    QCOMPARE(slide<HorizontalDirection>(OPRGBABlurAccumulatorPremul(radius), image, rect), area.height());
    QCOMPARE(slide<HorizontalDirection>(OPRGBABlurAccumulator(radius), plain, rect), area.height());
    testing::premultipliedMean(expected, area, Qt::Horizontal, radius);
    testing::windowMean(expectedPlain, area, Qt::Horizontal, radius, byte, pixel);
    COMPARE_PICTURE(Picture::of(image), expected);
    COMPARE_PICTURE(Picture::of(plain), expectedPlain);

    QCOMPARE(slide<VerticalDirection>(OPRGBABlurAccumulatorPremul(radius), image, rect), area.width());
    QCOMPARE(slide<VerticalDirection>(OPRGBABlurAccumulator(radius), plain, rect), area.width());
    testing::premultipliedMean(expected, area, Qt::Vertical, radius);
    testing::windowMean(expectedPlain, area, Qt::Vertical, radius, byte, pixel);
    COMPARE_PICTURE(Picture::of(image), expected);
    COMPARE_PICTURE(Picture::of(plain), expectedPlain);
}

void TestLinePasses::slidesWindowsOfAlpha()
{
    const Picture picture = Picture::random(33, 20, 12);
    const QRect rect(2, 3, 30, 15);
    const auto alpha = [](OPRGBA32i p, int) { return int(p.a); };
    const auto check = [&](const auto &window, const std::function<OPRGBA32i(const int *)> &result) {
        RGBA32iImage image = picture.image(false);
        Picture expected = picture;
        slide<VerticalDirection>(window, image, rect);
        testing::windowMean(expected, rect, Qt::Vertical, 2, alpha, result);
        COMPARE_PICTURE(Picture::of(image), expected);
    };
    const auto black = [](int a) { return OPRGBA32i(0, 0, 0, static_cast<unsigned char>(a)); };
    check(OPAlphaBlurAccumulator(2), [&](const int *means) { return black(means[3]); });
    check(OPAlphaBlurAccumulatorWithInvert(2), [&](const int *means) { return black(255 - means[3]); });
    check(OPAlphaBlurAccumulatorWithRGBColorize(2, OPRGBA32i(7, 8, 9, 255)),
        [&](const int *means) { return OPRGBA32i(7, 8, 9, static_cast<unsigned char>(means[3])); });
}

void TestLinePasses::runsLineKernels()
{
    // Each pixel against its neighbours in the image, also outside the rectangle; rows first, then columns.
    const Picture picture = Picture::random(40, 30, 13);
    const QRect rect(5, 0, 30, 30);
    RGBA32iImage image = picture.image(false);
    const lines::LineHandlerConvolution2D<OPSimpleSharpenKernel1D> handler(OPSimpleSharpenKernel1D(300), image, rect);
    std::atomic<int> calls { 0 };
    handler.Run(goOn, [&] { ++calls; });
    QCOMPARE(calls.load(), 60);
    QCOMPARE(handler.LineCount(), 60);
    Picture expected = picture;
    for (const bool isRow : { true, false }) {
        const Picture from = expected;
        const auto at = [&](int x, int y) { return from.at(qBound(0, x, 39), qBound(0, y, 29)); };
        for (int y = rect.top(); y <= rect.bottom(); ++y)
            for (int x = rect.left(); x <= rect.right(); ++x)
                expected.at(x, y) = testing::pixelOf([&](int c) {
                    const int sides =
                        testing::channel(at(x - isRow, y - !isRow), c) + testing::channel(at(x + isRow, y + !isRow), c);
                    return qBound(0, (testing::channel(from.at(x, y), c) * 2385 - sides * 300 + 765) / 1785, 255);
                });
    }
    COMPARE_PICTURE(Picture::of(image), expected);

    lines::LineHandlerConvolution2D<OPShiftEdge1D>(OPShiftEdge1D(3), image, QRect(100, 100, 5, 5)).Run(goOn, nullptr);
    COMPARE_PICTURE(Picture::of(image), expected);
    lines::LineHandlerConvolution2D<OPGaussianAlpha1D>(OPGaussianAlpha1D(0.1), image, QRect()).Run(goOn, nullptr);
    COMPARE_PICTURE(Picture::of(image), expected); // too narrow to move anything
}

void TestLinePasses::convolvesImages_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<Kernel>("kernel");
    const Kernel wide(41, 400), uneven { -3000, 9000, 12000, -1500, 100 };
    QTest::newRow("whole") << QSize(45, 37) << QRect() << uneven;
    QTest::newRow("identity") << QSize(45, 37) << QRect() << Kernel { 0, 16384, 0 };
    QTest::newRow("the rectangle's edge is replicated") << QSize(80, 60) << QRect(17, 9, 40, 33) << wide;
    QTest::newRow("narrower than the reach") << QSize(80, 60) << QRect(17, 9, 3, 4) << wide;
    QTest::newRow("over the edges") << QSize(80, 60) << QRect(-9, 50, 500, 500) << uneven;
    QTest::newRow("one pixel") << QSize(1, 1) << QRect() << wide;
    QTest::newRow("outside") << QSize(20, 20) << QRect(-9, 0, 9, 9) << uneven;
    QTest::newRow("no entries") << QSize(9, 9) << QRect() << Kernel();
}

void TestLinePasses::convolvesImages()
{
    QFETCH(QSize, size);
    QFETCH(QRect, rect);
    QFETCH(Kernel, kernel);
    Picture picture = Picture::random(size.width(), size.height(), 21);
    const QRect area = rect.isValid() ? rect & picture.rect() : picture.rect();
    RGBA32iImage image = picture.image(false);
    std::atomic<int> calls { 0 };
    {
        KXIterativeConvolutionFast2D<RGBA32iImage> both(Kernel(kernel), image, rect); // keeps its own copy
        both.Run(goOn, [&] { ++calls; });
        QCOMPARE(calls.load(), both.LineCount());
        QCOMPARE(both.LineCount(), area.width() + area.height());
    }
    testing::convolve(picture, area, Qt::Horizontal, kernel);
    testing::convolve(picture, area, Qt::Vertical, kernel);
    COMPARE_PICTURE(Picture::of(image), picture);

    KXIterativeConvolutionFast1D<RGBA32iImage, VerticalDirection>(kernel, image, rect).Run(goOn, nullptr);
    testing::convolve(picture, area, Qt::Vertical, kernel);
    COMPARE_PICTURE(Picture::of(image), picture);
}

void TestLinePasses::premultipliesAllButTheLastRow()
{
    if (workers::hardware() < 2)
        QSKIP("with one processor the walk changes nothing");
    Picture picture(3, 3);
    std::fill(picture.pixels.begin(), picture.pixels.end(), OPRGBA32i(200, 200, 200, 255));
    picture.at(1, 0) = picture.at(1, 2) = OPRGBA32i(0, 0, 0, 0);
    RGBA32iImage image = picture.image(false);
    KXIterativeConvolutionFast1D<RGBA32iImage, HorizontalDirection> pass({ 5461, 5461, 5461 }, image, QRect());
    pass.SetPremultiply(true);
    pass.Run(goOn, nullptr);
    // Two thirds of the window are covered: alpha 170, and the colour is that of what covers it. (133 * 255 + 85) / 170 =
    // 200. In the last row black bleeds in.
    const OPRGBA32i covered(200, 200, 200, 170), bled(133, 133, 133, 170), full(200, 200, 200, 255);
    QCOMPARE(image.Bits()[1].word, covered.word);
    QCOMPARE(image.Bits()[4].word, full.word);
    QCOMPARE(image.Bits()[7].word, bled.word);

    // The same in tiles, where every row counts. Tiles that are shared, be it within the image, are made private first.
    RGBA32iImage tiled(300, 3, true);
    tiled.Fill(OPRGBA32i(100, 100, 100, 100));
    const RGBA32iImage shared = tiled;
    KXIterativeConvolutionFast1D<RGBA32iImage, HorizontalDirection> inTiles({ 0, 16384, 0 }, tiled, QRect());
    inTiles.SetPremultiply(true);
    inTiles.Run(goOn, nullptr);
    // 100 -> (10000 + 127) / 255 = 39 -> (9945 + 50) / 100 = 99
    Picture expected(300, 3);
    std::fill(expected.pixels.begin(), expected.pixels.end(), OPRGBA32i(99, 99, 99, 100));
    COMPARE_PICTURE(Picture::of(tiled), expected);
    QCOMPARE(shared.TileData(1)->word, OPRGBA32i(100, 100, 100, 100).word);
}

void TestLinePasses::isStraightAgainAfterAnException()
{
    const Picture picture = Picture::random(40, 40, 22);
    const auto run = [&](const lines::Progress &progress) {
        RGBA32iImage image = picture.image(false);
        KXIterativeConvolutionFast2D<RGBA32iImage> identity({ 0, 16384, 0 }, image, QRect());
        identity.SetPremultiply(true);
        QString text;
        try {
            identity.Run(goOn, progress);
        } catch (const std::exception &e) {
            text = e.what();
        }
        return qMakePair(Picture::of(image), text);
    };
    std::atomic<int> calls { 0 };
    const auto stopped = run([&] {
        if (++calls == 50)
            throw std::runtime_error("no more");
    });
    QCOMPARE(stopped.second, QString("no more"));
    COMPARE_PICTURE(stopped.first, run(nullptr).first);
}

void TestLinePasses::tiledImagesInRows()
{
    const Picture picture = Picture::random(300, 260, 31);
    const QRect rect(100, 100, 150, 90);
    RGBA32iImage image = picture.image(true);
    const RGBA32iImage before = image;
    slide<HorizontalDirection>(OPRGBABlurAccumulatorPremul(9), image, rect);
    Picture expected = picture;
    testing::premultipliedMean(expected, rect, Qt::Horizontal, 9);
    COMPARE_PICTURE(Picture::of(image), expected);
    COMPARE_PICTURE(Picture::of(before), picture); // shared tiles were copied
    QCOMPARE(image.TileData(6), before.TileData(6)); // below the rectangle they are still shared

    // A null tile reads as empty, not as what a worker read before, and stays null.
    RGBA32iImage holed(300, 130, true);
    holed.Fill(OPRGBA32i(0xFFFFFFFFu));
    holed.ReleaseTile(4);
    slide<HorizontalDirection>(OPRGBABlurAccumulatorPremul(1), holed, QRect());
    QVERIFY(!holed.TileData(4));
    for (int y = 0; y < 2; ++y) {
        QCOMPARE(holed.TileData(3)[y * 128 + 127].word, OPRGBA32i(255, 255, 255, 170).word);
        QCOMPARE(holed.TileData(5)[y * 128].word, OPRGBA32i(255, 255, 255, 170).word);
    }

    // A flat window stands for fake tiles: what it shows is filtered and kept.
    RGBA32iImage windowed(300, 260, true);
    const Picture white = Picture::of(Picture::random(200, 200, 33).image(false));
    QSharedPointer<OPRGBA32i> pixels(new OPRGBA32i[200 * 200], [](OPRGBA32i *p) { delete[] p; });
    std::copy(white.pixels.begin(), white.pixels.end(), pixels.data());
    windowed.SetFlatWindow(pixels, QRect(0, 0, 200, 200), QPoint(), QPoint(50, 30));
    const Picture seen = Picture::of(windowed);
    QVERIFY(seen.pixels[size_t(30 * 300 + 50)] == white.pixels[0]);
    slide<HorizontalDirection>(OPRGBABlurAccumulatorPremul(4), windowed, QRect());
    Picture blurred = seen;
    testing::premultipliedMean(blurred, QRect(0, 0, 300, 260), Qt::Horizontal, 4);
    COMPARE_PICTURE(Picture::of(windowed), blurred);

    // With workers that meet in tiles which all are one block at first.
    RGBA32iImage fresh(500, 500, true);
    fresh.Fill(OPRGBA32i(1u));
    addOne(fresh, Qt::Horizontal, 4, goOn, nullptr);
    Picture twos(500, 500);
    std::fill(twos.pixels.begin(), twos.pixels.end(), OPRGBA32i(2u));
    COMPARE_PICTURE(Picture::of(fresh), twos);
}

void TestLinePasses::columnsOfTiledImagesStay()
{
    const Picture picture = Picture::random(150, 140, 32);
    RGBA32iImage image = picture.image(true);
    QCOMPARE(slide<VerticalDirection>(OPRGBABlurAccumulatorPremul(2), image, QRect()), 150); // all are counted
    KXIterativeConvolutionFast1D<RGBA32iImage, VerticalDirection>({ 0, 0, 0 }, image, QRect()).Run(goOn, nullptr);
    COMPARE_PICTURE(Picture::of(image), picture);
}

KXCORE_TEST_MAIN(TestLinePasses)
#include "tst_linepasses.moc"
