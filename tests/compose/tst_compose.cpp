#include "kit/Test.h"

#include "KXComposer.h"
#include "Reference.h"
#include "kit/Images.h"

using reference::Canvas, reference::Side, reference::Sides;

namespace {

#ifdef __SANITIZE_THREAD__ // which makes the model slow, and other builds compare the pixels; still every mode is met
constexpr int rounds = 10;
#else
constexpr int rounds = 60;
#endif

constexpr auto copying = KXCompositionMode::Source, multiply = KXCompositionMode::Multiply;

/// What @p call logs. On a thread of the pool it has to do without another one, though it may wait for the pool.
QStringList logOf(const std::function<void()> &call, bool onPoolThread = false)
{
    kit::LogCapture log;
    if (!onPoolThread)
        call();
    else if (!kit::onPool(1, 1, call))
        qFatal("a call on a thread of the pool waits for ever");
    return log.texts();
}

/// @p image without its flat window, and its fake tiles as content or not.
RGBA32iImage bare(RGBA32iImage image, bool fakeIsContent = false)
{
    image.ClearFlatWindow();
    image.SetFakeIsContent(fakeIsContent);
    return image;
}

/// A call of each entry on images nobody chose, against the model. Tiled images have private, fake and null tiles; all
/// pixels of the destination are stored.
struct Scene {
    Scene(QRandomGenerator &random, const QString &storages)
        : source(kit::patchy(random, { 300, 190 }, storages[0] == 'T'))
        , mask(kit::patchy(random, { 200, 170 }, storages[1] == 'T'))
        , clip(kit::patchy(random, { 290, 210 }, storages[2] == 'T'))
        , clipMask(kit::patchy(random, { 210, 180 }, storages[3] == 'T'))
        , destination(kit::noise(random, { 270, 200 }, storages[4] == 'T'))
    {
    }

    /// New parameters of a call. Rectangles lie over any edge and are of any size or odd, and often empty for a mask.
    /// In every other round there are also new flat windows on all but the destination, near and far.
    void Change(QRandomGenerator &random, int round)
    {
        const double opacities[] = { 0.7, 1.0, 0.5, 0.004, 0.9, 1.2, 7, 1e18, -1, qQNaN(), qInf(), 0.0039 };
        const QRect odd[] = { QRect(), QRect(3, 4, 0, 0), QRect(128, 128, 1, 1), QRect(0, 0, 270, 200),
            QRect(QPoint(INT_MIN, INT_MIN), QSize(60, 20)), QRect(QPoint(INT_MAX - 60, INT_MAX - 20), QSize(60, 20)) };
        const QSize empty[] = { { 0, 0 }, { 0, 0 }, { 0, 9 }, { -90, 90 }, { 90, -90 }, { -90, -90 } };
        for (QRect *const each : { &sourceRect, &rect, &maskRect, &clipRect, &clipMaskRect })
            *each = random.bounded(9) == 0 ? odd[random.bounded(6)]
                                           : QRect(random.bounded(-40, 120), random.bounded(-40, 90),
                                               random.bounded(60, 300), random.bounded(60, 220));
        for (QRect *const each : { &maskRect, &clipMaskRect })
            if (qAbs(qint64(each->x())) < 1000 && random.bounded(3) == 0)
                each->setSize(empty[random.bounded(6)]);
        outsideVisible = random.bounded(2);
        maskOutsideVisible = random.bounded(2);
        lock = random.bounded(4) == 0;
        opacity = opacities[random.bounded(12)];
        onPoolThread = round % 4 == 3;
        for (RGBA32iImage *const image : { &source, &mask, &clip, &clipMask }) {
            image->ClearFlatWindow();
            const int x = random.bounded(4) ? random.bounded(-40, 100) : 5000;
            if (round % 2 && image->IsTiled())
                kit::addWindow(random, *image, QRect(x, random.bounded(-40, 60), 150, 130));
        }
    }

