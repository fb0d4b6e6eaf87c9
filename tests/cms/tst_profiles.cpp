#include "KXConverter.h"
#include "OPRGBA32ColorProfileTransform.h"
#include "OPTransformImageColors.h"

#include "catalogue/Profiles.h"
#include "kit/Picture.h"

#include <QtGui/QColor>
#include <QtGui/QImage>

using kit::Picture;
using profiles::chain, profiles::chainOf, profiles::curveSet, profiles::loaded;

namespace {

const QByteArray srgb = profiles::srgb(), wide = profiles::wideGamut(), linear = profiles::linearWideGamut(),
                 grey = profiles::grey(), tables = profiles::rgbTables2();

void setWord(QByteArray &bytes, int at, quint32 value) { qToBigEndian(value, bytes.data() + at); }
quint32 word(const QByteArray &bytes, int at) { return qFromBigEndian<quint32>(bytes.constData() + at); }

using Pixels = std::vector<OPRGBA32i>;

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

const OPRGBA32i orange(40, 120, 220, 77), there = direct(srgb, wide, { orange })[0];

} // namespace

/// Profiles, and conversions from one to another.
class TestProfiles : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void emptyProfilesAndImpossibleSizesAreHarmless()
    {
        const QString never = m_folder.filePath("never");
        const kit::LogCapture log;
        KXCMSProfile empty;
        char buffer[4] = { 1, 2, 3, 4 };
        QVERIFY(empty.IsEmpty() && empty.GetInfo().isEmpty() && empty.ToByteArray().isEmpty());
        QVERIFY(int(empty.GetColorSpace()) == 0 && empty.GetMemSize() == 0 && empty == KXCMSProfile());
        QVERIFY(empty.Save(buffer, 4) == 0 && buffer[0] == 1 && !empty.Save(never) && !QFile::exists(never));
        QVERIFY(empty.Load(nullptr, 0));
        QCOMPARE(log.texts(), QStringList());

        const QByteArray good = chain(32, 2); // as long as chains may be; and with as many segments
        for (const QByteArray &bytes : { chainOf(1, curveSet(3, 341)), chainOf(31, curveSet(3, 11)), good })
            QVERIFY(empty.Load(bytes) && !empty.Load(bytes.constData(), -1) && !empty.Load("no such file"));
        QVERIFY(!empty.Load(nullptr, 128) && !empty.Load(nullptr, -1) && empty.ToByteArray() == good);
        empty.FromByteArray(QByteArray());
        QVERIFY(empty.IsEmpty());
    }

    void everyKindIsKeptByteForByteAndNoPartOfIt()
    {
        for (const QByteArray &bytes : profiles::all()) {
            const kit::LogCapture log;
            KXCMSProfile profile, again;
            QVERIFY(profile.Load((bytes + "what follows is not the profile's").constData(), bytes.size() + 33));
            QCOMPARE(quint32(profile.GetColorSpace()), word(bytes, 16));
            QCOMPARE(profile.ToByteArray(), bytes);

            QByteArray buffer(bytes.size() + 2, 'x');
            QVERIFY(profile.Save(nullptr, bytes.size()) == -1);
            QVERIFY(profile.Save(buffer.data(), bytes.size() - 1) == -1 && buffer.count('x') == bytes.size() + 2);
            QCOMPARE(profile.Save(buffer.data(), bytes.size() + 1), bytes.size());
            QCOMPARE(buffer, bytes + "xx");

            const QString path = file("profile", QByteArray(100000, 'x')); // a longer file is written over
            QVERIFY(profile.Save(path) && QFileInfo(path).size() == bytes.size());
            QVERIFY(again.Load(path) && again == profile && !profile.Save(m_folder.filePath("no/such/folder")));
            QVERIFY(again.GetInfo().contains(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()));
            QCOMPARE(log.texts(), QStringList());
            for (int size = 1; size < bytes.size(); size += size < 700 ? 1 : 97)
                QVERIFY2(!again.Load(bytes.left(size).constData(), size), qPrintable(QString::number(size)));
        }
    }

    void copiesSeeALaterLoad()
    {
        KXCMSProfile a = loaded(srgb), b = a, c;
        c = b;
        QVERIFY(a.Load(grey.constData(), grey.size()));
        QCOMPARE(b.GetColorSpace(), KXCMSProfile::Gray);
        QVERIFY(c.Load(file("wide", wide)));
        QCOMPARE(a.ToByteArray(), wide);

        QVERIFY(a.Load("unread", 0) && a.IsEmpty() && !b.IsEmpty()); // one object, which then is on its own
        QVERIFY(b.Load(file("empty", "")) && c.IsEmpty() && b == a); // all that share
        c.FromByteArray(grey);
        QVERIFY(!b.IsEmpty() && a.IsEmpty());
    }

    void aFirstLoadMakesAHolderUnlessItFails()
    {
        const kit::LogCapture log;
        KXCMSProfile none, badMemory, badFile, noFile, emptyMemory, emptyFile;
        QVERIFY(!badMemory.Load("bad", 3) && !badFile.Load(file("bad", "not a profile")));
        QVERIFY(!noFile.Load(m_folder.filePath("no such file")) && !noFile.Load(m_folder.path()));
        QVERIFY(emptyMemory.Load("", 0) && emptyFile.Load(file("empty", "")));
        for (KXCMSProfile *profile : { &none, &badMemory, &badFile, &noFile, &emptyMemory, &emptyFile }) {
            const KXCMSProfile copy = *profile;
            profile->FromByteArray(srgb);
            QCOMPARE(!copy.IsEmpty(), profile == &emptyFile);
        }
    }

    void profilesAreValues()
    {
        static_assert(std::is_nothrow_default_constructible_v<KXCMSProfile>, "images swap profiles");
        static_assert(std::is_nothrow_swappable_v<KXCMSProfile>, "images swap profiles");
        KXCMSProfile a = loaded(wide), b, &self = b;
        std::swap(a, b);
        b = self;
        const KXCMSProfile other = loaded(linear); // of the same description
        const QString info = b.GetInfo(), otherInfo = other.GetInfo();
        QVERIFY(a.IsEmpty() && a != b && b != other && b == loaded(wide) && !(b == other));
        QVERIFY(info != otherInfo && info.section('\n', 0, 0) == otherInfo.section('\n', 0, 0));
        a = std::move(b);
        QVERIFY(b.IsEmpty() && b.Load(nullptr, 0) && !a.IsEmpty()); // NOLINT: left without a holder
        RGBA32iImage image, copy, deep;
        image.SetColorProfile(a), image.CopyTo(deep, false), copy = RGBA32iImage(image);
        QVERIFY(copy.ColorProfile() == a && deep.ColorProfile().IsEmpty());
    }

    void badDataIsRefused()
    {
        const auto changed = [](QByteArray bytes, int at, quint32 value) { return setWord(bytes, at, value), bytes; };
        const int curve = srgb.indexOf("rTRC"), colorant = srgb.indexOf("rXYZ"), lut = tables.indexOf("A2B0");
        const std::pair<const char *, QByteArray> cases[] = {
            { "no signature", changed(srgb, 36, 0) },
            { "says one byte more", changed(srgb, 0, quint32(srgb.size()) + 1) },
            { "says just the header", changed(srgb, 0, 128) },
            { "more tags than the directory holds", changed(srgb, 128, word(srgb, 128) + 60) },
            { "tag behind the end", changed(srgb, curve + 4, quint32(srgb.size())) },
            { "tag around the end of 32 bits", changed(srgb, srgb.indexOf("desc") + 4, 0xfffffff0) },
            { "curve of no known type", changed(srgb, int(word(srgb, curve + 4)), 0) },
            { "colorant of no known type", changed(srgb, int(word(srgb, colorant + 4)), 0) },
            { "table of 255^15 points", changed(tables, int(word(tables, lut + 4)) + 8, 0x0f0fff00) },
            { "a long chain of one small element", chain(33, 2) },
            { "a short chain of one large element", chain(32, 11) },
            { "a long chain in a tag that says it is short", changed(chain(33, 2), 140, 8) },
            { "a curve of many segments", chainOf(1, curveSet(3, 342)) },
            { "the same, found by a position that wraps",
                chainOf(1, curveSet(3, 342), profiles::Place::BeforeTheChain) },
            { "one curve that is used many times", chainOf(1, curveSet(1025, 1)) },
            { "many elements of few curves", chainOf(32, curveSet(3, 11)) },
            { "many curves of no segment", chainOf(1, changed(curveSet(65535, 0), 12 + 8 * 65535 + 8, 0)) },
        };
        for (const auto &[what, bytes] : cases) {
            KXCMSProfile profile = loaded(grey), first;
            const KXCMSProfile copy = profile;
            const kit::LogCapture log;
            QVERIFY2(!profile.Load(bytes.constData(), bytes.size()) && !profile.Load(file("changed", bytes)), what);
            QVERIFY2(!first.Load(bytes.constData(), bytes.size()) && first.IsEmpty(), what);
            QVERIFY2(profile.ToByteArray() == grey && copy == profile, what);
            const QStringList lines = log.texts();
            QVERIFY2(lines.size() >= 3, what);
            QCOMPARE(lines.filter(QRegularExpression("^\\[platform/tintlib/\\w+\\] .")), lines);
        }
    }

    /// What a thread remembers of a transform does not outlive it: the next one may come to lie at the same address.
    void remembersNothingOfFormerTransforms()
    {
        const QByteArray profiles[] = { srgb, wide, linear };
        QRandomGenerator random = kit::random();
        for (int round = 0; round < 400; ++round) {
            const QByteArray &from = profiles[random.bounded(3)], &to = profiles[random.bounded(3)];
            const KXCMSTransform transform(loaded(from), loaded(to));
            const Pixels expected = from == to ? Pixels { orange } : direct(from, to, { orange });
            if (random.bounded(2)) // what another one left at this address comes to light now or then
                QCOMPARE(converted(transform, { orange }), expected);
        }
    }

    void nothingToConvert()
    {
        const QByteArray none, cmyk = profiles::cmyk();
        QByteArray unreadable = tables; // they lead to a space that is none
        unreadable.replace(20, 4, "XYZW");
        const std::pair<QByteArray, QByteArray> pairs[] = { { none, none }, { none, srgb }, { srgb, none },
            { srgb, srgb }, { cmyk, srgb }, { srgb, grey }, { profiles::named(), srgb }, { unreadable, srgb } };
        for (const auto &[from, to] : pairs) {
            const KXCMSProfile source = loaded(from), target = loaded(to);
            QCOMPARE(source.IsEmpty(), from.isEmpty());
            const kit::LogCapture log;
            QVERIFY(KXCMSTransform(source, target).IsEmpty());
            QColor colour = QColor::fromCmykF(0.1, 0.2, 0.3, 0.4);
            KXCMSTransform(source, target)(colour);
            QCOMPARE(colour, QColor::fromCmykF(0.1, 0.2, 0.3, 0.4));
            const QImage bitmap(2, 2, QImage::Format_ARGB32);
            QImage copy = bitmap;
            OPRGBA32ColorProfileTransform(source, target)(copy);
            QCOMPARE(bitmap.constBits(), copy.constBits()); // not even detached
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
        target.FromByteArray(linear); // reaches copies made from now on
        const OPRGBA32i after = direct(srgb, linear, { orange })[0];
        QVERIFY(after != there && !copy.HasKernel());
        QColor colour = QColor::fromRgba(orange.word);
        copy(colour);
        QCOMPARE(colour.rgba(), there.word);
        QCOMPARE(converted(assigned, { orange }), Pixels { there });
        QCOMPARE(converted(KXCMSTransform(copy), { orange }), Pixels { after });
        target.FromByteArray(srgb); // now equal to the source
        assigned = self;
        QVERIFY(assigned.IsEmpty() && !copy.IsEmpty());
    }

    /// Pictures through all forms, there and back, against one call of Little CMS: a gradient with noise between its
    /// rows, in all more colours than a thread remembers, and one whose colours come again. All workers use one
    /// transform.
    void images()
    {
        Picture many = Picture::random(300, 200, 1), few = many;
        QRandomGenerator random = kit::random();
        for (int i = 0; i < 300 * 200; ++i) {
            if (const int x = i % 300, y = i / 300; y % 2 == 0)
                many.at(x, y) = OPRGBA32i(uchar(y), uchar(x), uchar(255 - y), uchar(i));
            few.pixels[size_t(i)] = many.pixels[size_t(random.bounded(std::min(i + 1, 1000)))];
        }
        for (const QByteArray &other : { wide, linear, tables, profiles::rgbTables4(), profiles::rgbChains() }) {
            OPRGBA32ColorProfileTransform transform;
            transform = OPRGBA32ColorProfileTransform(OPRGBA32ColorProfileTransform(loaded(other), loaded(srgb)));
            const OPColorTransformBase &base = transform;
            for (int form = 0; form < 4; ++form) {
                const bool inverted = form % 2;
                const Picture &before = form / 2 ? few : many;
                const auto apply = [&](auto &...to) { inverted ? base.Invert(to...) : base(to...); };
                Picture expected = before;
                expected.pixels = inverted ? direct(srgb, other, before.pixels) : direct(other, srgb, before.pixels);
                Picture butForTheLastRow = expected; // which a flat image keeps
                std::copy_n(&before.at(0, 199), 300, &butForTheLastRow.at(0, 199));
                RGBA32iImage flat = before.image(false), tiled = before.image(true), again = before.image(false);
                QImage bitmap = ConvertImage<RGBA32iImage, QImage>(flat);
                OPRGBA32i pixel = before.at(77, 0);
                apply(flat), apply(bitmap), apply(pixel), apply(tiled);
                COMPARE_PICTURE(Picture::of(flat), butForTheLastRow);
                COMPARE_PICTURE(Picture::of(ConvertImage<QImage, RGBA32iImage>(bitmap)), expected);
                COMPARE_PICTURE(Picture::of(tiled), expected);
                QCOMPARE(pixel, expected.at(77, 0));

                const KXCMSTransform single(loaded(inverted ? srgb : other), loaded(inverted ? other : srgb));
                OPIterativeTransformImageColors(single, &again, QRect(), kit::noCancel, {})();
                COMPARE_PICTURE(Picture::of(again), expected);
                Pixels run = before.pixels;
                single(run.data(), 1), single(run.data() + 1, int(run.size()) - 1), single(run.data(), -1);
                QCOMPARE(run, expected.pixels);
            }
        }
    }

    /// A class that is derived from a transform is asked for each pixel, and not for runs of them.
    void whatIsDerivedKeepsItsOwnForm()
    {
        struct OnlyGreen : KXCMSTransform {
            using KXCMSTransform::KXCMSTransform;
            void operator()(OPRGBA32i &pixel) const override { pixel = OPRGBA32i(0, 255, 0, pixel.a); }
        };
        RGBA32iImage flat(2, 2, false);
        flat.Fill(orange);
        OPTransformImageColors(OnlyGreen(loaded(srgb), loaded(wide)), &flat)();
        QCOMPARE(flat.Bits()[0], OPRGBA32i(0, 255, 0, 77));
    }

private:
    /// The path of a file of that content; empty when it cannot be written.
    QString file(const QString &name, const QByteArray &bytes)
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? file.fileName() : QString();
    }

    QTemporaryDir m_folder;
};

KXCORE_TEST_MAIN(TestProfiles)
#include "tst_profiles.moc"
