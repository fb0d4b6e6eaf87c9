#include "OPRGBA32ColorProfileTransform.h"

#include "Profiles.h"
#include "TestSupport.h"

#include <QtGui/QColor>
#include <QtGui/QImage>

#include <random>
#include <thread>

using profiles::loaded;

namespace {

using Pixels = QVector<OPRGBA32i>;

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

Pixels converted(const KXCMSTransform &transform, Pixels pixels)
{
    for (OPRGBA32i &pixel : pixels)
        transform(pixel);
    return pixels;
}

const QByteArray srgb = profiles::srgb(), wide = profiles::wideGamut(), linear = profiles::linearWideGamut();
const OPRGBA32i orange(40, 120, 220, 77), there = direct(srgb, wide, { orange })[0];

} // namespace

class TestCMSTransform : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// What a thread remembers of a transform does not outlive it: the next one may come to lie at the same address.
    void remembersNothingOfFormerTransforms()
    {
        const QByteArray profiles[] = { srgb, wide, linear };
        Pixels colors;
        for (int i = 0; i < 8; ++i)
            colors << OPRGBA32i(uchar(40 + 16 * i), uchar(120 + 16 * i), uchar(220 - i), 77);
        std::mt19937 random;
        for (int round = 0; round < 200; ++round) {
            const QByteArray &from = profiles[random() % 3], &to = profiles[random() % 3];
            const KXCMSTransform transform(loaded(from), loaded(to));
            const Pixels expected = from == to ? colors : direct(from, to, colors);
            for (int i = 0; i < colors.size(); ++i)
                if (random() % 2)
                    QCOMPARE(converted(transform, { colors[i] })[0], expected[i]);
        }
    }

    void equalsLittleCmsOnManyThreads()
    {
        std::mt19937 random;
        Pixels pixels(100000); // more than a thread remembers; greys come over and over
        for (OPRGBA32i &pixel : pixels)
            pixel = random() % 4 ? OPRGBA32i(unsigned(random())) : OPRGBA32i(0x01010101 * (random() % 256));
        std::vector<KXCMSTransform> transforms;
        std::vector<Pixels> expected;
        const auto add = [&](const QByteArray &from, const QByteArray &to) {
            transforms.emplace_back(loaded(from), loaded(to));
            expected.push_back(direct(from, to, pixels));
        };
        const QByteArray two = profiles::rgbTables2(), four = profiles::rgbTables4();
        add(srgb, wide), add(wide, srgb), add(linear, srgb), add(two, srgb), add(srgb, four), add(four, two);
        std::atomic<int> wrong { 0 };
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 8; ++thread)
            threads.emplace_back([&] {
                for (size_t i = 0; i < expected.size(); ++i) {
                    wrong += converted(transforms[i], pixels) != expected[i];
                    wrong += converted(KXCMSTransform(transforms[i]), pixels) != expected[i];
                }
            });
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(int(wrong), 0);
    }

    void nothingToConvert()
    {
        const QByteArray none, cmyk = profiles::cmyk(), grey = profiles::grey();
        QByteArray unreadable = profiles::rgbTables2(); // its tables lead to a space that is none
        unreadable.replace(20, 4, "XYZW");
        const QByteArray pairs[][2] = { { none, none }, { none, srgb }, { srgb, none }, { srgb, srgb }, { cmyk, srgb },
            { srgb, grey }, { unreadable, srgb } };
        for (const auto &pair : pairs) {
            const KXCMSProfile source = loaded(pair[0]), target = loaded(pair[1]);
            QCOMPARE(source.IsEmpty(), pair[0].isEmpty());
            const testing::LogCapture log;
            const KXCMSTransform transform(source, target);
            QVERIFY(transform.IsEmpty());
            QCOMPARE(converted(transform, { orange }), Pixels { orange });
            const QColor before = QColor::fromCmykF(0.1, 0.2, 0.3, 0.4);
            const QImage bitmap(2, 2, QImage::Format_ARGB32);
            QColor colour = before;
            QImage copy = bitmap;
            transform(colour);
            OPRGBA32ColorProfileTransform(source, target)(copy);
            QVERIFY(colour == before && bitmap.constBits() == copy.constBits()); // not even detached
            QCOMPARE(log.texts(), QStringList());
        }
    }

    void copiesHaveTheirOwnHandlesAndSeeAReload()
    {
        KXCMSProfile target = loaded(wide);
        auto first = std::make_unique<KXCMSTransform>(loaded(srgb), target);
        const KXCMSTransform copy(*first);
        KXCMSTransform assigned(loaded(wide), loaded(srgb)), &self = assigned;
        assigned = *first;
        first.reset();
        const OPRGBA32ColorProfileTransform images(loaded(srgb), target);
        target.FromByteArray(linear); // reaches copies made from now on
        const OPRGBA32i after = direct(srgb, linear, { orange })[0];
        QVERIFY(after != there && !copy.HasKernel());
        QColor colour = QColor::fromRgba(orange.word);
        copy(colour);
        QCOMPARE(colour.rgba(), there.word);
        QCOMPARE(converted(assigned, { orange }), Pixels { there });
        QCOMPARE(converted(KXCMSTransform(copy), { orange }), Pixels { after });
        OPRGBA32i pixel = orange;
        QImage bitmap(1, 1, QImage::Format_ARGB32);
        bitmap.fill(orange.word);
        images(pixel), images(bitmap);
        QVERIFY(pixel == there && bitmap.pixel(0, 0) == after.word); // a walk copies

        target.FromByteArray(srgb); // now equal to the source
        assigned = self;
        QVERIFY(assigned.IsEmpty() && !copy.IsEmpty());
    }

    /// A gradient through the walk over an image, against one call of Little CMS.
    void gradient()
    {
        if (std::thread::hardware_concurrency() < 2)
            QSKIP("walks over images need two processors");
        const int width = 300, height = 200, leftOut = 1; // a flat image keeps its last row
        Pixels pixels(width * height);
        for (int i = 0; i < pixels.size(); ++i)
            pixels[i] = OPRGBA32i(uchar(i / width), uchar(255 * (i % width) / width), uchar(255 - i / width), uchar(i));
        for (const QByteArray &from : { wide, profiles::rgbTables2() }) {
            const OPRGBA32ColorProfileTransform transform(loaded(from), loaded(srgb));
            const Pixels expected = direct(from, srgb, pixels);
            RGBA32iImage flat(width, height, false), tiled;
            std::copy(pixels.cbegin(), pixels.cend(), flat.Bits());
            flat.CopyTo(tiled, true);
            static_cast<const OPColorTransformBase &>(transform)(flat);
            static_cast<const OPColorTransformBase &>(transform)(tiled);
            for (int y = 0; y < height; ++y) {
                Pixels row(width);
                tiled.ReadRow(unsigned(y), 0, row.data(), 4 * width);
                QCOMPARE(row, expected.mid(y * width, width));
                flat.ReadRow(unsigned(y), 0, row.data(), 4 * width);
                QCOMPARE(row, (y < height - leftOut ? expected : pixels).mid(y * width, width));
            }
        }
    }

    void imagesAreConvertedBothWays()
    {
        if (std::thread::hardware_concurrency() < 2)
            QSKIP("walks over images need two processors");
        OPRGBA32ColorProfileTransform transform;
        transform = OPRGBA32ColorProfileTransform(OPRGBA32ColorProfileTransform(loaded(srgb), loaded(wide)));
        const OPColorTransformBase &base = transform;
        RGBA32iImage flat(3, 2, false), tiled(3, 2, true);
        QImage bitmap(3, 2, QImage::Format_ARGB32);
        flat.Fill(orange), tiled.Fill(orange), bitmap.fill(orange.word);
        const QImage copy = bitmap;
        OPRGBA32i pixel = orange;
        const auto check = [&](OPRGBA32i expected) {
            QCOMPARE(pixel, expected);
            QCOMPARE(flat.Bits()[2], expected);
            QCOMPARE(flat.Bits()[3], orange); // the last row of a flat image stays
            QCOMPARE(tiled.TileData(0)[130], expected);
            QCOMPARE(bitmap.pixel(2, 1), expected.word);
            QCOMPARE(copy.pixel(2, 1), orange.word);
        };
        base(flat), base(tiled), base(bitmap), base(pixel);
        base(static_cast<void *>(&pixel), 4); // raw memory no way
        check(there);
        base.Invert(flat), base.Invert(tiled), base.Invert(bitmap), base.Invert(pixel);
        base.Invert(static_cast<void *>(&pixel), 4);
        check(direct(wide, srgb, { there })[0]);
    }
};

KXCORE_TEST_MAIN(TestCMSTransform)
#include "tst_cmstransform.moc"
