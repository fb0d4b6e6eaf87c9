#include "OPRGBA32ColorProfileTransform.h"

#include "Profiles.h"
#include "TestSupport.h"

#include <QtGui/QColor>
#include <QtGui/QImage>

#include <random>
#include <thread>

namespace {

using Pixels = std::vector<OPRGBA32i>;

KXCMSProfile loaded(const QByteArray &bytes)
{
    KXCMSProfile profile;
    profile.FromByteArray(bytes);
    return profile;
}

/// What Little CMS makes of a row of pixels in one call.
Pixels direct(const QByteArray &from, const QByteArray &to, Pixels pixels)
{
    cmsHPROFILE source = cmsOpenProfileFromMem(from.constData(), cmsUInt32Number(from.size()));
    cmsHPROFILE target = cmsOpenProfileFromMem(to.constData(), cmsUInt32Number(to.size()));
    cmsHTRANSFORM transform = cmsCreateTransform(source, TYPE_BGRA_8, target, TYPE_BGRA_8, INTENT_PERCEPTUAL, 0);
    cmsDoTransform(transform, pixels.data(), pixels.data(), cmsUInt32Number(pixels.size()));
    cmsDeleteTransform(transform);
    cmsCloseProfile(source);
    cmsCloseProfile(target);
    return pixels;
}

OPRGBA32i direct(const QByteArray &from, const QByteArray &to, OPRGBA32i pixel)
{
    return direct(from, to, Pixels { pixel })[0];
}

Pixels converted(const KXCMSTransform &transform, Pixels pixels)
{
    for (OPRGBA32i &pixel : pixels)
        transform(pixel);
    return pixels;
}

/// Fails with the first position at which the two differ.
void compare(const Pixels &actual, const Pixels &expected, const Pixels &input)
{
    QCOMPARE(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i)
        if (actual[i] != expected[i])
            QFAIL(qPrintable(QStringLiteral("pixel %1, %2: expected %3, is %4")
                                 .arg(i)
                                 .arg(input[i].word, 8, 16)
                                 .arg(expected[i].word, 8, 16)
                                 .arg(actual[i].word, 8, 16)));
}

/// All greys, ramps of each channel, and a grid over the cube; alpha runs too.
Pixels gradient()
{
    Pixels pixels;
    for (unsigned i = 0; i < 256; ++i)
        for (unsigned channels : { 0x010101u, 0x000001u, 0x000100u, 0x010000u, 0x010001u })
            pixels.push_back(OPRGBA32i(i * channels | (255 - i) << 24));
    for (unsigned r = 0; r < 256; r += 15)
        for (unsigned g = 0; g < 256; g += 15)
            for (unsigned b = 0; b < 256; b += 15)
                pixels.push_back(OPRGBA32i((r ^ g ^ b) << 24 | r << 16 | g << 8 | b));
    return pixels;
}

/// Colours without order, some of them over and over.
Pixels noise(size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    Pixels pixels(count);
    for (size_t i = 0; i < count; ++i)
        pixels[i] = random() % 4 ? OPRGBA32i(unsigned(random())) : pixels[random() % (i + 1)];
    return pixels;
}

RGBA32iImage image(int width, int height, bool tiled, OPRGBA32i colour)
{
    RGBA32iImage result(width, height, tiled);
    result.Fill(colour);
    return result;
}

const QByteArray srgb = profiles::srgb(), wide = profiles::wideGamut();
const OPRGBA32i orange(40, 120, 220, 77);

} // namespace

