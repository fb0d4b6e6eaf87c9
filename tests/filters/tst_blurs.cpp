#include "KXBlur.h"
#include "KXComposer.h"
#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"

#include "TestSupport.h"
#include "lines/Pictures.h"
#include "support/Workers.h"

#include <QtCore/QBuffer>
#include <QtCore/QDataStream>
#include <QtCore/QMetaMethod>

#include <cmath>
#include <stdexcept>

using testing::Picture;
using Gaussian = OPGaussianBlurProcessing;
using Box = OPBoxBlurProcessing;

namespace {

/// Notes what a filter reports, and cancels it after so many steps.
struct Watch {
    std::atomic<bool> cancel { false };
    int stopAfter = -1;
    QMutex mutex;
    QList<int> ranges, steps;

    void on(OPAdjustmentProcessing &processing)
    {
        cancel = stopAfter == 0;
        QObject::connect(&processing, &OPAdjustmentProcessing::RangeChanged,
            [this](int minimum, int maximum) { ranges << minimum << maximum; });
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
RGBA32iImage blurred(const KXFilterData &head, double strength, Watch &watch)
{
    Processing processing(watch.cancel);
    watch.on(processing);
    typename Processing::BlurData data;
    static_cast<KXFilterData &>(data) = head;
    set(data.params, strength);
    return processing.run(data);
}

template <class Processing>
RGBA32iImage blurred(const KXFilterData &head, double strength)
{
    Watch watch;
    return blurred<Processing>(head, strength, watch);
}

/// The whole of @p picture blurred, without a selection.
template <class Processing>
Picture blurred(const Picture &picture, double strength)
{
    KXFilterData data;
    data.image = picture.image(false);
    return Picture::of(blurred<Processing>(data, strength));
}

/// The same by plain loops over the whole of @p picture clipped to @p rect.
template <class Processing>
void blur(Picture &picture, const QRect &rect, double strength)
{
    if (std::is_same_v<Processing, Box>) {
        testing::premultipliedMean(picture, rect, Qt::Horizontal, int(strength));
        testing::premultipliedMean(picture, rect, Qt::Vertical, int(strength));
        return;
    }
    const std::vector<short> kernel = KXBlur::CreateGaussianKernel(strength);
    const auto allButTheLastRow = [&](const std::function<int(int, int)> &channel) {
        for (int y = rect.top(); y < rect.bottom(); ++y)
            for (int x = rect.left(); x <= rect.right(); ++x)
                picture.at(x, y) = testing::pixelOf(
                    [&, p = picture.at(x, y)](int c) { return c == 3 ? p.a : channel(testing::channel(p, c), p.a); });
    };
    allButTheLastRow([](int c, int a) { return (c * a + 127) / 255; });
    testing::convolve(picture, rect, Qt::Horizontal, kernel);
    testing::convolve(picture, rect, Qt::Vertical, kernel);
    allButTheLastRow([](int c, int a) { return a == 0 ? 0 : (c * 255 + a / 2) / a; });
}

struct Selected {
    double strength;
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

Q_DECLARE_METATYPE(Selected)

class TestBlurs : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (workers::hardware() < 2)
            QSKIP("premultiplication does nothing with one processor");
        loadAVX2Functions(true);
    }

    void signalsAndProgress()
    {
        struct Open : OPAdjustmentProcessing {
            using OPAdjustmentProcessing::SetRange;
        } frame;
        const QMetaObject &meta = OPAdjustmentProcessing::staticMetaObject;
        QCOMPARE(meta.className(), "OPAdjustmentProcessing");
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
        const QMetaMethod range = meta.method(meta.methodOffset()), progress = meta.method(meta.methodOffset() + 1);
        QCOMPARE(range.methodSignature(), QByteArray("RangeChanged(int,int)"));
        QCOMPARE(progress.methodSignature(), QByteArray("ProgressChanged(int)"));
        QVERIFY(range.parameterNames() == QByteArrayList({ "minimum", "maximum" }));
        QVERIFY(range.methodType() == QMetaMethod::Signal && Gaussian(m_goOn).metaObject() == &meta);

        Watch watch;
        watch.on(frame);
        frame.IncrementProgress();
        frame.SetProgress(41);
        frame.SetRange(7); // leaves the progress where it is
        frame.IncrementProgress();
        QVERIFY(watch.steps == QList<int>({ 1, 41, 42 }) && watch.ranges == QList<int>({ 0, 7 }));
    }

    void blurs_data()
    {
        QTest::addColumn<Selected>("a");
        const auto row = [](const char *name, const Selected &selected) { QTest::newRow(name) << selected; };
        row("whole image", { 2, { 47, 39 }, {}, {}, {}, {} });
        row("an offset without a rectangle", { 2, { 20, 20 }, {}, { 5, 5 }, {}, {} });
        row("further than the image", { 9, { 20, 13 }, {}, {}, {}, {} });
        row("one row", { 1, { 40, 1 }, {}, {}, {}, {} });
        row("one column", { 1, { 1, 40 }, {}, {}, {}, {} });
        row("nothing", { 3, { 0, 0 }, {}, {}, {}, {} });
        row("nothing, selected", { 3, { 0, 0 }, { 0, 0, 9, 9 }, {}, {}, {} });
        row("moved", { 2, { 70, 60 }, { 10, 9, 20, 15 }, { 7, 11 }, { 17, 20, 20, 15 }, { 10, 9 } });
        row("over the left edge", { 2, { 70, 60 }, { 0, 0, 20, 15 }, { -6, 0 }, { 0, 0, 14, 15 }, { 6, 0 } });
        // Moved up and left, the selection's own rectangle is moved by as much, whatever was cut off.
        row("moved within", { 2, { 70, 60 }, { 10, 9, 20, 15 }, { -3, -4 }, { 7, 5, 20, 15 }, { 13, 13 } });
        row("over the right edge", { 2, { 40, 60 }, { 30, 9, 20, 15 }, {}, { 30, 9, 10, 15 }, { 30, 9 } });
        row("larger than its image", { 2, { 90, 90 }, { 50, 40, 30, 30 }, {}, { 50, 40, 10, 10 }, { 50, 40 } });
        row("outside", { 2, { 30, 30 }, { 40, 0, 9, 9 }, {}, {}, {} });
        row("far outside", { 2, { 30, 30 }, { 1, 1, 9, 9 }, { INT_MAX, INT_MIN }, {}, {} });
    }

    void blurs()
    {
        QFETCH(Selected, a);
        checkBlur<Gaussian>(a, qMax(int(a.strength * 3), 1));
        checkBlur<Box>(a, 0);
    }

    void oddParameters()
    {
        const Picture picture = Picture::random(20, 20, 43), zeros(20, 20);
        Picture opaque = picture;
        for (OPRGBA32i &pixel : opaque.pixels)
            pixel.a = 255;
        COMPARE_PICTURE(blurred<Gaussian>(opaque, 0.1), opaque);
        COMPARE_PICTURE(blurred<Box>(opaque, 0), opaque);
        COMPARE_PICTURE(blurred<Box>(picture, -7), blurred<Box>(picture, 0));
        for (const double sigma : { 0., std::nan(""), 20000. }) // kernels of zeros; that wide all weights round to 0
            COMPARE_PICTURE(blurred<Gaussian>(picture, sigma), zeros);
        QVERIFY_EXCEPTION_THROWN(blurred<Gaussian>(picture, 1e7), std::length_error);
        // A window far wider than the image holds the edges almost alone.
        Picture edges(3, 1);
        edges.at(0, 0) = edges.at(1, 0) = OPRGBA32i(0xFF000000u);
        edges.at(2, 0) = OPRGBA32i(0xFFFFFFFFu);
        QCOMPARE(blurred<Box>(edges, INT_MAX).at(1, 0), OPRGBA32i(127, 127, 127, 255));
    }

    void cancels()
    {
        // 40 rows and 50 columns. With a selection of 30 by 20: the Gaussian takes 3 more on each side, so 26 rows and 36
        // columns, the box 20 and 30; then both merge 20 rows.
        for (const int stopAfter : { 0, 1, 20, 30, 40, 41, 50, 51, 60, 69, 70, 81, 82, 89, 90 })
            for (const bool selected : { false, true }) {
                checkCancel<Gaussian>(stopAfter, selected, selected ? 26 + 36 + 20 : 90, 1);
                checkCancel<Box>(stopAfter, selected, selected ? 20 + 30 + 20 : 90, 3);
            }
    }

    void grows()
    {
        const QRect full(0, 0, 30, 20), wide(-100, -100, 300, 300),
            everything({ INT_MIN, INT_MIN }, QPoint(INT_MAX, INT_MAX));
        const Growth cases[] = {
            { full, {}, {}, full }, // the region is the layer
            { wide, {}, {}, { -4, -4, 38, 28 } },
            { { -100, 5, 40, 5 }, {}, {}, { -4, 0, 34, 20 } }, // room on the left only
            { { -1, -2, 33, 30 }, {}, {}, { -1, -2, 33, 26 } }, // some room
            { {}, {}, {}, full },
            { wide, { 0, 0, 20, 20 }, { -2, -9 }, { -2, -4, 32, 24 } }, // cut by the selection
            { { -100, -100, 90, 90 }, { 0, 0, 20, 20 }, {}, full }, // a selection elsewhere
            { everything, {}, {}, { -4, -4, 38, 28 } },
        };
        for (const Growth &each : cases) {
            checkGrowth<Gaussian>(each, 1.4); // reaches 4.2, the box 4
            checkGrowth<Box>(each, 4);
        }
    }

    void paramStreams()
    {
        checkStreams(&Gaussian::Params::sigma, 1.5, "KXGaussianBlur 1.00000", "4014000000000000", "3FF8000000000000",
            "[src\\filters\\OPGaussianBlurProcessing] %1 gaussian blur data error.");
        checkStreams(&Box::Params::radius, 0x01020304, "KXBoxBlur 1.00000", "00000005", "01020304",
            "[src\\filters\\OPBoxBlurProcessing] %1 box blur data error.");
    }

    void paramStreamsInTheCallersForm()
    {
        const auto check = [](auto setUp, const char *sigma, const char *radius) {
            Gaussian::Params gaussian;
            Box::Params box;
            gaussian.sigma = 1.5;
            box.radius = 0x01020304;
            QByteArray bytes;
            QDataStream out(&bytes, QIODevice::WriteOnly);
            setUp(out);
            out << gaussian << box;
            QCOMPARE(bytes,
                "KXGaussianBlur 1.00000" + QByteArray::fromHex(sigma) + "KXBoxBlur 1.00000"
                    + QByteArray::fromHex(radius));
            QDataStream in(bytes);
            setUp(in);
            gaussian.sigma = box.radius = 0;
            in >> gaussian >> box;
            QVERIFY(gaussian.sigma == 1.5 && box.radius == 0x01020304 && in.atEnd());
        };
        const auto single = [](QDataStream &s) { s.setFloatingPointPrecision(QDataStream::SinglePrecision); };
        check(single, "3FC00000", "01020304");
        check([](QDataStream &s) { s.setByteOrder(QDataStream::LittleEndian); }, "000000000000F83F", "04030201");
        // Before version 4.6 a double is 8 bytes whatever the precision.
        check([&](QDataStream &s) { single(s), s.setVersion(QDataStream::Qt_4_5); }, "3FF8000000000000", "01020304");
    }

private:
    template <class Processing>
    void checkBlur(const Selected &a, int margin)
    {
        const Picture picture = Picture::random(a.size.width(), a.size.height(), 41);
        const Picture selection = Picture::random(60, 50, 42);
        for (const bool tiledSelection : { false, true }) {
            KXFilterData data;
            data.image = picture.image(false);
            data.selection = selection.image(tiledSelection);
            data.selectionRect = a.rect;
            data.selectionOffset = a.offset;
            Watch watch;
            const RGBA32iImage result = blurred<Processing>(data, a.strength, watch);

            QRect area = picture.rect();
            if (!a.rect.isEmpty())
                area &= a.offset.x() == INT_MAX
                    ? QRect()
                    : a.rect.translated(a.offset) + QMargins(margin, margin, margin, margin);
            Picture filtered = picture, expected = picture;
            blur<Processing>(filtered, area, a.strength);
            for (int y = 0; y < a.merged.height(); ++y)
                for (int x = 0; x < a.merged.width(); ++x) {
                    const int m = selection.at(a.from.x() + x, a.from.y() + y).a;
                    const OPRGBA32i f = filtered.at(a.merged.x() + x, a.merged.y() + y);
                    OPRGBA32i &pixel = expected.at(a.merged.x() + x, a.merged.y() + y);
                    pixel = testing::pixelOf([&, u = pixel](int c) {
                        return (testing::channel(f, c) * m + testing::channel(u, c) * (255 - m)) / 255;
                    });
                }
            COMPARE_PICTURE(Picture::of(result), a.rect.isEmpty() ? filtered : expected);
            QCOMPARE(result.Bits(), data.image.Bits()); // it is the caller's buffer that was written
            const int lineCount = area.width() + area.height() + qMax(a.merged.height(), 0);
            QCOMPARE(watch.ranges, QList<int>({ 0, lineCount }));
            std::sort(watch.steps.begin(), watch.steps.end());
            QCOMPARE(watch.steps.size(), lineCount);
            for (int i = 0; i < lineCount; ++i)
                QCOMPARE(watch.steps[i], i + 1);
        }
    }

    template <class Processing>
    void checkCancel(int stopAfter, bool selected, int total, double strength)
    {
        const Picture picture = Picture::random(50, 40, 45);
        KXFilterData data;
        data.image = picture.image(false);
        data.selection = RGBA32iImage(50, 40, false);
        data.selection.Fill(OPRGBA32i(0xFFFFFFFFu));
        data.selectionRect = selected ? QRect(10, 10, 30, 20) : QRect();
        Watch watch;
        watch.stopAfter = stopAfter;
        const Picture after = Picture::of(blurred<Processing>(data, strength, watch));
        const int steps = watch.steps.size();
        // Each worker finishes at most the line in hand.
        QVERIFY(steps >= qMin(stopAfter, total) && steps <= qMin(stopAfter + workers::hardware(), total));
        int changedRows = 0;
        for (int y = 0; y < 40; ++y)
            changedRows += !std::equal(
                &after.pixels[size_t(y) * 50], &after.pixels[size_t(y) * 50] + 50, &picture.pixels[size_t(y) * 50]);
        if (std::is_same_v<Processing, Box> && !selected && stopAfter < 40)
            QCOMPARE(changedRows, steps);
        if (std::is_same_v<Processing, Box> && selected)
            QCOMPARE(changedRows, qMax(0, steps - 50)); // only what was merged shows
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
        const KXFilterResult result = Processing(m_goOn).runEx(data);
        COMPARE_PICTURE(Picture::of(result.image), Picture::of(blurred<Processing>(byHand, strength)));
        QVERIFY(result.origin == QPoint(1000, -1000) + a.grown.topLeft() && !result.image.IsTiled());
    }

    /// A stream of parameters with one field: @p signature, then the field, here in digits.
    template <class Params, class Field>
    void checkStreams(Field Params::*field, Field value, const QByteArray &signature, const char *defaultDigits,
        const char *digits, const QString &error)
    {
        const QByteArray whole = signature + QByteArray::fromHex(digits);
        const auto written = [](const Params &params) {
            QByteArray bytes;
            QDataStream stream(&bytes, QIODevice::WriteOnly);
            stream << params;
            return bytes;
        };
        Params params;
        QCOMPARE(written(params), signature + QByteArray::fromHex(defaultDigits));
        params.*field = value;
        QCOMPARE(written(params), whole);

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
            QCOMPARE(read.Read(stream), good);
            if (!input.startsWith(signature))
                QCOMPARE(read.*field, value + 1); // nothing is stored
            if (!input.startsWith(signature) && input.size() == whole.size()) // and it stands behind what was compared
                QVERIFY(stream.status() == QDataStream::Ok && stream.device()->pos() == signature.size());
            const testing::LogCapture log;
            QVERIFY(&(other >> streamed) == &other);
            QCOMPARE(log.texts(), good ? QStringList() : QStringList(error.arg("Read")));
            QVERIFY(streamed.*field == (good ? value : Params().*field) && (!good || read.*field == value));
        }

        QBuffer closed;
        closed.open(QIODevice::ReadOnly); // takes nothing
        QDataStream refused(&closed);
        const testing::LogCapture log;
        QVERIFY(!params.Write(refused) && &(refused << params) == &refused);
        QVERIFY2(log.texts().contains(error.arg("Write")), qPrintable(log.texts().join('\n')));
    }

    const std::atomic<bool> m_goOn { false };
};

KXCORE_TEST_MAIN(TestBlurs)
#include "tst_blurs.moc"
