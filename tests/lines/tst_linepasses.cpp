#include "KXCore.h"

#include "lines/LineHandlers.h"

#include "kit/Formulas.h"
#include "kit/Test.h"

using kit::channel, kit::Picture;
using lines::HorizontalDirection, lines::VerticalDirection;
using Taps = std::vector<short>;
using Line = std::vector<OPRGBA32i>;
using Convolution = KXIterativeConvolutionFast2D<RGBA32iImage>;

namespace {

const double notANumber = qQNaN(), infinity = qInf();

/// A line with these alphas. All channels are alike if it is @p grey, else the colour names the position.
Line lineOf(const QList<int> &alphas, bool grey)
{
    Line line;
    for (const int alpha : alphas)
        line.push_back(OPRGBA32i(grey ? unsigned(alpha) * 0x01010101u : unsigned(alpha) << 24 | unsigned(line.size())));
    return line;
}

/// An accumulator of an application: what it derives from must not be taken for it.
struct Inverted : OPRGBABlurAccumulator {
    using OPRGBABlurAccumulator::Finalize;
    using OPRGBABlurAccumulator::OPRGBABlurAccumulator;
    void Finalize(OPRGBA32i &target) const override
    {
        OPRGBABlurAccumulator::Finalize(target);
        target.word = ~target.word;
    }
};

/// Whether @p kernel makes @p expected of @p alphas.
template <class LineKernel>
bool gives(LineKernel kernel, const QList<int> &alphas, const QList<int> &expected, bool grey = false)
{
    const Line source = lineOf(alphas, grey);
    Line result(source.size(), OPRGBA32i(0xDEADBEEFu));
    kernel.SetSource(&source);
    kernel.SetDestination(&result);
    for (int i = 0; i < alphas.size(); ++i)
        kernel(i);
    return result == lineOf(expected, grey);
}

/// Reads and writes stretches of the lines of an image of 6 by 5 whose memory is @p pixels.
template <class Direction, class Image>
void checkLines(Image &image, const OPRGBA32i *pixels, Qt::Orientation lines)
{
    const Direction direction(image, QRect(0, 0, 6, 5), 0);
    Picture expected(6, 5);
    std::copy_n(pixels, 30, expected.pixels.begin());
    const unsigned lineCount = lines == Qt::Horizontal ? 5 : 6, length = 11 - lineCount, part = lineCount == 6 ? 3 : 0;
    constexpr OPRGBA32i untouched { 0x11223344u }; // left alone where a column is asked for part of a pixel
    unsigned stamp = 0;
    for (const unsigned line : { 0u, lineCount - 1, lineCount })
        for (const unsigned start : { 0u, 2u, length - 1, length, UINT_MAX })
            for (unsigned n = 0; n <= 8; ++n) {
                // Of a QImage stretches up to the end of a line are refused, columns of other images end there.
                const bool inRange =
                    line < lineCount && (std::is_same_v<Image, QImage> ? quint64(start) + n < length : start < length);
                const unsigned count = inRange ? std::min(n, length - start) : 0;
                std::vector<OPRGBA32i> buffer(8, untouched);
                auto *const raw = reinterpret_cast<unsigned char *>(buffer.data());
                QCOMPARE(direction.Read(image, line, start, raw, 4 * n + part), inRange);
                for (unsigned i = 0; i < 8; ++i)
                    QCOMPARE(buffer[i], i < count ? expected.on(lines, int(line), int(start + i)) : untouched);
                for (OPRGBA32i &pixel : buffer)
                    pixel = OPRGBA32i(++stamp);
                QCOMPARE(direction.Write(image, line, start, raw, 4 * n + part), inRange);
                for (unsigned i = 0; i < count; ++i)
                    expected.on(lines, int(line), int(start + i)) = buffer[i];
                QVERIFY(std::equal(expected.pixels.begin(), expected.pixels.end(), pixels));
            }
}

/// How many lines of @p image are as in @p after; all others must be as in @p before, or the result is negative.
int doneLines(const RGBA32iImage &image, Picture before, Picture after, Qt::Orientation lines)
{
    Picture actual = Picture::of(image);
    const int lineCount = lines == Qt::Horizontal ? actual.height : actual.width;
    int done = 0;
    for (int line = 0; line < lineCount; ++line) {
        bool isBefore = true, isAfter = true;
        for (int i = 0; i < actual.width + actual.height - lineCount; ++i) {
            isBefore = isBefore && actual.on(lines, line, i) == before.on(lines, line, i);
            isAfter = isAfter && actual.on(lines, line, i) == after.on(lines, line, i);
        }
        if (!isBefore)
            done += isAfter ? 1 : -1000;
    }
    return done;
}

template <class Handler>
int runAndCount(Handler handler)
{
    std::atomic<int> calls { 0 };
    handler.Run(kit::noCancel, [&] { ++calls; });
    return calls == handler.LineCount() ? calls.load() : -1;
}

template <class Accumulator>
int slide(const Accumulator &window, RGBA32iImage &image, const QRect &rect)
{
    return runAndCount(lines::LineHandler<Accumulator, HorizontalDirection>(window, image, rect))
        + runAndCount(lines::LineHandler<Accumulator, VerticalDirection>(window, image, rect));
}

} // namespace

