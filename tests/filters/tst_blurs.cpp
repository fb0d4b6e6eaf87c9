#include "KXBlur.h"
#include "KXComposer.h"
#include "KXIterativeConvolution.h"
#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"

#include "filters/ParamsStream.h"
#include "kit/Formulas.h"
#include "kit/Images.h"
#include "kit/Test.h"
#include "lines/LineHandlers.h"
#include "support/Workers.h"

using kit::Picture;
using Gaussian = OPGaussianBlurProcessing;
using Box = OPBoxBlurProcessing;

namespace {

/// Notes what a filter reports, and cancels it after so many steps.
struct Watch {
    std::atomic<bool> cancel { false };
    int stopAfter = -1;
    QMutex mutex;
    QList<int> ranges, steps; ///< with each range how many steps came before it

    void on(OPAdjustmentProcessing &processing)
    {
        cancel = stopAfter == 0;
        QObject::connect(&processing, &OPAdjustmentProcessing::RangeChanged,
            [this](int minimum, int maximum) { ranges << minimum << maximum << steps.size(); });
        QObject::connect(&processing, &OPAdjustmentProcessing::ProgressChanged, [this](int value) {
            const QMutexLocker lock(&mutex);
            steps << value;
            if (steps.size() == stopAfter)
                cancel = true;
        });
    }
};

void set(Gaussian::Params &params, double strength) { params.sigma = strength; }
void set(Box::Params &params, double strength) { params.radius = int(strength); }

template <class Processing>
RGBA32iImage blurred(
    const KXFilterData &head, double strength, const std::shared_ptr<Watch> &watch = std::make_shared<Watch>())
{
    Processing processing(watch->cancel);
    watch->on(processing);
    typename Processing::BlurData data;
    static_cast<KXFilterData &>(data) = head;
    set(data.params, strength);
    return processing.run(data);
}

/// What that makes of the whole of @p picture clipped to @p rect, by plain loops.
template <class Processing>
void blur(Picture &picture, const QRect &rect, double strength)
{
    if (std::is_same_v<Processing, Box>) {
        kit::premultipliedMean(picture, rect, Qt::Horizontal, int(strength));
        kit::premultipliedMean(picture, rect, Qt::Vertical, int(strength));
        return;
    }
    const std::vector<short> kernel = KXBlur::CreateGaussianKernel(strength);
    kit::premultiply(picture, rect);
    kit::convolve(picture, rect, Qt::Horizontal, kernel);
    kit::convolve(picture, rect, Qt::Vertical, kernel);
    kit::unpremultiply(picture, rect);
}

/// The passes of a blur over what is selected of @p image, as the library has them.
void runPasses(const Gaussian::Params &params, RGBA32iImage &image, const QRect &selected)
{
    const std::vector<short> kernel = KXBlur::CreateGaussianKernel(params.sigma);
    const int reach = int(kernel.size() / 2);
    KXIterativeConvolutionFast2D<RGBA32iImage> passes(kernel, image, selected.adjusted(-reach, -reach, reach, reach));
    passes.SetPremultiply(true);
    passes.Run(kit::noCancel, {});
}

void runPasses(const Box::Params &params, RGBA32iImage &image, const QRect &selected)
{
    const OPRGBABlurAccumulatorPremul window(params.radius);
    using Window = OPRGBABlurAccumulatorPremul;
    lines::LineHandler<Window, lines::HorizontalDirection>(window, image, selected).Run(kit::noCancel, {});
    lines::LineHandler<Window, lines::VerticalDirection>(window, image, selected).Run(kit::noCancel, {});
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

        Watch watch;
        watch.on(frame);
        frame.IncrementProgress();
        frame.SetProgress(41);
        frame.SetRange(7); // leaves the progress where it is
        frame.IncrementProgress();
        QVERIFY(watch.steps == QList<int>({ 1, 41, 42 }) && watch.ranges == QList<int>({ 0, 7, 2 }));
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
            checkBlur<Gaussian>(each, 2, 6);
            checkBlur<Box>(each, 7, 0); // needs no margin
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
        const auto watch = std::make_shared<Watch>();
        blurred<Gaussian>(grown, 1e7, watch);
        QCOMPARE(watch->ranges, QList<int>({ 0, 20 + 10 + 9, 0 }));
        QCOMPARE(watch->steps.size(), 39);
        grown.selectionRect = QRect();
        grown.region = QRect(-30, -2, 70, 500);
        const KXFilterResult result = Gaussian(kit::noCancel).runEx(grown);
        COMPARE_PICTURE(Picture::of(result.image), Picture(70, 500));
        QCOMPARE(result.origin, QPoint(-30, -2));
    }

