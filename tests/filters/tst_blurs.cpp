#include "KXBlur.h"
#include "KXComposer.h"
#include "KXIterativeConvolution.h"
#include "OPAddNoiseProcessing.h"
#include "OPBoxBlurProcessing.h"
#include "OPDiffuseGlowProcessing.h"
#include "OPDropShadowProcessing.h"
#include "OPGaussianBlurProcessing.h"
#include "OPHighPassProcessing.h"
#include "OPInnerShadowProcessing.h"
#include "OPSharpenProcessing.h"
#include "OPSmoothenProcessing.h"
#include "OPVignetteProcessing.h"

#include "filters/ParamsStream.h"
#include "kit/Images.h"
#include "kit/Test.h"
#include "lines/LineHandlers.h"

using kit::Picture;
using Gaussian = OPGaussianBlurProcessing;
using Box = OPBoxBlurProcessing;
using Sharpen = OPSharpenProcessing;
using Smoothen = OPSmoothenProcessing;

namespace {

/// The type of what a filter's run takes.
template <class Filter, class Data>
Data argumentOf(RGBA32iImage (Filter::*run)(Data));
template <class Processing>
using DataOf = decltype(argumentOf(&Processing::run));

void set(Gaussian::Params &params, double strength) { params.sigma = strength; }
void set(Box::Params &params, double strength) { params.radius = int(strength); }
template <class Params>
void set(Params &params, double strength)
{
    params.amount = int(strength);
}

/// What a filter reports.
struct Report {
    QList<int> ranges;
    std::atomic<int> steps { 0 }; ///< the sum of what each step told

    void on(OPAdjustmentProcessing &processing)
    {
        QObject::connect(&processing, &OPAdjustmentProcessing::RangeChanged,
            [this](int minimum, int maximum) { ranges << minimum << maximum << steps; });
        QObject::connect(&processing, &OPAdjustmentProcessing::ProgressChanged, [this](int value) { steps += value; });
    }
};

template <class Processing>
RGBA32iImage blurred(const KXFilterData &head, double strength, Report *report = nullptr)
{
    Processing processing(kit::noCancel);
    if (report)
        report->on(processing);
    DataOf<Processing> data;
    static_cast<KXFilterData &>(data) = head;
    set(data.params, strength);
    return processing.run(data);
}

/// The passes of a filter over what is selected of @p image, as the library has them. Returns how many lines they have.
int runPasses(const std::vector<short> &kernel, RGBA32iImage &image, const QRect &selected)
{
    const int reach = selected.isEmpty() ? 0 : int(kernel.size() / 2);
    KXIterativeConvolutionFast2D<RGBA32iImage> passes(kernel, image, selected.adjusted(-reach, -reach, reach, reach));
    passes.SetPremultiply(true);
    passes.Run(kit::noCancel, {});
    return passes.LineCount();
}

int runPasses(const Gaussian::Params &params, RGBA32iImage &image, const QRect &selected)
{
    return runPasses(KXBlur::CreateGaussianKernel(params.sigma), image, selected);
}

int runPasses(const Smoothen::Params &params, RGBA32iImage &image, const QRect &selected)
{
    return runPasses(KXBlur::CreateSimpleBoxKernel(params.amount), image, selected);
}

int runPasses(const Sharpen::Params &params, RGBA32iImage &image, const QRect &selected)
{
    const QRect grown = selected.isEmpty() ? selected : selected.adjusted(-1, -1, 1, 1);
    const lines::LineHandlerConvolution2D<OPSimpleSharpenKernel1D> passes(
        OPSimpleSharpenKernel1D(params.amount), image, grown);
    passes.Run(kit::noCancel, {});
    return passes.LineCount();
}

int runPasses(const Box::Params &params, RGBA32iImage &image, const QRect &selected)
{
    using Window = OPRGBABlurAccumulatorPremul;
    const Window window(params.radius);
    lines::LineHandler<Window, lines::HorizontalDirection> rows(window, image, selected);
    lines::LineHandler<Window, lines::VerticalDirection> columns(window, image, selected);
    rows.Run(kit::noCancel, {});
    columns.Run(kit::noCancel, {});
    return rows.LineCount() + columns.LineCount();
}

struct Pair {
    int first;
    double second;
};

struct Selected {
    QSize size; // of the image; the selection's is 60 by 50
    QRect rect;
    QPoint offset;
    QRect merged; // what of the image is touched
    QPoint from; // the selection's pixel that lies on its top left corner
};

struct Growth {
    QRect region, selectionRect;
    QPoint offset;
    QRect grown; // from an image of 30 by 20
};

} // namespace

