#include "KXImage.h"

#include "Profiles.h"
#include "TestSupport.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QtEndian>

using profiles::grey, profiles::loaded, profiles::srgb;

namespace {

void setWord(QByteArray &bytes, int at, quint32 value) { qToBigEndian(value, bytes.data() + at); }
quint32 word(const QByteArray &bytes, int at) { return qFromBigEndian<quint32>(bytes.constData() + at); }

/// A profile whose one tag is a chain of @p elements, all of which are one table of @p side by @p side colours: a few
/// kilobytes that stand for many to read.
QByteArray chain(quint32 elements, quint32 side)
{
    const quint32 size = 16 + 8 * elements + 28 + 8 * side * side, channels = 0x20002;
    QByteArray bytes = srgb().left(128);
    QDataStream out(&bytes, QIODevice::Append);
    out << 1 << quint32(cmsSigDToB0Tag) << 144 << size; // the directory
    out << quint32(cmsSigMultiProcessElementType) << 0 << channels << elements;
    for (quint32 i = 0; i < elements; ++i)
        out << 16 + 8 * elements << 0;
    out << quint32(cmsSigCLutElemType) << 0 << channels << (side << 24 | side << 16) << 0 << 0 << 0;
    bytes.append(QByteArray(int(8 * side * side), 0));
    setWord(bytes, 0, quint32(bytes.size()));
    return bytes;
}

} // namespace