    /// Compose, ComposeSource and ComposeMaskOn from @p from, which is the source.
    template <class From>
    void CheckPlainAndMasked(const From &from) const
    {
        const bool hasTiles = source.IsTiled() || destination.IsTiled(); // then opacities are not clamped
        const bool isPlain = !hasTiles && !mask.IsTiled() && maskRect.size() == QSize(0, 0);
        const Side own { source, sourceRect }, covering { mask, maskRect, maskOutsideVisible };
        const Canvas composed = Expected({ own }, !hasTiles);
        Canvas copied(destination);
        reference::compose(copied, rect, { own }, 3, 256, false);
        const auto checkOnto = [&](const auto &onto) {
            if ((opacity >= 0 && opacity < 10) || !hasTiles) // otherwise any picture will do
                Check("Compose", composed, {}, onto,
                    [&](auto &dst) { Compose(from, sourceRect, mode, dst, rect, opacity, lock); });
            Check("ComposeSource", copied, {}, onto, [&](auto &dst) { ComposeSource(from, sourceRect, dst, rect); });
        };
        checkOnto(Destination());
        if (!destination.IsTiled())
            checkOnto(ConvertImage<RGBA32iImage, QImage>(destination));
        Check("ComposeMaskOn", isPlain && maskOutsideVisible ? composed : Expected({ own, nullptr, &covering }), {},
            Destination(), [&](auto &dst) {
                ComposeMaskOn(from, sourceRect, mode, dst, rect, opacity, mask, maskRect, maskOutsideVisible, lock);
            });
    }

    /// The clipping family reads the fake tiles of the clip, and of flat windows only the source's beside a mask.
    void CheckClipped()
    {
        const bool isMaskRect = !clipMaskRect.isEmpty(), isTiled = destination.IsTiled();
        const bool isMasked = isMaskRect && !(source.IsTiled() && clip.IsTiled() && clipMask.IsTiled());
        const RGBA32iImage read[] = { isMasked ? source : bare(source), bare(clip, true), bare(clipMask) };
        const Side own { read[0], sourceRect }, by { read[1], clipRect },
            covering { read[2], clipMaskRect, outsideVisible };
        const QString line = QString::asprintf("ClippingMask composer is missing srcTileMode %d dstTileMode 1 "
                                               "clipMaskTileMode %d isMaskRect %d cmMaskTileMode %d",
            source.IsTiled(), clip.IsTiled(), isMaskRect, clipMask.IsTiled());
        Check("ComposeClippingMaskOn",
            isTiled ? Canvas(destination) : Expected({ own, &by, isMasked ? &covering : nullptr }),
            isTiled ? line : QString(), Destination(), [&](RGBA32iImage &dst) {
                ComposeClippingMaskOn(source, sourceRect, mode, dst, rect, clip, clipRect, clipMask, clipMaskRect,
                    outsideVisible, opacity, lock);
            });
    }

    /// By the storage of source, mask, clip and clip mask, with and without a clip mask rectangle, these masks count:
    /// Both, in this order or eXchanged, the Mask, or none, Silently or with a Log.
    void CheckTwoMasks(const QString &storages)
    {
        const QString actions = "TTTT LL, TTTF LL, TTFT SS, TTFF BB, TFTF BM, TFTT MM, TFFT XM, TFFF BM, FTTT SM, "
                                "FTTF BM, FTFF BM, FTFT MM, FFTT XM, FFTF BM, FFFT XM, FFFF BM";
        const bool isMaskRect = !clipMaskRect.isEmpty(), isTiled = destination.IsTiled();
        const QChar action = isTiled ? 'L' : actions[actions.indexOf(storages) + (isMaskRect ? 5 : 6)];
        const RGBA32iImage read[] = { bare(clip, true), bare(mask), bare(clipMask) };
        const Side own { source, sourceRect }, by { read[0], clipRect },
            first { read[1], maskRect, maskOutsideVisible }, last { read[2], clipMaskRect, outsideVisible };
        const Canvas composed = action == 'B' ? Expected({ own, &by, &first, &last })
            : action == 'X'                   ? Expected({ own, &by, &last, &first })
            : action == 'M'                   ? Expected({ own, &by, &first })
                                              : Canvas(destination);
        const QString line = QString::asprintf("ClippingMask(Mask) composer is missing srcTileMode %d dstTileMode %d "
                                               "maskTileMode %d clipMaskTileMode %d isMaskRect %d cmMaskTileMode %d",
            source.IsTiled(), isTiled, mask.IsTiled(), clip.IsTiled(), isMaskRect, clipMask.IsTiled());
        Check("ComposeClippingMaskAndMaskOn", composed, action == 'L' ? line : QString(), Destination(),
            [&](RGBA32iImage &dst) {
                ComposeClippingMaskAndMaskOn(source, sourceRect, mode, dst, rect, opacity, clip, clipRect, clipMask,
                    clipMaskRect, outsideVisible, mask, maskRect, maskOutsideVisible, lock);
            });
    }

