#include "TestSupport.h"

#include "KXComposer.h"
#include "Pictures.h"

#include <cmath>

using reference::Canvas;
using reference::Side, reference::Sides;

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
            if (random.bounded(3) == 0)
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

/// Composes onto all of an image, by the entry that takes these sides.
void composeSides(const Sides &sides, KXCompositionMode mode, RGBA32iImage &onto, double opacity, bool lock)
{
    const RGBA32iImage none, &source = sides.source.image, &first = sides.first ? sides.first->image : none;
    RGBA32iImage clip = sides.clip ? sides.clip->image : none, clipMask = sides.last ? sides.last->image : first;
    const QRect r = onto.Rect(), clipMaskRect = sides.first ? r : QRect();
    if (sides.last)
        ComposeClippingMaskAndMaskOn(
            source, r, mode, onto, r, opacity, clip, r, clipMask, r, false, first, r, false, lock);
    else if (sides.clip)
        ComposeClippingMaskOn(source, r, mode, onto, r, clip, r, clipMask, clipMaskRect, false, opacity, lock);
    else if (sides.first)
        ComposeMaskOn(source, r, mode, onto, r, opacity, first, r, false, lock);
    else
        Compose(source, r, mode, onto, r, opacity, lock);
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
            const auto row = [&](int i) {
                RGBA32iImage image(19, 1, false);
                image.Fill(cells[i].toUInt(nullptr, 16));
                return image;
            };
            const RGBA32iImage source = row(1), second = row(3), mask1 = row(4), mask2 = row(5);
            const Side s { source, {} }, first { second, {} }, clip { mask1, {} }, last { mask2, {} };
            const auto given = [&](int i, const Side &side) { return cells[i] == "-" ? nullptr : &side; };
            RGBA32iImage onto = row(2);
            composeSides({ s, given(4, clip), given(3, first), given(5, last) }, KXCompositionMode(cells[0].toInt()),
                onto, cells[6].toInt() / 256.0, cells[7] == "1");
            QCOMPARE(line + pictures::difference(Canvas(row(8)), onto), QString(line));
            ++rows;
        }
        QCOMPARE(rows, 236);
    }

    /// All forms of all modes on noise: opacities are clamped but in the plain form onto tiles.
    void everyMode()
    {
        const double opacities[] = { 1.0, 0.5, 0.0040, 0.9, 1.004, 7.0, std::nan(""), -1.0, -HUGE_VAL, HUGE_VAL, 1e18 };
        const QRect r(0, 0, 139, 5); // two tiles in a row, with a tail
        QRandomGenerator random(1);
        const auto noise = [&] { return pictures::noise(random, r.size(), false); };
        for (int i = 0; i < 60 * 11 * 2; ++i) {
            const int mode = i / 22 - 1;
            const double opacity = opacities[i / 2 % 11];
            const bool lock = i % 2;
            const RGBA32iImage source = noise(), mask = noise(), clip = noise(), clipMask = noise();
            const testing::Picture destination = testing::Picture::of(noise());
            const Side s { source, r }, m { mask, r }, c { clip, r }, cm { clipMask, r };
            for (const Sides &sides :
                { Sides { s }, { s, nullptr, &m }, { s, &c }, { s, &c, &cm }, { s, &c, &m, &cm } })
                for (const bool tiled : { false, true }) {
                    if (tiled && (sides.clip || sides.first))
                        continue; // composed alike
                    RGBA32iImage result = destination.image(tiled);
                    composeSides(sides, KXCompositionMode(mode), result, opacity, lock);
                    if (tiled && !(opacity >= 0 && opacity < 10))
                        continue; // any picture will do
                    Canvas expected(destination.image(false));
                    reference::compose(expected, r, sides, mode, reference::opacity256(opacity, !tiled), lock);
                    const QString name = QString("mode %1 ").arg(mode);
                    QCOMPARE(name + pictures::difference(expected, result), name);
                }
        }
    }

    void scenes_data()
    {
        QTest::addColumn<QString>("storages"); // of source, mask, clip, clip mask and destination
        for (int i = 0; i < 32; ++i) {
            const QString storages = QString::number(32 + i, 2).mid(1).replace('0', 'F').replace('1', 'T');
            QTest::newRow(qPrintable(storages)) << storages;
        }
    }

    /// Every entry on pictures nobody chose, as the model has it: the pixels, which tiles left sharing, the log.
    void scenes()
    {
        // What acts where a clipped source has two masks, by the storages of source, mask, clip and clip mask, with and
        // without a clip mask rectangle: Both masks, in this order or eXchanged, the Mask, nothing Silently, or a Log.
        const QString twoMasks =
            "TTTT LL, TTTF LL, TTFT SS, TTFF BB, TFTF BM, TFTT MM, TFFT XM, TFFF BM, FTTT SM, FTTF BM, "
            "FTFF BM, FTFT MM, FFTT XM, FFTF BM, FFFT XM, FFFF BM";
        QFETCH(QString, storages);
        QRandomGenerator random(qHash(storages, 2));
        Scene s(random, storages);
        const bool sourceTiled = s.tiled[0], maskTiled = s.tiled[1], clipTiled = s.tiled[2], clipMaskTiled = s.tiled[3],
                   tiled = s.tiled[4];
        for (int round = 0; round < 24; ++round) {
            s.Move(random, round % 2);
            const int modes[] = { 0, 13, 57, 3, 38, 24, 4 }, number = modes[round % 7];
            const auto mode = KXCompositionMode(number);
            const double opacities[] = { 0.7, 1.2, 1.0, 0.7, 0.0039 }, opacity = opacities[round % 5];
            const auto expectedFor = [&](const Sides &sides, bool isClamped = true) {
                Canvas canvas(s.destination);
                reference::compose(canvas, s.rect, sides, number, reference::opacity256(opacity, isClamped), s.lock);
                return canvas;
            };
            const auto check = [&](const char *entry, const Canvas &expected, const QString &line, auto onto,
                                   auto call) {
                QCOMPARE(logOf([&] { call(onto); }, round % 4 == 3).join(' '),
                    line.isEmpty() ? line : "[src/KXComposer] " + line);
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
            const bool withoutMask = !sourceTiled && !tiled && !maskTiled && s.maskRect.size() == QSize(0, 0);
            const Canvas composed = expectedFor({ source }, !sourceTiled && !tiled);
            const Canvas masked =
                withoutMask && mask.outsideVisible ? composed : expectedFor({ source, nullptr, &mask });
            const auto checkFrom = [&](const auto &from) {
                const auto compose = [&](auto &onto) {
                    Compose(from, s.sourceRect, mode, onto, s.rect, opacity, s.lock);
                };
                const auto copyOnto = [&](auto &onto) { ComposeSource(from, s.sourceRect, onto, s.rect); };
                check("Compose", composed, {}, copy(), compose);
                check("ComposeSource", copied, {}, copy(), copyOnto);
                if (!tiled) {
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
            check(
                "ComposeClippingMaskAndMaskOn", twice, action == 'L' ? noMasking : QString(), copy(), [&](auto &onto) {
                    ComposeClippingMaskAndMaskOn(s.source, s.sourceRect, mode, onto, s.rect, opacity, s.clip,
                        s.clipRect, s.clipMask, s.clipMaskRect, s.outsideVisible, s.mask, s.maskRect,
                        s.maskOutsideVisible, s.lock);
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

    void wrongFormats()
    {
        RGBA32iImage image(20, 20, false), tiled(20, 20, true);
        const QRect r(0, 0, 20, 20);
        const QString line = "[src/KXComposer] Wrong input qimage format %1";
        const auto compose = [&](const auto &from, auto &onto) { Compose(from, r, multiply, onto, r, 1.0, false); };
        for (const auto format :
            { QImage::Format_Invalid, QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied }) {
            QImage wrong(20, 20, format), right(20, 20, QImage::Format_ARGB32),
                indexed(20, 20, QImage::Format_Indexed8);
            wrong.fill(1), right.fill(0x11223344u);
            const QImage wrongBefore = wrong.copy(), rightBefore = right.copy();
            const std::function<void()> refused[] = {
                [&] { compose(wrong, right); },
                [&] { compose(right, wrong); },
                [&] { compose(wrong, tiled); },
                [&] { compose(image, wrong); },
                [&] { ComposeSource(wrong, r, right, r); },
                [&] { ComposeMaskOn(wrong, r, multiply, tiled, r, 1.0, image, r, true, false); },
                // Before every other test: the rectangles, the mode, the opacity.
                [&] { Compose(wrong, QRect(), KXCompositionMode::Destination, image, r, 0, false); },
                [&] { ComposeMaskOn(wrong, QRect(), multiply, image, r, 0, image, r, true, false); },
            };
            for (const auto &call : refused)
                QCOMPARE(logOf(call), QStringList(line.arg(format)));
            // Both are refused, the source first.
            const QStringList twice { line.arg(format), line.arg(QImage::Format_Indexed8) };
            QCOMPARE(logOf([&] { compose(wrong, indexed); }), twice);
            QCOMPARE(logOf([&] { ComposeSource(wrong, r, indexed, r); }), twice);
            QVERIFY(wrong == wrongBefore && right == rightBefore);
            QVERIFY(tiled.IsFakeTile(0) && image.Bits()[0] == OPRGBA32i());
        }
    }
};

KXCORE_TEST_MAIN(TestCompose)
#include "tst_compose.moc"
