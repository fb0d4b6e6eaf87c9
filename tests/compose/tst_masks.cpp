#include "TestSupport.h"

#include "KXComposer.h"
#include "Pictures.h"

using pictures::Storage;
using reference::Canvas;
using reference::Side;

namespace {

Storage storageOf(bool tiled) { return tiled ? Storage::Tiled : Storage::Flat; }

/// The images of a call, one of each kind, with rectangles that lie somewhere.
struct Scene {
    /// Tiled images have private, fake and null tiles; all pixels of the destination are stored.
    Scene(QRandomGenerator &random, bool sourceTiled, bool tiled, bool maskTiled, bool clipTiled, bool clipMaskTiled)
        : source(pictures::patchy(random, { 300, 190 }, storageOf(sourceTiled)))
        , destination(pictures::noise(random, { 270, 200 }, storageOf(tiled)))
        , mask(pictures::patchy(random, { 200, 170 }, storageOf(maskTiled)))
        , clip(pictures::patchy(random, { 290, 210 }, storageOf(clipTiled)))
        , clipMask(pictures::patchy(random, { 210, 180 }, storageOf(clipMaskTiled)))
    {
    }

    /// New rectangles and flags; with @p windows also new flat windows on source and masks.
    void Move(QRandomGenerator &random, bool windows)
    {
        for (QRect *const each : { &sourceRect, &rect, &maskRect, &clipRect, &clipMaskRect })
            *each = Somewhere(random);
        outsideVisible = random.bounded(2);
        maskOutsideVisible = random.bounded(2);
        lock = random.bounded(4) == 0;
        for (RGBA32iImage *const image : { &source, &mask, &clipMask }) {
            image->ClearFlatWindow();
            if (windows && image->IsTiled())
                pictures::addWindow(random, *image, QRect(random.bounded(-40, 100), random.bounded(-40, 60), 150, 130));
        }
    }

    /// Over any edge, of any size.
    static QRect Somewhere(QRandomGenerator &random)
    {
        return QRect(
            random.bounded(-40, 120), random.bounded(-40, 90), random.bounded(60, 300), random.bounded(60, 220));
    }

    RGBA32iImage Copy(const RGBA32iImage &image) const
    {
        if (image.IsTiled())
            return image;
        RGBA32iImage copy;
        image.CopyTo(copy, false);
        return copy;
    }

    RGBA32iImage source, destination, mask, clip, clipMask;
    QRect sourceRect, rect, maskRect, clipRect, clipMaskRect;
    bool outsideVisible = false, maskOutsideVisible = false, lock = false;
};

constexpr int modes[] = { 0, 13, 38, 3, 57 };

QStringList logOf(const std::function<void()> &call)
{
    testing::LogCapture log;
    call();
    return log.texts();
}

} // namespace

class TestMasks : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }
    void maskOn_data();
    void maskOn();
    void maskRectangles_data();
    void maskRectangles();
    void withoutAMask();
    void clippingMask_data();
    void clippingMask();
    void clippingMaskAndMask_data();
    void clippingMaskAndMask();
    void transparentClip();
    void fakeClipTiles();
    void rectanglesFarOutside();
};

void TestMasks::maskOn_data()
{
    QTest::addColumn<int>("storages");
    QTest::addColumn<bool>("windows");
    for (int storages = 0; storages < 8; ++storages)
        for (const bool windows : { false, true })
            QTest::addRow("source %s, destination %s, mask %s%s", storages & 1 ? "tiled" : "flat",
                storages & 2 ? "tiled" : "flat", storages & 4 ? "tiled" : "flat", windows ? ", windows" : "")
                << storages << windows;
}