class TestBlurs : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    void signalsAndProgress()
    {
        struct Open : OPAdjustmentProcessing {
            using OPAdjustmentProcessing::SetRange;
        } frame;
        QCOMPARE(Gaussian(kit::noCancel).metaObject(), &OPAdjustmentProcessing::staticMetaObject);

        Report report;
        report.on(frame);
        frame.IncrementProgress();
        frame.SetProgress(41);
        frame.SetRange(7); // leaves the progress where it is
        frame.IncrementProgress();
        QVERIFY(report.steps == 1 + 41 + 42 && report.ranges == QList<int>({ 0, 7, 42 }));
    }

    void blurs()
    {
        const Selected cases[] = {
            { { 47, 39 }, {}, {}, {}, {} }, // the whole image
            { { 20, 20 }, {}, { 5, 5 }, {}, {} }, // an offset without a rectangle
            { { 6, 5 }, {}, {}, {}, {} }, // further than the image
            { { 40, 1 }, {}, {}, {}, {} },
            { { 1, 40 }, {}, {}, {}, {} },
            { { 0, 0 }, {}, {}, {}, {} },
            { { 0, 0 }, { 0, 0, 9, 9 }, {}, {}, {} },
            { { 70, 60 }, { 10, 9, 20, 15 }, { 7, 11 }, { 17, 20, 20, 15 }, { 10, 9 } },
            { { 70, 60 }, { 0, 0, 20, 15 }, { -6, 0 }, { 0, 0, 14, 15 }, { 6, 0 } }, // over the left edge
            // Moved up and left, the selection's own rectangle is moved by as much, whatever was cut off.
            { { 70, 60 }, { 10, 9, 20, 15 }, { -3, -4 }, { 7, 5, 20, 15 }, { 13, 13 } },
            { { 40, 60 }, { 30, 9, 20, 15 }, {}, { 30, 9, 10, 15 }, { 30, 9 } }, // over the right edge
            { { 90, 90 }, { 50, 40, 30, 30 }, {}, { 50, 40, 10, 10 }, { 50, 40 } }, // larger than its image
            { { 30, 30 }, { 40, 0, 9, 9 }, {}, {}, {} }, // outside
            { { 30, 30 }, { 1, 1, 9, 9 }, { INT_MAX, INT_MIN }, {}, {} },
        };
        for (const Selected &each : cases) {
            KXFilterData data;
            data.image = Picture::random(each.size.width(), each.size.height(), 41).image(false);
            data.selection = Picture::random(60, 50, 42).image(false);
            data.selectionRect = each.rect;
            data.selectionOffset = each.offset;
            checkBlur<Gaussian>(data, 2, each.merged, each.from);
            checkBlur<Box>(data, 7, each.merged, each.from);
            checkBlur<Sharpen>(data, 300, each.merged, each.from);
            checkBlur<Smoothen>(data, 200, each.merged, each.from);
        }
    }

    /// Greys and alphas along rows or columns, and what becomes of them.
    void threeTaps()
    {
        struct Case {
            bool sharpens;
            int amount;
            QByteArray greys, alphas, expectedGreys, expectedAlphas;
        };
        const Case cases[] = {
            // (90 * (2 * 357 + 1785) - (90 + 110) * 357 + 765) / 1785 = 86.4; alpha is sharpened too, and clamped
            { true, 357, "5A5A6E6E", "FFFFFFFF", "5A56726E", "FFFFFFFF" },
            { true, 357, "00FFFF00", "6E6E5A5A", "00FFFF00", "6E72565A" },
            { true, -357, "5A5A6E6E", "FFFFFFFF", "5A5E6A6E", "FFFFFFFF" }, // 94.4, 106.4
            { true, 0, "01FF0203", "00800102", "01FF0203", "00800102" },
            // Taps of 5461 / 16384: thirds. What is transparent has no colour, and gets that of its neighbour.
            { false, 255, "0000FFFF", "FFFFFFFF", "0055AAFF", "FFFFFFFF" },
            { false, 255, "9090FFFF", "FFFF0000", "90909000", "FFAA5500" },
            { false, 0, "0102FFFE", "FFFFFFFF", "0102FFFE", "FFFFFFFF" },
        };
        constexpr int length = 4;
        const auto pixel = [](const QByteArray &greys, const QByteArray &alphas, int i) {
            const auto byte = [i](const QByteArray &digits) { return digits.mid(2 * i, 2).toUInt(nullptr, 16); };
            return OPRGBA32i(byte(alphas) << 24 | byte(greys) * 0x010101u);
        };
        for (const Case &each : cases)
            for (const Qt::Orientation along : { Qt::Horizontal, Qt::Vertical }) {
                Picture picture(length + 1, length + 1); // the last row of a smoothened one is not premultiplied
                for (int line = 0; line <= length; ++line)
                    for (int i = 0; i <= length; ++i)
                        picture.on(along, line, i) = pixel(each.greys, each.alphas, std::min(i, length - 1));
                KXFilterData data;
                data.image = picture.image(false);
                Picture result = Picture::of(
                    each.sharpens ? blurred<Sharpen>(data, each.amount) : blurred<Smoothen>(data, each.amount));
                for (int i = 0; i < length; ++i)
                    QCOMPARE(result.on(along, 1, i), pixel(each.expectedGreys, each.expectedAlphas, i));
            }
    }

    /// A window far wider than the image holds its edges almost alone; a Gaussian as wide clears it.
    void farTooWide()
    {
        Picture edges(3, 1, OPRGBA32i(0xFF000000u));
        edges.at(2, 0) = OPRGBA32i(0xFFFFFFFFu);
        KXFilterData data;
        data.image = edges.image(false);
        for (const int radius : { 1, 300, 8191, 8192, INT_MAX }) { // 255 * r / (2 * r + 1): 85 or 127
            data.image = edges.image(false);
            QCOMPARE(Picture::of(blurred<Box>(data, radius)).at(1, 0).word, radius == 1 ? 0xFF555555u : 0xFF7F7F7Fu);
        }
        COMPARE_PICTURE(Picture::of(blurred<Gaussian>(data, 1e7)), Picture(3, 1));

        Gaussian::BlurDataEx grown; // reaches three times as far, whatever the length of its kernel
        grown.image = Picture::random(20, 10, 45).image(false);
        grown.selection = Picture(9, 9, OPRGBA32i(0xFFFFFFFFu)).image(false);
        grown.selectionRect = QRect(0, 0, 9, 9);
        grown.params.sigma = 1e7;
        Report report;
        blurred<Gaussian>(grown, 1e7, &report);
        QCOMPARE(report.ranges, QList<int>({ 0, 20 + 10 + 9, 0 }));
        grown.selectionRect = QRect();
        grown.region = QRect(-30, -2, 70, 500);
        const KXFilterResult result = Gaussian(kit::noCancel).runEx(grown);
        COMPARE_PICTURE(Picture::of(result.image), Picture(70, 500));
        QCOMPARE(result.origin, QPoint(-30, -2));
    }

    /// With a selection a filter works on a part of the layer; against its passes over a copy of all of it.
    void seesWhatIsAroundTheSelection()
    {
        QRandomGenerator random = kit::random(52);
        for (int i = 0; i < 400; ++i) {
            checkSurroundings<Gaussian>(random, random.bounded(6.0));
            checkSurroundings<Box>(random, random.bounded(30));
            checkSurroundings<Sharpen>(random, random.bounded(-500, 500));
            checkSurroundings<Smoothen>(random, random.bounded(400));
        }
    }

    void grows()
    {
        const QRect full(0, 0, 30, 20), wide(-100, -100, 300, 300);
        const Growth cases[] = {
            { full, {}, {}, full }, // the region is the layer
            { wide, {}, {}, { -4, -4, 38, 28 } },
            { { -100, 5, 40, 5 }, {}, {}, { -4, 0, 34, 20 } }, // room on the left only
            { { -1, -2, 33, 30 }, {}, {}, { -1, -2, 33, 26 } }, // some room
            { {}, {}, {}, full },
            { wide, { 0, 0, 20, 20 }, { -2, -9 }, { -2, -4, 32, 24 } }, // cut by the selection
            { { -100, -100, 90, 90 }, { 0, 0, 20, 20 }, {}, full }, // a selection elsewhere
            { { { INT_MIN, INT_MIN }, QPoint(INT_MAX, INT_MAX) }, {}, {}, { -4, -4, 38, 28 } },
        };
        for (const Growth &each : cases) {
            checkGrowth<Gaussian>(each, 1.4); // reaches 4.2, the box 4
            checkGrowth<Box>(each, 4);
        }

        Box::BlurDataEx thin; // without area, and what it may grow into is apart from it
        thin.image = RGBA32iImage(1, 0, false);
        thin.region = QRect(5, 5, 9, 9);
        thin.params.radius = 0;
        const KXFilterResult result = Box(kit::noCancel).runEx(thin);
        QVERIFY(result.image.Rect() == QRect(0, 0, 1, 0) && result.origin == QPoint());
    }

    /// The digits of the defaults, and of fields that all differ.
    void paramStreams()
    {
        checkStream(Gaussian::Params { 1.5 }, "KXGaussianBlur", "4014000000000000", "3FF8000000000000",
            { "OPGaussianBlurProcessing", 199, 185, "gaussian blur" });
        checkStream(Box::Params { 0x01020304 }, "KXBoxBlur", "00000005", "01020304",
            { "OPBoxBlurProcessing", 196, 182, "box blur" });
        checkStream(Sharpen::Params { 0x01020304 }, "KXSharpen", "0000000A", "01020304",
            { "OPSharpenProcessing", 168, 154, "sharpen" });
        checkStream(Smoothen::Params { 0x01020304 }, "KXSmoothen", "0000000A", "01020304",
            { "OPSmoothenProcessing", 168, 154, "smoothen" });
        checkStream(OPHighPassProcessing::Params { 1.5, 2, 0x01020304 }, "KXHighPass",
            "4024000000000000 00000001 00000064", "3FF8000000000000 00000002 01020304",
            { "OPHighPassProcessing", 268, 254, "high pass" });
        checkStream(OPAddNoiseProcessing::Params { 7, 0x01020304, false }, "KXAddNoise", "00000032 00000000 00000001",
            "00000007 01020304 00000000", { "OPAddNoiseProcessing", 292, 278, "add noise" });
        checkStream(OPDiffuseGlowProcessing::Params { 1, 2, 3, QColor(16, 32, 48, 64), 4 }, "KXDiffuseGlow",
            "00000064 00000005 00000080 01FFFFFFFFFFFFFFFF0000 00000000",
            "00000001 00000002 00000003 0140401010202030300000 00000004",
            { "OPDiffuseGlowProcessing", 297, 283, "diffuse glow" });
        using Vignette = OPVignetteProcessing::Params;
        checkStream(Vignette { 1, 2, QColor(16, 32, 48, 64), 3 }, "KXVignette",
            "00000001 00000064 00000001 01FFFF0000000000000000", "00000001 00000002 00000003 0140401010202030300000",
            { "OPVignetteProcessing", 506, 492, "vignette" });
        const KXShadowParams shadow { 1, QColor(16, 32, 48, 64), 2, 3, 4, 0x01020304, 5 };
        const char *const shadows = "00000087 01FFFF0000000000000000 0000004B 00000019 00000000 00000014 00000000";
        const char *const digits = "00000001 0140401010202030300000 00000002 00000003 00000004 01020304 00000005";
        checkStream(OPDropShadowProcessing::Params { shadow }, "KXDropShadow", shadows, digits,
            { "OPDropShadowProcessing", 202, 188, "drop shadow" });
        checkStream(OPInnerShadowProcessing::Params { shadow }, "KXInnerShadow", shadows, digits,
            { "OPInnerShadowProcessing", 202, 188, "inner shadow" });

        OPAddNoiseProcessing::Params noise { 0, 0, false };
        QDataStream anyTruth("KXAddNoise 1.00000" + QByteArray::fromHex("0000000100000002FFFFFF00"));
        QVERIFY(noise.Read(anyTruth) && noise.amount == 1 && noise.distribution == 2 && noise.keepAlpha);
        Vignette vignette;
        vignette.color = Qt::red;
        QDataStream withoutColor("KXVignette 1.00000" + QByteArray::fromHex("000000050000000600000007"));
        QVERIFY(vignette.Read(withoutColor) && vignette.falloff == 5 && vignette.amount == 6 && vignette.shape == 7);
        QVERIFY(vignette.color == Qt::black && withoutColor.device()->atEnd());

        // The order and the precision are the stream's own. The second field is cut off.
        const filters::ParamsStream stream("Pair", "pair", { "pair", 2, 1 }, &Pair::first, &Pair::second);
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        QVERIFY(stream.Write(out, { 7, 0.5 }));
        out.setByteOrder(QDataStream::LittleEndian);
        out.setFloatingPointPrecision(QDataStream::SinglePrecision);
        QVERIFY(stream.Write(out, { 7, 0.5 }));
        QCOMPARE(bytes,
            "Pair" + QByteArray::fromHex("000000073FE0000000000000") + "Pair"
                + QByteArray::fromHex("070000000000003F"));
        Pair read { 1, 1 };
        QDataStream cut(bytes.left(15));
        QVERIFY(!stream.Read(cut, read) && read.first == 7 && read.second == 0);
        QDataStream other("Pear" + bytes); // nothing is read behind another signature
        QVERIFY(!stream.Read(other, read) && other.status() == QDataStream::Ok && other.device()->pos() == 4);
    }