/// What runs along lines, by itself and in passes over images.
class TestLinePasses : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void typesAndRadii()
    {
        const QList<int> types { OPRGBABlurAccumulator(1).Type(), OPRGBABlurAccumulatorPremul(1).Type(),
            OPAlphaBlurAccumulator(1).Type(), OPAlphaBlurAccumulatorWithInvert(1).Type(),
            OPAlphaBlurAccumulatorWithRGBColorize(1, OPRGBA32i()).Type(), OPGaussianAlpha1D(1).Type(),
            OPShiftEdge1D(1).Type(), OPSimpleSharpenKernel1D(1).Type() };
        QCOMPARE(types, (QList<int> { 1, 2, 3, 4, 5, 3, 2, 2 }));
        const OPAlphaBlurAccumulator widest(INT_MAX);
        QVERIFY(widest.GetRadius() == 4194303 && qint64(widest.Size()) * 255 <= INT_MAX);
        QVERIFY(OPRGBABlurAccumulatorPremul(-1).GetRadius() == 0 && OPShiftEdge1D(INT_MIN).Left() == 4194303);
    }

    void kernels()
    {
        // The center lower than, equal to and higher than either neighbour, at the ends and between.
        const QList<int> edges { 5, 10, 12, 3, 10, 10, 4, 15, 10, 12, 10, 10, 20, 0 }, peaks { 90, 0, 0, 10, 0, 0, 80 };
        QVERIFY(gives(OPShiftEdge1D(1), edges, { 10, 12, 12, 12, 10, 10, 15, 15, 15, 12, 12, 20, 20, 20 }));
        QVERIFY(gives(OPShiftEdge1D(3), peaks, { 90, 90, 90, 90, 80, 80, 80 }));
        QVERIFY(gives(OPShiftEdge1D(2), peaks, { 90, 90, 90, 10, 80, 80, 80 }));
        QVERIFY(gives(OPShiftEdge1D(INT_MAX), { 20, 10, 0 }, { 20, 20, 20 }));
        QVERIFY(gives(OPShiftEdge1D(0), edges, edges));
        // Beyond the ends there is nothing.
        QVERIFY(gives(OPShiftEdge1D(-1), edges, { 0, 5, 3, 3, 3, 4, 4, 4, 10, 10, 10, 10, 0, 0 }));
        QVERIFY(gives(OPShiftEdge1D(-2), { 9, 10, 10, 10, 8 }, { 0, 0, 8, 0, 0 }));
        QVERIFY(gives(OPShiftEdge1D(INT_MIN), { 10, 10, 10 }, { 0, 0, 0 }));

        // exp(-d * d / 2) over their sum 2.50595: 0.399050, 0.242036, 0.054006, 0.004433; times 255 plus a half.
        QVERIFY(gives(OPGaussianAlpha1D(1), { 0, 0, 0, 0, 255, 0, 0, 0, 0 }, { 0, 1, 14, 62, 102, 62, 14, 1, 0 }));
        // The ends repeat: 255 * (0.399050 + 0.300475) = 178.4 beside 255 * 0.300475 = 76.6.
        QVERIFY(gives(OPGaussianAlpha1D(1), { 255, 0 }, { 178, 77 }));
        QVERIFY(gives(OPGaussianAlpha1D(40), { 77, 77, 77 }, { 77, 77, 77 }));
        QVERIFY(gives(OPGaussianAlpha1D(notANumber), { 0, 255 }, { 0, 0 }));

        QVERIFY(gives(OPSimpleSharpenKernel1D(0), { 10, 20, 40 }, { 10, 20, 40 }, true));
        // (19850 - 3000 + 765) / 1785 = 9.8, (39700 - 5000 + 765) / 1785 = 19.8, (79400 - 6000 + 765) / 1785 = 41.5
        QVERIFY(gives(OPSimpleSharpenKernel1D(100), { 10, 20, 40 }, { 9, 19, 41 }, true));
        QVERIFY(gives(OPSimpleSharpenKernel1D(1000), { 0, 200, 0, 255, 0 }, { 0, 255, 0, 255, 0 }, true));
        // (15850 + 3000 + 765) / 1785 = 10.99, (31700 + 5000 + 765) / 1785 = 20.99, (63400 + 6765) / 1785 = 39.3
        QVERIFY(gives(OPSimpleSharpenKernel1D(-100), { 10, 20, 40 }, { 10, 20, 39 }, true));
        gives(OPSimpleSharpenKernel1D(INT_MIN), { 10, 20 }, { 0, 0 }, true); // wraps, defined
    }

    void gaussianWeights()
    {
        QVERIFY(KXGaussianBase::Reach(5.0) == 15 && KXGaussianBase::Reach(0.7) == 2); // 2.1
        for (const double sigma : { 0.0, 0.3, -4.0, notANumber, infinity, -infinity, 1e9, 1e300 })
            QCOMPARE(KXGaussianBase::Reach(sigma), 1);
        QVERIFY(KXGaussianBase::Reach(1398102.0) == 4194306 && KXGaussianBase::Reach(7e8) == 2100000000);
        QCOMPARE(OPGaussianAlpha1D(7e8).Left(), 4194303); // cut off

        KXGaussianKernel kernel;
        QVERIFY_EXCEPTION_THROWN(kernel.Init(4194304), std::length_error);
        kernel.Init(0);
        QCOMPARE(kernel.Weights(), std::vector<double>(1, 1.0));
        kernel.Init(3); // a sigma of 1
        QCOMPARE(kernel.Right(), 3u);
        QVERIFY(std::abs(kernel.Weights()[2] - 0.24203623) < 1e-8 && std::abs(kernel.Weights()[3] - 0.39905028) < 1e-8);
    }

    /// What the headers show.
    void examplesOfHeaders()
    {
        const Line line = lineOf({ 30, 0, 0, 60, 0, 0, 240 }, true);
#include "KXKernels-1.inc"
        QCOMPARE(means, lineOf({ 20, 10, 20, 20, 20, 80, 160 }, true));

#include "KXKernels-2.inc"
        const QList<int> alphas { 60, 60, 60, 240, 240 };
        for (int i = 0; i < alphas.size(); ++i)
            QCOMPARE(int(grown[size_t(i)].a), alphas[i]);

        const std::vector<double> values { 0, 0, 0, 0, 1, 0, 0, 0 };
        const int x = 4;
#include "KXGaussianBase-1.inc"
        QVERIFY(std::abs(blurred - 0.39905028) < 1e-8);

        RGBA32iImage image = Picture(40, 30, OPRGBA32i(0xFF404040u)).image(false);
#include "KXIterativeConvolution-1.inc"
        COMPARE_PICTURE(Picture::of(image), Picture(40, 30, OPRGBA32i(0xFF404040u)));
    }

    void shortTaps()
    {
        using namespace KXBlur;
        // 6538.04, 3965.52, 884.83, 72.63
        QCOMPARE(CreateGaussianKernel(1), (Taps { 73, 885, 3966, 6538, 3966, 885, 73 }));
        QCOMPARE(CreateGaussianKernel(0.1), (Taps { 0, 16384, 0 }));
        for (const double none : { 0.0, notANumber, infinity })
            QCOMPARE(CreateGaussianKernel(none), (Taps { 0, 0, 0 }));
        QCOMPARE(CreateGaussianKernel(1e9), (Taps { 5461, 5461, 5461 })); // a reach that does not fit counts as 1
        // All weights round to 0: 16384 / (13108 * sqrt(2 pi) * 0.9973) = 0.49999.
        QVERIFY(CreateGaussianKernel(13108) == Taps(78649) && CreateGaussianKernel(13107)[39321] == 1);
        QCOMPARE(CreateGaussianKernel(1398101).size(), size_t(8388607));
        for (const double tooWide : { 1398102.0, 7e8 })
            QCOMPARE(CreateGaussianKernel(tooWide), Taps(3));
        QCOMPARE(CreateSimpleBoxKernel(0), (Taps { 0, 16384, 0 }));
        QCOMPARE(CreateSimpleBoxKernel(100), (Taps { 2142, 12101, 2142 })); // 2141.7 and 12100.6
        QCOMPARE(CreateSimpleBoxKernel(255), (Taps { 5461, 5461, 5461 }));
        QCOMPARE(CreateSimpleSharpenKernel(1), (Taps { -63, 16513, -63 })); // -63.75 goes toward zero
        QCOMPARE(CreateSimpleSharpenKernel(100), (Taps { -6424, 29234, -6424 })); // -6424.6 and 29234.7
    }

    void records()
    {
        // First line, last line, first, last, read first, read last, of rows and of columns in an image of 40 by 30.
        const auto check = [](const QRect &rect, int radius, const QList<int> &rows, const QList<int> &columns) {
            const auto list = [](const OPImageUtils::LineRecord &r) {
                return QList<int> { r.firstLine, r.lastLine, r.first, r.last, r.readFirst, r.readLast };
            };
            const QImage image(40, 30, QImage::Format_ARGB32);
            const RGBA32iImage tiled(40, 30, true);
            QCOMPARE(list(OPImageUtils::HorizontalDirection<QImage>(image, rect, radius)), rows);
            QCOMPARE(list(OPImageUtils::VerticalDirection<QImage>(image, rect, radius)), columns);
            QCOMPARE(list(HorizontalDirection(tiled, rect, radius)), rows);
            QCOMPARE(list(VerticalDirection(tiled, rect, radius)), columns);
        };
        check({ 0, 0, 40, 30 }, 5, { 0, 29, 0, 39, 0, 39 }, { 0, 39, 0, 29, 0, 29 });
        check({ 10, 8, 4, 3 }, 2, { 8, 10, 10, 13, 7, 15 }, { 10, 13, 8, 10, 5, 12 }); // one more before the first
        check({ 10, 8, 1, 1 }, INT_MAX, { 8, 8, 10, 10, 0, 39 }, { 10, 10, 8, 8, 0, 29 });
    }

    void linesOfImages()
    {
        Picture picture = Picture::random(6, 5, 7);
        QImage qImage(reinterpret_cast<unsigned char *>(picture.pixels.data()), 6, 5, QImage::Format_ARGB32);
        RGBA32iImage flat = picture.image(false), tiled = picture.image(true);
        for (const QRect &whole : { KXBlurImageWrapper(qImage).GetRect(), KXBlurImageWrapperConst(qImage).GetRect(),
                 KXBlurImageWrapper(flat).GetRect(), KXBlurImageWrapperConst(tiled).GetRect() })
            QCOMPARE(whole, picture.rect());
        checkLines<OPImageUtils::HorizontalDirection<QImage>>(qImage, picture.pixels.data(), Qt::Horizontal);
        checkLines<OPImageUtils::VerticalDirection<QImage>>(qImage, picture.pixels.data(), Qt::Vertical);
        checkLines<VerticalDirection>(flat, flat.Bits(), Qt::Vertical);
        unsigned char raw[4] {};
        const VerticalDirection columns(tiled, tiled.Rect(), 0); // columns are those of flat images
        QVERIFY(!columns.Read(tiled, 0, 0, raw, 4) && !columns.Write(tiled, 0, 0, raw, 4));
    }

    /// Rows of 3 pixels that lie 100 apart: an image that has to be copied first packs them.
    void linesOfImagesWithWideRows()
    {
        const std::vector<OPRGBA32i> memory(1000, OPRGBA32i(7u));
        const auto *const bytes = reinterpret_cast<const unsigned char *>(memory.data());
        const OPRGBA32i written[] = { OPRGBA32i(1u), OPRGBA32i(2u), OPRGBA32i(3u) };
        const auto *const raw = reinterpret_cast<const unsigned char *>(written);
        for (const bool shared : { false, true }) {
            QImage rows(bytes, 3, 10, 400, QImage::Format_ARGB32), columns(bytes, 3, 10, 400, QImage::Format_ARGB32);
            const QImage others[] = { shared ? rows : QImage(), shared ? columns : QImage() };
            QVERIFY(OPImageUtils::HorizontalDirection<QImage>(rows, rows.rect(), 0).Write(rows, 9, 1, raw, 4));
            QVERIFY(OPImageUtils::VerticalDirection<QImage>(columns, rows.rect(), 0).Write(columns, 1, 6, raw, 12));
            for (int y = 0; y < 10; ++y)
                for (int x = 0; x < 3; ++x) {
                    QCOMPARE(unsigned(rows.pixel(x, y)), x == 1 && y == 9 ? 1u : 7u);
                    QCOMPARE(unsigned(columns.pixel(x, y)), x == 1 && y >= 6 && y < 9 ? unsigned(y - 5) : 7u);
                }
        }
        QCOMPARE(memory, std::vector<OPRGBA32i>(1000, OPRGBA32i(7u)));
    }

    /// A convolution has a worker for each processor; other passes have one fewer, and of two processors none.
    void workersOfPasses()
    {
        RGBA32iImage image(300, 9, false);
        const Taps taps { 1, 2, 1 };
        const OPRGBABlurAccumulator window(1);
        for (const int n : { 1, 2, 4 }) {
            const kit::Processors processors(n);
            count(KXIterativeConvolutionFast1D<RGBA32iImage, HorizontalDirection>(taps, image, QRect()), n);
            count(KXIterativeConvolutionFast1D<RGBA32iImage, VerticalDirection>(taps, image, QRect()), n);
            count(lines::LineHandler<OPRGBABlurAccumulator, HorizontalDirection>(window, image, QRect()), n - (n > 1));
            count(lines::LineHandler<OPRGBABlurAccumulator, VerticalDirection>(window, image, QRect()), n - (n > 1));
        }
    }

    /// However a pair of passes ends, lines are finished or left alone, and as many are finished as are reported.
    void endsBetweenLines()
    {
        for (const int n : { 1, 2, 4 }) {
            const kit::Processors processors(n);
            for (const QSize size : { QSize(1, 1), QSize(1, 40), QSize(31, 2), QSize(150, 7), QSize(70, 70) })
                for (const bool premultiply : { false, true })
                    stopPasses(QRect(QPoint(3, 2), size), premultiply);
        }
    }

    /// Rows, then columns. Windows see the image around the rectangle.
    void filtersLines()
    {
        filterLines(Picture::random(45, 37, 11), QRect());
        filterLines(Picture::random(50, 40, 12), QRect(20, 12, 9, 8));
        filterLines(Picture::random(40, 40, 13), QRect(-5, 30, 200, 200));
        for (int side = 1; side <= 13; ++side)
            filterLines(Picture::random(side, 14 - side, unsigned(side)), QRect());
        filterLines(Picture::random(9, 9, 16), QRect(9, 0, 5, 5)); // outside
        filterLines(Picture::random(150, 160, 17), QRect(7, 3, 139, 150)); // several blocks of columns and rows
    }

    void tiledImages()
    {
        const Picture picture = Picture::random(300, 260, 31);
        const QRect rect(100, 100, 150, 90);
        RGBA32iImage image = picture.image(true);
        const RGBA32iImage before = image;
        QCOMPARE(slide(OPRGBABlurAccumulatorPremul(9), image, rect), 240); // columns are counted, but stay
        Picture expected = picture;
        kit::premultipliedMean(expected, rect, Qt::Horizontal, 9);
        COMPARE_PICTURE(Picture::of(image), expected);
        COMPARE_PICTURE(Picture::of(before), picture); // shared tiles were copied
        QCOMPARE(image.TileData(6), before.TileData(6)); // below the rectangle they are still shared

        // A null tile reads as empty, not as what a worker read before, and stays null.
        RGBA32iImage holed = Picture(300, 130, OPRGBA32i(0xFFFFFFFFu)).image(true);
        holed.ReleaseTile(4);
        slide(OPRGBABlurAccumulatorPremul(1), holed, QRect());
        QVERIFY(!holed.TileData(4));
        for (int y = 0; y < 2; ++y) {
            QCOMPARE(holed.TileData(3)[y * 128 + 127], OPRGBA32i(255, 255, 255, 170));
            QCOMPARE(holed.TileData(5)[y * 128], OPRGBA32i(255, 255, 255, 170));
        }

        // A flat window stands for fake tiles: what it shows is filtered and kept.
        RGBA32iImage windowed(300, 260, true);
        Picture content = Picture::random(200, 200, 33);
        const QSharedPointer<OPRGBA32i> pixels(content.pixels.data(), [](OPRGBA32i *) {}); // content owns them
        windowed.SetFlatWindow(pixels, content.rect(), QPoint(), QPoint(50, 30));
        Picture blurred = Picture::of(windowed);
        QCOMPARE(blurred.at(50, 30), content.pixels[0]);
        slide(OPRGBABlurAccumulatorPremul(4), windowed, QRect());
        kit::premultipliedMean(blurred, blurred.rect(), Qt::Horizontal, 4);
        COMPARE_PICTURE(Picture::of(windowed), blurred);
    }

    /// Also when every worker throws at its first line, and shared tiles are left alone.
    void straightAfterExceptions()
    {
        const OPRGBA32i before(100, 100, 100, 100);
        RGBA32iImage image(500, 500, true);
        image.Fill(before);
        const RGBA32iImage copy = image;
        Convolution identity({ 0, 16384, 0 }, image, QRect());
        identity.SetPremultiply(true);
        QVERIFY_EXCEPTION_THROWN(
            identity.Run(kit::noCancel, [] { throw std::runtime_error("no more"); }), std::exception);
        const Picture expected(
            500, 500, OPRGBA32i(99, 99, 99, 100)); // (10000 + 127) / 255 = 39, (9945 + 50) / 100 = 99
        COMPARE_PICTURE(Picture::of(image), expected);
        COMPARE_PICTURE(Picture::of(copy), Picture(500, 500, before));
        image.Fill(before); // one pass alone does the same
        KXIterativeConvolutionFast1D<RGBA32iImage, HorizontalDirection> rows({ 0, 16384, 0 }, image, QRect());
        rows.SetPremultiply(true);
        rows.Run(kit::noCancel, nullptr);
        COMPARE_PICTURE(Picture::of(image), expected);
    }