void TestMasks::maskOn()
{
    QFETCH(int, storages);
    QFETCH(bool, windows);
    QRandomGenerator random(quint32(storages + 1));
    Scene s(random, storages & 1, storages & 2, storages & 4, false, false);
    for (int round = 0; round < 20; ++round) {
        s.Move(random, windows);
        const int mode = modes[round % 5];
        const double opacity = round % 3 ? 0.7 : 1.2; // clamped
        Canvas expected(s.destination);
        reference::composeMaskOn(expected, s.rect, { s.source, s.sourceRect }, { s.mask, s.maskRect, s.outsideVisible },
            mode, reference::opacity256(opacity, true), s.lock);
        RGBA32iImage result = s.Copy(s.destination);
        ComposeMaskOn(s.source, s.sourceRect, KXCompositionMode(mode), result, s.rect, opacity, s.mask, s.maskRect,
            s.outsideVisible, s.lock);
        VERIFY_SAME(pictures::difference(expected, result));
        VERIFY_SAME(pictures::tileDifference(expected, s.destination, result));
        if (s.source.IsTiled())
            continue;
        result = s.Copy(s.destination); // a QImage is as good as a flat source
        ComposeMaskOn(pictures::toQImage(s.source), s.sourceRect, KXCompositionMode(mode), result, s.rect, opacity,
            s.mask, s.maskRect, s.outsideVisible, s.lock);
        VERIFY_SAME(pictures::difference(expected, result));
        VERIFY_SAME(pictures::tileDifference(expected, s.destination, result));
    }
}

void TestMasks::maskRectangles_data()
{
    QTest::addColumn<QRect>("sourceRect");
    QTest::addColumn<QRect>("maskRect");
    QTest::addColumn<QRect>("covered"); // of the destination, by the mask; the mask image is 40 by 30
    const QRect all(0, 0, 100, 100);
    QTest::newRow("as large as the mask") << all << QRect(0, 0, 40, 30) << QRect(0, 0, 40, 30);
    QTest::newRow("smaller") << all << QRect(0, 0, 7, 9) << QRect(0, 0, 7, 9);
    QTest::newRow("over the left and top") << all << QRect(-10, -5, 30, 20) << QRect(10, 5, 20, 15);
    QTest::newRow("over the right and bottom") << all << QRect(20, 20, 50, 50) << QRect(0, 0, 20, 10);
    QTest::newRow("from inside") << all << QRect(20, 10, 5, 5) << QRect(0, 0, 5, 5);
    QTest::newRow("outside") << all << QRect(60, 0, 5, 5) << QRect();
    QTest::newRow("far outside") << all << QRect(QPoint(INT_MAX - 20, 3), QSize(9, 9)) << QRect();
    QTest::newRow("empty") << all << QRect(5, 5, 0, 0) << QRect();
    QTest::newRow("null, source tiled") << all << QRect() << QRect();
    // The source begins 15 columns and 4 rows late: as much is taken off the start, and the whole mask rectangle moves
    // along, its end included.
    QTest::newRow("clipped start") << QRect(-15, -4, 100, 100) << QRect(0, 0, 10, 20) << QRect(15, 4, 10, 20);
    QTest::newRow("clipped start, mask at its end")
        << QRect(-15, -4, 100, 100) << QRect(10, 5, 20, 23) << QRect(15, 4, 15, 21);
}

/// Worked out without the model: Source copies the source inside the mask, and outside of it as told.
void TestMasks::maskRectangles()
{
    QFETCH(QRect, sourceRect);
    QFETCH(QRect, maskRect);
    QFETCH(QRect, covered);
    QRandomGenerator random(2);
    const OPRGBA32i under(0xFF0A0B0Cu), through(0x80000000u);
    RGBA32iImage source = pictures::noise(random, { 100, 100 }, Storage::Tiled), mask(40, 30, false);
    mask.Fill(through);
    const QRect rect(0, 0, 100, 100);
    for (const bool outsideVisible : { false, true })
        for (const bool maskTiled : { false, true })
            for (const bool tiled : { false, true }) {
                const RGBA32iImage maskUsed = pictures::stored(mask, storageOf(maskTiled));
                RGBA32iImage destination(100, 100, tiled);
                destination.Fill(under);
                ComposeMaskOn(source, sourceRect, KXCompositionMode::Source, destination, rect, 1.0, maskUsed, maskRect,
                    outsideVisible, false);
                for (int y = 0; y < 100; ++y)
                    for (int x = 0; x < 100; ++x) {
                        const QPoint from = QPoint(x, y) + sourceRect.topLeft();
                        OPRGBA32i expected = under;
                        if (source.Rect().contains(from) && (covered.contains(x, y) || outsideVisible)) {
                            expected = pictures::at(source, from.x(), from.y());
                            if (covered.contains(x, y))
                                expected.a = static_cast<unsigned char>(expected.a * 128 / 255);
                        }
                        QVERIFY2(pictures::at(destination, x, y) == expected,
                            qPrintable(QString("%1 %2 of %3").arg(x).arg(y).arg(outsideVisible)));
                    }
            }
}