private:
    /// Against the passes over a copy of all of the layer; with a selection merged into @p to of the layer, where the
    /// selection's pixel @p from lies on the top left corner.
    template <class Processing>
    void checkBlur(const KXFilterData &data, double strength, const QRect &to, const QPoint &from)
    {
        const auto near = [](int distance) { return qBound(-1000, distance, 1000); };
        RGBA32iImage work;
        data.image.CopyTo(work, false);
        typename Processing::Params params;
        set(params, strength);
        const int lineCount =
            runPasses(params, work,
                data.selectionRect.translated(near(data.selectionOffset.x()), near(data.selectionOffset.y())))
            + qMax(to.height(), 0);
        const Picture filtered = Picture::of(work), old = Picture::of(data.image), mask = Picture::of(data.selection);
        Picture expected = old; // a tile takes over what a window showed in its place
        for (int y = 0; y < to.height(); ++y)
            for (int x = 0; x < to.width(); ++x) {
                const QPoint p = to.topLeft() + QPoint(x, y);
                if (work.IsTiled() && !data.image.TileData(p.y() / 128 * work.TilesX() + p.x() / 128))
                    continue;
                const int m = mask.at(from.x() + x, from.y() + y).a;
                const OPRGBA32i f = filtered.at(p.x(), p.y()), u = old.at(p.x(), p.y());
                expected.at(p.x(), p.y()) = kit::pixelOf(
                    [&](int c) { return (kit::channel(f, c) * m + kit::channel(u, c) * (255 - m)) / 255; });
            }
        Report report;
        const RGBA32iImage result = blurred<Processing>(data, strength, &report);
        VERIFY_SAME_AT(kit::difference(Picture::of(result), data.selectionRect.isEmpty() ? filtered : expected),
            QString("width %1, selected from %2, %3").arg(work.Width()).arg(to.x()).arg(to.y()));
        QVERIFY(result.IsTiled() || result.Bits() == data.image.Bits()); // it is the caller's buffer that was written
        QCOMPARE(report.ranges, QList<int>({ 0, lineCount, 0 }));
        QCOMPARE(report.steps.load(), lineCount * (lineCount + 1) / 2);
    }

    template <class Processing>
    void checkSurroundings(QRandomGenerator &random, double strength)
    {
        const auto anySize = [&random] { return QSize(random.bounded(300), random.bounded(300)); };
        const auto anyPoint = [&random](int limit) {
            return QPoint(random.bounded(-limit, limit), random.bounded(-limit, limit));
        };
        const bool tiled = random.bounded(2);
        KXFilterData data;
        data.image = kit::patchy(random, anySize(), tiled);
        data.selection = kit::patchy(random, anySize(), random.bounded(2));
        const int side = random.bounded(2) ? 20 : 300;
        data.selectionRect = QRect(anyPoint(300), QSize(random.bounded(1, side), random.bounded(1, side)));
        data.selectionOffset = anyPoint(random.bounded(2) ? 20 : 300);
        if (tiled && random.bounded(2))
            kit::addWindow(random, data.image, QRect(0, 0, 250, 250));

        const QRect to = data.selectionRect.translated(data.selectionOffset) & data.image.Rect();
        const QPoint over(qMax(-data.selectionOffset.x(), 0), qMax(-data.selectionOffset.y(), 0));
        const QRect from = data.selectionRect.translated(over) & data.selection.Rect();
        checkBlur<Processing>(data, strength, QRect(to.topLeft(), to.size().boundedTo(from.size())), from.topLeft());
    }

    /// Against the plain run on a canvas grown by hand.
    template <class Processing>
    void checkGrowth(const Growth &a, double strength)
    {
        const Picture picture = Picture::random(30, 20, 48);
        Picture canvas(a.grown.width(), a.grown.height());
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 30; ++x)
                canvas.at(x - a.grown.x(), y - a.grown.y()) = picture.at(x, y);
        typename Processing::BlurDataEx data;
        data.image = picture.image(a.grown != picture.rect()); // once grown, a tiled layer is flat
        data.selection = Picture::random(60, 60, 49).image(false);
        data.selectionRect = a.selectionRect;
        data.selectionOffset = a.offset;
        data.region = a.region;
        data.origin = QPoint(1000, -1000);
        set(data.params, strength);
        KXFilterData byHand = data;
        byHand.image = canvas.image(false);
        byHand.selectionOffset = a.offset - a.grown.topLeft();
        const KXFilterResult result = Processing(kit::noCancel).runEx(data);
        COMPARE_PICTURE(Picture::of(result.image), Picture::of(blurred<Processing>(byHand, strength)));
        QVERIFY(result.origin == QPoint(1000, -1000) + a.grown.topLeft() && !result.image.IsTiled());
    }

    struct Messages {
        const char *source;
        int readLine, writeLine;
        const char *name;
    };

    /// The digits of the defaults and of @p params, and what is logged where nothing can be read or written.
    template <class Params>
    void checkStream(
        Params params, const QByteArray &name, const char *defaults, const char *digits, const Messages &messages)
    {
        const QByteArray signature = name + (name == "KXVignette" ? " 1.00001" : " 1.00000");
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        QVERIFY(&(out << Params() << params) == &out);
        QCOMPARE(bytes, signature + QByteArray::fromHex(defaults) + signature + QByteArray::fromHex(digits));

        QBuffer closed;
        closed.open(QIODevice::ReadOnly); // takes nothing
        QDataStream refused(&closed);
        QVERIFY(!params.Write(refused) && !params.Read(refused));
        for (const auto &[line, verb] : { std::pair(messages.readLine, "Read"), { messages.writeLine, "Write" } })
            QTest::ignoreMessage(QtDebugMsg, // and wait for it
                qPrintable(QString("[src\\filters\\%1:%2] %3 %4 data error.")
                               .arg(messages.source)
                               .arg(line)
                               .arg(verb, messages.name)));
        refused << params >> params;
    }
};

KXCORE_TEST_MAIN(TestBlurs)
#include "tst_blurs.moc"