    void nothingIsSelectedByANullTile()
    {
        const Picture before = Picture::random(10, 140, 44);
        KXFilterData data;
        data.image = before.image(false);
        data.selection = Picture(10, 140, OPRGBA32i(0xFFFFFFFFu)).image(true);
        data.selection.ReleaseTile(1);
        data.selectionRect = before.rect();
        const Picture after = Picture::of(blurred<Box>(data, 2));
        QVERIFY(std::equal(after.pixels.begin() + 1280, after.pixels.end(), before.pixels.begin() + 1280));
    }

    /// With a selection a filter works on a part of the layer; against its passes over a copy of all of it.
    void seesWhatIsAroundTheSelection()
    {
        QRandomGenerator random = kit::random(52);
        for (int i = 0; i < 400; ++i) {
            checkSurroundings<Gaussian>(random, random.bounded(6.0));
            checkSurroundings<Box>(random, random.bounded(30));
        }
    }

    /// At the first, a middle and the last line of each pass. Of 40 rows and 50 columns a selection of 30 by 20 takes
    /// 20 and 30, the Gaussian 3 more on each side; then both merge 20 rows.
    void cancels()
    {
        for (const int stopAfter : { 0, 1, 20, 30, 40, 41, 50, 51, 60, 69, 70, 81, 82, 89, 90 })
            for (const bool selected : { false, true }) {
                checkCancel<Gaussian>(stopAfter, selected, selected ? 26 + 36 + 20 : 90, 1);
                checkCancel<Box>(stopAfter, selected, selected ? 20 + 30 + 20 : 90, 3);
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

    /// The digits of 1.5 and 0x01020304 in each of the streams' forms.
    void paramStreams()
    {
        checkStreams(&Gaussian::Params::sigma, 1.5, "KXGaussianBlur 1.00000", "4014000000000000",
            { "3FF8000000000000", "000000000000F83F", "3FC00000" },
            { "[src\\filters\\OPGaussianBlurProcessing:199] Read gaussian blur data error.",
                "[src\\filters\\OPGaussianBlurProcessing:185] Write gaussian blur data error." });
        checkStreams(&Box::Params::radius, 0x01020304, "KXBoxBlur 1.00000", "00000005",
            { "01020304", "04030201", "01020304" },
            { "[src\\filters\\OPBoxBlurProcessing:196] Read box blur data error.",
                "[src\\filters\\OPBoxBlurProcessing:182] Write box blur data error." });

        // Several fields, in order; the second one is cut off.
        const filters::ParamsStream stream("Pair", "pair", { "pair", 2, 1 }, &Pair::first, &Pair::second);
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        QVERIFY(stream.Write(out, { 7, 0.5 }));
        QCOMPARE(bytes, "Pair" + QByteArray::fromHex("000000073FE0000000000000"));
        Pair read { 1, 1 };
        QDataStream cut(bytes.left(15));
        QVERIFY(!stream.Read(cut, read) && read.first == 7 && read.second == 0);
    }

private:
    template <class Processing>
    void checkBlur(const Selected &a, double strength, int margin)
    {
        const Picture picture = Picture::random(a.size.width(), a.size.height(), 41);
        const Picture selection = Picture::random(60, 50, 42);
        for (const bool tiledSelection : { false, true }) {
            KXFilterData data;
            data.image = picture.image(false);
            data.selection = selection.image(tiledSelection);
            data.selectionRect = a.rect;
            data.selectionOffset = a.offset;
            const auto watch = std::make_shared<Watch>();
            const RGBA32iImage result = blurred<Processing>(data, strength, watch);

            QRect area = picture.rect();
            if (!a.rect.isEmpty())
                area &= a.offset.x() == INT_MAX
                    ? QRect()
                    : a.rect.translated(a.offset) + QMargins(margin, margin, margin, margin);
            Picture filtered = picture, expected = picture;
            blur<Processing>(filtered, area, strength);
            for (int y = 0; y < a.merged.height(); ++y)
                for (int x = 0; x < a.merged.width(); ++x) {
                    const int m = selection.at(a.from.x() + x, a.from.y() + y).a;
                    const OPRGBA32i f = filtered.at(a.merged.x() + x, a.merged.y() + y);
                    OPRGBA32i &pixel = expected.at(a.merged.x() + x, a.merged.y() + y);
                    pixel = kit::pixelOf([&, u = pixel](int c) {
                        return (kit::channel(f, c) * m + kit::channel(u, c) * (255 - m)) / 255;
                    });
                }
            VERIFY_SAME_AT(kit::difference(Picture::of(result), a.rect.isEmpty() ? filtered : expected),
                QString("width %1, selected from %2, %3").arg(a.size.width()).arg(a.rect.x()).arg(a.rect.y()));
            QCOMPARE(result.Bits(), data.image.Bits()); // it is the caller's buffer that was written
            const int lineCount = area.width() + area.height() + qMax(a.merged.height(), 0);
            QCOMPARE(watch->ranges, QList<int>({ 0, lineCount, 0 }));
            std::sort(watch->steps.begin(), watch->steps.end());
            QCOMPARE(watch->steps.size(), lineCount);
            for (int i = 0; i < lineCount; ++i)
                QCOMPARE(watch->steps[i], i + 1);
        }
    }

    template <class Processing>
    void checkSurroundings(QRandomGenerator &random, double strength)
    {
        const auto anySize = [&random] { return QSize(random.bounded(300), random.bounded(300)); };
        const auto anyPoint = [&random](int limit) {
            return QPoint(random.bounded(-limit, limit), random.bounded(-limit, limit));
        };
        const bool tiled = random.bounded(2);
        typename Processing::BlurData data;
        data.image = kit::patchy(random, anySize(), tiled);
        data.selection = kit::patchy(random, anySize(), random.bounded(2));
        const int side = random.bounded(2) ? 20 : 300;
        data.selectionRect = QRect(anyPoint(300), QSize(random.bounded(1, side), random.bounded(1, side)));
        data.selectionOffset = anyPoint(random.bounded(2) ? 20 : 300);
        set(data.params, strength);
        if (tiled && random.bounded(2)) {
            kit::addWindow(random, data.image, QRect(0, 0, 250, 250));
            data.selectionRect.setHeight(1); // a second row might find that the first one's tiles show no window
        }

        RGBA32iImage work, expected = data.image;
        data.image.CopyTo(work, false);
        if (!tiled)
            data.image.CopyTo(expected, false);
        const QRect selected = data.selectionRect.translated(data.selectionOffset);
        runPasses(data.params, work, selected);
        const Picture filtered = Picture::of(work), old = Picture::of(data.image), mask = Picture::of(data.selection);
        const QRect to = selected & old.rect();
        const QPoint over(qMax(-data.selectionOffset.x(), 0), qMax(-data.selectionOffset.y(), 0));
        const QRect from = data.selectionRect.translated(over) & mask.rect();
        for (int y = 0; y < qMin(to.height(), from.height()); ++y)
            for (int x = 0; x < qMin(to.width(), from.width()); ++x) {
                const int m = mask.at(from.x() + x, from.y() + y).a;
                const OPRGBA32i f = filtered.at(to.x() + x, to.y() + y), u = old.at(to.x() + x, to.y() + y);
                const OPRGBA32i merged = kit::pixelOf(
                    [&](int c) { return (kit::channel(f, c) * m + kit::channel(u, c) * (255 - m)) / 255; });
                expected.WriteRow(unsigned(to.y() + y), unsigned(to.x() + x), &merged, 4);
            }
        Processing processing(kit::noCancel);
        COMPARE_PICTURE(Picture::of(processing.run(data)), Picture::of(expected));
    }

    template <class Processing>
    void checkCancel(int stopAfter, bool selected, int total, double strength)
    {
        KXFilterData data;
        data.image = data.selection = RGBA32iImage(50, 40, false);
        data.selectionRect = selected ? QRect(10, 10, 30, 20) : QRect();
        const auto watch = std::make_shared<Watch>();
        watch->stopAfter = stopAfter;
        blurred<Processing>(data, strength, watch);
        const int steps = watch->steps.size();
        // Each worker finishes at most the line that it is at.
        QVERIFY(steps >= qMin(stopAfter, total) && steps <= qMin(stopAfter + workers::hardware(), total));
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

    /// A stream of parameters with one field: @p signature, then the field in the form that the caller has set.
    template <class Params, class Field>
    void checkStreams(Field Params::*field, Field value, const QByteArray &signature, const char *defaultDigits,
        const QByteArrayList &digits, const QByteArrayList &errors)
    {
        const std::function<void(QDataStream &)> forms[] = {
            [](QDataStream &) {},
            [](QDataStream &stream) { stream.setByteOrder(QDataStream::LittleEndian); },
            [](QDataStream &stream) { stream.setFloatingPointPrecision(QDataStream::SinglePrecision); },
        };
        for (int form = 0; form < 3; ++form) {
            Params params;
            QByteArray bytes;
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out << params;
            QCOMPARE(bytes, signature + QByteArray::fromHex(defaultDigits));
            params.*field = value;
            forms[form](out);
            out << params;
            const QByteArray whole = signature + QByteArray::fromHex(digits[form]);
            QCOMPARE(bytes.mid(signature.size() + int(sizeof value)), whole);

            QByteArrayList inputs { whole, whole + "more" };
            for (int i = 0; i < whole.size(); ++i)
                inputs << whole.left(i);
            for (int i = 0; i < signature.size(); ++i) { // signatures of others
                inputs << whole;
                inputs.last()[i] = char(whole[i] ^ 0x20);
            }
            for (const QByteArray &input : inputs) {
                const bool good = input.startsWith(whole);
                Params read, streamed;
                read.*field = streamed.*field = value + 1;
                QDataStream stream(input), other(input);
                forms[form](stream);
                forms[form](other);
                QCOMPARE(read.Read(stream), good);
                if (!input.startsWith(signature))
                    QCOMPARE(read.*field, value + 1); // nothing is stored, and it stands behind what was compared
                if (!input.startsWith(signature) && input.size() == whole.size())
                    QVERIFY(stream.status() == QDataStream::Ok && stream.device()->pos() == signature.size());
                const kit::LogCapture log;
                QVERIFY(&(other >> streamed) == &other);
                QCOMPARE(log.texts().size(), int(!good));
                QVERIFY(streamed.*field == (good ? value : Params().*field) && (!good || read.*field == value));
            }
        }

        QBuffer closed;
        closed.open(QIODevice::ReadOnly); // takes nothing
        QDataStream refused(&closed);
        Params params;
        QVERIFY(!params.Write(refused) && !params.Read(refused));
        for (const QByteArray &error : errors)
            QTest::ignoreMessage(QtDebugMsg, error); // and wait for it
        refused << params >> params;
    }
};

KXCORE_TEST_MAIN(TestBlurs)
#include "tst_blurs.moc"