    /// A destination of its own for each call; tiled ones share their tiles.
    RGBA32iImage Destination() const
    {
        return destination.IsTiled() ? destination : kit::Picture::of(destination).image(false);
    }

    /// What the model makes of the destination. It reads flat windows, and no fake tiles.
    Canvas Expected(const Sides &sides, bool isClamped = true) const
    {
        Canvas canvas(destination);
        reference::compose(canvas, rect, sides, int(mode), reference::opacity256(opacity, isClamped), lock);
        return canvas;
    }

    template <class Onto, class Call>
    void Check(const char *entry, const Canvas &expected, QString line, Onto onto, Call call) const
    {
        line.prepend(line.isEmpty() ? "" : "[src/KXComposer] ");
        QCOMPARE(logOf([&] { call(onto); }, onPoolThread).join(' '), line);
        QCOMPARE(entry + reference::difference(expected, onto), QString(entry));
        if constexpr (std::is_same_v<Onto, RGBA32iImage>)
            QCOMPARE(reference::tileDifference(expected, destination, onto), QString());
    }

    RGBA32iImage source, mask, clip, clipMask, destination;
    QRect sourceRect, rect, maskRect, clipRect, clipMaskRect;
    bool outsideVisible = false, maskOutsideVisible = false, lock = false, onPoolThread = false;
    KXCompositionMode mode {};
    double opacity = 0;
};

} // namespace

