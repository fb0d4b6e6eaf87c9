#include "KXCMSProfile.h"
#include "KXImage.h"

#include "Profiles.h"
#include "TestSupport.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QtEndian>

namespace {

void setWord(QByteArray &bytes, int at, quint32 value) { qToBigEndian(value, bytes.data() + at); }
quint32 word(const QByteArray &bytes, int at) { return qFromBigEndian<quint32>(bytes.constData() + at); }

/// Position of the directory entry of the tag @p name.
int entryOf(const QByteArray &bytes, const char *name)
{
    int at = 132;
    while (bytes.mid(at, 4) != name)
        at += 12;
    return at;
}

KXCMSProfile loaded(const QByteArray &bytes)
{
    KXCMSProfile profile;
    profile.FromByteArray(bytes);
    return profile;
}

/// A profile whose one tag is a chain of @p elements, all of which are one set of 15 curves, all of which are one curve
/// of @p segments segments: a few kilobytes that stand for elements * 15 * segments pieces to read.
QByteArray bomb(int elements, int segments)
{
    QByteArray tag;
    const auto word = [&tag](quint32 value) {
        tag += QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(8, '0'));
    };
    const auto half = [&tag](int value) { tag += char(value >> 8), tag += char(value); };
    const int set = 16 + 8 * elements, curve = 12 + 8 * 15;
    tag += "mpet", word(0), half(15), half(15), word(quint32(elements));
    for (int i = 0; i < elements; ++i)
        word(quint32(set)), word(0);
    tag += "cvst", word(0), half(15), half(15);
    for (int i = 0; i < 15; ++i)
        word(quint32(curve)), word(0);
    tag += "curf", word(0), half(segments), half(0);
    for (int i = 1; i < segments; ++i)
        word(0x3f000000); // every segment ends at 0.5
    for (int i = 0; i < segments; ++i)
        tag += "parf", word(0), half(0), half(0), word(0x3f800000), word(0x3f800000), word(0), word(0);

    QByteArray bytes = profiles::srgb().left(128);
    tag.prepend(QByteArray(16, 0));
    setWord(tag, 0, 1);
    std::memcpy(tag.data() + 4, "D2B0", 4);
    setWord(tag, 8, 144);
    setWord(tag, 12, quint32(tag.size() - 16));
    bytes += tag;
    setWord(bytes, 0, quint32(bytes.size()));
    return bytes;
}

} // namespace