/// All flat, a null rectangle, the outside visible: the plain form, also of modes that have no other.
void TestMasks::withoutAMask()
{
    QRandomGenerator random(4);
    const QRect r(0, 0, 90, 20);
    const RGBA32iImage source = pictures::noise(random, r.size(), Storage::Flat), mask(10, 10, false);
    for (const int mode : { 0, 2, 13, 24, 39, 48 })
        for (const bool fromQImage : { false, true }) {
            RGBA32iImage destination = pictures::noise(random, r.size(), Storage::Flat);
            const RGBA32iImage before = pictures::stored(destination, Storage::Tiled);
            Canvas plain(destination), masked = plain;
            reference::compose(plain, r, { source, r }, mode, 204, false);
            reference::composeMaskOn(masked, r, { source, r }, { before, QRect(), true }, mode, 204, false);
            const auto compose = [&](auto &onto, const RGBA32iImage &through, const QRect &maskRect) {
                if (fromQImage)
                    ComposeMaskOn(pictures::toQImage(source), r, KXCompositionMode(mode), onto, r, 0.8, through,
                        maskRect, true, false);
                else
                    ComposeMaskOn(source, r, KXCompositionMode(mode), onto, r, 0.8, through, maskRect, true, false);
            };
            RGBA32iImage onto = pictures::stored(destination, Storage::Flat);
            compose(onto, mask, QRect());
            VERIFY_SAME(pictures::difference(plain, onto));
            onto = pictures::stored(destination, Storage::Flat);
            compose(onto, mask, QRect(3, 4, 0, 0)); // only the size counts
            VERIFY_SAME(pictures::difference(plain, onto));
            onto = pictures::stored(destination, Storage::Flat);
            compose(onto, before, QRect()); // a tiled mask has no such rule
            VERIFY_SAME(pictures::difference(masked, onto));
            onto = before;
            compose(onto, mask, QRect());
            VERIFY_SAME(pictures::difference(masked, onto));
        }
}

void TestMasks::clippingMask_data()
{
    QTest::addColumn<int>("storages");
    QTest::addColumn<bool>("isMaskRect");
    for (int storages = 0; storages < 16; ++storages)
        for (const bool isMaskRect : { false, true })
            QTest::addRow("source %s, clip %s, clip mask %s, destination %s%s", storages & 1 ? "tiled" : "flat",
                storages & 2 ? "tiled" : "flat", storages & 4 ? "tiled" : "flat", storages & 8 ? "tiled" : "flat",
                isMaskRect ? ", rectangle" : "")
                << storages << isMaskRect;
}

void TestMasks::clippingMask()
{
    QFETCH(int, storages);
    QFETCH(bool, isMaskRect);
    const bool sourceTiled = storages & 1, clipTiled = storages & 2, clipMaskTiled = storages & 4, tiled = storages & 8;
    const bool withClipMask = isMaskRect && !(sourceTiled && clipTiled && clipMaskTiled);
    QRandomGenerator random(quint32(storages + 1));
    Scene s(random, sourceTiled, tiled, false, clipTiled, clipMaskTiled);
    for (int round = 0; round < 15; ++round) {
        s.Move(random, round % 2);
        if (!isMaskRect)
            s.clipMaskRect.setWidth(0);
        const int mode = modes[round % 5];
        Canvas expected(s.destination);
        const Side source { s.source, s.sourceRect }, clip { s.clip, s.clipRect };
        const Side clipMask { s.clipMask, s.clipMaskRect, s.outsideVisible };
        if (!tiled && (withClipMask || reference::hasPlainForm(mode)))
            reference::composeClipped(
                expected, s.rect, source, clip, withClipMask ? &clipMask : nullptr, nullptr, mode, 179, s.lock);
        RGBA32iImage result = s.Copy(s.destination);
        const QStringList lines = logOf([&] {
            ComposeClippingMaskOn(s.source, s.sourceRect, KXCompositionMode(mode), result, s.rect, s.clip, s.clipRect,
                s.clipMask, s.clipMaskRect, s.outsideVisible, 0.7, s.lock);
        });
        const QString refusal =
            QString("[src/KXComposer] ClippingMask composer is missing srcTileMode %1 dstTileMode 1 "
                    "clipMaskTileMode %2 isMaskRect %3 cmMaskTileMode %4")
                .arg(sourceTiled)
                .arg(clipTiled)
                .arg(isMaskRect)
                .arg(clipMaskTiled);
        QCOMPARE(lines, tiled ? QStringList(refusal) : QStringList());
        VERIFY_SAME(pictures::difference(expected, result));
        VERIFY_SAME(pictures::tileDifference(expected, s.destination, result));
    }
}

