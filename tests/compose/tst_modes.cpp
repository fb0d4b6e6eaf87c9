#include "TestSupport.h"

#include "KXComposer.h"
#include "Pictures.h"

#include <cmath>

using pictures::Storage;
using reference::Canvas;
using reference::Side, reference::Sides;

class TestModes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    /// The rows of the file, by the entry that uses the form: whole vectors of the pixel and a tail.
    void workedByHand()
    {
        QFile file(BLENDS);
        QVERIFY(file.open(QFile::ReadOnly));
        const QRect r(0, 0, 19, 1);
        int rows = 0;
        while (!file.atEnd()) {
            const QByteArray line = file.readLine().trimmed();
            if (line.isEmpty() || line.startsWith('#'))
                continue;
            const QList<QByteArray> cells = line.split('\t');
            QCOMPARE(cells.size(), 10);
            const auto row = [&](int i) {
                RGBA32iImage image(r.width(), 1, false);
                image.Fill(cells[i].toUInt(nullptr, 16));
                return image;
            };
            const auto mode = KXCompositionMode(cells[0].toInt());
            const double opacity = cells[6].toInt() / 256.0;
            const bool lock = cells[7] == "1";
            const bool isMasked = cells[3] != "-", hasMask1 = cells[4] != "-", hasMask2 = cells[5] != "-";
            const RGBA32iImage src = row(1), mask = row(3);
            RGBA32iImage dst = row(2), clip = row(4), clipMask = hasMask2 ? row(5) : mask;
            if (hasMask2)
                ComposeClippingMaskAndMaskOn(
                    src, r, mode, dst, r, opacity, clip, r, clipMask, r, false, mask, r, false, lock);
            else if (hasMask1)
                ComposeClippingMaskOn(
                    src, r, mode, dst, r, clip, r, clipMask, isMasked ? r : QRect(), false, opacity, lock);
            else if (isMasked)
                ComposeMaskOn(src, r, mode, dst, r, opacity, mask, r, false, lock);
            else
                Compose(src, r, mode, dst, r, opacity, lock);
            const QString text = pictures::difference(Canvas(row(8)), dst);
            QVERIFY2(text.isEmpty(), line + ": " + text.toLatin1());
            ++rows;
        }
        QCOMPARE(rows, 236);
    }

    /// All forms of all modes on noise: opacities are clamped but in the plain form onto tiles.
    void everyMode()
    {
        const QRect r(0, 0, 139, 5); // two tiles in a row, with a tail
        const double opacities[] = { 1.0, 0.5, 0.0040, 0.9, 1.004, 7.0, std::nan(""), -1.0, -HUGE_VAL, HUGE_VAL, 1e18 };
        QRandomGenerator random(1);
        const auto noise = [&] { return pictures::noise(random, r.size(), Storage::Flat); };
        for (int i = 0; i < 60 * 11 * 2; ++i) {
            const int number = i / 22 - 1;
            const auto mode = KXCompositionMode(number);
            const double opacity = opacities[i / 2 % 11];
            const bool lock = i % 2;
            const RGBA32iImage source = noise(), mask = noise();
            const QImage destination = pictures::toQImage(noise());
            RGBA32iImage clip = noise(), clipMask = noise();
            const Side s { source, r }, m { mask, r }, c { clip, r }, cm { clipMask, r };
            const auto check = [&](const Sides &sides, bool isClamped, const auto &call) {
                RGBA32iImage result = pictures::stored(destination, isClamped ? Storage::Flat : Storage::Tiled);
                call(result);
                if (!isClamped && !(opacity >= 0 && opacity < 10))
                    return; // any picture will do
                Canvas expected(destination);
                reference::compose(expected, r, sides, number, reference::opacity256(opacity, isClamped), lock);
                const QString text = pictures::difference(expected, result);
                QVERIFY2(text.isEmpty(), qPrintable(QString("mode %1 %2").arg(number).arg(text)));
            };
            for (const bool isClamped : { false, true })
                check({ s }, isClamped, [&](auto &onto) { Compose(source, r, mode, onto, r, opacity, lock); });
            check({ s, nullptr, &m }, true,
                [&](auto &onto) { ComposeMaskOn(source, r, mode, onto, r, opacity, mask, r, false, lock); });
            for (const auto &[clipMaskRect, sides] : { std::pair(r, Sides { s, &c, &cm }), { QRect(), { s, &c } } })
                check(sides, true, [&, rect = clipMaskRect](auto &onto) {
                    ComposeClippingMaskOn(source, r, mode, onto, r, clip, r, clipMask, rect, false, opacity, lock);
                });
            check({ s, &c, &m, &cm }, true, [&](auto &onto) {
                ComposeClippingMaskAndMaskOn(
                    source, r, mode, onto, r, opacity, clip, r, clipMask, r, false, mask, r, false, lock);
            });
        }
    }
};

KXCORE_TEST_MAIN(TestModes)
#include "tst_modes.moc"
