#include "KXCore.h"

#include "kit/Filters.h"
#include "kit/Images.h"
#include "lines/LineHandlers.h"

using kit::Picture;
using Gaussian = OPGaussianBlurProcessing;
using Box = OPBoxBlurProcessing;
using Sharpen = OPSharpenProcessing;
using Smoothen = OPSmoothenProcessing;

namespace {

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

        QList<int> told;
        connect(&frame, &Open::RangeChanged, [&](int minimum, int maximum) { told << minimum << maximum; });
        connect(&frame, &Open::ProgressChanged, [&](int value) { told << value; });
        frame.IncrementProgress();
        frame.SetProgress(41);
        frame.SetRange(7); // leaves the progress where it is
        frame.IncrementProgress();
        QCOMPARE(told, QList<int>({ 1, 41, 0, 7, 42 }));
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
            const auto [to, from] = kit::mergeOf(data);
            QVERIFY(to == each.merged && (to.isEmpty() || from == each.from));
            checkBlur<Gaussian>(data, { 2 });
            checkBlur<Box>(data, { 7 });
            checkBlur<Sharpen>(data, { 300 });
            checkBlur<Smoothen>(data, { 200 });
        }
    }

    /// A window far wider than the image holds its edges almost alone; a Gaussian as wide clears it.
    void farTooWide()
    {
        Picture edges(3, 1, OPRGBA32i(0xFF000000u));
        edges.at(2, 0) = OPRGBA32i(0xFFFFFFFFu);
        const auto blurred = [&](int radius) {
            return Picture::of(kit::filtered<Box>(kit::onLayer(edges), { radius }));
        };
        QCOMPARE(blurred(1).at(1, 0), OPRGBA32i(0xFF555555u)); // 255 * r / (2 * r + 1): 85 or 127
        for (const int radius : { 300, 8191, 8192, INT_MAX })
            QCOMPARE(blurred(radius).at(1, 0), OPRGBA32i(0xFF7F7F7Fu));
        COMPARE_PICTURE(Picture::of(kit::filtered<Gaussian>(kit::onLayer(edges), { 1e7 })), Picture(3, 1));

        // It reaches three times as far, whatever the length of its kernel.
        const Picture layer = Picture::random(20, 10, 45);
        kit::Watch watch;
        kit::filtered<Gaussian>(kit::onLayer(layer, QRect(0, 0, 9, 9)), { 1e7 }, watch);
        QCOMPARE(watch.steps.load(), 20 + 10 + 9);
        Gaussian::BlurDataEx grown;
        grown.image = layer.image(false);
        grown.params.sigma = 1e7;
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
            checkBlur<Gaussian>(anyLayer(random), { random.bounded(6.0) });
            checkBlur<Box>(anyLayer(random), { random.bounded(30) });
            checkBlur<Sharpen>(anyLayer(random), { random.bounded(-500, 500) });
            checkBlur<Smoothen>(anyLayer(random), { random.bounded(400) });
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
            checkGrowth<Gaussian>(each, { 1.4 }); // reaches 4.2, the box 4
            checkGrowth<Box>(each, { 4 });
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
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out.setByteOrder(QDataStream::LittleEndian);
        out.setFloatingPointPrecision(QDataStream::SinglePrecision);
        QVERIFY((OPHighPassProcessing::Params { 0.5, 7, 9 }.Write(out)));
        QCOMPARE(bytes, "KXHighPass 1.00000" + QByteArray::fromHex("0000003F 07000000 09000000"));
        OPHighPassProcessing::Params read { 1, 1, 1 };
        QDataStream cut("KXHighPass 1.00000" + QByteArray::fromHex("3FE0000000000000 000000"));
        QVERIFY(!read.Read(cut) && read.radius == 0.5 && read.blendIndex == 0);
        QDataStream other("KXHighPast 1.00000" + bytes); // nothing is read behind another signature
        QVERIFY(!read.Read(other) && other.status() == QDataStream::Ok && other.device()->pos() == 18);
    }

private:
    /// Against the passes over a copy of all of the layer.
    template <class Processing>
    void checkBlur(const KXFilterData &data, const typename Processing::Params &params)
    {
        RGBA32iImage work;
        data.image.CopyTo(work, false);
        const QRect to = kit::mergeOf(data).to;
        const int lineCount = runPasses(params, work, kit::selectedRect(data)) + (to.isEmpty() ? 0 : to.height());
        const Picture expected = kit::merged(data, Picture::of(work));
        kit::Watch watch;
        const RGBA32iImage result = kit::filtered<Processing>(data, params, watch);
        VERIFY_SAME_AT(kit::difference(Picture::of(result), expected),
            QString("width %1, selected from %2, %3").arg(work.Width()).arg(to.x()).arg(to.y()));
        QVERIFY(result.IsTiled() || result.Bits() == data.image.Bits()); // it is the caller's buffer that was written
        QVERIFY(watch.ranges == 1 && watch.steps == lineCount);
    }

    /// Any part of a layer and of a selection, flat or tiled and perhaps with a window, of which tiles take over what
    /// it shows in their place.
    static KXFilterData anyLayer(QRandomGenerator &random)
    {
        const auto anySize = [&random] { return QSize(random.bounded(300), random.bounded(300)); };
        const auto anyPoint = [&random](int limit) {
            return QPoint(random.bounded(-limit, limit), random.bounded(-limit, limit));
        };
        KXFilterData data;
        data.image = kit::patchy(random, anySize(), random.bounded(2));
        data.selection = kit::patchy(random, anySize(), random.bounded(2));
        const int side = random.bounded(2) ? 20 : 300;
        data.selectionRect = QRect(anyPoint(300), QSize(random.bounded(1, side), random.bounded(1, side)));
        data.selectionOffset = anyPoint(random.bounded(2) ? 20 : 300);
        if (data.image.IsTiled() && random.bounded(2))
            kit::addWindow(random, data.image, QRect(0, 0, 250, 250));
        return data;
    }

    /// Against the plain run on a canvas grown by hand.
    template <class Processing>
    void checkGrowth(const Growth &a, const typename Processing::Params &params)
    {
        const Picture picture = Picture::random(30, 20, 48);
        Picture canvas(a.grown.width(), a.grown.height());
        canvas.fill(picture.rect().translated(-a.grown.topLeft()),
            [&](int x, int y) { return picture.at(x + a.grown.x(), y + a.grown.y()); });
        typename Processing::BlurDataEx data;
        data.image = picture.image(a.grown != picture.rect()); // once grown, a tiled layer is flat
        data.selection = Picture::random(60, 60, 49).image(false);
        data.selectionRect = a.selectionRect;
        data.selectionOffset = a.offset;
        data.region = a.region;
        data.origin = QPoint(1000, -1000);
        data.params = params;
        KXFilterData byHand = data;
        byHand.image = canvas.image(false);
        byHand.selectionOffset = a.offset - a.grown.topLeft();
        const KXFilterResult result = Processing(kit::noCancel).runEx(data);
        COMPARE_PICTURE(Picture::of(result.image), Picture::of(kit::filtered<Processing>(byHand, params)));
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