private:
    /// Ends each worker with its first line, and counts them. A single one is the caller, from whom what was thrown
    /// comes as it is.
    template <class Pass>
    void count(Pass pass, int expected)
    {
        std::atomic<int> lines { 0 };
        const auto end = [&lines] { throw std::runtime_error(std::to_string(++lines)); };
        if (expected == 1)
            QVERIFY_EXCEPTION_THROWN(pass.Run(kit::noCancel, end), std::runtime_error);
        else
            QVERIFY_EXCEPTION_THROWN(pass.Run(kit::noCancel, end), QUnhandledException);
        QCOMPARE(int(lines), expected);
    }

    /// Stops a pair of passes, with or without premultiplication around it.
    void stopPasses(const QRect &rect, bool premultiply)
    {
        const Taps taps { 3000, 8000, 3000 }; // changes every line
        Picture none = Picture::random(rect.width() + 9, rect.height() + 6, 48);
        for (OPRGBA32i &pixel : none.pixels)
            pixel.a |= 0x80;
        const RGBA32iImage picture = none.image(false);
        // A single processor does not premultiply.
        const QRect premultiplied = premultiply && workers::hardware() > 1 ? rect : QRect();
        kit::premultiply(none, premultiplied);
        Picture rows = none; // all rows are convolved, then all columns, too
        kit::convolve(rows, rect, Qt::Horizontal, taps);
        Picture all = rows;
        kit::convolve(all, rect, Qt::Vertical, taps);
        for (Picture *p : { &none, &rows, &all })
            kit::unpremultiply(*p, premultiplied);

        const int rowCount = rect.height(), lineCount = rowCount + rect.width();
        for (const int stopAfter :
            { 0, 1, 5, rowCount - 1, rowCount, rowCount + 1, rowCount + 40, lineCount - 1, lineCount, INT_MAX })
            for (const bool throws : { false, true }) {
                RGBA32iImage image;
                picture.CopyTo(image, false);
                Convolution passes(taps, image, rect);
                passes.SetPremultiply(premultiply);
                std::atomic<bool> cancel { stopAfter == 0 };
                std::atomic<int> steps { 0 };
                const QString thrown = kit::thrown<std::exception>([&] {
                    passes.Run(cancel, [&] {
                        if (++steps != stopAfter)
                            return;
                        if (throws)
                            throw std::runtime_error("no more");
                        cancel = true;
                    });
                });
                const int least = std::min(stopAfter, lineCount);
                QCOMPARE(thrown, throws && least == stopAfter && least > 0 ? "no more" : QString());
                if (throws && least > 0 && workers::hardware() > 1) // the other workers finish the pass
                    QCOMPARE(steps.load(), least <= rowCount ? rowCount : lineCount);
                else // after a cancel they finish the line that they are at
                    QVERIFY(workers::hardware() == 1 ? steps == least : steps >= least);
                const int done = steps < rowCount ? doneLines(image, none, rows, Qt::Horizontal)
                                                  : rowCount + doneLines(image, rows, all, Qt::Vertical);
                QCOMPARE(done, steps.load());
            }
    }

    void filterLines(const Picture &picture, const QRect &rect)
    {
        const QRect area = rect.isValid() ? rect & picture.rect() : picture.rect();
        for (const int radius : { 0, 3, 50, 255, 256 }) {
            const auto check = [&](const auto &window, auto formula) {
                RGBA32iImage image = picture.image(false);
                Picture expected = picture;
                QCOMPARE(slide(window, image, rect), area.width() + area.height());
                for (const auto lines : { Qt::Horizontal, Qt::Vertical })
                    formula(expected, lines);
                COMPARE_PICTURE(Picture::of(image), expected);
            };
            const auto checkBytes = [&](const auto &window, auto byte) {
                check(window, [&](Picture &expected, Qt::Orientation lines) {
                    kit::alongLines(expected, area, picture.rect(), lines, [&](auto at) {
                        const auto means = kit::means(at, radius, false);
                        return kit::pixelOf([&](int c) { return byte(means, size_t(c)); });
                    });
                });
            };
            checkBytes(OPRGBABlurAccumulator(radius), [](auto means, size_t c) { return means[c]; });
            checkBytes(Inverted(radius), [](auto means, size_t c) { return 255 - means[c]; });
            checkBytes(OPAlphaBlurAccumulator(radius), [](auto means, size_t c) { return c == 3 ? means[3] : 0; });
            checkBytes(OPAlphaBlurAccumulatorWithInvert(radius),
                [](auto means, size_t c) { return c == 3 ? 255 - means[3] : 0; });
            checkBytes(OPAlphaBlurAccumulatorWithRGBColorize(radius, OPRGBA32i(7, 8, 9, 255)),
                [](auto means, size_t c) { return c == 3 ? means[3] : 7 + int(c); });
            check(OPRGBABlurAccumulatorPremul(radius),
                [&](Picture &p, Qt::Orientation lines) { kit::premultipliedMean(p, area, lines, radius); });
        }
    }
};

KXCORE_TEST_MAIN(TestLinePasses)
#include "tst_linepasses.moc"