void TestMasks::clippingMaskAndMask_data()
{
    QTest::addColumn<QString>("storages"); // of source, mask, clip and clip mask
    QTest::addColumn<bool>("isMaskRect");
    QTest::addColumn<QString>("action");
    // The table of what acts: "both" masks, in this order or "exchanged", the "mask" alone, nothing "silently", and
    // nothing with a "log" line. R stands for a clip mask with a rectangle, - for one without.
    const char *const rows[] = { "TTTT R log", "TTTT - log", "TTTF R log", "TTTF - log", "TTFT R silently",
        "TTFT - silently", "TTFF R both", "TTFF - both", "TFTF R both", "TFTT R mask", "TFTF - mask", "TFTT - mask",
        "TFFT R exchanged", "TFFF R both", "TFFT - mask", "TFFF - mask", "FTTT R silently", "FTTF R both",
        "FTTT - mask", "FTTF - mask", "FTFF R both", "FTFT R mask", "FTFF - mask", "FTFT - mask", "FFTT R exchanged",
        "FFTF R both", "FFTT - mask", "FFTF - mask", "FFFT R exchanged", "FFFF R both", "FFFT - mask", "FFFF - mask" };
    for (const char *const row : rows) {
        const QStringList words = QString(row).split(' ');
        QTest::newRow(row) << words[0] << (words[1] == "R") << words[2];
    }
}

void TestMasks::clippingMaskAndMask()
{
    QFETCH(QString, storages);
    QFETCH(bool, isMaskRect);
    QFETCH(QString, action);
    const bool sourceTiled = storages[0] == 'T', maskTiled = storages[1] == 'T', clipTiled = storages[2] == 'T',
               clipMaskTiled = storages[3] == 'T';
    QRandomGenerator random(21);
    Scene s(random, sourceTiled, false, maskTiled, clipTiled, clipMaskTiled);
    for (int round = 0; round < 15; ++round) {
        const bool tiled = round == 14;
        if (tiled)
            s.destination = pictures::stored(s.destination, Storage::Tiled);
        s.Move(random, round % 2);
        if (!isMaskRect)
            s.clipMaskRect.setHeight(0);
        const int mode = modes[round % 5];
        const Side source { s.source, s.sourceRect }, clip { s.clip, s.clipRect };
        const Side mask { s.mask, s.maskRect, s.maskOutsideVisible };
        const Side clipMask { s.clipMask, s.clipMaskRect, s.outsideVisible };
        Canvas expected(s.destination);
        if (!tiled && (action == "both" || action == "exchanged" || action == "mask"))
            reference::composeClipped(expected, s.rect, source, clip, action == "exchanged" ? &clipMask : &mask,
                action == "both"            ? &clipMask
                    : action == "exchanged" ? &mask
                                            : nullptr,
                mode, 179, s.lock);
        RGBA32iImage result = s.Copy(s.destination);
        const QStringList lines = logOf([&] {
            ComposeClippingMaskAndMaskOn(s.source, s.sourceRect, KXCompositionMode(mode), result, s.rect, 0.7, s.clip,
                s.clipRect, s.clipMask, s.clipMaskRect, s.outsideVisible, s.mask, s.maskRect, s.maskOutsideVisible,
                s.lock);
        });
        const QString refusal =
            QString("[src/KXComposer] ClippingMask(Mask) composer is missing srcTileMode %1 dstTileMode %2 "
                    "maskTileMode %3 clipMaskTileMode %4 isMaskRect %5 cmMaskTileMode %6")
                .arg(sourceTiled)
                .arg(tiled)
                .arg(maskTiled)
                .arg(clipTiled)
                .arg(isMaskRect)
                .arg(clipMaskTiled);
        QCOMPARE(lines, tiled || action == "log" ? QStringList(refusal) : QStringList());
        VERIFY_SAME(pictures::difference(expected, result));
        VERIFY_SAME(pictures::tileDifference(expected, s.destination, result));
    }
}

