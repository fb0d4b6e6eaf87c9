#include "TestSupport.h"

#include "KXComposer.h"
#include "Pictures.h"

using reference::Canvas, reference::Side, reference::Sides;

namespace {

constexpr auto copying = KXCompositionMode::Source, multiply = KXCompositionMode::Multiply;

/// The images of a call, one of each kind, with rectangles that lie somewhere. Tiled images have private, fake and null
/// tiles; all pixels of the destination are stored.
struct Scene {
    Scene(QRandomGenerator &random, const QString &storages)
        : tiled { storages[0] == 'T', storages[1] == 'T', storages[2] == 'T', storages[3] == 'T', storages[4] == 'T' }
        , source(pictures::patchy(random, { 300, 190 }, tiled[0]))
        , mask(pictures::patchy(random, { 200, 170 }, tiled[1]))
        , clip(pictures::patchy(random, { 290, 210 }, tiled[2]))
        , clipMask(pictures::patchy(random, { 210, 180 }, tiled[3]))
        , destination(pictures::noise(random, { 270, 200 }, tiled[4]))
    {
    }

    /// New flags and rectangles, over any edge and of any size or odd, and often none for a mask. With @p windows also
    /// new flat windows on source and masks, near and far.
    void Move(QRandomGenerator &random, bool windows)
    {
        const QRect odd[] = { QRect(), QRect(3, 4, 0, 0), QRect(128, 128, 1, 1), QRect(0, 0, 270, 200),
            QRect(QPoint(INT_MIN, INT_MIN), QSize(60, 20)), QRect(QPoint(INT_MAX - 60, INT_MAX - 20), QSize(60, 20)) };
        for (QRect *const each : { &sourceRect, &rect, &maskRect, &clipRect, &clipMaskRect })
            *each = random.bounded(9) == 0 ? odd[random.bounded(6)]
                                           : QRect(random.bounded(-40, 120), random.bounded(-40, 90),
                                               random.bounded(60, 300), random.bounded(60, 220));
        for (QRect *const each : { &maskRect, &clipMaskRect })
            if (each->x() != INT_MIN && random.bounded(3) == 0)
                each->setSize(QSize(0, 0));
        outsideVisible = random.bounded(2);
        maskOutsideVisible = random.bounded(2);
        lock = random.bounded(4) == 0;
        for (RGBA32iImage *const image : { &source, &mask, &clipMask }) {
            image->ClearFlatWindow();
            const int x = random.bounded(4) ? random.bounded(-40, 100) : 5000;
            if (windows && image->IsTiled())
                pictures::addWindow(random, *image, QRect(x, random.bounded(-40, 60), 150, 130));
        }
    }