class TestCMSProfile : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void emptyProfilesAndImpossibleSizesAreHarmless()
    {
        const testing::LogCapture log;
        KXCMSProfile empty;
        char buffer[4] = { 1, 2, 3, 4 };
        QVERIFY(empty.IsEmpty() && empty.GetInfo().isEmpty() && empty.ToByteArray().isEmpty());
        QVERIFY(int(empty.GetColorSpace()) == 0 && empty.GetMemSize() == 0 && empty == KXCMSProfile());
        QVERIFY(empty.Save(buffer, 4) == 0 && buffer[0] == 1);
        QVERIFY(!empty.Save(m_folder.filePath("never")) && !QFile::exists(m_folder.filePath("never")));
        QVERIFY(empty.Load(nullptr, 0));
        QCOMPARE(log.texts(), QStringList());

        const QByteArray good = chain(32, 2); // as long as chains may be
        QVERIFY(empty.Load(good.constData(), good.size()));
        QVERIFY(!empty.Load(grey().constData(), -1) && !empty.Load(grey().constData(), INT_MIN));
        QVERIFY(!empty.Load(nullptr, 128) && !empty.Load(nullptr, -1) && empty.ToByteArray() == good);
        empty.FromByteArray(QByteArray());
        QVERIFY(empty.IsEmpty());
    }

    void everyKindIsKeptByteForByteAndNoPartOfIt()
    {
        for (const QByteArray &bytes : profiles::all()) {
            const testing::LogCapture log;
            KXCMSProfile profile, again;
            QVERIFY(profile.Load((bytes + "what follows is not the profile's").constData(), bytes.size() + 33));
            QCOMPARE(quint32(profile.GetColorSpace()), word(bytes, 16));
            QCOMPARE(profile.ToByteArray(), bytes);

            QByteArray buffer(bytes.size() + 2, 'x');
            QVERIFY(profile.Save(buffer.data(), 0) == -1 && profile.Save(nullptr, bytes.size()) == -1);
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
        KXCMSProfile a = loaded(srgb()), b = a, c;
        c = b;
        RGBA32iImage image(2, 2, true); // images hold such copies
        image.SetColorProfile(a);
        QVERIFY(a.Load(grey().constData(), grey().size()));
        QCOMPARE(b.GetColorSpace(), KXCMSProfile::Gray);
        QVERIFY(c.Load(file("wide", profiles::wideGamut())));
        QCOMPARE(a.ToByteArray(), profiles::wideGamut());
        QCOMPARE(RGBA32iImage(image).ColorProfile().ToByteArray(), profiles::wideGamut());

        QVERIFY(a.Load("unread", 0) && a.IsEmpty() && !b.IsEmpty()); // one object, which then is on its own
        QVERIFY(b.Load(file("empty", "")) && c.IsEmpty() && b == a); // all that share
        c.FromByteArray(grey());
        QVERIFY(!b.IsEmpty() && a.IsEmpty());
    }

    void aFirstLoadMakesAHolderUnlessItFails()
    {
        const testing::LogCapture log;
        KXCMSProfile none, badMemory, badFile, noFile, emptyMemory, emptyFile;
        QVERIFY(!badMemory.Load("bad", 3) && !badFile.Load(file("bad", "not a profile")));
        QVERIFY(!noFile.Load(m_folder.filePath("no such file")) && !noFile.Load(m_folder.path()));
        QVERIFY(emptyMemory.Load("", 0) && emptyFile.Load(file("empty", "")));
        for (KXCMSProfile *profile : { &none, &badMemory, &badFile, &noFile, &emptyMemory, &emptyFile }) {
            const KXCMSProfile copy = *profile;
            profile->FromByteArray(srgb());
            QCOMPARE(!copy.IsEmpty(), profile == &emptyFile);
        }
    }

    void profilesAreValues()
    {
        static_assert(std::is_nothrow_default_constructible_v<KXCMSProfile>, "images swap profiles");
        static_assert(std::is_nothrow_swappable_v<KXCMSProfile>, "images swap profiles");
        KXCMSProfile a = loaded(profiles::wideGamut()), b, &self = b;
        std::swap(a, b);
        b = self;
        const KXCMSProfile other = loaded(profiles::linearWideGamut()); // of the same description
        QVERIFY(a.IsEmpty() && a != b && b != other && b == loaded(profiles::wideGamut()) && !(b == other));
        QVERIFY(b.GetInfo() != other.GetInfo() && !b.GetInfo().section('\n', 1).isEmpty());
        QCOMPARE(b.GetInfo().section('\n', 0, 0), other.GetInfo().section('\n', 0, 0));
        a = std::move(b);
        QVERIFY(b.IsEmpty() && b.Load(nullptr, 0) && !a.IsEmpty()); // NOLINT: left without a holder
    }

    void badDataIsRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray good = srgb(), table = profiles::rgbTables2();
        const auto changed = [](const char *name, QByteArray bytes, int at, quint32 value) {
            setWord(bytes, at, value);
            QTest::newRow(name) << bytes;
        };
        const int curve = good.indexOf("rTRC"), colorant = good.indexOf("rXYZ"), lut = table.indexOf("A2B0");
        changed("no signature", good, 36, 0);
        changed("says one byte more", good, 0, quint32(good.size()) + 1);
        changed("says nothing", good, 0, 0);
        changed("says just the header", good, 0, 128);
        changed("more tags than the directory holds", good, 128, word(good, 128) + 60);
        changed("tag behind the end", good, curve + 4, quint32(good.size()));
        changed("tag of 4 GiB", good, curve + 8, 0xffffffff);
        changed("tag around the end of 32 bits", good, good.indexOf("desc") + 4, 0xfffffff0);
        changed("curve of no known type", good, int(word(good, curve + 4)), 0);
        changed("colorant of no known type", good, int(word(good, colorant + 4)), 0);
        changed("table of 255^15 points", table, int(word(table, lut + 4)) + 8, 0x0f0fff00);
        QTest::newRow("a long chain of one small element") << chain(33, 2);
        QTest::newRow("a short chain of one large element") << chain(32, 40);
    }

    void badDataIsRefused()
    {
        QFETCH(QByteArray, bytes);
        KXCMSProfile profile = loaded(grey()), first;
        const KXCMSProfile copy = profile;
        const testing::LogCapture log;
        QVERIFY(!profile.Load(bytes.constData(), bytes.size()) && !profile.Load(file("changed", bytes)));
        QVERIFY(!first.Load(bytes.constData(), bytes.size()) && first.IsEmpty());
        QVERIFY(profile.ToByteArray() == grey() && copy == profile);
        const QStringList lines = log.texts();
        QVERIFY(lines.size() >= 3);
        QCOMPARE(lines.filter(QRegularExpression("^\\[platform/tintlib/\\w+\\] .")), lines);
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

KXCORE_TEST_MAIN(TestCMSProfile)
#include "tst_cmsprofile.moc"