/// Where the clip is transparent the destination stays, unless it is transparent as well.
void TestMasks::transparentClip()
{
    QRandomGenerator random(8);
    const QRect r(0, 0, 60, 20);
    const RGBA32iImage source = pictures::noise(random, r.size(), Storage::Flat);
    RGBA32iImage destination = pictures::noise(random, r.size(), Storage::Flat), clip(60, 20, false), none;
    RGBA32iImage clipMask = pictures::noise(random, r.size(), Storage::Flat);
    Canvas expected(destination);
    for (auto &p : expected.pixels)
        if (p.a == 0)
            p = OPRGBA32i();
    for (int mode = 12; mode < 24; ++mode) {
        ComposeClippingMaskOn(
            source, r, KXCompositionMode(mode), destination, r, clip, r, none, QRect(), true, 1.0, false);
        ComposeClippingMaskOn(
            source, r, KXCompositionMode(mode), destination, r, clip, r, clipMask, r, true, 1.0, false);
        VERIFY_SAME(pictures::difference(expected, destination));
    }
}

void TestMasks::fakeClipTiles()
{
    const OPRGBA32i red(0xFFFF0000u);
    RGBA32iImage source(300, 3, false), clip(300, 3, true), none;
    source.Fill(red);
    clip.Fill(0x80000000u);
    clip.ReleaseTile(1);
    for (const bool sourceTiled : { false, true }) {
        RGBA32iImage destination(300, 3, false);
        ComposeClippingMaskOn(pictures::stored(source, storageOf(sourceTiled)), source.Rect(),
            KXCompositionMode::SourceOver, destination, source.Rect(), clip, clip.Rect(), none, QRect(), false, 1.0,
            false);
        for (int x = 0; x < 300; ++x)
            QCOMPARE(pictures::at(destination, x, 1), x / 128 == 1 ? OPRGBA32i() : OPRGBA32i(0x80FF0000u));
    }
}

void TestMasks::rectanglesFarOutside()
{
    QRandomGenerator random(10);
    const QRect r(0, 0, 60, 20), far(QPoint(INT_MIN, INT_MIN), QSize(60, 20)),
        farther(QPoint(INT_MAX - 60, INT_MAX - 20), QSize(60, 20));
    RGBA32iImage image = pictures::noise(random, r.size(), Storage::Flat), clip = image, clipMask = image;
    for (const QRect &odd : { far, farther, QRect() }) {
        RGBA32iImage destination = pictures::noise(random, r.size(), Storage::Flat);
        const Canvas expected(destination);
        const auto mode = KXCompositionMode::Source;
        // Source, clip and destination narrow what is composed, down to nothing.
        ComposeMaskOn(image, odd, mode, destination, r, 1.0, image, r, true, false);
        ComposeMaskOn(image, r, mode, destination, odd, 1.0, image, r, true, false);
        ComposeClippingMaskOn(image, r, mode, destination, r, clip, odd, clipMask, r, true, 1.0, false);
        ComposeClippingMaskOn(image, odd, mode, destination, r, clip, r, clipMask, r, true, 1.0, false);
        ComposeClippingMaskAndMaskOn(
            image, r, mode, destination, r, 1.0, clip, odd, clipMask, r, true, image, r, true, false);
        // Masks that hide all.
        ComposeMaskOn(image, r, mode, destination, r, 1.0, image, odd, false, false);
        ComposeMaskOn(image, r, mode, destination, r, 1.0, RGBA32iImage(), r, true, false); // one without pixels
        ComposeClippingMaskAndMaskOn(
            image, r, mode, destination, r, 1.0, clip, r, clipMask, r, true, image, odd, false, false);
        VERIFY_SAME(pictures::difference(expected, destination));
    }
}

KXCORE_TEST_MAIN(TestMasks)
#include "tst_masks.moc"
