#include "recipes.cpp"

#include "kit/Test.h"

#include "KXComposer.h"
#include "kit/Picture.h"

using kit::noCancel, kit::Picture;

/// The page docs/recipes.md: that its functions do what it says.
class TestRecipes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    void photoComesAndGoes()
    {
        const QString path = m_folder.filePath("photo.png");
        QImage photo(200, 150, QImage::Format_RGB32);
        photo.fill(qRgb(10, 200, 30));
        photo.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
        QVERIFY(photo.save(path));

        const RGBA32iImage canvas = canvasOf(readPhoto(path));
        QCOMPARE(Picture::of(canvas).pixels, Picture(200, 150, OPRGBA32i(30, 200, 10, 255)).pixels);
        const KXCMSProfile profile = profileOf(readPhoto(path));
        QCOMPARE(profile.GetColorSpace(), KXCMSProfile::Rgb);
        QVERIFY(save(canvas, path));
        QCOMPARE(profileOf(readPhoto(path)), profile);
        QCOMPARE(readPhoto(path).pixel(199, 149), qRgb(10, 200, 30));

        const kit::LogCapture log;
        QVERIFY(save(inTiles(readPhoto(path)), path)); // without a profile
        QVERIFY(profileOf(readPhoto(path)).ToByteArray().isEmpty() && log.texts().isEmpty());
    }

    void tilesAndBack()
    {
        QImage dot(140, 10, QImage::Format_ARGB32); // two tiles, of which the first stays empty
        dot.fill(Qt::transparent);
        dot.setPixel(130, 5, 0x80102030);
        RGBA32iImage layer = inTiles(dot);
        QVERIFY(layer.IsFakeTile(0) && !layer.IsFakeTile(1));
        QImage(dot.size(), QImage::Format_ARGB32).fill(Qt::red); // what the next one finds in memory
        QCOMPARE(picture(layer), dot);

        const RGBA32iImage copy = layer;
        RGBA32iImage work = flat(layer);
        work.Bits()[0] = OPRGBA32i(0x40506070u);
        putBack(work, QRect(0, 0, 1, 1), layer);
        QVERIFY(!layer.IsFakeTile(0));
        QCOMPARE(layer.TileData(1, false), copy.TileData(1)); // still shared
        QCOMPARE(picture(copy), dot);
        dot.setPixel(0, 0, 0x40506070);
        QCOMPARE(picture(layer), dot);
    }

    /// Covered, half covered and not covered: red 100 + 40 and blue 200 - 40, at an opacity of 255 of 256.
    void adjustmentThroughMask()
    {
        for (const bool tiled : { false, true }) {
            RGBA32iImage mask(3, 2, tiled), canvas = Picture(3, 2, OPRGBA32i(200, 50, 100, 255)).image(tiled);
            RGBA32iImage drawn;
            canvas.CopyTo(drawn, tiled);
            for (const unsigned y : { 0u, 1u })
                mask.WriteRow(y, 0, std::array<quint32, 3> { 0xFF000000, 0x80000000, 0 }.data(), 12);
            std::atomic<int> rows { 0 };
            adjustmentLayer(Warmer(40), mask, canvas, noCancel, [&rows] { ++rows; });
            QCOMPARE(rows.load(), 2);
            const Picture result = Picture::of(canvas);
            drawAdjustmentLayer(Warmer(40), mask, drawn);
            QCOMPARE(Picture::of(drawn).pixels, result.pixels);
            for (const int y : { 0, 1 }) {
                QVERIFY(result.at(0, y).r >= 139 && result.at(0, y).r <= 140 && result.at(0, y).b <= 161);
                QVERIFY(result.at(1, y).r >= 119 && result.at(1, y).r <= 121);
                QCOMPARE(result.at(2, y), OPRGBA32i(200, 50, 100, 255));
                QCOMPARE(int(result.at(1, y).a), 255);
            }
            const std::atomic<bool> cancelled { true };
            adjustmentLayer(Warmer(40), mask, canvas, cancelled, {});
            QCOMPARE(Picture::of(canvas).pixels, result.pixels);
        }
    }

    /// Of two tones, the ends are one below and one above; red is of one tone, which gets 16 around it.
    void levelsFromHistogram()
    {
        Picture photo(2, 1, OPRGBA32i(0, 60, 100, 255));
        photo.at(1, 0) = OPRGBA32i(255, 160, 100, 255);
        const KXChannelTables tables = automaticLevels(photo.image(false)).Tables();
        QCOMPARE(int(tables.g[60]), 2); // (60 - 59) * 255 / (161 - 59)
        QCOMPARE(int(tables.g[160]), 252);
        QCOMPARE(int(tables.r[91]) + tables.r[109], 255); // from 92 to 108
        QCOMPARE(int(tables.b[0]) + tables.b[255], 255);
    }

    /// The spline through three points is 112 at 50, and 260 before it is cut at 200.
    void curveAndItsOutline()
    {
        const QVector<QPoint> points { { 0, 0 }, { 100, 200 }, { 255, 255 } };
        const OPCurvesTransformation adjustment = curve(points);
        const QPolygon line = outline(points);
        for (const auto &[x, y] : { std::pair(50, 112), std::pair(100, 200), std::pair(200, 255) }) {
            QCOMPARE(int(adjustment.Tables().g[size_t(x)]), y);
            QCOMPARE(line[x], QPoint(x, 255 - y));
        }
    }

    void blurInSelection()
    {
        Picture edge(60, 40, OPRGBA32i(0, 0, 0, 255));
        for (int y = 0; y < 40; ++y)
            for (int x = 30; x < 60; ++x)
                edge.at(x, y) = OPRGBA32i(255, 255, 255, 255);
        const RGBA32iImage selection = softEllipse(QSize(60, 40), QRect(15, 5, 30, 30)), before = edge.image(true);
        QCOMPARE(int(Picture::of(selection).at(30, 20).a), 255);
        QCOMPARE(int(Picture::of(selection).at(15, 5).a), 0); // the corner of the bounds

        RGBA32iImage layer = before;
        std::atomic<bool> isComplete { false }; // one of the workers says so
        blurSelected(layer, selection, 3, noCancel, [&](int step, int steps) {
            if (step == steps)
                isComplete = true;
        });
        QVERIFY(isComplete);
        const Picture result = Picture::of(layer);
        QVERIFY(result.at(29, 20).r > 100 && result.at(29, 20).r < 128); // close to the middle of the edge
        QCOMPARE(result.at(29, 1), edge.at(29, 1)); // not selected
        QCOMPARE(Picture::of(before).pixels, edge.pixels);

        std::atomic<bool> cancel { false };
        layer = before;
        blurSelected(layer, selection, 3, cancel, [&](int, int) { cancel = true; });
        QCOMPARE(Picture::of(layer).pixels, edge.pixels);
    }

    /// sRGB's 188 is a linear 0.503, which is 128 of 255.
    void convertsAllRows()
    {
        KXCMSProfile srgb, linear;
        srgb.FromByteArray(QColorSpace(QColorSpace::SRgb).iccProfile());
        linear.FromByteArray(QColorSpace(QColorSpace::SRgbLinear).iccProfile());
        for (const bool tiled : { false, true }) {
            RGBA32iImage canvas = Picture(140, 3, OPRGBA32i(188, 188, 188, 90)).image(tiled);
            const RGBA32iImage copy = canvas;
            convert(canvas, srgb, linear, noCancel, {});
            for (const OPRGBA32i pixel : Picture::of(canvas).pixels)
                QVERIFY(pixel.a == 90 && qAbs(pixel.r - 128) <= 1 && qAbs(pixel.g - 128) <= 1);
            QCOMPARE(canvas.ColorProfile(), linear);
            QCOMPARE(int(Picture::of(copy).at(0, 0).r), 188);
        }
    }

private:
    QTemporaryDir m_folder;
};

KXCORE_TEST_MAIN(TestRecipes)
#include "tst_recipes.moc"