class TestCompose : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    /// The rows of the file, by the entry that uses the form: whole vectors of the pixel and a tail.
    void workedByHand()
    {
        QFile file(BLENDS);
        QVERIFY(file.open(QFile::ReadOnly));
        int rows = 0;
        while (!file.atEnd()) {
            const QByteArray line = file.readLine().trimmed();
            if (line.isEmpty() || line.startsWith('#'))
                continue;
            const QList<QByteArray> cells = line.split('\t');
            QCOMPARE(cells.size(), 10);
            const auto row = [&](int i) { return kit::Picture(19, 1, cells[i].toUInt(nullptr, 16)).image(false); };
            const RGBA32iImage source = row(1), second = row(3);
            RGBA32iImage onto = row(2), mask1 = row(4), clipMask = row(cells[5] == "-" ? 3 : 5);
            const QRect r = onto.Rect();
            const auto given = [&](int i) { return cells[i] == "-" ? QRect() : r; };
            const auto mode = KXCompositionMode(cells[0].toInt());
            const double opacity = cells[6].toInt() / 256.0;
            const bool lock = cells[7] == "1";
            if (given(5) == r)
                ComposeClippingMaskAndMaskOn(
                    source, r, mode, onto, r, opacity, mask1, r, clipMask, r, false, second, r, false, lock);
            else if (given(4) == r)
                ComposeClippingMaskOn(source, r, mode, onto, r, mask1, r, clipMask, given(3), false, opacity, lock);
            else if (given(3) == r)
                ComposeMaskOn(source, r, mode, onto, r, opacity, second, r, false, lock);
            else
                Compose(source, r, mode, onto, r, opacity, lock);
            QCOMPARE(line + reference::difference(Canvas(row(8)), onto), QString(line));
            ++rows;
        }
        QVERIFY(rows >= 236);
    }

    void scenes_data()
    {
        QTest::addColumn<int>("number");
        for (int i = 0; i < 32; ++i) // storages of source, mask, clip, clip mask and destination
            QTest::newRow(qPrintable(QString::number(32 + i, 2).mid(1).replace('0', 'F').replace('1', 'T'))) << i;
    }

    /// Every entry in every mode: the pixels, which tiles left sharing, the log.
    void scenes()
    {
        QFETCH(int, number);
        const QString storages = QTest::currentDataTag();
        QRandomGenerator random = kit::random(quint32(number));
        Scene scene(random, storages);
        for (int round = 0; round < rounds; ++round) {
            scene.Change(random, round);
            scene.mode = KXCompositionMode((number + round) % 60 - 1);
            scene.CheckPlainAndMasked(scene.source);
            if (!scene.source.IsTiled())
                scene.CheckPlainAndMasked(ConvertImage<RGBA32iImage, QImage>(scene.source));
            scene.CheckClipped();
            scene.CheckTwoMasks(storages.left(4));
        }
    }

    /// Null tiles stay, fake ones may count as content, tiles shared with the source are read as they were, and a mask
    /// without pixels composes nothing.
    void tilesByHand()
    {
        QRandomGenerator random = kit::random();
        const QRect r(0, 0, 300, 20), moved(9, 2, 300, 20);
        const RGBA32iImage noise = kit::noise(random, r.size(), true);
        RGBA32iImage holed(300, 20, true), red(300, 20, true), shared = noise;
        holed.ReleaseTile(1);
        Compose(noise, r, copying, holed, r, 1.0, false);
        ComposeSource(noise, r, holed, r);
        ComposeMaskOn(noise, r, copying, holed, r, 1.0, noise, r, true, false);
        QVERIFY(!holed.TileData(1, false) && !holed.IsFakeTile(0) && !holed.IsFakeTile(2));

        red.Fill(0xFFFF0000u);
        red.SetFakeIsContent(true);
        for (const bool tiled : { false, true }) {
            RGBA32iImage destination(300, 20, tiled);
            ComposeSource(red, r, destination, r);
            ComposeMaskOn(noise, r, copying, destination, r, 1.0, RGBA32iImage(), r, true, false);
            QCOMPARE(reference::difference(Canvas(red), destination), QString());
        }

        // An image that is its own mask, moved: what a row covers is what the row above, one to the right, became.
        RGBA32iImage onto(256, 20, true);
        ComposeSource(red, QRect(0, 0, 256, 1), onto, QRect(0, 0, 256, 1));
        ComposeMaskOn(red, r, copying, onto, QRect(0, 1, 256, 19), 1.0, onto, QRect(1, 0, 256, 20), false, false);
        for (int x = 0; x < 256; ++x)
            QCOMPARE(int(Canvas(onto).At({ x, 19 }).a), x + 19 < 256 ? 255 : 0);

        Canvas expected(noise);
        reference::compose(expected, moved, { { noise, r } }, 12, 200, false);
        Compose(noise, r, KXCompositionMode::Plus, shared, moved, 200 / 256.0, false);
        QCOMPARE(reference::difference(expected, shared), QString());
    }

    /// Refused before every other test, of the rectangles, the mode and the opacity; the source first.
    void wrongFormats()
    {
        RGBA32iImage flat(20, 20, false), tiled(20, 20, true);
        QImage right(20, 20, QImage::Format_ARGB32), indexed(20, 20, QImage::Format_Indexed8);
        right.fill(0x11223344u);
        const QImage rightBefore = right.copy();
        const QRect r(0, 0, 20, 20);
        const auto compose = [&](const auto &from, auto &onto) { Compose(from, r, multiply, onto, r, 1.0, false); };
        for (const auto format : { QImage::Format_Invalid, QImage::Format_RGB32, QImage::Format_RGB888 }) {
            QImage wrong(20, 20, format);
            wrong.fill(1);
            const QImage wrongBefore = wrong.copy();
            const std::function<void()> refused[] = {
                [&] { compose(wrong, right); },
                [&] { compose(right, wrong); },
                [&] { compose(flat, wrong); },
                [&] { ComposeSource(wrong, r, tiled, r); },
                [&] { ComposeMaskOn(wrong, r, multiply, tiled, r, 1.0, flat, r, true, false); },
                [&] { Compose(wrong, QRect(), KXCompositionMode::Destination, flat, r, 0, false); },
                [&] { ComposeMaskOn(wrong, QRect(), multiply, flat, r, 0, flat, r, true, false); },
            };
            const QString line = "[src/KXComposer] Wrong input qimage format %1";
            for (const auto &call : refused)
                QCOMPARE(logOf(call), QStringList(line.arg(format)));
            QCOMPARE(logOf([&] { compose(wrong, indexed); }), (QStringList { line.arg(format), line.arg(3) }));
            QVERIFY(wrong == wrongBefore && right == rightBefore && tiled.IsFakeTile(0) && !flat.Bits()->word);
        }
    }
};

KXCORE_TEST_MAIN(TestCompose)
#include "tst_compose.moc"