class TestCMSProfile : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_folder.isValid()); }

    void anEmptyProfileIsHarmless()
    {
        const testing::LogCapture log;
        KXCMSProfile empty;
        char buffer[4] = { 1, 2, 3, 4 };
        QVERIFY(empty.IsEmpty());
        QCOMPARE(empty.GetInfo(), QString());
        QCOMPARE(int(empty.GetColorSpace()), 0);
        QCOMPARE(empty.GetMemSize(), 0);
        QCOMPARE(empty.Save(buffer, 4), 0);
        QCOMPARE(int(buffer[0]), 1);
        QVERIFY(!empty.Save(m_folder.filePath("never")));
        QVERIFY(!QFile::exists(m_folder.filePath("never")));
        QCOMPARE(empty.ToByteArray(), QByteArray());
        QVERIFY(empty == KXCMSProfile());
        QVERIFY(empty.Load(nullptr, 0));
        QCOMPARE(log.texts(), QStringList());
    }

    void everyKindIsKeptByteForByte_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("signature");
        QTest::newRow("sRGB") << profiles::srgb() << QByteArray("RGB ");
        QTest::newRow("wide gamut") << profiles::wideGamut() << QByteArray("RGB ");
        QTest::newRow("grey") << profiles::grey() << QByteArray("GRAY");
        QTest::newRow("CMYK") << profiles::cmyk() << QByteArray("CMYK");
        QTest::newRow("tables, version 2") << profiles::rgbTables2() << QByteArray("RGB ");
        QTest::newRow("tables, version 4") << profiles::rgbTables4() << QByteArray("RGB ");
    }

    void everyKindIsKeptByteForByte()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, signature);
        const testing::LogCapture log;
        KXCMSProfile profile;
        QVERIFY(profile.Load((bytes + "what follows is not the profile's").constData(), bytes.size() + 33));
        QCOMPARE(quint32(profile.GetColorSpace()), word(signature, 0));
        QCOMPARE(profile.GetMemSize(), bytes.size());
        QCOMPARE(profile.ToByteArray(), bytes);

        QByteArray buffer(bytes.size() + 2, 'x');
        QCOMPARE(profile.Save(buffer.data(), 0), -1);
        QCOMPARE(profile.Save(buffer.data(), bytes.size() - 1), -1);
        QCOMPARE(profile.Save(nullptr, bytes.size()), -1);
        QCOMPARE(buffer, QByteArray(bytes.size() + 2, 'x'));
        QCOMPARE(profile.Save(buffer.data(), bytes.size() + 1), bytes.size());
        QCOMPARE(buffer, bytes + "xx");

        // A longer file is written over; what comes back is equal.
        QFile file(m_folder.filePath("profile"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(100000, 'x')) == 100000);
        file.close();
        QVERIFY(profile.Save(file.fileName()));
        QCOMPARE(QFileInfo(file.fileName()).size(), qint64(bytes.size()));
        KXCMSProfile again;
        QVERIFY(again.Load(file.fileName()));
        QVERIFY(again == profile);
        QVERIFY(again.GetInfo().contains(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()));
        QCOMPARE(log.texts(), QStringList());
        QVERIFY(!profile.Save(m_folder.filePath("no/such/folder")));
    }

    void infoTellsProfilesOfOneDescriptionApart()
    {
        const KXCMSProfile a = loaded(profiles::wideGamut()), b = loaded(profiles::linearWideGamut());
        QVERIFY(!a.GetInfo().isEmpty());
        QCOMPARE(a.GetInfo().section('\n', 0, 0), b.GetInfo().section('\n', 0, 0));
        QVERIFY(a.GetInfo() != b.GetInfo());
        QVERIFY(a != b && !(a == b));
        QVERIFY(a != KXCMSProfile());
        QVERIFY(a == loaded(profiles::wideGamut()));
    }

    void copiesSeeALaterLoad()
    {
        KXCMSProfile a = loaded(profiles::srgb()), b = a, c;
        c = b;
        QVERIFY(a.Load(profiles::grey().constData(), profiles::grey().size()));
        QCOMPARE(b.GetColorSpace(), KXCMSProfile::Gray);
        QVERIFY(writeFile("wide", profiles::wideGamut()));
        QVERIFY(c.Load(m_folder.filePath("wide")));
        QCOMPARE(a.ToByteArray(), profiles::wideGamut());

        // Images hold such copies.
        RGBA32iImage image(2, 2, true);
        image.SetColorProfile(a);
        const RGBA32iImage copy = image;
        b.FromByteArray(profiles::srgb());
        QCOMPARE(copy.ColorProfile().ToByteArray(), profiles::srgb());
    }

    void emptyMemoryEmptiesOneObjectAndAnEmptyFileAllOfThem()
    {
        KXCMSProfile a = loaded(profiles::srgb()), b = a, c = a;
        QVERIFY(a.Load("unread", 0));
        QVERIFY(a.IsEmpty());
        QVERIFY(!b.IsEmpty());
        QVERIFY(writeFile("empty", QByteArray()));
        QVERIFY(b.Load(m_folder.filePath("empty")));
        QVERIFY(c.IsEmpty());
        QVERIFY(b == a);
        // b and c still share, a is on its own.
        c.FromByteArray(profiles::grey());
        QVERIFY(!b.IsEmpty());
        QVERIFY(a.IsEmpty());
    }

    void aFirstLoadMakesAHolderUnlessItFails()
    {
        QVERIFY(writeFile("empty", QByteArray()));
        QVERIFY(writeFile("bad", "not a profile at all"));
        const auto copySees = [](KXCMSProfile &a) {
            const KXCMSProfile copy = a;
            a.FromByteArray(profiles::srgb());
            return !copy.IsEmpty();
        };
        const testing::LogCapture log;
        KXCMSProfile none, badMemory, badFile, noFile, emptyMemory, emptyFile;
        QVERIFY(!badMemory.Load("bad", 3));
        QVERIFY(!badFile.Load(m_folder.filePath("bad")));
        QVERIFY(!noFile.Load(m_folder.filePath("no such file")));
        QVERIFY(!noFile.Load(m_folder.path()));
        QVERIFY(emptyMemory.Load("", 0));
        QVERIFY(emptyFile.Load(m_folder.filePath("empty")));
        for (KXCMSProfile *profile : { &none, &badMemory, &badFile, &noFile, &emptyMemory })
            QVERIFY(!copySees(*profile));
        QVERIFY(copySees(emptyFile));
    }

    void valuesMoveAndSwapWithoutFailing()
    {
        static_assert(std::is_nothrow_default_constructible<KXCMSProfile>::value
                && std::is_nothrow_move_constructible<KXCMSProfile>::value
                && std::is_nothrow_move_assignable<KXCMSProfile>::value,
            "images swap profiles");
        KXCMSProfile a = loaded(profiles::srgb()), b;
        std::swap(a, b);
        QVERIFY(a.IsEmpty());
        QCOMPARE(b.ToByteArray(), profiles::srgb());
        const KXCMSProfile &self = b;
        b = self;
        QCOMPARE(b.ToByteArray(), profiles::srgb());
        a = std::move(b);
        QVERIFY(b.IsEmpty()); // NOLINT: left without a holder
        QVERIFY(b.Load(nullptr, 0) && !a.IsEmpty());
    }

    void badDataIsRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray good = profiles::srgb();
        const auto changed = [&good](auto change) {
            QByteArray bytes = good;
            change(bytes);
            return bytes;
        };
        const auto entry = [&good](const char *tag) { return entryOf(good, tag); };
        QTest::newRow("text") << QByteArray("not a profile at all");
        QTest::newRow("noise") << QByteArray(5000, '\xa5');
        QTest::newRow("no signature") << changed([](QByteArray &b) { b[36] = 'A'; });
        QTest::newRow("one byte short") << good.left(good.size() - 1);
        QTest::newRow("says one byte more") << changed([](QByteArray &b) { setWord(b, 0, quint32(b.size()) + 1); });
        QTest::newRow("says 4 GiB") << changed([](QByteArray &b) { setWord(b, 0, 0xffffffff); });
        QTest::newRow("says nothing") << changed([](QByteArray &b) { setWord(b, 0, 0); });
        QTest::newRow("says just the header") << changed([](QByteArray &b) { setWord(b, 0, 128); });
        QTest::newRow("4 G tags") << changed([](QByteArray &b) { setWord(b, 128, 0xffffffff); });
        QTest::newRow("more tags than the directory holds")
            << changed([](QByteArray &b) { setWord(b, 128, word(b, 128) + 60); });
        QTest::newRow("tag behind the end")
            << changed([&](QByteArray &b) { setWord(b, entry("rTRC") + 4, quint32(b.size())); });
        QTest::newRow("tag of 4 GiB") << changed([&](QByteArray &b) { setWord(b, entry("rTRC") + 8, 0xffffffff); });
        QTest::newRow("tag around the end of 32 bits")
            << changed([&](QByteArray &b) { setWord(b, entry("desc") + 4, 0xfffffff0); });
        QTest::newRow("curve of no known type")
            << changed([&](QByteArray &b) { b[int(word(b, entry("rTRC") + 4))] = 'X'; });
        QTest::newRow("colorant of no known type")
            << changed([&](QByteArray &b) { b[int(word(b, entry("rXYZ") + 4))] = 'q'; });
        QByteArray table = profiles::rgbTables2(); // input channels, output channels, grid points
        table.replace(int(word(table, entryOf(table, "A2B0") + 4)) + 8, 3, "\x0f\x0f\xff");
        QTest::newRow("table of 255^15 points") << table;
        QTest::newRow("a long chain of one element") << bomb(2000, 100);
        QTest::newRow("a short chain of long curves") << bomb(32, 2000);
    }

    void badDataIsRefused()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(writeFile("bad", bytes));
        KXCMSProfile profile = loaded(profiles::grey()), first;
        const KXCMSProfile copy = profile;
        const testing::LogCapture log;
        QVERIFY(!profile.Load(bytes.constData(), bytes.size()));
        QVERIFY(!profile.Load(m_folder.filePath("bad")));
        QVERIFY(!first.Load(bytes.constData(), bytes.size()));
        QVERIFY(first.IsEmpty());
        QCOMPARE(profile.ToByteArray(), profiles::grey());
        QVERIFY(copy == profile);
        for (const QString &line : log.texts())
            QVERIFY2(QRegularExpression("^\\[platform/tintlib/\\w+\\] .").match(line).hasMatch(), qPrintable(line));
    }

    void aShortChainIsNoFault()
    {
        // So that the two rows on chains above fail for their length, and not for how they are built.
        KXCMSProfile profile;
        const QByteArray bytes = bomb(3, 3);
        QVERIFY(profile.Load(bytes.constData(), bytes.size()));
    }

    void everyTruncationIsRefused()
    {
        const testing::LogCapture log;
        for (const QByteArray &bytes : profiles::all())
            for (int size = 1; size < bytes.size(); size += size < 700 ? 1 : 97) {
                KXCMSProfile profile;
                const QByteArray part(bytes.constData(), size);
                QVERIFY2(!profile.Load(part.constData(), size), qPrintable(QString::number(size)));
            }
    }

    void sizesAndPointersThatCannotBeAreRefused()
    {
        KXCMSProfile profile = loaded(profiles::srgb()), first;
        const QByteArray grey = profiles::grey();
        QVERIFY(!profile.Load(grey.constData(), -1));
        QVERIFY(!profile.Load(grey.constData(), INT_MIN));
        QVERIFY(!profile.Load(nullptr, 128));
        QVERIFY(!first.Load(nullptr, -1));
        QCOMPARE(profile.ToByteArray(), profiles::srgb());
        profile.FromByteArray(QByteArray());
        QVERIFY(profile.IsEmpty());
    }

    void theEngineSaysWhatIsWrong()
    {
        const testing::LogCapture log;
        KXCMSProfile profile;
        QByteArray bytes = profiles::srgb();
        bytes[36] = 'A';
        QVERIFY(!profile.Load(bytes.constData(), bytes.size()));
        QCOMPARE(log.texts().size(), 1);
    }

private:
    bool writeFile(const QString &name, const QByteArray &bytes)
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    QTemporaryDir m_folder;
};

KXCORE_TEST_MAIN(TestCMSProfile)
#include "tst_cmsprofile.moc"