class TestCMSTransform : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (std::thread::hardware_concurrency() < 2)
            QSKIP("walks over images need two processors");
        QVERIFY(direct(srgb, wide, orange) != orange);
    }

    void equalsLittleCms_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::newRow("sRGB to wide gamut") << srgb << wide;
        QTest::newRow("wide gamut to sRGB") << wide << srgb;
        QTest::newRow("linear to sRGB") << profiles::linearWideGamut() << srgb;
        QTest::newRow("tables to sRGB") << profiles::rgbTables2() << srgb;
        QTest::newRow("sRGB to tables") << srgb << profiles::rgbTables4();
        QTest::newRow("tables to tables") << profiles::rgbTables4() << profiles::rgbTables2();
    }

    void equalsLittleCms()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        const KXCMSTransform transform(loaded(from), loaded(to));
        QVERIFY(!transform.IsEmpty());
        QVERIFY(!transform.HasKernel());
        for (const Pixels &pixels : { gradient(), noise(100000, 1) }) {
            const Pixels expected = direct(from, to, pixels);
            compare(converted(transform, pixels), expected, pixels);
            compare(converted(transform, pixels), expected, pixels); // from memory
        }
    }

    void transformsInTurnDoNotMixTheirColours()
    {
        const QByteArray tables = profiles::rgbTables2();
        const KXCMSTransform there(loaded(srgb), loaded(wide)), back(loaded(wide), loaded(srgb)),
            other(loaded(tables), loaded(srgb));
        const Pixels pixels = noise(20000, 2);
        Pixels a = pixels, b = pixels, c = pixels;
        for (size_t i = 0; i < pixels.size(); ++i)
            there(a[i]), back(b[i]), other(c[i]);
        compare(a, direct(srgb, wide, pixels), pixels);
        compare(b, direct(wide, srgb, pixels), pixels);
        compare(c, direct(tables, srgb, pixels), pixels);
    }

    void nothingToConvert_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QByteArray unreadable = profiles::rgbTables2(); // its tables lead to a space that is none
        unreadable.replace(20, 4, "XYZW");
        QTest::newRow("no profiles") << QByteArray() << QByteArray();
        QTest::newRow("no source") << QByteArray() << srgb;
        QTest::newRow("no target") << srgb << QByteArray();
        QTest::newRow("sRGB to itself") << srgb << srgb;
        QTest::newRow("CMYK to sRGB") << profiles::cmyk() << srgb;
        QTest::newRow("sRGB to grey") << srgb << profiles::grey();
        QTest::newRow("CMYK to itself") << profiles::cmyk() << profiles::cmyk();
        QTest::newRow("grey to itself") << profiles::grey() << profiles::grey();
        QTest::newRow("what the engine cannot do") << unreadable << srgb;
    }

    void nothingToConvert()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        const KXCMSProfile source = loaded(from), target = loaded(to);
        QCOMPARE(source.IsEmpty(), from.isEmpty());
        const testing::LogCapture log;
        const KXCMSTransform transform(source, target);
        QVERIFY(transform.IsEmpty());
        OPRGBA32i pixel = orange;
        transform(pixel);
        QCOMPARE(pixel.word, orange.word);
        QColor colour = QColor::fromCmykF(0.1, 0.2, 0.3, 0.4);
        const QColor before = colour;
        transform(colour);
        QCOMPARE(colour, before);

        const OPRGBA32ColorProfileTransform images(source, target);
        RGBA32iImage tiled = image(5, 5, true, orange);
        images(tiled);
        images.Invert(tiled);
        QCOMPARE(tiled.TileData(0, false)->word, orange.word);
        QImage bitmap(2, 2, QImage::Format_ARGB32);
        bitmap.fill(orange.word);
        const QImage copy = bitmap;
        images(bitmap);
        images.Invert(bitmap);
        QCOMPARE(bitmap, copy);
        QCOMPARE(bitmap.constBits(), copy.constBits());
        QCOMPARE(log.texts(), QStringList());
    }

    void coloursAreConvertedAsPixels()
    {
        const KXCMSTransform transform(loaded(srgb), loaded(wide));
        QColor colour;
        colour.setRgba(orange.word);
        transform(colour);
        QCOMPARE(colour.rgba(), direct(srgb, wide, orange).word);
    }

    void copiesHaveTheirOwnHandles()
    {
        const OPRGBA32i expected = direct(srgb, wide, orange);
        auto first = std::make_unique<KXCMSTransform>(loaded(srgb), loaded(wide));
        const KXCMSTransform copy(*first);
        KXCMSTransform assigned(loaded(wide), loaded(srgb)), none;
        assigned = *first;
        first.reset();
        const KXCMSTransform &self = assigned;
        assigned = self;
        for (const KXCMSTransform *transform : { &copy, static_cast<const KXCMSTransform *>(&assigned) }) {
            OPRGBA32i pixel = orange;
            (*transform)(pixel);
            QCOMPARE(pixel.word, expected.word);
        }
        assigned = none;
        QVERIFY(assigned.IsEmpty());
        QVERIFY(!copy.IsEmpty());
    }

    void aReloadReachesCopiesAndNotTheObject()
    {
        KXCMSProfile target = loaded(wide);
        KXCMSTransform transform(loaded(srgb), target);
        const OPRGBA32ColorProfileTransform images(loaded(srgb), target);
        target.FromByteArray(profiles::linearWideGamut());
        const OPRGBA32i before = direct(srgb, wide, orange), after = direct(srgb, profiles::linearWideGamut(), orange);
        QVERIFY(before != after);

        OPRGBA32i pixel = orange;
        transform(pixel);
        QCOMPARE(pixel.word, before.word);
        pixel = orange;
        KXCMSTransform { transform }(pixel);
        QCOMPARE(pixel.word, after.word);
        pixel = orange;
        images(pixel);
        QCOMPARE(pixel.word, before.word);
        RGBA32iImage flat = image(2, 2, false, orange); // a walk copies
        images(flat);
        QCOMPARE(flat.Bits()->word, after.word);

        target.FromByteArray(srgb); // now equal to the source
        const KXCMSTransform &self = transform;
        transform = self;
        QVERIFY(transform.IsEmpty());
    }

    void manyThreadsRunTheirOwnCopies()
    {
        const QByteArray tables = profiles::rgbTables2();
        const KXCMSTransform shared(loaded(srgb), loaded(wide)), other(loaded(tables), loaded(srgb));
        const Pixels pixels = noise(5000, 3), expected = direct(srgb, wide, pixels);
        const Pixels expectedOther = direct(tables, srgb, pixels);
        constexpr int count = 8;
        bool right[count] = {};
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i)
            threads.emplace_back([&, i] {
                bool ok = true;
                for (int round = 0; round < 5; ++round) {
                    const KXCMSTransform mine(i % 2 ? shared : other);
                    const KXCMSTransform fresh(loaded(srgb), loaded(wide));
                    ok &= converted(mine, pixels) == (i % 2 ? expected : expectedOther);
                    ok &= converted(fresh, pixels) == expected;
                    ok &= converted(other, pixels) == expectedOther; // one object, all threads
                }
                right[i] = ok;
            });
        for (std::thread &thread : threads)
            thread.join();
        for (bool ok : right)
            QVERIFY(ok);
    }

    void flatImagesKeepTheirLastRow()
    {
        const OPRGBA32ColorProfileTransform transform(loaded(srgb), loaded(wide));
        RGBA32iImage flat(16, 40, false);
        const Pixels pixels = noise(16 * 40, 4);
        std::copy(pixels.begin(), pixels.end(), flat.Bits());
        Pixels expected = direct(srgb, wide, pixels);
        std::copy(pixels.end() - 16, pixels.end(), expected.end() - 16);
        transform(flat);
        compare(Pixels(flat.Bits(), flat.Bits() + 16 * 40), expected, pixels);

        const Pixels there = expected;
        expected = direct(wide, srgb, there);
        std::copy(there.end() - 16, there.end(), expected.end() - 16);
        transform.Invert(flat);
        compare(Pixels(flat.Bits(), flat.Bits() + 16 * 40), expected, there);
    }

    void tiledImagesAreConvertedInAllRows()
    {
        const OPRGBA32ColorProfileTransform transform(loaded(srgb), loaded(wide));
        RGBA32iImage tiled(200, 130, true);
        for (int i = 0; i < 4; ++i)
            tiled.TileData(i, true);
        const Pixels row = noise(200, 5), expected = direct(srgb, wide, row);
        for (unsigned y : { 0u, 127u, 128u, 129u })
            QVERIFY(tiled.WriteRow(y, 0, row.data(), 800));
        transform(tiled);
        Pixels read(200);
        for (unsigned y : { 0u, 127u, 128u, 129u }) {
            QVERIFY(tiled.ReadRow(y, 0, read.data(), 800));
            compare(read, expected, row);
        }
        transform.Invert(tiled);
        QVERIFY(tiled.ReadRow(129, 0, read.data(), 800));
        compare(read, direct(wide, srgb, expected), expected);
    }

    void aSharedTileIsConvertedOncePerEntryAndForAllWhoShareIt()
    {
        const OPRGBA32ColorProfileTransform transform(loaded(srgb), loaded(wide));
        RGBA32iImage tiled = image(256, 4, true, orange); // two entries, one block
        const RGBA32iImage copy = tiled;
        transform(tiled);
        const OPRGBA32i twice = direct(srgb, wide, direct(srgb, wide, orange));
        QCOMPARE(tiled.TileData(1, false)->word, twice.word);
        QCOMPARE(copy.TileData(0)->word, twice.word);
        QVERIFY(tiled.IsFakeTile(1));
    }

    void bitmapsAreDetachedAndConvertedInAllRows()
    {
        const OPRGBA32ColorProfileTransform transform(loaded(srgb), loaded(wide));
        QImage bitmap(3, 2, QImage::Format_ARGB32);
        bitmap.fill(orange.word);
        const QImage copy = bitmap;
        transform(bitmap);
        const OPRGBA32i there = direct(srgb, wide, orange);
        QCOMPARE(bitmap.pixel(0, 0), there.word);
        QCOMPARE(bitmap.pixel(2, 1), there.word);
        QCOMPARE(copy.pixel(2, 1), orange.word);
        transform.Invert(bitmap);
        QCOMPARE(bitmap.pixel(2, 1), direct(wide, srgb, there).word);
    }

    void pixelsGoBothWaysAndRawMemoryNoWay()
    {
        const OPRGBA32ColorProfileTransform original(loaded(srgb), loaded(wide));
        OPRGBA32ColorProfileTransform transform;
        transform = OPRGBA32ColorProfileTransform(original);
        OPRGBA32i pixel = orange;
        transform(static_cast<void *>(&pixel), 4);
        transform.Invert(static_cast<void *>(&pixel), 4);
        QCOMPARE(pixel.word, orange.word);
        const OPColorTransformBase &base = transform;
        base(pixel);
        const OPRGBA32i there = direct(srgb, wide, orange);
        QCOMPARE(pixel.word, there.word);
        base.Invert(pixel);
        QCOMPARE(pixel.word, direct(wide, srgb, there).word);
        for (int channel : { 0, 8, 16 })
            QVERIFY(qAbs(int(pixel.word >> channel & 255) - int(orange.word >> channel & 255)) <= 2);
    }
};

KXCORE_TEST_MAIN(TestCMSTransform)
#include "tst_cmstransform.moc"