    bool tiled[5];
    RGBA32iImage source, mask, clip, clipMask, destination;
    QRect sourceRect, rect, maskRect, clipRect, clipMaskRect;
    bool outsideVisible = false, maskOutsideVisible = false, lock = false;
};

/// What @p call logs. On a thread of the pool it has to do without another one, though it may wait for the pool.
QStringList logOf(const std::function<void()> &call, bool onPoolThread = false)
{
    testing::LogCapture log;
    if (!onPoolThread)
        call();
    else if (!testing::onPool(1, 1, call))
        qFatal("a call on a thread of the pool waits for ever");
    return log.texts();
}

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
            const auto row = [&](int i) { return testing::Picture(19, 1, cells[i].toUInt(nullptr, 16)).image(false); };
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
            QCOMPARE(line + pictures::difference(Canvas(row(8)), onto), QString(line));
            ++rows;
        }
        QCOMPARE(rows, 236);
    }

    void scenes_data()
    {
        QTest::addColumn<int>("number");
        for (int i = 0; i < 32; ++i) // storages of source, mask, clip, clip mask and destination
            QTest::newRow(qPrintable(QString::number(32 + i, 2).mid(1).replace('0', 'F').replace('1', 'T'))) << i;
    }

    /// Every entry in every mode on pictures nobody chose, as the model has it: the pixels, which tiles left sharing, the
    /// log. Opacities are clamped but in the plain form where there are tiles.
    void scenes()
    {
        // What acts where a clipped source has two masks, by the storages of source, mask, clip and clip mask, with and
        // without a clip mask rectangle: Both masks, in this order or eXchanged, the Mask, nothing Silently, or a Log.
        const QString twoMasks =
            "TTTT LL, TTTF LL, TTFT SS, TTFF BB, TFTF BM, TFTT MM, TFFT XM, TFFF BM, FTTT SM, FTTF BM, "
            "FTFF BM, FTFT MM, FFTT XM, FFTF BM, FFFT XM, FFFF BM";
        QFETCH(int, number);
        const QString storages = QTest::currentDataTag();
        QRandomGenerator random(quint32(number) + 1);
        Scene s(random, storages);
        const bool sourceTiled = s.tiled[0], maskTiled = s.tiled[1], clipTiled = s.tiled[2], clipMaskTiled = s.tiled[3],
                   tiled = s.tiled[4];
        for (int round = 0; round < 60; ++round) {
            s.Move(random, round % 2);
            const auto mode = KXCompositionMode((number + round) % 60 - 1);
            const double opacities[] = { 0.7, 1.0, 0.5, 0.004, 0.9, 1.2, 7, 1e18, -1, qQNaN(), qInf(), 0.0039 };
            const double opacity = opacities[random.bounded(12)];
            const bool isDefined = opacity >= 0 && opacity < 10;
            const auto expectedFor = [&](const Sides &sides, bool isClamped = true) {
                Canvas canvas(s.destination);
                reference::compose(canvas, s.rect, sides, int(mode), reference::opacity256(opacity, isClamped), s.lock);
                return canvas;
            };
            const auto check = [&](const char *entry, const Canvas &expected, QString line, auto onto, auto call) {
                line.prepend(line.isEmpty() ? "" : "[src/KXComposer] ");
                QCOMPARE(logOf([&] { call(onto); }, round % 4 == 3).join(' '), line);
                QCOMPARE(entry + pictures::difference(expected, onto), QString(entry));
                if constexpr (std::is_same_v<decltype(onto), RGBA32iImage>)
                    QCOMPARE(pictures::tileDifference(expected, s.destination, onto), QString());
            };
            const auto copy = [&] { return tiled ? s.destination : testing::Picture::of(s.destination).image(false); };
            const auto toQImage = [](const RGBA32iImage &flat) { return ConvertImage<RGBA32iImage, QImage>(flat); };

            // The model reads windows and no fake tiles. The clipping family ignores windows, but for the one of the
            // source where there is a mask, and reads the fake tiles of the clip.
            RGBA32iImage sourceBare = s.source, maskBare = s.mask, clipMaskBare = s.clipMask, clipRead;
            for (RGBA32iImage *const image : { &sourceBare, &maskBare, &clipMaskBare })
                image->ClearFlatWindow();
            s.clip.CopyTo(clipRead, false);
            const Side source { s.source, s.sourceRect }, mask { s.mask, s.maskRect, s.maskOutsideVisible },
                clip { clipRead, s.clipRect }, bareMask { maskBare, s.maskRect, s.maskOutsideVisible },
                clipMask { clipMaskBare, s.clipMaskRect, s.outsideVisible };

            const Canvas untouched(s.destination);
            Canvas copied = untouched;
            reference::compose(copied, s.rect, { source }, 3, 256, false);
            const bool isPlain = !sourceTiled && !tiled && !maskTiled && s.maskRect.size() == QSize(0, 0);
            const Canvas composed = expectedFor({ source }, !sourceTiled && !tiled);
            const Canvas masked = isPlain && mask.outsideVisible ? composed : expectedFor({ source, nullptr, &mask });
            const auto checkFrom = [&](const auto &from) {
                const auto compose = [&](auto &onto) {
                    Compose(from, s.sourceRect, mode, onto, s.rect, opacity, s.lock);
                };
                const auto copyOnto = [&](auto &onto) { ComposeSource(from, s.sourceRect, onto, s.rect); };
                if (isDefined || (!sourceTiled && !tiled)) // otherwise any picture will do
                    check("Compose", composed, {}, copy(), compose);
                check("ComposeSource", copied, {}, copy(), copyOnto);
                if (!tiled) {
                    if (isDefined || !sourceTiled)
                        check("Compose on a QImage", composed, {}, toQImage(s.destination), compose);
                    check("ComposeSource on a QImage", copied, {}, toQImage(s.destination), copyOnto);
                }
                check("ComposeMaskOn", masked, {}, copy(), [&](auto &onto) {
                    ComposeMaskOn(from, s.sourceRect, mode, onto, s.rect, opacity, s.mask, s.maskRect,
                        s.maskOutsideVisible, s.lock);
                });
            };
            checkFrom(s.source);
            if (!sourceTiled)
                checkFrom(toQImage(s.source));

            const bool isMaskRect = !s.clipMaskRect.isEmpty();
            const QString noClipping =
                QString::asprintf("ClippingMask composer is missing srcTileMode %d dstTileMode 1 "
                                  "clipMaskTileMode %d isMaskRect %d cmMaskTileMode %d",
                    sourceTiled, clipTiled, isMaskRect, clipMaskTiled);
            const bool isMasked = isMaskRect && !(sourceTiled && clipTiled && clipMaskTiled);
            const Side own { isMasked ? s.source : sourceBare, s.sourceRect };
            const Canvas clipped = tiled ? untouched : expectedFor({ own, &clip, isMasked ? &clipMask : nullptr });
            check("ComposeClippingMaskOn", clipped, tiled ? noClipping : QString(), copy(), [&](RGBA32iImage &onto) {
                ComposeClippingMaskOn(s.source, s.sourceRect, mode, onto, s.rect, s.clip, s.clipRect, s.clipMask,
                    s.clipMaskRect, s.outsideVisible, opacity, s.lock);
            });

            const QChar action = tiled ? 'L' : twoMasks[twoMasks.indexOf(storages.left(4)) + (isMaskRect ? 5 : 6)];
            const QString noMasking =
                QString::asprintf("ClippingMask(Mask) composer is missing srcTileMode %d dstTileMode %d "
                                  "maskTileMode %d clipMaskTileMode %d isMaskRect %d cmMaskTileMode %d",
                    sourceTiled, tiled, maskTiled, clipTiled, isMaskRect, clipMaskTiled);
            const Canvas twice = action == 'B' ? expectedFor({ source, &clip, &bareMask, &clipMask })
                : action == 'X'                ? expectedFor({ source, &clip, &clipMask, &bareMask })
                : action == 'M'                ? expectedFor({ source, &clip, &bareMask })
                                               : untouched;
            const QString line = action == 'L' ? noMasking : QString();
            check("ComposeClippingMaskAndMaskOn", twice, line, copy(), [&](RGBA32iImage &onto) {
                ComposeClippingMaskAndMaskOn(s.source, s.sourceRect, mode, onto, s.rect, opacity, s.clip, s.clipRect,
                    s.clipMask, s.clipMaskRect, s.outsideVisible, s.mask, s.maskRect, s.maskOutsideVisible, s.lock);
            });
        }
    }

    /// Null tiles stay, fake ones may count as content, tiles shared with the source are read as they were, and a mask
    /// without pixels composes nothing.
    void tilesByHand()
    {
        QRandomGenerator random(3);
        const QRect r(0, 0, 300, 20), moved(9, 2, 300, 20);
        const RGBA32iImage noise = pictures::noise(random, r.size(), true);
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
            QCOMPARE(pictures::difference(Canvas(red), destination), QString());
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
        QCOMPARE(pictures::difference(expected, shared), QString());
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
