#include "recipes.cpp"

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
        Picture mask(3, 1, OPRGBA32i(0xFF000000u));
        mask.at(1, 0).a = 0x80;
        mask.at(2, 0).a = 0;
        const Picture before(3, 1, OPRGBA32i(200, 50, 100, 255));
        for (const bool tiled : { false, true }) {
            RGBA32iImage canvas = before.image(tiled), drawn = before.image(tiled);
            std::atomic<int> rows { 0 };
            adjustmentLayer(Warmer(40), mask.image(tiled), canvas, noCancel, [&rows] { ++rows; });
            const Picture result = Picture::of(canvas);
            const OPRGBA32i covered = result.at(0, 0), half = result.at(1, 0);
            QVERIFY(rows == 1 && covered.r >= 139 && covered.r <= 140 && covered.b <= 161);
            QVERIFY(half.r >= 119 && half.r <= 121 && half.a == 255);
            QCOMPARE(result.at(2, 0), before.at(2, 0));
            drawAdjustmentLayer(Warmer(40), mask.image(tiled), drawn);
            COMPARE_PICTURE(Picture::of(drawn), result);
            const std::atomic<bool> cancelled { true };
            adjustmentLayer(Warmer(40), mask.image(tiled), canvas, cancelled, {});
            COMPARE_PICTURE(Picture::of(canvas), result);
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
        Picture edge(60, 40, OPRGBA32i(0xFF000000u));
        edge.fill(QRect(30, 0, 30, 40), [](int, int) { return OPRGBA32i(0xFFFFFFFFu); });
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
